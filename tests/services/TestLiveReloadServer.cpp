#include "LiveReloadPage.h"
#include "services/LiveReloadServer.h"

#include <QDeadlineTimer>
#include <QTcpSocket>
#include <QTemporaryFile>
#include <QTest>

#include <algorithm>
#include <memory>
#include <vector>

namespace {

const QString Protocol6 = "http://livereload.com/protocols/official-6";
const QString Protocol7 = "http://livereload.com/protocols/official-7";
const QString CssPath = "/home/ann/site/css/main.css";
const QByteArray Handshake = "GET /livereload HTTP/1.1\r\nHost: 127.0.0.1\r\nUpgrade: websocket\r\n"
                             "Connection: Upgrade\r\nSec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n"
                             "Sec-WebSocket-Version: 13\r\n\r\n";

// A text frame as a client sends it, masked with a zero key.
QByteArray clientFrame(const QByteArray &payload)
{
    return QByteArray("\x81") + char(0x80 | payload.size()) + QByteArray(4, '\0') + payload;
}

} // namespace

class TestLiveReloadServer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_script.open());
        m_script.write("window.LiveReload = {};\n");
        m_script.flush();
    }

    void init()
    {
        m_server = std::make_unique<LiveReloadServer>(m_script.fileName());
        QVERIFY(m_server->listen(QHostAddress::LocalHost, 0));
    }

    void handshake_data()
    {
        QTest::addColumn<QString>("firstMessage");
        QTest::addColumn<bool>("greeted");
        QTest::newRow("protocol 7") << liveReloadHello({Protocol7}) << true;
        QTest::newRow("6 and 7, as livereload.js") << liveReloadHello({Protocol6, Protocol7}) << true;
        QTest::newRow("protocol 6 only") << liveReloadHello({Protocol6}) << false;
        QTest::newRow("info first") << R"({"command":"info","url":"http://site/"})" << false;
        QTest::newRow("not JSON") << "hello" << false;
    }

    void handshake()
    {
        QFETCH(QString, firstMessage);
        QFETCH(bool, greeted);

        LiveReloadPage page(m_server->serverPort(), firstMessage);
        LiveReloadPage witness(m_server->serverPort());
        QTRY_VERIFY(!witness.messages.isEmpty());
        QTRY_COMPARE(m_server->pageCount(), greeted ? 2 : 1);
        m_server->reloadStylesheet(CssPath);
        QTRY_VERIFY(!witness.reloadedPaths().isEmpty());
        QCOMPARE(page.messages.size(), greeted ? 2 : 0);
        if (!greeted)
            return;
        const QVariantMap answer = page.messages[0];
        QCOMPARE(answer["protocols"].toStringList(), QStringList{Protocol7});
        QCOMPARE(answer["serverName"].toString(), "Cascader");
        const QVariantMap reload = page.messages[1];
        QCOMPARE(reload["path"].toString(), CssPath);
        QCOMPARE(reload["liveCSS"].toBool(), true);
    }

    // Whatever one connection sends, the server answers it alone, stays up and
    // goes on serving its pages.
    void rawConnection_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QByteArray>("answer"); // empty: none, or closed without one
        const QByteArray ok = "HTTP/1.1 200 OK";
        const QByteArray notFound = "HTTP/1.1 404 Not Found";
        const QByteArray upgraded = "HTTP/1.1 101";
        QTest::newRow("script") << QByteArray("GET /livereload.js HTTP/1.1\r\nHost: h\r\n\r\n") << ok;
        QTest::newRow("script with query") << QByteArray("GET /livereload.js?snipver=1 HTTP/1.0\r\n\r\n") << ok;
        QTest::newRow("other file") << QByteArray("GET /index.html HTTP/1.1\r\n\r\n") << notFound;
        QTest::newRow("POST") << QByteArray("POST /livereload.js HTTP/1.1\r\n\r\n") << notFound;
        QTest::newRow("not HTTP") << QByteArray("\0\xff\xfe garbage\r\n\r\n", 16) << QByteArray();
        QTest::newRow("oversized head") << "GET / HTTP/1.1\r\nX: " + QByteArray(10'000, 'a') << QByteArray();
        QTest::newRow("half a head") << QByteArray("GET /livereload.js HTTP/1.1\r\nHo") << QByteArray();
        QTest::newRow("unmasked frame") << Handshake + "\x81\x05hello" << upgraded;
        QTest::newRow("reserved bits") << Handshake + QByteArray("\xf1\x80\0\0\0\0", 6) << upgraded;
        QTest::newRow("huge frame") << Handshake + QByteArray("\x81\xff\0\0\0\x40\0\0\0\0\0\0\0\0", 14) << upgraded;
        QTest::newRow("binary hello") << Handshake + clientFrame(liveReloadHello().toUtf8()).replace(0, 1, "\x82")
                                      << upgraded;
    }

    void rawConnection()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QByteArray, answer);

        LiveReloadPage page(m_server->serverPort());
        QTcpSocket client;
        QByteArray response;
        connect(&client, &QTcpSocket::readyRead, this, [&] { response += client.readAll(); });
        client.connectToHost(QHostAddress::LocalHost, m_server->serverPort());
        client.write(bytes);
        if (answer.isEmpty())
            QVERIFY(client.waitForBytesWritten());
        else
            QTRY_VERIFY(response.startsWith(answer));
        if (answer.endsWith("OK")) {
            QVERIFY(response.contains("\r\nContent-Type: application/javascript\r\n"));
            QTRY_VERIFY(response.endsWith("\r\n\r\nwindow.LiveReload = {};\n"));
        }
        QTRY_COMPARE(m_server->pageCount(), 1);
        m_server->reloadStylesheet(CssPath);
        QTRY_COMPARE(page.reloadedPaths(), QStringList{CssPath});
        QCOMPARE(m_server->pageCount(), 1);
    }

    // Three rounds, more than the connections allowed at once: pages that go
    // make room for others.
    void hundredPages()
    {
        for (int round = 0; round < 3; ++round) {
            QTRY_COMPARE(m_server->pageCount(), 0);
            std::vector<std::unique_ptr<LiveReloadPage>> pages;
            for (int index = 0; index < 100; ++index)
                pages.push_back(std::make_unique<LiveReloadPage>(m_server->serverPort()));
            QTRY_COMPARE(m_server->pageCount(), 100);
            m_server->reloadStylesheet(CssPath);
            QTRY_VERIFY(std::all_of(pages.begin(), pages.end(),
                                    [](const auto &page) { return page->reloadedPaths() == QStringList{CssPath}; }));
        }
    }

    // A page that never reads costs the others nothing, and is let go once its
    // unsent reloads pile up.
    void stalledPageIsDropped()
    {
        LiveReloadPage page(m_server->serverPort());
        QTcpSocket stalled;
        stalled.setReadBufferSize(1);
        stalled.connectToHost(QHostAddress::LocalHost, m_server->serverPort());
        stalled.write(Handshake);
        QTRY_VERIFY(stalled.bytesAvailable() > 0);
        stalled.write(clientFrame(liveReloadHello().toUtf8()));
        QTRY_COMPARE(m_server->pageCount(), 2);

        const QString longPath = CssPath + QString(60'000, 'x');
        const QDeadlineTimer deadline(30'000);
        int sent = 0;
        for (; m_server->pageCount() == 2 && !deadline.hasExpired(); ++sent) {
            m_server->reloadStylesheet(longPath);
            while (page.messages.size() < 2 + sent && !deadline.hasExpired())
                QCoreApplication::processEvents();
        }
        QCOMPARE(m_server->pageCount(), 1);
        QCOMPARE(page.messages.size(), 1 + sent);
    }

private:
    QTemporaryFile m_script;
    std::unique_ptr<LiveReloadServer> m_server;
};

QTEST_GUILESS_MAIN(TestLiveReloadServer)
#include "TestLiveReloadServer.moc"
