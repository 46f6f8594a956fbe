#pragma once

#include "tool.h"
#include "toolchainsource.h"

#include <QCoroTask>
#include <QDateTime>
#include <QObject>
#include <QSet>
#include <functional>
#include <memory>
#include <optional>

class QSettings;

// What Korvat knows about the runtime toolchain: the tools with installed and latest
// versions, the container service, the daily update check and the update notice.
// State changes only on the UI thread; the probes run on workers.
class ToolchainStore : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool checking READ checking NOTIFY checkingChanged)
    Q_PROPERTY(QString note READ noteText NOTIFY noteChanged)
    Q_PROPERTY(QDateTime lastChecked READ lastCheckedTime NOTIFY lastCheckedChanged)
    Q_PROPERTY(QString noticeText READ noticeTextOrEmpty NOTIFY noticeChanged)
    Q_PROPERTY(bool containerInstalled READ containerInstalled NOTIFY toolsChanged)
    Q_PROPERTY(bool brewAvailable READ brewAvailable CONSTANT)

public:
    using Clock = std::function<QDateTime()>;
    static constexpr qint64 checkInterval = 86400;

    ToolchainStore(QSettings *settings, std::shared_ptr<const ToolchainSource> source,
                   Clock clock = &QDateTime::currentDateTimeUtc, QObject *parent = nullptr);

    const std::shared_ptr<const ToolchainSource> &source() const { return m_source; }

    const QList<Tool> &tools() const { return m_tools; }
    const SystemStatus &status() const { return m_status; }
    bool checking() const { return m_checking; }
    const std::optional<QString> &note() const { return m_note; }
    QString noteText() const { return m_note.value_or(QString()); }
    const std::optional<QDateTime> &lastChecked() const { return m_lastChecked; }
    QDateTime lastCheckedTime() const { return m_lastChecked.value_or(QDateTime()); }
    const QSet<QString> &dismissed() const { return m_dismissed; }
    bool brewAvailable() const { return m_brewAvailable; }

    QList<Tool> updatable() const;
    std::optional<QString> noticeText() const;
    QString noticeTextOrEmpty() const { return noticeText().value_or(QString()); }
    bool containerInstalled() const;

    QCoro::Task<> load();
    QCoro::Task<> check();
    QCoro::Task<> checkIfStale();
    QCoro::Task<> checkAtLaunch(bool enabled);
    Q_INVOKABLE void dismissNotice();
    void merge(const QList<Tool> &fresh);

signals:
    void toolsChanged();
    void statusChanged();
    void checkingChanged();
    void noteChanged();
    void lastCheckedChanged();
    void dismissedChanged();
    void noticeChanged();

private:
    void setTools(const QList<Tool> &tools);
    void setStatus(const SystemStatus &status);
    void setChecking(bool checking);
    void setNote(const std::optional<QString> &note);
    void setLastChecked(const std::optional<QDateTime> &when);
    void updateNotice(const std::optional<QString> &before);

    QSettings *m_settings;
    std::shared_ptr<const ToolchainSource> m_source;
    Clock m_clock;
    QList<Tool> m_tools;
    SystemStatus m_status;
    bool m_checking = false;
    std::optional<QString> m_note;
    std::optional<QDateTime> m_lastChecked;
    QSet<QString> m_dismissed;
    bool m_brewAvailable = false;
    bool m_didLaunchCheck = false;
};
