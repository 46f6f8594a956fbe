#include "diskpanel.h"

#include "appstore.h"

#include <QLocale>

DiskPanel::DiskPanel(AppStore *store, QObject *parent) : QObject(parent), m_store(store)
{
    m_settle.setSingleShot(true);
    m_settle.setInterval(2000);
    connect(&m_settle, &QTimer::timeout, this, &DiskPanel::read);
    // Only the selected engine's lists say its disk may differ; another engine's change
    // is no reason to make this one walk its layers again.
    const auto changed = [this] {
        const Lists now{m_store->containers(), m_store->images(), m_store->volumes()};
        if (now == m_lists)
            return;
        m_lists = now;
        if (m_shown && m_usage)
            m_settle.start();
    };
    connect(store, &AppStore::containersChanged, this, changed);
    connect(store, &AppStore::imagesChanged, this, changed);
    connect(store, &AppStore::volumesChanged, this, changed);
    connect(store, &AppStore::diskRead, this, [this](const DiskUsage &usage) { show(usage, QDateTime::currentDateTime()); });
    // Another runtime's report says nothing of this one.
    connect(store, &AppStore::runtimeChanged, this, [this] {
        m_usage.reset();
        m_error.clear();
        present();
        if (m_shown)
            read();
    });
    present();
}

QString DiskPanel::status() const
{
    if (m_reading)
        return QStringLiteral("Reading where the disk goes…");
    if (!m_error.isEmpty())
        return QStringLiteral("Could not read where the disk goes: ") + m_error;
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
        read();
}

void DiskPanel::setFilter(const QString &filter)
{
    if (m_filter == filter)
        return;
    m_filter = filter;
    present();
}

void DiskPanel::show(const DiskUsage &usage, const QDateTime &at)
{
    // A report read after the lists changed already shows the change.
    m_settle.stop();
    m_usage = usage;
    m_readAt = at;
    m_error.clear();
    present();
}

void DiskPanel::read()
{
    if (m_reading) {
        m_again = true;
        return;
    }
    m_reading = true;
    m_again = false;
    emit readChanged();
    [](QPointer<DiskPanel> self, QPointer<AppStore> store) -> QCoro::Task<> {
        auto reading = store->readDisk();
        const DiskReading read = co_await reading;
        if (!self)
            co_return;
        // A report came through the store's signal; only a failure is left to tell.
        self->m_reading = false;
        if (!read.usage)
            self->m_error = read.error;
        self->present();
        if (self->m_again && self->m_shown)
            self->read();
    }(this, m_store);
}

void DiskPanel::present()
{
    QList<DiskText::Row> rows = m_usage ? DiskText::rows(*m_usage) : QList<DiskText::Row>();
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
