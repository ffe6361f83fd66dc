#include "CompileAllRun.h"

#include "CommandLineOptions.h"
#include "MainAppController.h"
#include "engine/ZRMLessCompiler.h"
#include "support/NotificationCenter.h"

#include <cstdio>

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

// A workflow lowers the spinner count to 0 for a moment between its steps;
// looking again from the event loop shows whether it stayed there.
void CompileAllRun::scheduleIdleCheck()
{
    QMetaObject::invokeMethod(this, &CompileAllRun::checkWhetherIdle, Qt::QueuedConnection);
}

void CompileAllRun::checkWhetherIdle()
{
    if (m_controller->spinnerCount() != 0)
        return;
    switch (m_phase) {
    case Phase::Settling:
        compileAll();
        break;
    case Phase::Compiling:
        m_phase = Phase::Done;
        Q_EMIT finished(m_failed ? 1 : 0);
        break;
    case Phase::Done:
        break;
    }
}

void CompileAllRun::compileAll()
{
    if (m_controller->appModel()->getAllLessFilesAndIncludeIgnoredOnes(false).isEmpty()) {
        std::fputs("cascader: nothing to compile: the project has no checked LESS files.\n", stderr);
        m_phase = Phase::Done;
        Q_EMIT finished(CommandLineOptions::UsageErrorExitCode);
        return;
    }
    m_phase = Phase::Compiling;
    NotificationCenter::defaultCenter()->addObserver(
        this, {ZRMLCFailedToCompileFileNotification, ZRMLCFailedToFindCompilerEngineNotification},
        [this](const Notification &) { m_failed = true; });
    m_controller->compileAllFiles();
    // With nothing to compile the count never rises.
    scheduleIdleCheck();
}
