#include "notifier.h"

#include "newertext.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>

namespace {
const QString service = QStringLiteral("org.freedesktop.Notifications");
const QString path = QStringLiteral("/org/freedesktop/Notifications");
}

Notifier::Notifier(ShowLogs showLogs, ShowImages showImages, QObject *parent)
    : QObject(parent), m_showLogs(std::move(showLogs)), m_showImages(std::move(showImages))
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    bus.connect(service, path, service, QStringLiteral("ActionInvoked"), this, SLOT(actionInvoked(uint, QString)));
    bus.connect(service, path, service, QStringLiteral("NotificationClosed"), this, SLOT(closed(uint, uint)));
}

void Notifier::tell(const QList<Failure> &failures)
{
    for (const FailureNotes::Note &note : FailureNotes::notes(failures))
        send(note.summary, note.body, 1, {QStringLiteral("show-logs"), QStringLiteral("Show logs"), [this, note] { m_showLogs(note); }});
}

void Notifier::tellNewer(const QList<NewerNotice> &found)
{
    if (found.isEmpty())
        return;
    const NewerText::Note note = NewerText::notification(found);
    // Nothing is wrong: the desktop may keep it quiet.
    QStringList engines;
    for (const NewerNotice &n : found)
        if (!engines.contains(n.engine))
            engines.append(n.engine);
    const auto show = [this, engines] {
        if (m_showImages)
            m_showImages(engines);
    };
    send(note.summary, note.body, 0, {QStringLiteral("show-images"), QStringLiteral("Show images"), show});
}

void Notifier::send(const QString &summary, const QString &body, uchar urgency, const Action &action)
{
    QDBusMessage call = QDBusMessage::createMethodCall(service, path, service, QStringLiteral("Notify"));
    // Clicking the notification itself does what its one button does.
    const QStringList actions{QStringLiteral("default"), action.label, action.key, action.label};
    const QVariantMap hints{{QStringLiteral("desktop-entry"), QStringLiteral("korvat")}, {QStringLiteral("urgency"), QVariant::fromValue(urgency)}};
    call << QStringLiteral("Korvat") << uint(0) << QStringLiteral("korvat") << summary << body << actions << hints << -1;
    auto *watcher = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(call, 5000), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, summary, body, action](QDBusPendingCallWatcher *w) {
        w->deleteLater();
        const QDBusPendingReply<uint> reply = *w;
        if (!reply.isError()) {
            m_shown.insert(reply.value(), action);
            return;
        }
        if (m_trayMessage)
            m_trayMessage(summary, body, action.act);
    });
}

void Notifier::actionInvoked(uint id, const QString &action)
{
    const auto shown = m_shown.constFind(id);
    if (shown == m_shown.cend() || (action != shown->key && action != QLatin1String("default")))
        return;
    shown->act();
}

void Notifier::closed(uint id, uint)
{
    m_shown.remove(id);
}
