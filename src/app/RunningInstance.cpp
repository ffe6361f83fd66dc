#include "RunningInstance.h"

#include "support/Logging.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocalServer>
#include <QLocalSocket>

#include <cerrno>
#include <cstring>
#include <optional>

#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int HandOffTimeoutMs = 5000;
constexpr mode_t PrivateFolderMode = 0700;
const QString SocketName = QStringLiteral("cascader.socket");
const QString OwnFolderName = QStringLiteral("cascader-%1");
const QByteArray OpenRequest = QByteArrayLiteral("open ");
const QByteArray ReopenRequest = QByteArrayLiteral("reopen");
// The last line of a hand-off, which the running instance acknowledges.
const QByteArray DoneRequest = QByteArrayLiteral("done");
const QByteArray Acknowledgement = QByteArrayLiteral("ok\n");

// Why the folder is not this user's alone, or nothing when it is. A link
// does not count as a folder: it could lead anywhere.
QString whyNotPrivate(const QString &folder)
{
    struct stat status;
    if (::lstat(QFile::encodeName(folder).constData(), &status) != 0)
        return QString::fromLocal8Bit(std::strerror(errno));
    if (!S_ISDIR(status.st_mode))
        return QStringLiteral("it is not a folder");
    if (status.st_uid != ::geteuid())
        return QStringLiteral("it belongs to another user");
    if ((status.st_mode & 0777) != PrivateFolderMode)
        return QStringLiteral("other users may enter it");
    return {};
}

// mkdir creates nothing where something already is, links included; a folder
// found there must pass the same test as one just made.
QString makePrivateFolder(const QString &folder)
{
    const QByteArray encoded = QFile::encodeName(folder);
    if (::mkdir(encoded.constData(), PrivateFolderMode) == 0)
        ::chmod(encoded.constData(), PrivateFolderMode); // whatever the umask
    return whyNotPrivate(folder);
}

QString privateSocketPath()
{
    const QString runtimeFolder = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (!runtimeFolder.isEmpty() && whyNotPrivate(runtimeFolder).isEmpty())
        return QDir(runtimeFolder).filePath(SocketName);
    const QString ownFolder = QDir::temp().filePath(OwnFolderName.arg(::geteuid()));
    const QString problem = makePrivateFolder(ownFolder);
    if (problem.isEmpty())
        return QDir(ownFolder).filePath(SocketName);
    qCWarning(lcApp,
              "Cascader cannot use %s to find its other starts: %s. This start runs on its own; "
              "remove that folder or set XDG_RUNTIME_DIR.",
              qUtf8Printable(ownFolder), qUtf8Printable(problem));
    return {};
}

// The user at the other end of a connected socket, as the kernel knows it.
std::optional<uid_t> peerUser(const QLocalSocket &socket)
{
    ucred credentials{};
    socklen_t length = sizeof credentials;
    if (::getsockopt(int(socket.socketDescriptor()), SOL_SOCKET, SO_PEERCRED, &credentials, &length) != 0)
        return std::nullopt;
    return credentials.uid;
}

} // namespace

RunningInstance::RunningInstance(QObject *parent) : QObject(parent), m_socketPath(privateSocketPath()) {}

bool RunningInstance::connectToRunningInstance(QLocalSocket &socket) const
{
    socket.connectToServer(m_socketPath);
    if (socket.waitForConnected(HandOffTimeoutMs) && peerUser(socket) == ::geteuid())
        return true;
    socket.abort();
    return false;
}

bool RunningInstance::claim()
{
    if (m_socketPath.isEmpty())
        return true;
    QLocalSocket probe;
    if (connectToRunningInstance(probe))
        return false;

    // Nobody answers: whatever socket file is left belongs to a crashed instance.
    QLocalServer::removeServer(m_socketPath);
    m_server = new QLocalServer(this);
    m_server->setSocketOptions(QLocalServer::UserAccessOption);
    if (!m_server->listen(m_socketPath)) {
        // Another instance started at the same moment and won.
        QLocalSocket rival;
        if (connectToRunningInstance(rival))
            return false;
        qCWarning(lcApp, "Cannot listen on %s: %s. Other starts of Cascader will not find this one.",
                  qUtf8Printable(m_socketPath), qUtf8Printable(m_server->errorString()));
        return true;
    }
    connect(m_server, &QLocalServer::newConnection, this, &RunningInstance::acceptConnection);
    return true;
}

// Paths travel percent-encoded, so that any name, a newline in it too, stays whole.
bool RunningInstance::isRunning() const
{
    QLocalSocket probe;
    return !m_socketPath.isEmpty() && connectToRunningInstance(probe);
}

bool RunningInstance::handOff(const QStringList &paths, Reopen reopen) const
{
    QLocalSocket socket;
    if (m_socketPath.isEmpty() || !connectToRunningInstance(socket))
        return false;
    QByteArray requests;
    for (const QString &path : paths)
        requests += OpenRequest + QFile::encodeName(QFileInfo(path).absoluteFilePath()).toPercentEncoding() + '\n';
    if (reopen == Reopen::Yes)
        requests += ReopenRequest + '\n';
    requests += DoneRequest + '\n';
    socket.write(requests);
    if (!socket.waitForBytesWritten(HandOffTimeoutMs))
        return false;
    while (socket.bytesAvailable() < Acknowledgement.size()) {
        if (!socket.waitForReadyRead(HandOffTimeoutMs))
            return false;
    }
    return socket.readAll() == Acknowledgement;
}

// The folder keeps other users out; should the socket be reachable all the
// same, they are still not heard.
void RunningInstance::acceptConnection()
{
    while (QLocalSocket *socket = m_server->nextPendingConnection()) {
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        if (const std::optional<uid_t> user = peerUser(*socket); user != ::geteuid()) {
            qCWarning(lcApp, "Ignored a connection to %s from user %s.", qUtf8Printable(m_socketPath),
                      qUtf8Printable(user ? QString::number(*user) : QStringLiteral("unknown")));
            socket->abort();
            socket->deleteLater();
            continue;
        }
        connect(socket, &QLocalSocket::readyRead, this, [this, socket] { readRequests(socket); });
    }
}

void RunningInstance::readRequests(QLocalSocket *socket)
{
    while (socket->canReadLine()) {
        const QByteArray line = socket->readLine().chopped(1);
        if (line.startsWith(OpenRequest)) {
            const QByteArray path = QByteArray::fromPercentEncoding(line.mid(OpenRequest.size()));
            Q_EMIT openFileRequested(QFile::decodeName(path));
        } else if (line == ReopenRequest) {
            Q_EMIT reopenRequested();
        } else if (line == DoneRequest) {
            socket->write(Acknowledgement);
        }
    }
}
