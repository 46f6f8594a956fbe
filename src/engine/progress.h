#pragma once

#include <QList>
#include <QString>

// How far a pull has got, from the lines the docker client (or compose) prints for it.
struct LayerProgress {
    // In the order the client moves a layer through; a layer never goes back.
    enum class Phase { Waiting, Downloading, Downloaded, Extracting, Done, Present };

    QString id;
    Phase phase = Phase::Waiting;
    // Of the current phase, as the client's last progress line said; total 0 until one did.
    qint64 current = 0;
    qint64 total = 0;
    friend bool operator==(const LayerProgress &, const LayerProgress &) = default;
};

struct PullProgress {
    // In the order first seen.
    QList<LayerProgress> layers;
    // The client's last word, after "Status: ": "Downloaded newer image for nginx:1.27",
    // "Image is up to date for nginx:1.27".
    QString status;

    // There was nothing to fetch.
    bool upToDate() const { return status.startsWith(QLatin1String("Image is up to date")); }

    // Layers the engine did not already have.
    int toFetch() const;
    int done() const;
    // Of the layers whose size the client has told; a layer not yet begun counts nothing.
    qint64 bytesDone() const;
    qint64 bytesTotal() const;
    // Whether bytesTotal is the whole: every layer to fetch has told its size or is past its
    // download (one too small to draw a line for counts nothing). Until then the total grows
    // as layers begin.
    bool totalKnown() const;
    // 0 to 1: each layer to fetch counts half for its download and half for its extraction.
    double fraction() const;
    friend bool operator==(const PullProgress &, const PullProgress &) = default;
};

// What compose reports of one service while it brings a project up.
struct ServiceProgress {
    enum class Phase { Pulling, Pulled, Creating, Created, Starting, Started, Failed };

    QString service;
    Phase phase = Phase::Pulling;
    // Compose's own words when it failed.
    QString error;
    friend bool operator==(const ServiceProgress &, const ServiceProgress &) = default;
};

struct ComposeProgress {
    // In the order compose first named them.
    QList<ServiceProgress> services;
    // Every layer compose pulls for the project: compose does not say which service a layer
    // belongs to.
    PullProgress pulls;

    const ServiceProgress *service(const QString &name) const;
    friend bool operator==(const ComposeProgress &, const ComposeProgress &) = default;
};

// What a volume's data move has copied so far; total 0 when the size cannot be known.
struct Transferred {
    qint64 bytes = 0;
    qint64 total = 0;
    // What a backup could not hold (sockets), relative to the volume: the engine passes over
    // them without a word, so they are found beforehand.
    QStringList leftOut;
    friend bool operator==(const Transferred &, const Transferred &) = default;
};

namespace Docker {
// Takes one line of `docker pull` output (plain, or as drawn on a terminal once the redraw
// sequences are gone) or of `compose --progress plain`; false when it says nothing of a pull.
bool readPull(PullProgress &progress, QStringView line);
// One line of `compose --progress plain up`; false when it is not progress (an error
// message, say). Containers are named "<project>-<service>-<n>".
bool readCompose(ComposeProgress &progress, QStringView line, const QString &project);

// Cuts a child's output into the lines it drew, through a terminal's redraws: a carriage
// return, a line feed and a cursor move each end a line. An unfinished line waits for more.
class DrawnLines {
public:
    QStringList feed(QByteArrayView bytes);
    // Whatever is left when the child has ended.
    QStringList finish();

private:
    QByteArray m_partial;
    QByteArray m_unread;
};
}
