#pragma once

#include "kor.h"
#include "transcript.h"

#include <QColor>
#include <QFont>
#include <QHash>
#include <QObject>
#include <QtQml/qqmlregistration.h>

class ColorScheme;
class QJSEngine;
class QQmlEngine;
class QSettings;

// Resolves every colour token for the reading in force: the one "appearance" forces, or
// with "auto" the desktop's colour scheme, followed live. No view holds a colour of its own.
class Theme : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON
    Q_PROPERTY(QString appearance READ appearance WRITE setAppearance NOTIFY appearanceChanged)
    Q_PROPERTY(bool dark READ dark NOTIFY readingChanged)
    Q_PROPERTY(QString reading READ readingName NOTIFY readingChanged)
    Q_PROPERTY(QString headingFamily READ headingFamily CONSTANT)
    Q_PROPERTY(QString textFamily READ textFamily CONSTANT)
    Q_PROPERTY(QString monoFamily READ monoFamily CONSTANT)
    Q_PROPERTY(QFont caption READ caption CONSTANT)
    // What dims the window behind a sheet: darker on Obsidian, where a light veil would glow.
    Q_PROPERTY(QColor scrim READ scrim NOTIFY readingChanged)
    Q_PROPERTY(QColor chrome READ chrome NOTIFY readingChanged)
    Q_PROPERTY(QColor card READ card NOTIFY readingChanged)
    Q_PROPERTY(QColor control READ control NOTIFY readingChanged)
    Q_PROPERTY(QColor wash READ wash NOTIFY readingChanged)
    Q_PROPERTY(QColor pillFill READ pillFill NOTIFY readingChanged)
    Q_PROPERTY(QColor line READ line NOTIFY readingChanged)
    Q_PROPERTY(QColor ink READ ink NOTIFY readingChanged)
    Q_PROPERTY(QColor muted READ muted NOTIFY readingChanged)
    Q_PROPERTY(QColor pillInk READ pillInk NOTIFY readingChanged)
    Q_PROPERTY(QColor success READ success NOTIFY readingChanged)
    Q_PROPERTY(QColor ionHover READ ionHover NOTIFY readingChanged)
    Q_PROPERTY(QColor errFill READ errFill NOTIFY readingChanged)
    Q_PROPERTY(QColor errLine READ errLine NOTIFY readingChanged)
    Q_PROPERTY(QColor page READ page NOTIFY readingChanged)
    Q_PROPERTY(QColor ion READ ion NOTIFY readingChanged)
    Q_PROPERTY(QColor onAccent READ onAccent NOTIFY readingChanged)
    Q_PROPERTY(QColor inkSoft READ inkSoft NOTIFY readingChanged)
    Q_PROPERTY(QColor danger READ danger NOTIFY readingChanged)
    Q_PROPERTY(QColor badgeFill READ badgeFill NOTIFY readingChanged)
    Q_PROPERTY(QColor badgeInk READ badgeInk NOTIFY readingChanged)
    Q_PROPERTY(QColor errInk READ errInk NOTIFY readingChanged)

public:
    // scheme may be null: "auto" then reads the application palette only.
    explicit Theme(QSettings *settings, ColorScheme *scheme, QObject *parent = nullptr);

    // The instance QML sees; the application makes it before loading any view.
    static void setInstance(Theme *theme);
    static Theme *instance();
    static Theme *create(QQmlEngine *, QJSEngine *);

    QString appearance() const { return m_appearance; }
    void setAppearance(const QString &appearance);
    Kor::Reading reading() const { return m_reading; }
    bool dark() const { return m_reading == Kor::Reading::Obsidian; }
    QString readingName() const;
    QString headingFamily() const { return Kor::heading; }
    QString textFamily() const { return Kor::text; }
    QString monoFamily() const { return Kor::mono; }
    QFont caption() const { return Kor::caption(); }
    QColor scrim() const { return QColor(0, 0, 0, dark() ? 153 : 102); }

    Q_INVOKABLE QFont varied(const QString &name, int weight, qreal size) const { return Kor::varied(name, weight, size); }
    // The terminal's sixteen colours, find's marks and the services' colours for this reading.
    TranscriptPalette transcriptPalette() const;
    // Gives a transcript this reading's colours; views call it again when the reading changes.
    Q_INVOKABLE void paint(Transcript *transcript) const;

    QColor chrome() const { return m_colors.value(QStringLiteral("chrome")); }
    QColor card() const { return m_colors.value(QStringLiteral("card")); }
    QColor control() const { return m_colors.value(QStringLiteral("control")); }
    QColor wash() const { return m_colors.value(QStringLiteral("wash")); }
    QColor pillFill() const { return m_colors.value(QStringLiteral("pillFill")); }
    QColor line() const { return m_colors.value(QStringLiteral("line")); }
    QColor ink() const { return m_colors.value(QStringLiteral("ink")); }
    QColor muted() const { return m_colors.value(QStringLiteral("muted")); }
    QColor pillInk() const { return m_colors.value(QStringLiteral("pillInk")); }
    QColor success() const { return m_colors.value(QStringLiteral("success")); }
    QColor ionHover() const { return m_colors.value(QStringLiteral("ionHover")); }
    QColor errFill() const { return m_colors.value(QStringLiteral("errFill")); }
    QColor errLine() const { return m_colors.value(QStringLiteral("errLine")); }
    QColor page() const { return m_colors.value(QStringLiteral("page")); }
    QColor ion() const { return m_colors.value(QStringLiteral("ion")); }
    QColor onAccent() const { return m_colors.value(QStringLiteral("onAccent")); }
    QColor inkSoft() const { return m_colors.value(QStringLiteral("inkSoft")); }
    QColor danger() const { return m_colors.value(QStringLiteral("danger")); }
    QColor badgeFill() const { return m_colors.value(QStringLiteral("badgeFill")); }
    QColor badgeInk() const { return m_colors.value(QStringLiteral("badgeInk")); }
    QColor errInk() const { return m_colors.value(QStringLiteral("errInk")); }

signals:
    void appearanceChanged();
    void readingChanged();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void resolve();

    QSettings *m_settings;
    ColorScheme *m_scheme;
    QString m_appearance;
    Kor::Reading m_reading = Kor::Reading::Paper;
    QHash<QString, QColor> m_colors;
};
