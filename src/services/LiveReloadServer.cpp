#include "LiveReloadServer.h"

#include "services/JSON/SBJSON.h"
#include "services/JSON/SBJsonParser.h"
#include "support/Logging.h"

#include <QFile>
#include <QTcpSocket>
#include <QTimer>
#include <QWebSocket>

#include <optional>
#include <utility>

namespace {

const QString ServerName = QStringLiteral("Cascader");
const QString ProtocolSeven = QStringLiteral("http://livereload.com/protocols/official-7");
const QString CommandKey = QStringLiteral("command");
const QString HelloCommand = QStringLiteral("hello");
const QString ProtocolsKey = QStringLiteral("protocols");
const QByteArray ScriptPath = "/livereload.js";
const QByteArray EndOfHead = "\r\n\r\n";
const QByteArray LineEnd = "\r\n";
const QByteArray OkStatus = "200 OK";
const QByteArray NotFoundStatus = "404 Not Found";
const QByteArray ScriptType = "application/javascript";
const QByteArray TextType = "text/plain; charset=utf-8";

QString json(const QVariantMap &object)
{
    return SBJSON::JSONRepresentation(object).value_or(QString());
}

QString helloMessage()
{
    return json({{CommandKey, HelloCommand},
                 {ProtocolsKey, QStringList{ProtocolSeven}},
                 {QStringLiteral("serverName"), ServerName}});
}

QString reloadMessage(const QString &cssPath)
{
    return json({{CommandKey, QStringLiteral("reload")},
                 {QStringLiteral("path"), cssPath},
                 {QStringLiteral("liveCSS"), true}});
}

// "GET /livereload.js?snipver=1 HTTP/1.1": the method and the path without
// its query; nothing when the line is not a request.
std::optional<std::pair<QByteArray, QByteArray>> methodAndPath(const QByteArray &requestLine)
{
    const QList<QByteArray> parts = requestLine.split(' ');
    if (parts.size() != 3 || !parts[1].startsWith('/') || !parts[2].startsWith("HTTP/1."))
        return std::nullopt;
    return std::pair{parts[0], parts[1].split('?').constFirst()};
}

bool asksForWebSocket(const QList<QByteArray> &headerLines)
{
    for (const QByteArray &line : headerLines) {
        const qsizetype colon = line.indexOf(':');
        if (colon > 0 && line.left(colon).trimmed().toLower() == "upgrade")
            return line.mid(colon + 1).trimmed().toLower() == "websocket";
    }
    return false;
}

void closeNow(QAbstractSocket *socket)
{
    socket->abort();
    socket->deleteLater();
}

} // namespace

LiveReloadServer::LiveReloadServer(const QString &scriptPath, QObject *parent)
    : QObject(parent), m_scriptPath(scriptPath), m_webSocketServer(ServerName, QWebSocketServer::NonSecureMode)
{
    m_webSocketServer.setHandshakeTimeout(RequestTimeoutMs);
    connect(&m_tcpServer, &QTcpServer::newConnection, this, &LiveReloadServer::acceptConnections);
    connect(&m_webSocketServer, &QWebSocketServer::newConnection, this, &LiveReloadServer::acceptPages);
}

// Whoever listens is going away too.
LiveReloadServer::~LiveReloadServer()
{
    blockSignals(true);
    close();
}

bool LiveReloadServer::listen(const QHostAddress &address, quint16 port)
{
    close();
    return m_tcpServer.listen(address, port);
}

// A socket that the WebSocket server has taken over is deleted by its owner
// once it is disconnected.
void LiveReloadServer::close()
{
    m_tcpServer.close();
    const QSet<QWebSocket *> pages = m_pages;
    for (QWebSocket *page : pages)
        dropPage(page);
    for (const QPointer<QTcpSocket> &socket : std::as_const(m_connections)) {
        if (socket)
            socket->abort();
    }
    m_connections.clear();
}

void LiveReloadServer::reloadStylesheet(const QString &cssPath)
{
    const QString message = reloadMessage(cssPath);
    const QSet<QWebSocket *> pages = m_pages;
    for (QWebSocket *page : pages)
        send(page, message);
}

void LiveReloadServer::acceptConnections()
{
    while (QTcpSocket *socket = m_tcpServer.nextPendingConnection()) {
        if (openConnectionCount() >= MaximumConnections) {
            qCWarning(lcServices, "Live reload refused a connection: %d are open already.", MaximumConnections);
            closeNow(socket);
            continue;
        }
        m_connections << socket;
        watchRequest(socket);
    }
}

qsizetype LiveReloadServer::openConnectionCount()
{
    m_connections.removeIf([](const QPointer<QTcpSocket> &socket) { return socket.isNull(); });
    return m_connections.size();
}

// A request that never completes, or whose answer is never taken, is cut off.
void LiveReloadServer::watchRequest(QTcpSocket *socket)
{
    connect(socket, &QTcpSocket::readyRead, this, [this, socket] { readRequestHead(socket); });
    connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
    auto *timeout = new QTimer(socket);
    timeout->setSingleShot(true);
    connect(timeout, &QTimer::timeout, socket, [socket] { closeNow(socket); });
    timeout->start(RequestTimeoutMs);
}

// The head is only peeked at: a WebSocket handshake goes on to the WebSocket
// server with its bytes still unread.
void LiveReloadServer::readRequestHead(QTcpSocket *socket)
{
    const QByteArray buffered = socket->peek(MaximumRequestHeadBytes);
    const qsizetype end = buffered.indexOf(EndOfHead);
    if (end >= 0)
        answerRequest(socket, buffered.left(end));
    else if (socket->bytesAvailable() >= MaximumRequestHeadBytes)
        closeNow(socket);
}

void LiveReloadServer::answerRequest(QTcpSocket *socket, const QByteArray &head)
{
    QList<QByteArray> lines = head.split('\n');
    for (QByteArray &line : lines)
        line = line.trimmed();
    const auto request = methodAndPath(lines.takeFirst());
    if (!request) {
        closeNow(socket);
        return;
    }
    disconnect(socket, &QTcpSocket::readyRead, this, nullptr);
    if (asksForWebSocket(lines)) {
        disconnect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
        qDeleteAll(socket->findChildren<QTimer *>(Qt::FindDirectChildrenOnly));
        m_webSocketServer.handleConnection(socket);
        return;
    }
    QFile script(m_scriptPath);
    if (request->first == "GET" && request->second == ScriptPath && script.open(QIODevice::ReadOnly))
        respond(socket, OkStatus, ScriptType, script.readAll());
    else
        respond(socket, NotFoundStatus, TextType, NotFoundStatus);
}

void LiveReloadServer::respond(QTcpSocket *socket, const QByteArray &status, const QByteArray &contentType,
                               const QByteArray &body)
{
    socket->readAll();
    socket->write("HTTP/1.1 " + status + LineEnd + "Content-Type: " + contentType + LineEnd
                  + "Content-Length: " + QByteArray::number(body.size()) + LineEnd + "Connection: close" + EndOfHead + body);
    socket->disconnectFromHost();
}

void LiveReloadServer::acceptPages()
{
    while (QWebSocket *page = m_webSocketServer.nextPendingConnection()) {
        // Ours from here: a page that never says hello goes with the server.
        page->setParent(this);
        page->setMaxAllowedIncomingFrameSize(MaximumCommandBytes);
        page->setMaxAllowedIncomingMessageSize(MaximumCommandBytes);
        connect(page, &QWebSocket::textMessageReceived, this,
                [this, page](const QString &message) { readCommand(page, message); });
        connect(page, &QWebSocket::disconnected, this, [this, page] { dropPage(page); });
    }
}

// Only the hello matters; "info" and the like are the pages' own business,
// and what is not JSON is not worth a line in the log.
void LiveReloadServer::readCommand(QWebSocket *page, const QString &message)
{
    const QVariantMap command = SBJsonParser().objectWithString(message).toMap();
    if (command.value(CommandKey).toString() == HelloCommand
        && command.value(ProtocolsKey).toStringList().contains(ProtocolSeven))
        greet(page);
}

void LiveReloadServer::greet(QWebSocket *page)
{
    if (m_pages.contains(page))
        return;
    m_pages.insert(page);
    send(page, helloMessage());
    Q_EMIT pageCountChanged(pageCount());
}

void LiveReloadServer::dropPage(QWebSocket *page)
{
    const bool wasPage = m_pages.remove(page);
    page->disconnect(this);
    page->abort();
    page->deleteLater();
    if (wasPage)
        Q_EMIT pageCountChanged(pageCount());
}

void LiveReloadServer::send(QWebSocket *page, const QString &message)
{
    if (page->bytesToWrite() > MaximumUnsentBytes) {
        qCInfo(lcServices, "Live reload dropped a page that stopped reading.");
        dropPage(page);
        return;
    }
    page->sendTextMessage(message);
}
