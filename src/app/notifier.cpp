#include "notifier.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>

namespace {
const QString service = QStringLiteral("org.freedesktop.Notifications");
const QString path = QStringLiteral("/org/freedesktop/Notifications");
const QString logsAction = QStringLiteral("show-logs");
}

Notifier::Notifier(ShowLogs showLogs, QObject *parent) : QObject(parent), m_showLogs(std::move(showLogs))
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    bus.connect(service, path, service, QStringLiteral("ActionInvoked"), this, SLOT(actionInvoked(uint, QString)));
    bus.connect(service, path, service, QStringLiteral("NotificationClosed"), this, SLOT(closed(uint, uint)));
}

void Notifier::tell(const QList<Failure> &failures)
{
    for (const FailureNotes::Note &note : FailureNotes::notes(failures))
        send(note);
}

void Notifier::send(const FailureNotes::Note &note)
{
    QDBusMessage call = QDBusMessage::createMethodCall(service, path, service, QStringLiteral("Notify"));
    // Clicking the notification itself does what its one button does.
    const QStringList actions{QStringLiteral("default"), QStringLiteral("Show logs"), logsAction, QStringLiteral("Show logs")};
    const QVariantMap hints{{QStringLiteral("desktop-entry"), QStringLiteral("korvat")}, {QStringLiteral("urgency"), QVariant::fromValue(uchar(1))}};
    call << QStringLiteral("Korvat") << uint(0) << QStringLiteral("korvat") << note.summary << note.body << actions << hints << -1;
    auto *watcher = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(call, 5000), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, note](QDBusPendingCallWatcher *w) {
        w->deleteLater();
        const QDBusPendingReply<uint> reply = *w;
        if (!reply.isError()) {
            m_shown.insert(reply.value(), note);
            return;
        }
        if (m_trayMessage)
            m_trayMessage(note.summary, note.body, [this, note] { m_showLogs(note); });
    });
}

void Notifier::actionInvoked(uint id, const QString &action)
{
    const auto note = m_shown.constFind(id);
    if (note == m_shown.cend() || (action != logsAction && action != QLatin1String("default")))
        return;
    m_showLogs(*note);
}

void Notifier::closed(uint id, uint)
{
    m_shown.remove(id);
}
