// Plays another user's program on a local socket, for the single-instance
// tests. "listen PATH" serves PATH to everyone and prints "connected" for
// each connection; "send PATH TEXT" sends TEXT and prints what comes back
// before the other end closes.
#include <QCoreApplication>
#include <QLocalServer>
#include <QLocalSocket>

#include <cstdio>

namespace {

constexpr int TimeoutMs = 5000;

void print(const QByteArray &text)
{
    std::fputs(text.constData(), stdout);
    std::fflush(stdout);
}

int listen(QCoreApplication &application, const QString &path)
{
    QLocalServer server;
    server.setSocketOptions(QLocalServer::WorldAccessOption);
    if (!server.listen(path))
        return 1;
    QObject::connect(&server, &QLocalServer::newConnection, [&server] {
        while (server.nextPendingConnection())
            print("connected\n");
    });
    print("listening\n");
    return application.exec();
}

int send(const QString &path, const QString &text)
{
    QLocalSocket socket;
    socket.connectToServer(path);
    if (!socket.waitForConnected(TimeoutMs))
        return 1;
    socket.write(text.toUtf8());
    socket.waitForBytesWritten(TimeoutMs);
    socket.waitForDisconnected(TimeoutMs);
    print(socket.readAll());
    return 0;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    const QStringList arguments = application.arguments();
    if (arguments.size() == 3 && arguments.at(1) == QLatin1String("listen"))
        return listen(application, arguments.at(2));
    if (arguments.size() == 4 && arguments.at(1) == QLatin1String("send"))
        return send(arguments.at(2), arguments.at(3));
    return 2;
}
