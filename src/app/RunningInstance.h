#pragma once

#include <QObject>
#include <QStringList>

class QLocalServer;
class QLocalSocket;

// Keeps Cascader to one instance per user. The first instance listens on a
// socket in a folder that only this user may enter (XDG_RUNTIME_DIR, else
// one of its own in the temporary folder) and answers only this user; a
// later start hands its paths and a request to come forward to it and exits.
class RunningInstance : public QObject
{
    Q_OBJECT

public:
    // Finds the socket's folder. Without a private one, this start runs on its
    // own and says so.
    explicit RunningInstance(QObject *parent = nullptr);

    // Empty when there is no private folder.
    QString socketPath() const { return m_socketPath; }

    // True when this process is now the one instance; false when another runs.
    bool claim();
    // Whether another instance answers, without claiming anything.
    bool isRunning() const;
    enum class Reopen { Yes, No };
    // Sends each path as an open-file request, then (unless told not to) the
    // reopen request, to the instance that runs; true when it acknowledged them.
    bool handOff(const QStringList &paths, Reopen reopen = Reopen::Yes) const;

Q_SIGNALS:
    void openFileRequested(const QString &path);
    void reopenRequested();

private:
    bool connectToRunningInstance(QLocalSocket &socket) const;
    void acceptConnection();
    void readRequests(QLocalSocket *socket);

    QString m_socketPath;
    QLocalServer *m_server = nullptr;
};
