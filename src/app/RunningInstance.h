#pragma once

#include <QObject>
#include <QStringList>

class QLocalServer;
class QLocalSocket;

// Keeps Cascader to one instance per user. The first instance listens on a
// socket in XDG_RUNTIME_DIR; a later one hands its paths and a request to come
// forward to it and exits.
class RunningInstance : public QObject
{
    Q_OBJECT

public:
    explicit RunningInstance(QObject *parent = nullptr);

    static QString socketPath();

    // True when this process is now the one instance; false when another runs.
    bool claim();
    // Sends each path as an open-file request, then the reopen request, to the
    // instance that runs; true when it acknowledged them.
    static bool handOff(const QStringList &paths);

Q_SIGNALS:
    void openFileRequested(const QString &path);
    void reopenRequested();

private:
    void acceptConnection();
    void readRequests(QLocalSocket *socket);

    QLocalServer *m_server = nullptr;
};
