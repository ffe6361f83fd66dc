#include "CompileAllRun.h"

#include "CommandLineOptions.h"
#include "MainAppController.h"
#include "engine/ZRMLessCompiler.h"
#include "support/NotificationCenter.h"

#include <cstdio>

namespace {

constexpr int FailedExitCode = 1;

} // namespace

CompileAllRun::CompileAllRun(MainAppController *controller, QObject *parent)
    : QObject(parent), m_controller(controller)
{
    connect(controller, &MainAppController::jEnableUIElementsChanged, this, [this](bool enabled) {
        if (enabled)
            scheduleIdleCheck();
    });
}

void CompileAllRun::start()
{
    scheduleIdleCheck();
}

// A workflow lowers the busy count to 0 for a moment between its steps;
// looking again from the event loop shows whether it stayed there.
void CompileAllRun::scheduleIdleCheck()
{
    QMetaObject::invokeMethod(this, &CompileAllRun::checkWhetherSettled, Qt::QueuedConnection);
}

void CompileAllRun::checkWhetherSettled()
{
    if (m_phase == Phase::Settling && m_controller->spinnerCount() == 0)
        compileAll();
}

void CompileAllRun::compileAll()
{
    if (m_controller->appModel()->getAllLessFilesAndIncludeIgnoredOnes(false).isEmpty()) {
        std::fputs("cascader: nothing to compile: the project has no checked LESS files.\n", stderr);
        finish(CommandLineOptions::UsageErrorExitCode);
        return;
    }
    m_phase = Phase::Compiling;
    NotificationCenter::defaultCenter()->addObserver(
        this,
        {ZRMLCCompiledFileSuccessfullyNotification, ZRMLCFailedToCompileFileNotification,
         ZRMLCFailedToFindCompilerEngineNotification},
        [this](const Notification &notification) { recordOutcome(notification); });
    const QStringList started = m_controller->compileAllFiles();
    m_awaitedFiles = QSet<QString>(started.cbegin(), started.cend());
    // Files that could not even start failed.
    if (m_awaitedFiles.isEmpty())
        finish(FailedExitCode);
}

// A compiler that cannot run fails the whole run at once.
void CompileAllRun::recordOutcome(const Notification &notification)
{
    if (notification.name == ZRMLCFailedToFindCompilerEngineNotification) {
        finish(FailedExitCode);
        return;
    }
    if (notification.name != ZRMLCCompiledFileSuccessfullyNotification)
        m_failed = true;
    m_awaitedFiles.remove(notification.userInfo.value(ZRMLessCompilerKey::File).toString());
    if (m_awaitedFiles.isEmpty())
        finish(m_failed ? FailedExitCode : 0);
}

void CompileAllRun::finish(int exitCode)
{
    if (m_phase == Phase::Done)
        return;
    m_phase = Phase::Done;
    NotificationCenter::defaultCenter()->removeObserver(this);
    Q_EMIT finished(exitCode);
}
