#include "toolchainstore.h"
#include "settings.h"

#include "toolchain.h"

#include <QCoroFuture>
#include <QPointer>
#include <QSettings>
#include <QtConcurrent>

ToolchainStore::ToolchainStore(QSettings *settings, std::shared_ptr<const ToolchainSource> source, Clock clock, QObject *parent)
    : QObject(parent), m_settings(settings), m_source(std::move(source)), m_clock(std::move(clock)),
      m_brewAvailable(m_source->brewAvailable())
{
    const double seconds = Settings::toolchainLastChecked.read(*m_settings);
    if (seconds > 0)
        m_lastChecked = QDateTime::fromMSecsSinceEpoch(qint64(seconds * 1000), Qt::UTC);
    const QStringList dismissed = Settings::dismissedToolUpdates.read(*m_settings);
    m_dismissed = QSet<QString>(dismissed.cbegin(), dismissed.cend());
}

QList<Tool> ToolchainStore::updatable() const
{
    QList<Tool> list;
    for (const auto &t : m_tools) {
        if (t.brewManaged && t.installed && t.latest && Toolchain::isOlder(*t.installed, *t.latest))
            list.append(t);
    }
    return list;
}

std::optional<QString> ToolchainStore::noticeText() const
{
    QList<Tool> pending = updatable();
    pending.removeIf([&](const Tool &t) { return m_dismissed.contains(t.updateKey()); });
    if (pending.isEmpty())
        return std::nullopt;
    if (pending.size() == 1)
        return pending.first().name + u' ' + *pending.first().latest + QStringLiteral(" is available");
    return QString::number(pending.size()) + QStringLiteral(" runtime updates are available");
}

bool ToolchainStore::containerInstalled() const
{
    return std::any_of(m_tools.cbegin(), m_tools.cend(), [](const Tool &t) { return t.formula == QLatin1String("container") && t.installed; });
}

QCoro::Task<> ToolchainStore::load()
{
    QPointer<ToolchainStore> self(this);
    auto future = QtConcurrent::run([source = m_source] { return std::pair(source->survey(), source->systemStatus()); });
    const auto [tools, status] = co_await future;
    if (!self)
        co_return;
    merge(tools);
    setStatus(status);
}

QCoro::Task<> ToolchainStore::check()
{
    if (m_checking)
        co_return;
    setChecking(true);
    setNote(std::nullopt);
    struct Result {
        std::optional<QString> problem;
        QMap<QString, QString> latest;
        QList<Tool> tools;
        SystemStatus status;
    };
    QPointer<ToolchainStore> self(this);
    // The order matters: the index is refreshed before anything reads it.
    auto future = QtConcurrent::run([source = m_source] {
        Result r;
        r.problem = source->refreshIndex();
        r.latest = source->latest();
        r.tools = source->survey();
        r.status = source->systemStatus();
        return r;
    });
    auto result = co_await future;
    if (!self)
        co_return;
    for (auto &t : result.tools) {
        const auto it = result.latest.constFind(t.formula);
        t.latest = it == result.latest.cend() ? std::nullopt : std::optional(*it);
    }
    setTools(result.tools);
    setStatus(result.status);
    setNote(result.problem);
    setLastChecked(m_clock());
    setChecking(false);
}

QCoro::Task<> ToolchainStore::checkIfStale()
{
    const QDateTime now = m_clock();
    // A last check in the future means the clock was set back; trust nothing and check.
    if (!m_lastChecked || *m_lastChecked > now || m_lastChecked->secsTo(now) >= checkInterval)
        co_await check();
}

QCoro::Task<> ToolchainStore::checkAtLaunch(bool enabled)
{
    if (m_didLaunchCheck)
        co_return;
    m_didLaunchCheck = true;
    QPointer<ToolchainStore> self(this);
    co_await load();
    if (self && enabled)
        co_await checkIfStale();
}

void ToolchainStore::dismissNotice()
{
    const auto before = noticeText();
    for (const auto &t : updatable())
        m_dismissed.insert(t.updateKey());
    QStringList stored(m_dismissed.cbegin(), m_dismissed.cend());
    stored.sort();
    m_settings->setValue(Settings::dismissedToolUpdates.key, stored);
    emit dismissedChanged();
    updateNotice(before);
}

void ToolchainStore::merge(const QList<Tool> &fresh)
{
    QMap<QString, std::optional<QString>> latest;
    for (const auto &t : m_tools)
        latest.insert(t.formula, t.latest);
    QList<Tool> tools = fresh;
    for (auto &t : tools)
        t.latest = latest.value(t.formula);
    setTools(tools);
}

void ToolchainStore::setTools(const QList<Tool> &tools)
{
    if (m_tools == tools)
        return;
    const auto before = noticeText();
    m_tools = tools;
    emit toolsChanged();
    updateNotice(before);
}

void ToolchainStore::setStatus(const SystemStatus &status)
{
    if (m_status == status)
        return;
    m_status = status;
    emit statusChanged();
}

void ToolchainStore::setChecking(bool checking)
{
    if (m_checking == checking)
        return;
    m_checking = checking;
    emit checkingChanged();
}

void ToolchainStore::setNote(const std::optional<QString> &note)
{
    if (m_note == note)
        return;
    m_note = note;
    emit noteChanged();
}

void ToolchainStore::setLastChecked(const std::optional<QDateTime> &when)
{
    if (m_lastChecked == when)
        return;
    m_lastChecked = when;
    m_settings->setValue(Settings::toolchainLastChecked.key, when ? double(when->toMSecsSinceEpoch()) / 1000.0 : 0.0);
    emit lastCheckedChanged();
}

void ToolchainStore::updateNotice(const std::optional<QString> &before)
{
    if (noticeText() != before)
        emit noticeChanged();
}
