#include "diskpanel.h"

#include "appstore.h"
#include "mergedview.h"

#include <QLocale>

DiskPanel::DiskPanel(AppStore *store, QObject *parent) : QObject(parent), m_store(store)
{
    m_settle.setSingleShot(true);
    m_settle.setInterval(2000);
    connect(&m_settle, &QTimer::timeout, this, [this] { read(std::exchange(m_changed, {})); });
    // An engine's lists say its disk may differ; another engine's change is no reason to
    // make this one walk its layers again.
    const auto changed = [this] {
        for (const MergedView::Part &part : m_store->shown().parts()) {
            const Lists now{part.containers, part.images, part.volumes};
            Lists &seen = m_lists[part.engine];
            if (now == seen)
                continue;
            seen = now;
            if (m_shown && m_byEngine.contains(part.engine)) {
                m_changed.insert(part.engine);
                m_settle.start();
            }
        }
    };
    connect(store, &AppStore::containersChanged, this, changed);
    connect(store, &AppStore::imagesChanged, this, changed);
    connect(store, &AppStore::volumesChanged, this, changed);
    connect(store, &AppStore::diskRead, this, [this](const DiskUsage &usage, const QString &engine) {
        if (shownEngines().contains(engine))
            show(usage, QDateTime::currentDateTime(), engine);
    });
    // An engine no longer shown takes its report with it; one newly shown is read.
    const auto shownChanged = [this] {
        const QStringList shown = shownEngines();
        m_byEngine.removeIf([&](const auto &it) { return !shown.contains(it.key()); });
        m_errors.removeIf([&](const auto &it) { return !shown.contains(it.key()); });
        present();
        QSet<QString> unread;
        for (const QString &engine : shown) {
            if (!m_byEngine.contains(engine))
                unread.insert(engine);
        }
        if (m_shown && !unread.isEmpty())
            read(unread);
    };
    connect(store, &AppStore::runtimeChanged, this, shownChanged);
    connect(store, &AppStore::shownChanged, this, shownChanged);
    connect(store, &AppStore::enginesChanged, this, shownChanged);
    present();
}

QStringList DiskPanel::shownEngines() const
{
    QStringList names;
    for (const MergedView::Part &part : m_store->shown().parts())
        names.append(part.engine);
    return names;
}

QString DiskPanel::status() const
{
    if (m_reading)
        return QStringLiteral("Reading where the disk goes…");
    if (failed())
        return QStringLiteral("Could not read where the disk goes: ") + error();
    return m_readAt.isValid() ? DiskText::readAt(m_readAt) : QString();
}

void DiskPanel::setShown(bool shown)
{
    if (m_shown == shown)
        return;
    m_shown = shown;
    if (!shown)
        m_settle.stop();
    // A report older than a minute is read again; a newer one is shown as it is.
    else if (!m_usage || m_readAt.secsTo(QDateTime::currentDateTime()) > 60)
        read({});
}

void DiskPanel::setFilter(const QString &filter)
{
    if (m_filter == filter)
        return;
    m_filter = filter;
    present();
}

void DiskPanel::show(const DiskUsage &usage, const QDateTime &at, const std::optional<QString> &engine)
{
    const QString name = engine.value_or(m_store->selected().name());
    // A report read after the lists changed already shows the change.
    m_changed.remove(name);
    if (m_changed.isEmpty())
        m_settle.stop();
    m_byEngine.insert(name, usage);
    m_errors.remove(name);
    m_readAt = at;
    present();
}

QString DiskPanel::error() const
{
    if (m_errors.size() == 1 && !m_store->shown().several())
        return m_errors.first();
    QStringList each;
    for (auto it = m_errors.cbegin(); it != m_errors.cend(); ++it)
        each << it.key() + QStringLiteral(": ") + it.value();
    return each.join(QStringLiteral("; "));
}

DiskUsage DiskPanel::merged(const QList<DiskUsage> &usages)
{
    const auto add = [](DiskUsage::Total &sum, const DiskUsage::Total &one) {
        sum.count += one.count;
        sum.active += one.active;
        // An engine that gave no figure leaves the sum unknown.
        sum.bytes = sum.bytes < 0 || one.bytes < 0 ? -1 : sum.bytes + one.bytes;
        sum.reclaimable = sum.reclaimable < 0 || one.reclaimable < 0 ? -1 : sum.reclaimable + one.reclaimable;
    };
    DiskUsage all;
    bool first = true;
    for (const DiskUsage &u : usages) {
        if (first) {
            all = u;
            first = false;
            continue;
        }
        all.images += u.images;
        all.containers += u.containers;
        all.volumes += u.volumes;
        all.buildCache += u.buildCache;
        add(all.imagesTotal, u.imagesTotal);
        add(all.containersTotal, u.containersTotal);
        add(all.volumesTotal, u.volumesTotal);
        add(all.cacheTotal, u.cacheTotal);
    }
    return all;
}

void DiskPanel::read(QSet<QString> engines)
{
    // Every engine shown when none is named.
    if (engines.isEmpty()) {
        const QStringList shown = shownEngines();
        engines = QSet<QString>(shown.cbegin(), shown.cend());
    }
    if (m_reading) {
        m_again += engines;
        return;
    }
    m_reading = true;
    emit readChanged();
    m_pending = int(engines.size());
    // Each engine walks its own disk at once: a slow one holds up no other's report.
    for (const QString &engine : std::as_const(engines)) {
        [](QPointer<DiskPanel> self, QPointer<AppStore> store, QString engine) -> QCoro::Task<> {
            auto reading = store->readDisk(store->runtimeNamed(engine));
            const DiskReading read = co_await reading;
            if (!self)
                co_return;
            // A report came through the store's signal; only a failure is left to tell.
            if (!read.usage)
                self->m_errors.insert(engine, read.error);
            if (--self->m_pending > 0)
                co_return;
            self->m_reading = false;
            self->present();
            emit self->readChanged();
            if (!self->m_again.isEmpty() && self->m_shown)
                self->read(std::exchange(self->m_again, {}));
        }(this, m_store, engine);
    }
}

void DiskPanel::present()
{
    // Every engine's rows, each saying whose, largest first over all of them.
    QList<DiskText::Row> rows;
    const bool several = m_store->shown().several();
    for (auto it = m_byEngine.cbegin(); it != m_byEngine.cend(); ++it) {
        for (DiskText::Row row : DiskText::rows(it.value())) {
            row.engine = it.key();
            rows.append(row);
        }
    }
    std::stable_sort(rows.begin(), rows.end(), [](const DiskText::Row &a, const DiskText::Row &b) {
        return std::max<qint64>(a.bytes, -1) > std::max<qint64>(b.bytes, -1);
    });
    m_items.setSeveral(several);
    m_usage = m_byEngine.isEmpty() ? std::nullopt : std::optional(merged(m_byEngine.values()));
    const qint64 largest = rows.isEmpty() ? 0 : std::max<qint64>(rows.first().bytes, 0);
    if (!m_filter.isEmpty()) {
        rows.removeIf([&](const DiskText::Row &r) {
            return !r.name.contains(m_filter, Qt::CaseInsensitive) && !r.use.contains(m_filter, Qt::CaseInsensitive);
        });
    }
    m_items.setRows(rows, largest);
    QList<DiskText::Tile> tiles = DiskText::tiles(m_usage.value_or(DiskUsage{}));
    if (!m_usage) {
        // Nothing read yet: a tile says so rather than counting nothing.
        for (DiskText::Tile &t : tiles) {
            t.total = QStringLiteral("—");
            t.detail.clear();
        }
    }
    m_tiles.setTiles(tiles);
    emit readChanged();
}
