#pragma once

#include "newerimagewatch.h"

#include <QList>
#include <QString>

// What Korvat says of images whose tags the registries have moved on from: on a project
// card, in the tray panel, before a container's image is pulled, and in the one
// notification a check sends.
namespace NewerText {

struct Note {
    QString summary;
    QString body;
    friend bool operator==(const Note &, const Note &) = default;
};

// "Newer image for nginx:latest" / "web runs it on default. Pull it when you choose.";
// several images: "3 newer images", their references listed.
Note notification(const QList<NewerNotice> &found);
// "1 service has a newer image", "2 services have newer images"; empty for none.
QString servicesLine(int services);
// "1 newer image", "3 newer images"; empty for none.
QString imagesLine(int images);
// What pulling a lone container's newer image does, and does not: "Pulls nginx:latest.
// web keeps running the old image until it is made again." The engine is named where rows
// of several are shown.
QString pullMessage(const QString &reference, const QString &container, const QString &engine = {});

}
