#include "services/UpdatesHelper.h"
#include "support/UserDefaults.h"
#include "support/UserDefaultsKeys.h"

#include <QRegularExpression>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>
#include <QThread>

#include <memory>

using namespace std::chrono_literals;

static QByteArray httpResponse(const QByteArray &status, const QByteArray &body)
{
    return "HTTP/1.1 " + status + "\r\nContent-Length: " + QByteArray::number(body.size()) + "\r\n\r\n" + body;
}

class TestUpdatesHelper : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void fetch_data();
    void fetch();
    void updateFeedURL_data();
    void updateFeedURL();
};

void TestUpdatesHelper::fetch_data()
{
    // Empty: the server never answers; null: nothing listens.
    QTest::addColumn<QByteArray>("response");
    // Empty on success.
    QTest::addColumn<QString>("errorType");

    const QString offline = "noInternetConnection";
    const QString malformed = "urlNotFoundOrDataMalformed";
    QTest::newRow("feed") << httpResponse("200 OK", R"({"latestVersion": "1.1", "latestBuild": "500"})") << "";
    QTest::newRow("HTML") << httpResponse("200 OK", "<html><body>Moved</body></html>") << malformed;
    QTest::newRow("empty body") << httpResponse("200 OK", "") << malformed;
    QTest::newRow("error page") << httpResponse("404 Not Found", "<h1>Not Found</h1>") << malformed;
    QTest::newRow("error without body") << httpResponse("404 Not Found", "") << offline;
    QTest::newRow("not UTF-8") << httpResponse("200 OK", "{\"latestBuild\": \"\xff\"}") << offline;
    QTest::newRow("body cut short") << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 99\r\n\r\n{\"latestBuild\"")
                                    << offline;
    QTest::newRow("never answers") << QByteArray("") << offline;
    QTest::newRow("closed port") << QByteArray() << offline;
}

void TestUpdatesHelper::fetch()
{
    QFETCH(QByteArray, response);
    QFETCH(QString, errorType);

    QTcpServer server;
    QVERIFY(server.listen(QHostAddress::LocalHost));
    const QUrl url(QString("http://127.0.0.1:%1/cascader/appcasts/updates.php").arg(server.serverPort()));
    if (response.isNull())
        server.close();
    connect(&server, &QTcpServer::newConnection, this, [&] {
        QTcpSocket *socket = server.nextPendingConnection();
        connect(socket, &QTcpSocket::readyRead, socket, [socket, response] {
            if (!response.isEmpty() && socket->readAll().endsWith("\r\n\r\n")) {
                socket->write(response);
                socket->disconnectFromHost();
            }
        });
    });

    QTest::failOnWarning(QRegularExpression(".*"));
    if (errorType == "urlNotFoundOrDataMalformed")
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^-JSONValue failed"));
    // As the application does it, on a thread of its own; this one serves.
    QVariantMap result;
    const std::unique_ptr<QThread> thread(
        QThread::create([&] { result = UpdatesHelper::fetchUpdateInformationFromURL(url, 500ms); }));
    thread->start();
    QTRY_VERIFY(thread->isFinished());

    const QVariant null = QVariant::fromValue(nullptr);
    const QVariantMap feed{{"latestVersion", "1.1"}, {"latestBuild", "500"}};
    const QString message = errorType == "noInternetConnection"
        ? "We could not check for updates because your computer is not connected to the internet."
        : "The update server did not respond or the data it sent was malformed. It may be down or busy so please "
          "try again later.";
    const QVariantMap expected = errorType.isEmpty()
        ? QVariantMap{{"success", true}, {"resultDictionary", feed}, {"errorMessage", ""}, {"errorType", null}}
        : QVariantMap{{"success", false}, {"resultDictionary", null}, {"errorMessage", message},
                      {"errorType", errorType}};
    QCOMPARE(result, expected);
}

void TestUpdatesHelper::updateFeedURL_data()
{
    QTest::addColumn<QVariant>("setting");
    QTest::addColumn<QUrl>("expected");

    const QUrl fallback("https://cascader.app/cascader/appcasts/updates.php");
    QTest::newRow("unset") << QVariant() << fallback;
    QTest::newRow("local server") << QVariant("http://127.0.0.1:8080/feed") << QUrl("http://127.0.0.1:8080/feed");
    QTest::newRow("empty") << QVariant("") << fallback;
    QTest::newRow("not an address") << QVariant("updates.php") << fallback;
    QTest::newRow("not HTTP") << QVariant("file:///tmp/feed.json") << fallback;
}

void TestUpdatesHelper::updateFeedURL()
{
    QFETCH(QVariant, setting);
    QFETCH(QUrl, expected);

    if (setting.isValid())
        UserDefaults::standardUserDefaults()->setObject(setting, UserDefaultsKeys::UpdateFeedURL);
    else
        UserDefaults::standardUserDefaults()->removeObjectForKey(UserDefaultsKeys::UpdateFeedURL);
    QCOMPARE(UpdatesHelper::updateFeedURL(), expected);
}

QTEST_GUILESS_MAIN(TestUpdatesHelper)
#include "TestUpdatesHelper.moc"
