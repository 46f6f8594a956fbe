#pragma once

#include "engine.h"
#include "newerimages.h"

#include <QJsonObject>
#include <QTextStream>
#include <optional>

// Whether the registries hold newer images than one engine has, asked at once; written as
// text or JSON. Changes nothing: no pull, and nothing kept of the answers.
struct UpdatesReport {
    struct Image {
        ImageFreshness freshness;
        // The containers made from it, by name.
        QStringList containers;
        friend bool operator==(const Image &, const Image &) = default;
    };
    std::optional<QString> context;
    QList<Image> images = {};
    // Why there is no report: the engine's words.
    QString error = {};
};

// Runs the questions to the registries in an event loop of its own, so call it where none runs.
UpdatesReport gatherUpdates(const Engine &engine, const std::optional<QString> &context);
// Made of what the engine listed and the registries said: one entry per tag, and one per
// digest a container is pinned to; sorted by reference.
QList<UpdatesReport::Image> reportedImages(const ImageOrigins &origins, const QList<Container> &containers, const TagLedger &ledger,
                                           const QDateTime &now);
// `korvat --updates [context]`: one line per image.
void writeUpdates(const UpdatesReport &report, QTextStream &out);
// `korvat --updates --json`: the schema the README describes.
QJsonObject updatesJson(const UpdatesReport &report);
