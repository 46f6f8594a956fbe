#include "colorscheme.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusVariant>

namespace {
const QString service = QStringLiteral("org.freedesktop.portal.Desktop");
const QString path = QStringLiteral("/org/freedesktop/portal/desktop");
const QString interface = QStringLiteral("org.freedesktop.portal.Settings");
const QString ns = QStringLiteral("org.freedesktop.appearance");
const QString key = QStringLiteral("color-scheme");

// Read answers a variant inside a variant; ReadOne a single one. Unwrap whatever comes.
ColorScheme::Preference fromVariant(QVariant value)
{
    while (value.canConvert<QDBusVariant>() && value.userType() == qMetaTypeId<QDBusVariant>())
        value = value.value<QDBusVariant>().variant();
    bool ok = false;
    const uint v = value.toUInt(&ok);
    if (!ok || v > 2)
        return ColorScheme::Preference::NoPreference;
    return ColorScheme::Preference(v);
}
}

ColorScheme::ColorScheme(int timeoutMs, QObject *parent) : QObject(parent), m_timeoutMs(timeoutMs)
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        m_settled = true;
        return;
    }
    // The slot's argument types must be known before connecting, or the connection fails
    // silently in a process that has not used QtDBus's types yet.
    qRegisterMetaType<QDBusVariant>();
    // Matching on the sender's well-known name would depend on QtDBus having resolved its
    // owner first, and a change made in that window would be lost; path and interface suffice.
    bus.connect(QString(), path, interface, QStringLiteral("SettingChanged"), this,
                SLOT(settingChanged(QString, QString, QDBusVariant)));
    read(QStringLiteral("ReadOne"));
}

void ColorScheme::read(const QString &method)
{
    QDBusMessage call = QDBusMessage::createMethodCall(service, path, interface, method);
    call << ns << key;
    auto *watcher = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(call, m_timeoutMs), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, method](QDBusPendingCallWatcher *w) {
        w->deleteLater();
        const QDBusMessage reply = w->reply();
        // A change signalled meanwhile is newer than this answer.
        if (reply.type() == QDBusMessage::ReplyMessage && !reply.arguments().isEmpty() && m_preference == Preference::Unknown)
            setPreference(fromVariant(reply.arguments().constFirst()));
        // Older portals lack ReadOne; any other failure means no usable portal.
        else if (method == QLatin1String("ReadOne") && reply.errorName() == QLatin1String("org.freedesktop.DBus.Error.UnknownMethod"))
            return read(QStringLiteral("Read"));
        settle();
    });
}

void ColorScheme::settle()
{
    if (std::exchange(m_settled, true))
        return;
    emit settledChanged();
}

void ColorScheme::settingChanged(const QString &changedNs, const QString &changedKey, const QDBusVariant &value)
{
    if (changedNs == ns && changedKey == key)
        setPreference(fromVariant(value.variant()));
}

void ColorScheme::setPreference(Preference preference)
{
    if (m_preference == preference)
        return;
    m_preference = preference;
    emit preferenceChanged();
}
