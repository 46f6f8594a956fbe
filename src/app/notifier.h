#pragma once

#include "failurenotes.h"
#include "newerimagewatch.h"

#include <QHash>
#include <QObject>
#include <functional>

// Tells the desktop of failed containers, with a "Show logs" action, and of newer images
// found, with a "Show images" action, through the freedesktop notification service; where no
// service answers, through the tray icon's own message.
class Notifier : public QObject {
    Q_OBJECT

public:
    using ShowLogs = std::function<void(const FailureNotes::Note &)>;
    // The engines whose images it told of, by name.
    using ShowImages = std::function<void(const QStringList &engines)>;
    // Shows a message on the tray icon, calling clicked when it is clicked; false when there
    // is no icon to show it on.
    using TrayMessage = std::function<bool(const QString &summary, const QString &body, std::function<void()> clicked)>;

    explicit Notifier(ShowLogs showLogs, ShowImages showImages = {}, QObject *parent = nullptr);

    void setTrayMessage(TrayMessage trayMessage) { m_trayMessage = std::move(trayMessage); }

    void tell(const QList<Failure> &failures);
    // One notification for what one check found.
    void tellNewer(const QList<NewerNotice> &found);

private slots:
    void actionInvoked(uint id, const QString &action);
    void closed(uint id, uint reason);

private:
    // Its one button, and what clicking it or the notification itself does.
    struct Action {
        QString key;
        QString label;
        std::function<void()> act;
    };
    void send(const QString &summary, const QString &body, uchar urgency, const Action &action);

    ShowLogs m_showLogs;
    ShowImages m_showImages;
    TrayMessage m_trayMessage;
    QHash<uint, Action> m_shown;
};
