#pragma once

#include "imageorigins.h"
#include "newerimages.h"
#include "registryclient.h"

#include <QList>
#include <QMap>
#include <memory>

#include <QCoroTask>

// One round of questions to the registries, shared by the window's checks and the headless
// report.
namespace TagCheckRun {

// The tags of these images worth a request (neither pinned nor made here), by canonical
// reference.
QMap<QString, ImageReference> checkableTags(const QList<ImageOrigin> &origins);
// Plain HTTP for a registry host: loopback always, else where an engine allows it by name or
// by network.
bool plainHttpAllowed(const QString &host, const QList<InsecureRegistries> &insecure);
// Asks for each tag's digest, a few at a time, recording each answer into the ledger as it
// comes (stamped now); sign-ins are read from the user's docker configuration, helpers run
// off this thread. The ledger outlives the round.
// Given challenges, the round begins with them and leaves what it learnt there.
QCoro::Task<> ask(QList<ImageReference> tags, std::shared_ptr<TagLedger> ledger, RegistryClient::PlainHttp plainHttp,
                  std::shared_ptr<QHash<QString, AuthChallenge>> challenges = {});

} // namespace TagCheckRun
