#pragma once

#include "afterrestart.h"

#include <QList>
#include <QString>
#include <QStringList>

// What Korvat says of containers that will not come back once their engine starts again:
// a row's quiet mark, a project card's summary, and the fixes it offers.
namespace RestartText {

// Whether a row carries the mark: it runs now and is not sure to run after a restart.
bool marked(const QString &state, const Comeback &comeback);
// The mark: "Stops at restart", or "May stop at restart" where how it ends decides.
QString markLabel(Comeback::Kind kind);
// "2 of 3 services come back after a restart", of the services running now; empty when all
// do. A service with several containers comes back only if each does.
QString servicesLine(const QList<std::pair<QString, Comeback>> &byService);
// The services of byService not sure to come back, in order.
QStringList staying(const QList<std::pair<QString, Comeback>> &byService);
// What to add to the compose file: the services' restart lines under their names.
QString composeLines(const QStringList &services);
// The sheet that shows them: "Keep cache running after restarts", where the lines go and
// that Korvat leaves the file as it is.
struct Sheet {
    QString title;
    QString message;
    QString lines;
    friend bool operator==(const Sheet &, const Sheet &) = default;
};
Sheet composeSheet(const QStringList &services, const QString &file);

}
