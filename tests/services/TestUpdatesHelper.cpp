#include "FeedServer.h"
#include "services/UpdatesHelper.h"
#include "support/UserDefaults.h"
#include "support/UserDefaultsKeys.h"

#include <QRegularExpression>
#include <QTest>
#include <QThread>

#include <memory>

using namespace std::chrono_literals;

class TestUpdatesHelper : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void fetch_data()
    {
        QTest::addColumn<QByteArray>("response"); // empty: never answers; null: nothing listens
        QTest::addColumn<QString>("errorType");   // empty on success

        const QString offline = "noInternetConnection";
        const QString malformed = "urlNotFoundOrDataMalformed";
        QTest::newRow("feed") << httpResponse("200 OK", R"({"latestVersion": "1.1", "latestBuild": "500"})") << "";
        QTest::newRow("HTML") << httpResponse("200 OK", "<html><body>Moved</body></html>") << malformed;
        QTest::newRow("empty body") << httpResponse("200 OK", "") << malformed;
        QTest::newRow("error without body") << httpResponse("404 Not Found", "") << offline;
        QTest::newRow("body cut short") << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\n{") << offline;
        QTest::newRow("never answers") << QByteArray("") << offline;
        QTest::newRow("closed port") << QByteArray() << offline;
    }

    void fetch()
    {
        QFETCH(QByteArray, response);
        QFETCH(QString, errorType);

        FeedServer server;
        server.response = response;
        const QUrl url = server.url();
        if (response.isNull())
            server.close();

        QTest::failOnWarning(QRegularExpression(".*"));
        if (errorType == "urlNotFoundOrDataMalformed")
            QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^-JSONValue failed"));
        QVariantMap result;
        const std::unique_ptr<QThread> thread(
            QThread::create([&] { result = UpdatesHelper::fetchUpdateInformationFromURL(url, 500ms); }));
        thread->start();
        QTRY_VERIFY(thread->isFinished());

        const QVariant null = QVariant::fromValue(nullptr);
        QVariantMap expected{{"success", true}, {"errorMessage", ""}, {"errorType", null},
                             {"resultDictionary", QVariantMap{{"latestVersion", "1.1"}, {"latestBuild", "500"}}}};
        if (errorType == "noInternetConnection")
            expected = {{"success", false}, {"resultDictionary", null}, {"errorType", errorType}, {"errorMessage",
                         "We could not check for updates because your computer is not connected to the internet."}};
        else if (!errorType.isEmpty())
            expected = {{"success", false}, {"resultDictionary", null}, {"errorType", errorType}, {"errorMessage",
                         "The update server did not respond or the data it sent was malformed. It may be down or busy "
                         "so please try again later."}};
        QCOMPARE(result, expected);
    }

    void updateFeedURL()
    {
        const QUrl fallback("https://cascader.app/cascader/appcasts/updates.php");
        UserDefaults *defaults = UserDefaults::standardUserDefaults();
        QCOMPARE(UpdatesHelper::updateFeedURL(), fallback);
        defaults->setObject(QString("http://127.0.0.1:8080/feed"), UserDefaultsKeys::UpdateFeedURL);
        QCOMPARE(UpdatesHelper::updateFeedURL(), QUrl("http://127.0.0.1:8080/feed"));
        for (const QString setting : {"updates.php", "file:///tmp/feed.json"}) {
            defaults->setObject(setting, UserDefaultsKeys::UpdateFeedURL);
            QCOMPARE(UpdatesHelper::updateFeedURL(), fallback);
        }
    }
};

QTEST_GUILESS_MAIN(TestUpdatesHelper)
#include "TestUpdatesHelper.moc"
