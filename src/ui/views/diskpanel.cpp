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
            // What a disk report shows of them: a status line ticking on says nothing new.
            Lists now;
            for (const Container &c : part.containers)
                now.containers << c.id + u' ' + c.state + u' ' + c.image + u' ' + c.mounts.join(u',');
            for (const DockerImage &i : part.images)
                now.images << i.id + u' ' + i.repository + u':' + i.tag;
            for (const DockerVolume &v : part.volumes)
                now.volumes << v.name;
            Lists &seen = m_lists[part.engine];
            const QString &e = part.engine;
            // An engine that answered after the view was shown is read once its lists come;
            // one read before, or whose reading failed, once they change.
            const bool never = !m_byEngine.contains(e) && !m_errors.contains(e) && !m_reading.contains(e);
            const bool moved = now != seen;
            seen = now;
            if (m_shown && (never || (moved && (m_byEngine.contains(e) || m_errors.contains(e))))) {
                m_changed.insert(e);
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
    if (reading())
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
    if (!shown) {
        m_settle.stop();
        m_again.clear();
    }
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
    // Engines shown, all of them when none is named; never one gone meanwhile, whose name
    // would be asked of a context that may not be it.
    const QStringList shown = shownEngines();
    if (engines.isEmpty())
        engines = QSet<QString>(shown.cbegin(), shown.cend());
    engines.removeIf([&](const QString &engine) { return !shown.contains(engine); });
    // One reading per engine at a time: asked again meanwhile, one more follows it.
    for (const QString &engine : std::as_const(engines)) {
        if (m_reading.contains(engine))
            m_again.insert(engine);
    }
    engines -= m_reading;
    if (engines.isEmpty())
        return;
    const bool was = reading();
    m_reading += engines;
    if (!was)
        emit readChanged();
    // Each engine walks its own disk at once: a slow one holds up no other's report.
    for (const QString &engine : std::as_const(engines)) {
        [](QPointer<DiskPanel> self, QPointer<AppStore> store, QString engine) -> QCoro::Task<> {
            auto reading = store->readDisk(store->runtimeNamed(engine));
            const DiskReading read = co_await reading;
            if (!self || !store)
                co_return;
            self->m_reading.remove(engine);
            // A report came through the store's signal; only a failure is left to tell, and
            // only of an engine still shown.
            if (!read.usage && self->shownEngines().contains(engine))
                self->m_errors.insert(engine, read.error);
            if (!self->m_reading.isEmpty())
                co_return;
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
