#include "MainAppController.h"

#include "AutoCompileWatchList.h"
#include "CSSOutputPaths.h"
#include "CompilerLog.h"
#include "FolderAdder.h"
#include "FolderRefresher.h"
#include "ImportLinks.h"
#include "LiveFolders.h"
#include "LiveReload.h"
#include "ProjectFiles.h"
#include "UserInterface.h"
#include "engine/LessPackage.h"
#include "engine/ZRMLessCompiler.h"

#include <QHash>

#include <algorithm>
#include <cstdio>

MainAppController::MainAppController(LessClientAppDelegate *appDelegate, QObject *parent)
    : QObject(parent),
      m_appDelegate(appDelegate),
      m_lessCompiler(ZRMLessCompiler::sharedLessCompiler()),
      m_folderAdder(new FolderAdder(this)),
      m_folderRefresher(new FolderRefresher(this)),
      m_cssOutputPaths(new CSSOutputPaths(this)),
      m_watchList(new AutoCompileWatchList(m_lessCompiler, &m_appModel, this)),
      m_compilerLog(new CompilerLog(this)),
      m_importLinks(new ImportLinks(this)),
      m_liveFolders(new LiveFolders(this)),
      m_projectFiles(new ProjectFiles(this)),
      m_liveReload(new LiveReload(this))
{
    m_lessCompiler->setCompilerDelegate(this);
}

// The jobs post back to themselves from the queue; no work may be left running.
MainAppController::~MainAppController()
{
    m_operationQueue.clear();
    m_operationQueue.waitForDone();
    if (m_lessCompiler->compilerDelegate() == this)
        m_lessCompiler->setCompilerDelegate(nullptr);
}

void MainAppController::setJAutoCompileEnabled(bool enabled)
{
    if (m_jAutoCompileEnabled == enabled)
        return;
    m_jAutoCompileEnabled = enabled;
    Q_EMIT jAutoCompileEnabledChanged(enabled);
}

void MainAppController::setJEnableUIElements(bool enabled)
{
    if (m_jEnableUIElements == enabled)
        return;
    m_jEnableUIElements = enabled;
    Q_EMIT jEnableUIElementsChanged(enabled);
}

void MainAppController::setActiveTabViewIndex(int index)
{
    if (m_activeTabViewIndex == index)
        return;
    m_activeTabViewIndex = index;
    Q_EMIT activeTabViewIndexChanged(index);
}

void MainAppController::handleTabViewSelectionButtons(int selectedSegment)
{
    setActiveTabViewIndex(selectedSegment);
}

// An unmatched hide leaves the count below 0.
void MainAppController::showSpinnerWithMessage(const QString &message)
{
    if (++m_spinnerCount != 1)
        return;
    setJEnableUIElements(false);
    Q_EMIT spinnerStarted(message);
}

void MainAppController::hideSpinner()
{
    if (--m_spinnerCount != 0)
        return;
    setJEnableUIElements(true);
    Q_EMIT spinnerStopped();
}

void MainAppController::scrollTableViewsToLastRow()
{
    Q_EMIT scrollTableViewsToLastRowRequested();
}

void MainAppController::reportError(const QString &title, const QString &message)
{
    if (m_userInterface) {
        m_userInterface->showError(title, message);
        return;
    }
    std::fprintf(stderr, "%s: %s\n", qUtf8Printable(title), qUtf8Printable(message));
    std::fflush(stderr);
}

void MainAppController::beginValidatingPath(const QString &path)
{
    m_folderAdder->beginValidatingPath(path);
}

void MainAppController::refreshWatchedFolders()
{
    m_folderRefresher->refreshWatchedFolders();
}

// Checked files only; the switch does not matter here. The files that import
// the most go first: they take longest, and the small ones fill in beside
// them on the other workers.
QStringList MainAppController::compileAllFiles()
{
    QHash<QString, int> importCounts;
    for (const LessHolder *file : m_appModel.getAllLessHoldersAndIncludeIgnoredOnes(true)) {
        for (const QString &importer : file->linkedFilesToCompile())
            ++importCounts[importer];
    }
    QList<LessHolder *> files = m_appModel.getAllLessHoldersAndIncludeIgnoredOnes(false);
    std::stable_sort(files.begin(), files.end(), [&importCounts](const LessHolder *a, const LessHolder *b) {
        return importCounts.value(a->lessFileFullPath()) > importCounts.value(b->lessFileFullPath());
    });
    QStringList started;
    for (const LessHolder *file : files) {
        if (m_lessCompiler->compileFileAtPath(file->lessFileFullPath(), file->targetCSSFileFullPath(),
                                              file->shouldCompressCSSOutput(), lessOptionsFor(file),
                                              lessPackageFor(file)))
            started << file->lessFileFullPath();
    }
    return started;
}

void MainAppController::awakenAutoCompile()
{
    m_watchList->refreshAutoCompileWatchList();
}

// Switching off leaves the files watched: the settings then say not to compile.
void MainAppController::toggleAutoCompile()
{
    const bool enable = !m_jAutoCompileEnabled;
    setJAutoCompileEnabled(enable);
    if (enable)
        m_watchList->refreshAutoCompileWatchList();
    m_compilerLog->logAutoCompileSwitch(enable);
}

void MainAppController::clearCompilerLog()
{
    m_appModel.clearCompilerResults();
}

QVariantMap MainAppController::compilingSettingsForLESSFileAtPath(const QString &path)
{
    const LessHolder *file = m_appModel.getLessHolderForLessFileAtPath(path);
    const QStringList dependents = m_appModel.importGraph().dependentsOf(file ? file->lessFileFullPath() : path);
    if (!file)
        return dependents.isEmpty() ? QVariantMap() : QVariantMap{{ZRMCompilingSettingsKey::LinkedFilesToCompile, dependents}};
    return {{ZRMCompilingSettingsKey::ShouldAutoCompile, m_jAutoCompileEnabled && file->checkboxState()},
            {ZRMCompilingSettingsKey::OutputPath, file->targetCSSFileFullPath()},
            {ZRMCompilingSettingsKey::ShouldCompressOutput, file->shouldCompressCSSOutput()},
            {ZRMCompilingSettingsKey::LessOptions, QVariant::fromValue(lessOptionsFor(file))},
            {ZRMCompilingSettingsKey::LessPackage, lessPackageFor(file)},
            {ZRMCompilingSettingsKey::LinkedFilesToCompile, dependents}};
}

void MainAppController::setOptionsForThisRun(std::optional<LessOptions::SourceMap> sourceMap, bool autoprefix)
{
    m_sourceMapForThisRun = sourceMap;
    m_autoprefixForThisRun = autoprefix;
}

LessOptions MainAppController::lessOptionsFor(const LessHolder *file) const
{
    LessOptions options = file->lessOptions();
    options.sourceMap = m_sourceMapForThisRun.value_or(options.sourceMap);
    options.autoprefix = options.autoprefix || m_autoprefixForThisRun;
    return options;
}

QString MainAppController::lessPackageFor(const LessHolder *file) const
{
    if (!file->lessOptions().projectLess)
        return {};
    return LessPackage::projectFolderFor(file->lessFileFullPath(), file->memberOfWatchedFolder());
}

// An import added since the last compile counts from this save on.
void MainAppController::lessFileDidChange(const QString &path)
{
    const LessHolder *file = m_appModel.getLessHolderForLessFileAtPath(path);
    m_appModel.rescanImportsOfFile(file ? file->lessFileFullPath() : path);
}
