#pragma once

#include "services/LiveReloadServer.h"

#include <QObject>
#include <QStringList>

class MainAppController;
struct Notification;

// Live reload as the preferences set it: the LiveReload server, and the CSS
// files it announces. A burst of compiles is announced once it is over, each
// CSS file once; a single save is announced as soon as its CSS is written.
class LiveReload : public QObject
{
    Q_OBJECT

public:
    explicit LiveReload(MainAppController *controller);

    // Follows the preferences from now on; forcedOn (--live-reload) serves
    // whatever they say about switching it on.
    void start(bool forcedOn = false);
    bool isServing() const { return m_server.isListening(); }
    int pageCount() const { return m_server.pageCount(); }
    quint16 port() const { return m_server.serverPort(); }

Q_SIGNALS:
    // Serving started or stopped, or a page came or went.
    void stateChanged();

private:
    void applyPreferences();
    void serveOn(const QHostAddress &address, quint16 port);
    void stopServing();
    void reportListenFailure(quint16 port);
    void handleCompileOutcome(const Notification &notification);
    void announcePendingStylesheets();

    MainAppController *m_controller;
    LiveReloadServer m_server;
    bool m_started = false;
    bool m_forcedOn = false;
    // Written since the last announcement, in the order they were written.
    QStringList m_pendingStylesheets;
};
