// From a compile's success (its CSS in place) to the reload frame at a page on
// loopback, against a bare QWebSocket server sending a frame of the same size.
#include "app/LessClientAppDelegate.h"
#include "app/LiveReload.h"
#include "app/MainAppController.h"
#include "engine/ZRMLessCompiler.h"
#include "support/NotificationCenter.h"
#include "support/UserDefaults.h"
#include "support/UserDefaultsKeys.h"
#include "BenchSandbox.h"
#include "BenchStatistics.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QTimer>
#include <QWebSocket>
#include <QWebSocketServer>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>

namespace {

constexpr int Runs = 50;
constexpr double TargetMs = 5;
constexpr int WaitLimitMs = 5000;
const QString CssPath = QStringLiteral("/home/ann/site/css/main.css");
const QString Hello =
    QStringLiteral(R"({"command":"hello","protocols":["http://livereload.com/protocols/official-7"]})");

QElapsedTimer benchClock;

[[noreturn]] void fail(const char *why)
{
    std::fprintf(stderr, "%s\n", why);
    std::exit(1);
}

// Runs the event loop until a message comes, or fails after WaitLimitMs.
class Page
{
public:
    explicit Page(const QUrl &url)
    {
        QObject::connect(&m_socket, &QWebSocket::connected, [this] { m_socket.sendTextMessage(Hello); });
        QObject::connect(&m_socket, &QWebSocket::textMessageReceived, [this](const QString &message) {
            m_received = benchClock.nsecsElapsed();
            m_lastMessage = message;
            m_loop.quit();
        });
        m_socket.open(url);
    }
    // Nanoseconds from what send does to the next message.
    qint64 timeToNextMessage(const std::function<void()> &send)
    {
        const qint64 sent = benchClock.nsecsElapsed();
        send();
        waitForMessage();
        return m_received - sent;
    }
    void waitForMessage()
    {
        QTimer::singleShot(WaitLimitMs, &m_loop, [] { fail("A page received nothing."); });
        m_loop.exec();
    }
    QString lastMessage() const { return m_lastMessage; }

private:
    QWebSocket m_socket;
    QEventLoop m_loop;
    qint64 m_received = 0;
    QString m_lastMessage;
};

QList<qint64> timeRuns(Page &page, const std::function<void()> &send)
{
    QList<qint64> times;
    for (int run = 0; run < Runs; ++run)
        times << page.timeToNextMessage(send);
    return times;
}

QUrl pageUrl(quint16 port)
{
    return QUrl(QStringLiteral("ws://127.0.0.1:%1/livereload").arg(port));
}

} // namespace

int main(int argc, char *argv[])
{
    QTemporaryDir sandbox;
    useSandbox(sandbox);
    QCoreApplication app(argc, argv);
    benchClock.start();

    LessClientAppDelegate registrar; // registers the default preferences
    MainAppController controller(nullptr);
    UserDefaults::standardUserDefaults()->setInteger(0, UserDefaultsKeys::LiveReloadPort);
    controller.liveReload()->start(true);
    Page page(pageUrl(controller.liveReload()->port()));
    page.waitForMessage(); // the server's hello
    const QList<qint64> ours = timeRuns(page, [] {
        NotificationCenter::defaultCenter()->post(ZRMLCCompiledFileSuccessfullyNotification,
                                                  ZRMLessCompiler::sharedLessCompiler(),
                                                  {{ZRMLessCompilerKey::OutputPath, CssPath},
                                                   {ZRMLessCompilerKey::Successful, true}});
    });
    const QString reload = page.lastMessage();
    if (!reload.contains(CssPath))
        fail("The page received no reload of the CSS file.");

    QWebSocketServer bareServer(QStringLiteral("bare"), QWebSocketServer::NonSecureMode);
    if (!bareServer.listen(QHostAddress::LocalHost))
        fail("The bare WebSocket server cannot listen.");
    Page barePage(pageUrl(bareServer.serverPort()));
    QWebSocket *bareSocket = nullptr;
    QObject::connect(&bareServer, &QWebSocketServer::newConnection, [&] {
        bareSocket = bareServer.nextPendingConnection();
        bareSocket->sendTextMessage(Hello);
    });
    barePage.waitForMessage();
    const QList<qint64> bare = timeRuns(barePage, [&] { bareSocket->sendTextMessage(reload); });

    const double oursMs = medianInMilliseconds(ours);
    const double bareMs = medianInMilliseconds(bare);
    std::printf("CSS written to reload frame at a page, median of %d: %.3f ms (95th percentile %.3f ms)\n", Runs,
                oursMs, percentile(ours, 0.95) / 1e6);
    std::printf("    ratio to the %.0f ms target: %.3f (%s)\n", TargetMs, oursMs / TargetMs,
                oursMs <= TargetMs ? "met" : "NOT met");
    std::printf("    a bare QWebSocket server sending the same frame: %.3f ms, ratio %.1f\n", bareMs,
                oursMs / std::max(bareMs, 1e-6));
    return 0;
}
