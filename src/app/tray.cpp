#include "tray.h"
#include "runtimeselection.h"

#include "appstore.h"
#include "desktop.h"
#include "iconprovider.h"
#include "notifier.h"
#include "panelplacement.h"
#include "settingscontroller.h"
#include "shell.h"
#include "theme.h"

#include <QApplication>
#include <QCursor>
#include <QMenu>
#include <QPainter>
#include <QQuickWindow>
#include <QScreen>
#include <QSvgRenderer>
#include <QSystemTrayIcon>

namespace {
// The monochrome glyph in one colour, at the sizes panels ask for.
QIcon glyph(bool running, const QColor &color)
{
    QSvgRenderer renderer(IconProvider::tinted(
        running ? QStringLiteral(":/korvat/app/korvat-tray-running.svg") : QStringLiteral(":/korvat/app/korvat-tray.svg"), color));
    QIcon icon;
    for (int size : {16, 22, 24, 32, 48, 64}) {
        QPixmap pixmap(size, size);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        painter.setRenderHint(QPainter::Antialiasing);
        renderer.render(&painter);
        icon.addPixmap(pixmap);
    }
    return icon;
}
}

Tray::Tray(Desktop::Session &session, QObject *parent) : QObject(parent), m_session(session)
{
    connect(&m_session.settings(), &SettingsController::showMenuBarChanged, this, &Tray::update);
    connect(&m_session.store(), &AppStore::containersChanged, this, &Tray::updateIcon);
    connect(Theme::instance(), &Theme::readingChanged, this, &Tray::updateIcon);
    connect(&m_session.store(), &AppStore::runtimesChanged, this, &Tray::rebuildMenu);
    connect(&m_session.store(), &AppStore::runtimeChanged, this, &Tray::rebuildMenu);
    m_session.notifier().setTrayMessage([this](const QString &summary, const QString &body, std::function<void()> clicked) {
        return showMessage(summary, body, std::move(clicked));
    });
    update();
}

Tray::~Tray()
{
    m_session.notifier().setTrayMessage({});
}

bool Tray::available() { return QSystemTrayIcon::isSystemTrayAvailable(); }

bool Tray::shown() const { return m_icon && m_icon->isVisible(); }

void Tray::update()
{
    const bool wanted = available() && m_session.settings().showMenuBar();
    if (wanted && !m_icon) {
        m_icon = std::make_unique<QSystemTrayIcon>();
        m_icon->setToolTip(QStringLiteral("Korvat"));
        m_menu = std::make_unique<QMenu>();
        m_icon->setContextMenu(m_menu.get());
        connect(m_icon.get(), &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
            if (reason == QSystemTrayIcon::Trigger)
                openPanel();
            else if (reason == QSystemTrayIcon::DoubleClick)
                openMain();
        });
        connect(m_icon.get(), &QSystemTrayIcon::messageClicked, this, [this] {
            if (m_messageClicked)
                m_messageClicked();
        });
        updateIcon();
        rebuildMenu();
        m_icon->show();
    } else if (!wanted && m_icon) {
        if (m_panel)
            m_panel->hide();
        m_icon.reset();
        m_menu.reset();
    }
    // With an icon to come back to, closing the main window leaves Korvat running.
    QGuiApplication::setQuitOnLastWindowClosed(!shown());
}

void Tray::updateIcon()
{
    if (!m_icon)
        return;
    // The panel follows the desktop's colour scheme, and so does the glyph on it.
    const QColor ink = Theme::instance() && Theme::instance()->dark() ? QColor(0xF5F1E9) : QColor(0x0A1B3D);
    m_icon->setIcon(glyph(m_session.store().runningCount() > 0, ink));
}

void Tray::rebuildMenu()
{
    if (!m_menu)
        return;
    m_menu->clear();
    m_menu->addAction(QStringLiteral("Open Korvat"), this, &Tray::openMain);
    m_menu->addSeparator();
    const auto &store = m_session.store();
    for (const RuntimeEntry &entry : store.runtimes()) {
        QAction *action = m_menu->addAction(RuntimeSelection::label(entry));
        action->setCheckable(true);
        action->setChecked(store.runtime() == entry.runtime);
        const Runtime runtime = entry.runtime;
        connect(action, &QAction::triggered, this, [this, runtime] {
            if (m_session.store().runtime() != runtime)
                m_session.store().select(runtime);
        });
    }
    m_menu->addSeparator();
    m_menu->addAction(QStringLiteral("Quit"), qApp, &QCoreApplication::quit);
}

void Tray::openPanel()
{
    if (!m_panel) {
        m_panel = m_session.loadPanel();
        if (!m_panel)
            return openMain();
        connect(m_panel, SIGNAL(openMain()), this, SLOT(openMain()));
        connect(m_panel, SIGNAL(openSettings()), this, SLOT(openSettings()));
        connect(m_panel, SIGNAL(quit()), qApp, SLOT(quit()));
        connect(m_panel, SIGNAL(naturalHeightChanged()), this, SLOT(fitPanel()));
    }
    if (m_panel->isVisible()) {
        m_panel->hide();
        return;
    }
    QList<PanelPlacement::Screen> screens;
    for (QScreen *screen : QGuiApplication::screens())
        screens.append({screen->geometry(), screen->availableGeometry()});
    fitPanel();
    const QRect icon = m_icon ? m_icon->geometry() : QRect();
    m_panel->setPosition(PanelPlacement::place(icon, QCursor::pos(), screens, m_panel->size()).topLeft());
    // A Wayland compositor knows a window by the application id it reads as the window maps:
    // the panel takes its own for that moment, so window rules can tell it from the main window.
    const QString appId = QGuiApplication::desktopFileName();
    QGuiApplication::setDesktopFileName(panelAppId);
    m_panel->show();
    QGuiApplication::setDesktopFileName(appId);
    m_panel->raise();
    m_panel->requestActivate();
}

bool Tray::showMessage(const QString &summary, const QString &body, std::function<void()> clicked)
{
    if (!m_icon)
        return false;
    m_messageClicked = std::move(clicked);
    m_icon->showMessage(summary, body, QSystemTrayIcon::Warning);
    return true;
}

void Tray::fitPanel()
{
    if (m_panel)
        PanelPlacement::holdSize(*m_panel, QSize(m_panel->width(), m_panel->property("naturalHeight").toInt()));
}

void Tray::openSettings()
{
    m_session.shell().openSettings();
}

void Tray::openMain()
{
    QQuickWindow *window = m_session.window();
    window->show();
    window->raise();
    window->requestActivate();
}
