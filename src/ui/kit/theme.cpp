#include "theme.h"
#include "settings.h"

#include "colorscheme.h"

#include <QEvent>
#include <QJSEngine>
#include "transcript.h"

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

TranscriptPalette Theme::transcriptPalette() const
{
    // Chosen to read on each reading's page: blue is light on Obsidian's navy, yellow and
    // white are dark enough on Paper.
    static const std::array<quint32, 16> obsidian = {0x5C6B8A, 0xF07A72, 0x6FD39B, 0xE8C468, 0x7FB2FF, 0xD79BEF, 0x6FD4D8, 0xD8D4CC,
                                                     0x8E99B4, 0xFF9A92, 0x8FE6B2, 0xF5D98A, 0xA5CBFF, 0xE6B8F7, 0x94E6E9, 0xF5F1E9};
    static const std::array<quint32, 16> paper = {0x0A1B3D, 0xB3261E, 0x1C7A4A, 0x8A6200, 0x1F5FBF, 0x8E3FA8, 0x0B7A80, 0x6B7280,
                                                  0x4A5568, 0xD2453D, 0x2E9460, 0xA67C00, 0x3B7BE0, 0xA855C9, 0x13969C, 0x5E6884};
    TranscriptPalette p;
    p.ansi = dark() ? obsidian : paper;
    p.page = page().rgb() & 0xffffff;
    p.ink = inkSoft().rgb() & 0xffffff;
    p.match = 0xF3D37A;
    p.currentMatch = 0xFF9F43;
    for (const int i : {4, 2, 5, 3, 6, 1, 12, 10, 13, 11, 14, 9})
        p.services.append(p.ansi[i]);
    return p;
}

void Theme::paint(Transcript *transcript) const
{
    if (transcript)
        transcript->setPalette(transcriptPalette());
}
