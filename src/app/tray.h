#pragma once

#include <QObject>
#include <QPointer>
#include <QQuickWindow>
#include <functional>
#include <memory>

class QMenu;
class QSystemTrayIcon;

namespace Desktop {
class Session;
}

// Korvat's place in the system tray: the icon while "showMenuBar" is on, the panel it opens,
// and a context menu for desktops where a panel cannot open. Without a tray on the desktop
// it stays away, and closing the main window quits.
class Tray : public QObject {
    Q_OBJECT

public:
    explicit Tray(Desktop::Session &session, QObject *parent = nullptr);
    ~Tray() override;

    // The panel's application id on Wayland, for window rules.
    static inline const QString panelAppId = QStringLiteral("korvat-panel");

    static bool available();
    bool shown() const;
    QQuickWindow *panel() const { return m_panel; }

public slots:
    // Opens the panel beside the icon, or hides it when it is open.
    void openPanel();
    // Creates or raises the one main window.
    void openMain();
    void openSettings();

public:
    // A message from the icon, for desktops without a notification service; false without
    // an icon. clicked runs when the message is clicked.
    bool showMessage(const QString &summary, const QString &body, std::function<void()> clicked);

private slots:
    void fitPanel();

private:
    void update();
    void updateIcon();
    void rebuildMenu();

    Desktop::Session &m_session;
    std::unique_ptr<QSystemTrayIcon> m_icon;
    std::unique_ptr<QMenu> m_menu;
    QPointer<QQuickWindow> m_panel;
    std::function<void()> m_messageClicked;
};
