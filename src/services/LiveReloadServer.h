#pragma once

#include <QHostAddress>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QSet>
#include <QTcpServer>
#include <QWebSocketServer>

class QTcpSocket;
class QWebSocket;

// A LiveReload server (protocol 7). Pages load livereload.js from it over
// plain HTTP and connect back with a WebSocket on the same port; once a page
// has said hello it is told of every stylesheet to reload. Nothing here waits
// for a client: one whose unsent bytes pile up is dropped, and connections
// beyond a bound are refused.
class LiveReloadServer : public QObject
{
    Q_OBJECT

public:
    // Pages, handshakes and HTTP requests together.
    static constexpr int MaximumConnections = 256;
    static constexpr qint64 MaximumUnsentBytes = 256 * 1024;
    static constexpr qint64 MaximumRequestHeadBytes = 8 * 1024;
    static constexpr quint64 MaximumCommandBytes = 64 * 1024;
    // An HTTP connection gets this long to ask and to take its answer.
    static constexpr int RequestTimeoutMs = 10'000;

    // scriptPath: the livereload.js that pages load.
    explicit LiveReloadServer(const QString &scriptPath, QObject *parent = nullptr);
    ~LiveReloadServer() override;

    bool listen(const QHostAddress &address, quint16 port);
    void close();
    bool isListening() const { return m_tcpServer.isListening(); }
    quint16 serverPort() const { return m_tcpServer.serverPort(); }
    QHostAddress serverAddress() const { return m_tcpServer.serverAddress(); }
    QString errorString() const { return m_tcpServer.errorString(); }

    // The pages that completed the handshake.
    int pageCount() const { return int(m_pages.size()); }
    void reloadStylesheet(const QString &cssPath);

Q_SIGNALS:
    void pageCountChanged(int pages);

private:
    void acceptConnections();
    qsizetype openConnectionCount();
    void watchRequest(QTcpSocket *socket);
    void readRequestHead(QTcpSocket *socket);
    void answerRequest(QTcpSocket *socket, const QByteArray &head);
    void respond(QTcpSocket *socket, const QByteArray &status, const QByteArray &contentType,
                 const QByteArray &body);
    void acceptPages();
    void readCommand(QWebSocket *page, const QString &message);
    void greet(QWebSocket *page);
    void dropPage(QWebSocket *page);
    void send(QWebSocket *page, const QString &message);

    QString m_scriptPath;
    // Every connection, whatever stage it is at. Weak pointers: the WebSocket
    // server takes the sockets over, connections and all.
    QList<QPointer<QTcpSocket>> m_connections;
    QSet<QWebSocket *> m_pages;
    QTcpServer m_tcpServer;
    QWebSocketServer m_webSocketServer;
};
