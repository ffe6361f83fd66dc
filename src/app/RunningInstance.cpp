#include "RunningInstance.h"

#include "support/Logging.h"

#include <QDir>
#include <QFileInfo>
#include <QLocalServer>
#include <QLocalSocket>

#include <unistd.h>

namespace {

constexpr int HandOffTimeoutMs = 5000;
const QByteArray OpenRequest = QByteArrayLiteral("open ");
const QByteArray ReopenRequest = QByteArrayLiteral("reopen");
const QByteArray Acknowledgement = QByteArrayLiteral("ok\n");

bool connectToRunningInstance(QLocalSocket &socket)
{
    socket.connectToServer(RunningInstance::socketPath());
    return socket.waitForConnected(HandOffTimeoutMs);
}

} // namespace

RunningInstance::RunningInstance(QObject *parent) : QObject(parent) {}

QString RunningInstance::socketPath()
{
    const QString runtimeFolder = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (!runtimeFolder.isEmpty() && QFileInfo(runtimeFolder).isDir())
        return QDir(runtimeFolder).filePath(QStringLiteral("cascader.socket"));
    return QDir::temp().filePath(QStringLiteral("cascader-%1.socket").arg(::getuid()));
}

bool RunningInstance::claim()
{
    QLocalSocket probe;
    if (connectToRunningInstance(probe))
        return false;

    // Nobody answers: whatever socket file is left belongs to a crashed instance.
    QLocalServer::removeServer(socketPath());
    m_server = new QLocalServer(this);
    m_server->setSocketOptions(QLocalServer::UserAccessOption);
    if (!m_server->listen(socketPath())) {
        // Another instance started at the same moment and won.
        QLocalSocket rival;
        if (connectToRunningInstance(rival))
            return false;
        qCWarning(lcApp, "Cannot listen on %s: %s. Other starts of Cascader will not find this one.",
                  qUtf8Printable(socketPath()), qUtf8Printable(m_server->errorString()));
        return true;
    }
    connect(m_server, &QLocalServer::newConnection, this, &RunningInstance::acceptConnection);
    return true;
}

bool RunningInstance::handOff(const QStringList &paths)
{
    QLocalSocket socket;
    if (!connectToRunningInstance(socket))
        return false;
    QByteArray requests;
    for (const QString &path : paths)
        requests += OpenRequest + QFileInfo(path).absoluteFilePath().toUtf8() + '\n';
    requests += ReopenRequest + '\n';
    socket.write(requests);
    if (!socket.waitForBytesWritten(HandOffTimeoutMs))
        return false;
    while (socket.bytesAvailable() < Acknowledgement.size()) {
        if (!socket.waitForReadyRead(HandOffTimeoutMs))
            return false;
    }
    return socket.readAll() == Acknowledgement;
}

void RunningInstance::acceptConnection()
{
    while (QLocalSocket *socket = m_server->nextPendingConnection()) {
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        connect(socket, &QLocalSocket::readyRead, this, [this, socket] { readRequests(socket); });
    }
}

void RunningInstance::readRequests(QLocalSocket *socket)
{
    while (socket->canReadLine()) {
        const QByteArray line = socket->readLine().chopped(1);
        if (line.startsWith(OpenRequest)) {
            Q_EMIT openFileRequested(QString::fromUtf8(line.mid(OpenRequest.size())));
        } else if (line == ReopenRequest) {
            Q_EMIT reopenRequested();
            socket->write(Acknowledgement);
        }
    }
}
