#include "theme.h"
#include "settings.h"

#include "colorscheme.h"

#include <QEvent>
#include <QJSEngine>
#include <QGuiApplication>
#include <QPalette>
#include <QPointer>
#include <QSettings>

namespace {
QPointer<Theme> &theInstance()
{
    static QPointer<Theme> theme;
    return theme;
}

QString normalised(const QString &appearance)
{
    if (appearance == QLatin1String("light") || appearance == QLatin1String("dark"))
        return appearance;
    return QStringLiteral("auto");
}
}

Theme::Theme(QSettings *settings, ColorScheme *scheme, QObject *parent)
    : QObject(parent), m_settings(settings), m_scheme(scheme)
{
    m_appearance = normalised(m_settings ? Settings::appearance.read(*m_settings) : Settings::appearance.fallback);
    if (m_scheme)
        connect(m_scheme, &ColorScheme::preferenceChanged, this, &Theme::resolve);
    if (qApp)
        qApp->installEventFilter(this);
    resolve();
}

void Theme::setInstance(Theme *theme) { theInstance() = theme; }
Theme *Theme::instance() { return theInstance(); }

Theme *Theme::create(QQmlEngine *, QJSEngine *)
{
    Theme *theme = theInstance();
    Q_ASSERT_X(theme, "Theme", "the application makes the theme before loading QML");
    // QML must not take ownership of an object the application owns.
    QJSEngine::setObjectOwnership(theme, QJSEngine::CppOwnership);
    return theme;
}

void Theme::setAppearance(const QString &appearance)
{
    const QString next = normalised(appearance);
    if (m_settings)
        Settings::appearance.write(*m_settings, next);
    if (next == m_appearance)
        return;
    m_appearance = next;
    emit appearanceChanged();
    resolve();
}

QString Theme::readingName() const
{
    return dark() ? QStringLiteral("obsidian") : QStringLiteral("paper");
}

bool Theme::eventFilter(QObject *watched, QEvent *event)
{
    // Desktops without the portal still announce a new palette.
    if (watched == qApp && event->type() == QEvent::ApplicationPaletteChange && m_appearance == QLatin1String("auto"))
        resolve();
    return QObject::eventFilter(watched, event);
}

void Theme::resolve()
{
    Kor::Reading next = Kor::Reading::Paper;
    if (m_appearance == QLatin1String("dark")) {
        next = Kor::Reading::Obsidian;
    } else if (m_appearance == QLatin1String("auto")) {
        const auto preference = m_scheme ? m_scheme->preference() : ColorScheme::Preference::Unknown;
        if (preference == ColorScheme::Preference::Dark)
            next = Kor::Reading::Obsidian;
        else if (preference != ColorScheme::Preference::Light && qApp
                 && QGuiApplication::palette().color(QPalette::Window).lightness() < 128)
            next = Kor::Reading::Obsidian;
    }
    if (next == m_reading && !m_colors.isEmpty())
        return;
    m_reading = next;
    m_colors.clear();
    for (const Kor::Token &t : Kor::tokens())
        m_colors.insert(QString::fromLatin1(t.name), t.in(m_reading));
    emit readingChanged();
}
