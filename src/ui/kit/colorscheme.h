#pragma once

#include <QObject>
#include <QString>

class QDBusVariant;

// The desktop's colour-scheme preference as the xdg-desktop-portal reports it, followed
// through its SettingChanged signal. Without a portal the preference stays Unknown. The
// first read is asked without waiting: a portal that hangs must not hold the window.
class ColorScheme : public QObject {
    Q_OBJECT

public:
    enum class Preference { Unknown = -1, NoPreference = 0, Dark = 1, Light = 2 };

    // Asks for the current value (giving the portal timeoutMs to answer), then follows changes.
    explicit ColorScheme(int timeoutMs = 300, QObject *parent = nullptr);

    Preference preference() const { return m_preference; }
    // The first read has been answered, refused or given up on.
    bool settled() const { return m_settled; }

signals:
    void preferenceChanged();
    void settledChanged();

private slots:
    void settingChanged(const QString &ns, const QString &key, const QDBusVariant &value);

private:
    void setPreference(Preference preference);
    void read(const QString &method);
    void settle();

    int m_timeoutMs;
    Preference m_preference = Preference::Unknown;
    bool m_settled = false;
};
