#include "LiveReload.h"

#include "CompilerLog.h"
#include "MainAppController.h"
#include "engine/ZRMLessCompiler.h"
#include "support/NotificationCenter.h"
#include "support/Resources.h"
#include "support/UserDefaults.h"
#include "support/UserDefaultsKeys.h"

namespace {

const QString ScriptName = QStringLiteral("livereload.js");
const QString ScriptFolder = QStringLiteral("engines/node_modules/livereload-js/dist");
const QString ProblemSource = QStringLiteral("Live reload");
const QString ListenFailedMessage =
    QStringLiteral("Cannot listen on port %1: %2. Another program may be using it: quit that one, or choose "
                   "another port in Preferences. Cascader goes on compiling without live reload.");

bool isLiveReloadKey(const QString &key)
{
    using namespace UserDefaultsKeys;
    return key == LiveReloadEnabled || key == LiveReloadPort || key == LiveReloadOnAllAddresses;
}

} // namespace

LiveReload::LiveReload(MainAppController *controller)
    : QObject(controller), m_controller(controller), m_server(Resources::pathForResource(ScriptName, {}, ScriptFolder))
{
    connect(&m_server, &LiveReloadServer::pageCountChanged, this, &LiveReload::stateChanged);
}

void LiveReload::start(bool forcedOn)
{
    m_forcedOn = forcedOn;
    if (!m_started) {
        m_started = true;
        connect(UserDefaults::standardUserDefaults(), &UserDefaults::valueChanged, this, [this](const QString &key) {
            if (isLiveReloadKey(key))
                applyPreferences();
        });
        NotificationCenter::defaultCenter()->addObserver(
            this, {ZRMLCCompiledFileSuccessfullyNotification, ZRMLCFailedToCompileFileNotification},
            [this](const Notification &notification) { handleCompileOutcome(notification); });
    }
    applyPreferences();
}

void LiveReload::applyPreferences()
{
    const UserDefaults *defaults = UserDefaults::standardUserDefaults();
    if (!m_forcedOn && !defaults->boolForKey(UserDefaultsKeys::LiveReloadEnabled)) {
        stopServing();
        return;
    }
    const bool allAddresses = defaults->boolForKey(UserDefaultsKeys::LiveReloadOnAllAddresses);
    const QHostAddress address(allAddresses ? QHostAddress::Any : QHostAddress::LocalHost);
    const auto port = quint16(defaults->integerForKey(UserDefaultsKeys::LiveReloadPort));
    if (!isServing() || m_server.serverAddress() != address || (port != 0 && m_server.serverPort() != port))
        serveOn(address, port);
}

void LiveReload::serveOn(const QHostAddress &address, quint16 port)
{
    if (!m_server.listen(address, port))
        reportListenFailure(port);
    Q_EMIT stateChanged();
}

void LiveReload::stopServing()
{
    if (!isServing())
        return;
    m_server.close();
    m_pendingStylesheets.clear();
    Q_EMIT stateChanged();
}

// In the log; without a window, on standard error too.
void LiveReload::reportListenFailure(quint16 port)
{
    const QString message = ListenFailedMessage.arg(port).arg(m_server.errorString());
    m_controller->compilerLog()->reportProblem(ProblemSource, message);
    if (!m_controller->hasUserInterface())
        m_controller->reportError(ProblemSource, message);
}

// The success comes after the CSS file is in place. The last outcome of a
// burst finds the compiler idle, whether it succeeded or not.
void LiveReload::handleCompileOutcome(const Notification &notification)
{
    if (!isServing())
        return;
    if (notification.name == ZRMLCCompiledFileSuccessfullyNotification) {
        const QString stylesheet = notification.userInfo.value(ZRMLessCompilerKey::OutputPath).toString();
        if (!m_pendingStylesheets.contains(stylesheet))
            m_pendingStylesheets << stylesheet;
    }
    if (m_controller->lessCompiler()->pool()->isIdle())
        announcePendingStylesheets();
}

void LiveReload::announcePendingStylesheets()
{
    for (const QString &stylesheet : std::as_const(m_pendingStylesheets))
        m_server.reloadStylesheet(stylesheet);
    m_pendingStylesheets.clear();
}
