#pragma once

#include <QElapsedTimer>
#include <QTcpServer>
#include <QTcpSocket>
#include <QUrl>

inline QByteArray httpResponse(const QByteArray &status, const QByteArray &body)
{
    return "HTTP/1.1 " + status + "\r\nContent-Length: " + QByteArray::number(body.size()) + "\r\n\r\n" + body;
}

// The update feed on 127.0.0.1: every request gets the same response, sent
// whole once the request head is in; an empty response is never sent.
struct FeedServer : QTcpServer
{
    FeedServer()
    {
        connect(this, &QTcpServer::newConnection, this, [this] {
            QTcpSocket *socket = nextPendingConnection();
            connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
            connect(socket, &QTcpSocket::readyRead, socket, [this, socket] {
                if (response.isEmpty() || !socket->peek(socket->bytesAvailable()).contains("\r\n\r\n"))
                    return;
                requestTimes << clock.elapsed();
                socket->write(response);
                socket->disconnectFromHost();
            });
        });
        listen(QHostAddress::LocalHost);
        clock.start();
    }
    QUrl url() const { return QUrl(QStringLiteral("http://127.0.0.1:%1/cascader/appcasts/updates.php").arg(serverPort())); }

    QByteArray response;
    QList<qint64> requestTimes; // milliseconds after clock's start
    QElapsedTimer clock;
};
