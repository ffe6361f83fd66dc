#include "ControllerTest.h"
#include "app/LiveReload.h"
#include "services/JSON/SBJSON.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QProcess>
#include <QWebSocket>

#include <csignal>
#include <unistd.h>

using namespace AppTestSupport;

namespace {

const QString ChromiumPath = "/usr/bin/chromium";

// Headless Chromium on one page, driven through its remote debugging protocol.
class Chromium
{
public:
    explicit Chromium(const QUrl &page)
    {
        m_process.setStandardOutputFile(QProcess::nullDevice());
        m_process.setStandardErrorFile(QProcess::nullDevice());
        // A group of its own, so that its renderers and helpers go with it.
        m_process.setChildProcessModifier([] { ::setpgid(0, 0); });
        m_process.start(ChromiumPath, {"--headless", "--no-sandbox", "--disable-gpu", "--disable-quic",
                                       "--no-first-run", "--disable-background-networking",
                                       "--disable-component-update", "--disable-sync",
                                       "--user-data-dir=" + m_profile.path(), "--remote-debugging-port=0",
                                       page.toString()});
        QObject::connect(&m_debugger, &QWebSocket::textMessageReceived,
                         [this](const QString &message) { m_answer = SBJSON::JSONValue(message).toMap(); });
    }
    // Always gone at the end, with its renderers.
    ~Chromium()
    {
        const pid_t group = pid_t(m_process.processId());
        m_process.terminate();
        m_process.waitForFinished(5000);
        ::kill(-group, SIGKILL);
        m_process.waitForFinished();
    }

    bool attach()
    {
        const QString devTools = m_profile.filePath("DevToolsActivePort");
        if (!QTest::qWaitFor([&] { return !readFile(devTools).isEmpty(); }, Timeout))
            return false;
        const QByteArray port = readFile(devTools).split('\n')[0];
        const QUrl targets(QString("http://127.0.0.1:%1/json").arg(QString::fromUtf8(port)));
        QNetworkAccessManager network;
        std::unique_ptr<QNetworkReply> reply(network.get(QNetworkRequest(targets)));
        if (!QTest::qWaitFor([&] { return reply->isFinished(); }, Timeout))
            return false;
        for (const QVariant &target : SBJSON::JSONValue(QString::fromUtf8(reply->readAll())).toList()) {
            if (target.toMap()["type"] == "page")
                m_debugger.open(QUrl(target.toMap()["webSocketDebuggerUrl"].toString()));
        }
        return QTest::qWaitFor([&] { return m_debugger.state() == QAbstractSocket::ConnectedState; }, Timeout);
    }
    QVariant evaluate(const QString &expression)
    {
        m_answer.clear();
        m_debugger.sendTextMessage(*SBJSON::JSONRepresentation(QVariantMap{
            {"id", ++m_lastId},
            {"method", "Runtime.evaluate"},
            {"params", QVariantMap{{"expression", expression}, {"returnByValue", true}}}}));
        if (!QTest::qWaitFor([&] { return m_answer["id"].toInt() == m_lastId; }, Timeout))
            return {};
        return m_answer["result"].toMap()["result"].toMap()["value"];
    }

private:
    QTemporaryDir m_profile;
    QProcess m_process;
    QWebSocket m_debugger;
    QVariantMap m_answer;
    int m_lastId = 0;
};

} // namespace

class TestLiveReloadBrowser : public ControllerTest
{
    Q_OBJECT

private Q_SLOTS:
    void newStylesheetAppliesWithoutReloadingThePage()
    {
        if (!QFile::exists(ChromiumPath))
            QSKIP("Chromium is not installed.");
        UserDefaults::standardUserDefaults()->setInteger(0, UserDefaultsKeys::LiveReloadPort);
        m_controller->liveReload()->start(true);
        QVERIFY(m_controller->liveReload()->isServing());

        QTemporaryDir site(QDir::homePath() + "/site-XXXXXX");
        const QString less = site.filePath("main.less");
        writeFile(less, "body { color: rgb(1, 2, 3); }\n");
        m_controller->beginValidatingPath(site.path());
        QVERIFY(waitUntilIdle(*m_controller));
        QVERIFY(waitUntilWatched({less}));
        m_controller->setJAutoCompileEnabled(true);
        m_controller->lessCompiler()->compileFileAtPath(less, site.filePath("main.css"), false);
        QTRY_VERIFY_WITH_TIMEOUT(readFile(site.filePath("main.css")).contains("#010203"), Timeout);
        writeFile(site.filePath("index.html"),
                  QString("<link rel=stylesheet href=main.css><script src=\"http://127.0.0.1:%1/livereload.js\"></script>")
                      .arg(m_controller->liveReload()->port())
                      .toUtf8());

        Chromium chromium(QUrl::fromLocalFile(site.filePath("index.html")));
        QVERIFY(chromium.attach());
        QTRY_COMPARE_WITH_TIMEOUT(m_controller->liveReload()->pageCount(), 1, Timeout);
        QCOMPARE(chromium.evaluate("window.marker = 42").toInt(), 42);
        writeFile(less, "body { color: rgb(4, 5, 6); }\n");
        QTRY_COMPARE_WITH_TIMEOUT(chromium.evaluate("getComputedStyle(document.body).color").toString(), "rgb(4, 5, 6)",
                                  Timeout);
        QCOMPARE(chromium.evaluate("window.marker").toInt(), 42);
    }
};

QTEST_MAIN(TestLiveReloadBrowser)
#include "TestLiveReloadBrowser.moc"
