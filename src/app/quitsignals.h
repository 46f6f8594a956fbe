#pragma once

#include <QObject>

class QSocketNotifier;

// A desktop session ends its programs with SIGTERM or SIGHUP, a terminal with SIGINT. Each
// quits the event loop, so the window's owners end in order: settings written, children
// ended, the tray icon removed. The handler itself only writes a byte to a socket the event
// loop watches, which is all a signal handler may safely do.
class QuitSignals : public QObject {
    Q_OBJECT

public:
    explicit QuitSignals(QObject *parent = nullptr);
    ~QuitSignals() override;

private:
    QSocketNotifier *m_notifier = nullptr;
};
