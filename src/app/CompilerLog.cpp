#include "CompilerLog.h"

#include "LessClientAppDelegate.h"
#include "MainAppController.h"
#include "engine/ZRMLessCompiler.h"
#include "support/NotificationCenter.h"
#include "support/PathUtils.h"
#include "support/UserDefaults.h"
#include "support/UserDefaultsKeys.h"

#include <QDateTime>
#include <QFile>

using namespace PathUtils;

namespace {

const QString CompilingMessage = QStringLiteral("Compiling...");
constexpr RgbaColor SuccessGreen{0, 0.573, 0, 1};
const QString ToggleLogFile = QStringLiteral("...");
const QString CompilerLogFile = QStringLiteral("LESS compiler");
const QString AutoCompileEnabledMessage = QStringLiteral("Auto-compile is now enabled.");
const QString AutoCompileDisabledMessage = QStringLiteral("Auto-compile is now disabled.");
// Beside a one-line result; on a line of its own below a longer one.
const QString LinkedToFileSeparator = QStringLiteral("  ");
constexpr RgbaColor WarningOrange{0.80, 0.42, 0, 1};
const QString UndecodableNamesMessage = QStringLiteral(
    "Cascader cannot compile these LESS files: their names, or the names of their folders, are not "
    "valid UTF-8. Rename them to compile them:\n%1");
const QString CompilerErrorTitle = QStringLiteral("Compiler Error");
const QString CompilerNotFoundMessage = QStringLiteral(
    "We could not start the LESS compiler engine. Check that Node.js is installed (on Debian: sudo apt "
    "install nodejs) and restart Cascader. If the problem continues, reinstall Cascader's package, or run "
    "scripts/setup again in a source build.");

} // namespace

CompilerLog::CompilerLog(MainAppController *controller) : QObject(controller), m_controller(controller)
{
    NotificationCenter::defaultCenter()->addObserver(
        this,
        {ZRMLCStartedCompilingAFileNotification, ZRMLCCompiledFileSuccessfullyNotification,
         ZRMLCFailedToCompileFileNotification, ZRMLCFailedToFindCompilerEngineNotification},
        [this](const Notification &notification) { handleZRMCompilerNotification(notification); });
}

CompilerLog::~CompilerLog()
{
    NotificationCenter::defaultCenter()->removeObserver(this);
}

void CompilerLog::logAutoCompileSwitch(bool enabled)
{
    addEntry(ToggleLogFile,
             StyledText(enabled ? AutoCompileEnabledMessage : AutoCompileDisabledMessage, StyledText::Grey));
}

// Each name relative to the folder, with its stray bytes escaped.
void CompilerLog::reportUndecodableFiles(const QString &folder, const QList<QByteArray> &paths)
{
    const QByteArray folderPrefix = QFile::encodeName(folder) + '/';
    QStringList names;
    for (const QByteArray &path : paths) {
        if (m_reportedUndecodableFiles.contains(path))
            continue;
        m_reportedUndecodableFiles.insert(path);
        names << printablePath(path.startsWith(folderPrefix) ? path.mid(folderPrefix.size()) : path);
    }
    if (!names.isEmpty())
        addEntry(abbreviateWithTilde(folder),
                 StyledText(UndecodableNamesMessage.arg(names.join(u'\n')), StyledText::Red));
}

void CompilerLog::reportFolderNote(const QString &folder, const QString &message, RgbaColor color)
{
    addEntry(abbreviateWithTilde(folder), StyledText(message, color));
}

void CompilerLog::reportProblem(const QString &source, const QString &message)
{
    addEntry(source, StyledText(message, StyledText::Red));
}

void CompilerLog::handleZRMCompilerNotification(const Notification &notification)
{
    if (notification.name == ZRMLCStartedCompilingAFileNotification) {
        m_controller->showSpinnerWithMessage(CompilingMessage);
        m_controller->scrollTableViewsToLastRow();
    } else if (notification.name == ZRMLCCompiledFileSuccessfullyNotification) {
        appendCompileResult(notification.userInfo, SuccessGreen);
        m_controller->hideSpinner();
    } else if (notification.name == ZRMLCFailedToCompileFileNotification) {
        appendCompileResult(notification.userInfo, StyledText::Red);
        m_controller->hideSpinner();
        LessClientAppDelegate *appDelegate = m_controller->appDelegate();
        if (appDelegate && UserDefaults::standardUserDefaults()->boolForKey(UserDefaultsKeys::BringAppToFrontOnError))
            appDelegate->bringAppToFrontWithBeep(true);
    } else if (notification.name == ZRMLCFailedToFindCompilerEngineNotification) {
        reportMissingCompiler(notification.userInfo.value(ZRMLessCompilerKey::Result).toString());
    }
}

// The engine says this once until the compiler works again: in the log, and
// on standard error when there is no window to look at.
void CompilerLog::reportMissingCompiler(const QString &reason)
{
    const QString message = CompilerNotFoundMessage + u'\n' + reason;
    addEntry(CompilerLogFile, StyledText(message, StyledText::Red));
    m_controller->setActiveTabViewIndex(MainAppController::CompilerLogTab);
    if (!m_controller->hasUserInterface())
        m_controller->reportError(CompilerErrorTitle, message);
}

// The engine's note on the file that triggered the compile follows in grey.
void CompilerLog::appendCompileResult(const QVariantMap &userInfo, RgbaColor color)
{
    using namespace ZRMLessCompilerKey;
    const QString text = userInfo.value(Result).toString();
    StyledText result(text, color);
    const QString linkedToFile = userInfo.value(LinkedToFile).toString();
    if (!linkedToFile.isEmpty())
        result.append((text.contains(u'\n') ? QStringLiteral("\n") : LinkedToFileSeparator)
                          + printablePath(linkedToFile),
                      StyledText::Grey);
    const QString warnings = userInfo.value(Warnings).toString();
    if (!warnings.isEmpty())
        result.append(u'\n' + warnings, WarningOrange);
    m_controller->appModel()->addNewCompilerResultWithTime(userInfo.value(Time).toDateTime(),
                                                           abbreviateWithTilde(userInfo.value(File).toString()), result,
                                                           userInfo.value(Compiler).toString());
    // Only a failure, and only if the user wants, takes the window away from what the user does.
    if (!userInfo.value(Successful).toBool()
        && UserDefaults::standardUserDefaults()->boolForKey(UserDefaultsKeys::ShowLogOnFailure))
        m_controller->setActiveTabViewIndex(MainAppController::CompilerLogTab);
    m_controller->scrollTableViewsToLastRow();
}

void CompilerLog::addEntry(const QString &file, const StyledText &result)
{
    m_controller->appModel()->addNewCompilerResultWithTime(QDateTime::currentDateTime(), file, result);
    m_controller->scrollTableViewsToLastRow();
}
