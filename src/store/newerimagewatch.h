#pragma once

#include "engine.h"
#include "meteredconnection.h"
#include "newerimages.h"

#include <QHash>
#include <QObject>
#include <QSet>
#include <QTimer>
#include <chrono>
#include <functional>
#include <memory>

#include <QCoroTask>

class EngineStore;
class QSettings;

// A tag found newer for the first time, on one engine, with the containers there that run it.
struct NewerNotice {
    QString engine;
    ImageFreshness image;
    QStringList containers;
    friend bool operator==(const NewerNotice &, const NewerNotice &) = default;
};

// Whether the registries hold newer images than the watched engines run. Reads each engine's
// record of where its images came from at each check, and between checks when its tags
// change; asks the registries for each tag at most once per the schedule's interval, never
// while the connection is metered, and at once when asked. At rest between checks it holds
// one timer: the one that wakes it for the next tag due.
class NewerImageWatch : public QObject {
    Q_OBJECT

public:
    using Engines = std::function<QList<EngineStore *>()>;
    struct Options {
        // How long after start-up the first reading waits, so start-up is not slowed.
        std::chrono::milliseconds settle{std::chrono::seconds(20)};
        // Where results are kept between runs; empty: only for this run.
        QString ledgerPath = {};
        // Whether the connection in use is metered: NetworkManager's word on the system bus.
        std::function<QCoro::Task<bool>()> metered = &MeteredConnection::inUseOnSystemBus;
    };
    // Whether a project's notifications are muted.
    using Muted = std::function<bool(const QString &project)>;
    // Whether an engine runs on this machine, so its plain-HTTP registries are this machine's.
    using OnThisMachine = std::function<bool(const QString &engine)>;

    NewerImageWatch(std::shared_ptr<Engine> engine, QSettings *settings, Engines engines, Muted muted, OnThisMachine onThisMachine = {},
                    QObject *parent = nullptr);
    ~NewerImageWatch() override;

    // Before start().
    void setOptions(Options options) { m_options = std::move(options); }

    // The first reading begins once start-up has settled. Idempotent.
    void start();
    // "Check for newer images": every tag at once, metered or not.
    QCoro::Task<> checkNow();
    // An engine's images changed: where they came from is read again before it is judged.
    void imagesChanged(const QString &engine);

    // By the row's repository and tag; none for an image with no tag or not yet read.
    std::optional<ImageFreshness> ofImage(const QString &engine, const DockerImage &image) const;
    // By the image the container was made from, as the listing names it.
    std::optional<ImageFreshness> ofContainer(const QString &engine, const Container &container) const;
    bool checking() const { return m_checking; }
    // Some image of some engine is behind its tag: until then rows need not be asked.
    bool anyNewer() const { return m_anyNewer; }
    // Skipped last time because the connection was metered.
    bool meteredSkip() const { return m_meteredSkip; }

    NewerImages::Schedule schedule() const;
    void setSchedule(NewerImages::Schedule schedule);
    bool notifies() const;
    void setNotifies(bool on);

signals:
    void changed();
    void checkingChanged();
    // Told once per newer digest, and only where the setting is on; a muted project's
    // containers are left out.
    void newerFound(const QList<NewerNotice> &found);

private:
    QCoro::Task<> run(bool forced);
    QCoro::Task<bool> readOrigins(EngineStore *store);
    QList<NewerNotice> notices();
    void scheduleNext();
    // Each checkable tag with when it is next due, and whether its registry asked to wait.
    struct Due {
        ImageReference tag;
        QDateTime at;
        bool waiting = false;
    };
    QList<Due> dueTimes(const QDateTime &now) const;
    QList<ImageReference> tagsDue(bool forced) const;
    EngineStore *store(const QString &engine) const;
    std::optional<ImageFreshness> judgedName(const QString &engine, const QString &name) const;
    // What was judged is out of date: the origins or the answers changed.
    void rejudge();

    std::shared_ptr<Engine> m_engine;
    QSettings *m_settings;
    Engines m_engines;
    Muted m_muted;
    Options m_options;
    std::shared_ptr<TagLedger> m_ledger = std::make_shared<TagLedger>();
    bool m_ledgerRead = false;
    // By engine: each tag's image, the tags (with their ids) they were read for, what plain
    // HTTP it allows.
    QHash<QString, QHash<QString, ImageOrigin>> m_origins;
    QHash<QString, QSet<QString>> m_readTags;
    QHash<QString, InsecureRegistries> m_insecure;
    OnThisMachine m_onThisMachine;
    // What each row's image name was judged, by engine and name, until the next change.
    mutable QHash<QString, std::optional<ImageFreshness>> m_judged;
    bool m_anyNewer = false;
    std::shared_ptr<QHash<QString, AuthChallenge>> m_challenges = std::make_shared<QHash<QString, AuthChallenge>>();
    QTimer m_next;
    bool m_started = false;
    bool m_checking = false;
    bool m_meteredSkip = false;
    // A check asked for while one runs: one more follows it.
    std::optional<bool> m_again;
};
