#pragma once

#include <QObject>
#include <QString>

class QDBusVariant;

// The desktop's colour-scheme preference as the xdg-desktop-portal reports it, followed
// through its SettingChanged signal. Without a portal the preference stays Unknown.
class ColorScheme : public QObject {
    Q_OBJECT

public:
    enum class Preference { Unknown = -1, NoPreference = 0, Dark = 1, Light = 2 };

    // Reads the current value at once (waiting at most timeoutMs for the portal), then follows changes.
    explicit ColorScheme(int timeoutMs = 300, QObject *parent = nullptr);

    Preference preference() const { return m_preference; }

signals:
    void preferenceChanged();

private slots:
    void settingChanged(const QString &ns, const QString &key, const QDBusVariant &value);

private:
    void setPreference(Preference preference);

    Preference m_preference = Preference::Unknown;
};
