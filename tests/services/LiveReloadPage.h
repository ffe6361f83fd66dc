#pragma once

#include "services/JSON/SBJSON.h"

#include <QWebSocket>

inline QString liveReloadHello(const QStringList &protocols = {"http://livereload.com/protocols/official-6",
                                                               "http://livereload.com/protocols/official-7"})
{
    return *SBJSON::JSONRepresentation(QVariantMap{{"command", "hello"}, {"protocols", protocols}});
}

// A browser page as a LiveReload server sees it: connects, says its first
// message, keeps what it is told.
struct LiveReloadPage
{
    explicit LiveReloadPage(quint16 port, const QString &firstMessage = liveReloadHello())
    {
        QObject::connect(&socket, &QWebSocket::textMessageReceived,
                         [this](const QString &message) { messages << SBJSON::JSONValue(message).toMap(); });
        QObject::connect(&socket, &QWebSocket::connected,
                         [this, firstMessage] { socket.sendTextMessage(firstMessage); });
        socket.open(QUrl(QString("ws://127.0.0.1:%1/livereload").arg(port)));
    }
    // The paths of the reloads, in the order they came.
    QStringList reloadedPaths() const
    {
        QStringList paths;
        for (const QVariantMap &message : messages) {
            if (message["command"] == "reload")
                paths << message["path"].toString();
        }
        return paths;
    }

    QWebSocket socket;
    QList<QVariantMap> messages;
};
