#pragma once

#include "diskmodel.h"
#include "disktilemodel.h"
#include "container.h"
#include "diskusage.h"
#include "dockerimage.h"
#include "dockervolume.h"

#include <QDateTime>
#include <QHash>
#include <QMap>
#include <QSet>
#include <QObject>
#include <QTimer>
#include <QtQml/qqmlregistration.h>
#include <optional>

class AppStore;

// The disk view's state: the last report of every engine shown, read while the view is shown
// and again when an engine's lists change under it, its rows side by side and its totals
// added up, filtered by the shared search text.
class DiskPanel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The shell makes the disk panel")
    Q_PROPERTY(DiskModel *items READ items CONSTANT)
    Q_PROPERTY(DiskTileModel *tiles READ tiles CONSTANT)
    Q_PROPERTY(bool reading READ reading NOTIFY readChanged)
    Q_PROPERTY(bool hasReport READ hasReport NOTIFY readChanged)
    // "Read at 14:05", "Reading where the disk goes…", or why it could not be read.
    Q_PROPERTY(QString status READ status NOTIFY readChanged)
    Q_PROPERTY(bool failed READ failed NOTIFY readChanged)

public:
    explicit DiskPanel(AppStore *store, QObject *parent = nullptr);

    DiskModel *items() { return &m_items; }
    const DiskModel *items() const { return &m_items; }
    DiskTileModel *tiles() { return &m_tiles; }
    const DiskTileModel *tiles() const { return &m_tiles; }
    bool reading() const { return !m_reading.isEmpty(); }
    bool hasReport() const { return m_usage.has_value(); }
    QString status() const;
    bool failed() const { return !m_errors.isEmpty(); }
    // Why a report could not be read, each engine's reason named while several are shown.
    QString error() const;
    const std::optional<DiskUsage> &usage() const { return m_usage; }

    // Reads while shown; hidden, it costs the engine nothing.
    void setShown(bool shown);
    void setFilter(const QString &filter);
    // Shows a report read elsewhere, as the pictures do; of the selected engine unless named.
    void show(const DiskUsage &usage, const QDateTime &at, const std::optional<QString> &engine = {});
    // Reads the engines named, or every engine shown.
    void read(QSet<QString> engines);
    Q_INVOKABLE void read() { read({}); }
    // The reports of several engines as one: their rows side by side, their totals added.
    static DiskUsage merged(const QList<DiskUsage> &usages);

signals:
    void readChanged();

private:
    void present();
    QStringList shownEngines() const;

    AppStore *m_store;
    // The selected engine's lists as last seen.
    struct Lists {
        QStringList containers;
        QStringList images;
        QStringList volumes;
        friend bool operator==(const Lists &, const Lists &) = default;
    };
    // By engine.
    QHash<QString, Lists> m_lists;
    QMap<QString, DiskUsage> m_byEngine;
    QMap<QString, QString> m_errors;
    // Engines whose lists changed since their last report, read once the change settles.
    QSet<QString> m_changed;

    DiskModel m_items;
    DiskTileModel m_tiles;
    std::optional<DiskUsage> m_usage;
    QDateTime m_readAt;
    QString m_filter;
    bool m_shown = false;
    // The engines whose reading is under way.
    QSet<QString> m_reading;
    // Engines asked for while a reading ran: one more follows it.
    QSet<QString> m_again;
    // The lists change in bursts (a compose up, a reclaim): one reading follows the burst.
    QTimer m_settle;
};
