#pragma once

#include "failurenotes.h"

#include <QHash>
#include <QObject>
#include <functional>

// Tells the desktop of failed containers through the freedesktop notification service, with
// a "Show logs" action; where no service answers, through the tray icon's own message.
class Notifier : public QObject {
    Q_OBJECT

public:
    using ShowLogs = std::function<void(const FailureNotes::Note &)>;
    // Shows a message on the tray icon, calling clicked when it is clicked; false when there
    // is no icon to show it on.
    using TrayMessage = std::function<bool(const QString &summary, const QString &body, std::function<void()> clicked)>;

    explicit Notifier(ShowLogs showLogs, QObject *parent = nullptr);

    void setTrayMessage(TrayMessage trayMessage) { m_trayMessage = std::move(trayMessage); }

    void tell(const QList<Failure> &failures);

private slots:
    void actionInvoked(uint id, const QString &action);
    void closed(uint id, uint reason);

private:
    void send(const FailureNotes::Note &note);

    ShowLogs m_showLogs;
    TrayMessage m_trayMessage;
    QHash<uint, FailureNotes::Note> m_shown;
};
