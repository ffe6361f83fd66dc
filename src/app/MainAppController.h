#pragma once

#include "engine/ZRMLessCompilerDelegate.h"
#include "model/LessModel.h"

#include <QObject>
#include <QThreadPool>
#include <QVariantMap>

#include <functional>
#include <utility>

class AutoCompileWatchList;
class CSSOutputPaths;
class CompilerLog;
class FolderAdder;
class FolderRefresher;
class ImportLinks;
class LiveFolders;
class LiveReload;
class ProjectFiles;
class LessClientAppDelegate;
class UserInterface;
class ZRMLessCompiler;

// The owner of the project and the workflow that ties its jobs together:
// adding folders (FolderAdder), refreshing them (FolderRefresher), CSS
// folders (CSSOutputPaths), the engine's watch list (AutoCompileWatchList),
// the import graph (ImportLinks), the compiler log (CompilerLog), the
// folders' changes on disk (LiveFolders) and the browser pages told of new
// CSS (LiveReload). It holds the auto-compile switch and
// the busy state the window shows, and is the compiler engine's
// compiling-settings delegate.
//
// Background work reads and computes on the operation queue; every change of
// the model is made on the GUI thread, in the order the workflow describes.
// The controller works without a user interface (headless mode): then errors
// go to standard error as "title: message".
class MainAppController : public QObject, public ZRMLessCompilerDelegate
{
    Q_OBJECT
    Q_PROPERTY(bool jAutoCompileEnabled READ jAutoCompileEnabled WRITE setJAutoCompileEnabled NOTIFY
                   jAutoCompileEnabledChanged)
    Q_PROPERTY(bool jEnableUIElements READ jEnableUIElements NOTIFY jEnableUIElementsChanged)
    Q_PROPERTY(int activeTabViewIndex READ activeTabViewIndex WRITE setActiveTabViewIndex NOTIFY
                   activeTabViewIndexChanged)

public:
    // The tab that shows the compiler log.
    static constexpr int CompilerLogTab = 1;

    explicit MainAppController(LessClientAppDelegate *appDelegate, QObject *parent = nullptr);
    ~MainAppController() override;

    LessClientAppDelegate *appDelegate() const { return m_appDelegate; }
    LessModel *appModel() { return &m_appModel; }
    ZRMLessCompiler *lessCompiler() const { return m_lessCompiler; }
    void setUserInterface(UserInterface *userInterface) { m_userInterface = userInterface; }
    bool hasUserInterface() const { return m_userInterface != nullptr; }
    FolderAdder *folderAdder() const { return m_folderAdder; }
    FolderRefresher *folderRefresher() const { return m_folderRefresher; }
    CSSOutputPaths *cssOutputPaths() const { return m_cssOutputPaths; }
    AutoCompileWatchList *watchList() const { return m_watchList; }
    CompilerLog *compilerLog() const { return m_compilerLog; }
    ImportLinks *importLinks() const { return m_importLinks; }
    LiveFolders *liveFolders() const { return m_liveFolders; }
    LiveReload *liveReload() const { return m_liveReload; }
    ProjectFiles *projectFiles() const { return m_projectFiles; }

    bool jAutoCompileEnabled() const { return m_jAutoCompileEnabled; }
    void setJAutoCompileEnabled(bool enabled);
    bool jEnableUIElements() const { return m_jEnableUIElements; }
    int spinnerCount() const { return m_spinnerCount; }
    int activeTabViewIndex() const { return m_activeTabViewIndex; }
    void setActiveTabViewIndex(int index);

    // Window chrome. Only the work that raises the spinner count from 0 names
    // the spinner; every show needs its hide.
    void handleTabViewSelectionButtons(int selectedSegment);
    void showSpinnerWithMessage(const QString &message);
    void hideSpinner();
    void scrollTableViewsToLastRow();
    // In the window, or on standard error when there is none.
    void reportError(const QString &title, const QString &message);

    void beginValidatingPath(const QString &path);
    // A refresh the user asked for: the window confirms it.
    void refreshWatchedFolders();

    // Auto-compile.
    // The files whose outcome the engine will announce.
    QStringList compileAllFiles();
    void awakenAutoCompile();
    void toggleAutoCompile();
    void clearCompilerLog();
    // The files to recompile are every file that reads this one, directly or
    // not; a file outside the project has them too.
    QVariantMap compilingSettingsForLESSFileAtPath(const QString &path) override;
    void lessFileDidChange(const QString &path) override;
    // Switched on for every file by the command line, for this run only.
    void setOptionsForThisRun(std::optional<LessOptions::SourceMap> sourceMap, bool autoprefix);
    // The file's options with those of this run.
    LessOptions lessOptionsFor(const LessHolder *file) const;
    // The project's own less when the file asks for it and there is one; else empty.
    QString lessPackageFor(const LessHolder *file) const;

    // Runs work on the operation queue and hands its result to then on the
    // GUI thread, unless receiver is gone by then.
    template<typename Work, typename Then>
    void runInBackground(QObject *receiver, Work work, Then then)
    {
        m_operationQueue.start([receiver, work = std::move(work), then = std::move(then)]() mutable {
            QMetaObject::invokeMethod(
                receiver, [then = std::move(then), result = work()]() mutable { then(std::move(result)); },
                Qt::QueuedConnection);
        });
    }

Q_SIGNALS:
    void jAutoCompileEnabledChanged(bool enabled);
    void jEnableUIElementsChanged(bool enabled);
    void activeTabViewIndexChanged(int index);
    // The spinner starts with the message of the work that raised it from 0.
    void spinnerStarted(const QString &message);
    void spinnerStopped();
    void scrollTableViewsToLastRowRequested();

private:
    void setJEnableUIElements(bool enabled);

    LessClientAppDelegate *m_appDelegate;
    UserInterface *m_userInterface = nullptr;
    QThreadPool m_operationQueue;
    ZRMLessCompiler *m_lessCompiler;
    bool m_jAutoCompileEnabled = false;
    bool m_jEnableUIElements = true;
    int m_spinnerCount = 0;
    int m_activeTabViewIndex = 0;
    LessModel m_appModel;
    FolderAdder *m_folderAdder;
    FolderRefresher *m_folderRefresher;
    CSSOutputPaths *m_cssOutputPaths;
    AutoCompileWatchList *m_watchList;
    CompilerLog *m_compilerLog;
    ImportLinks *m_importLinks;
    LiveFolders *m_liveFolders;
    ProjectFiles *m_projectFiles;
    LiveReload *m_liveReload;
    std::optional<LessOptions::SourceMap> m_sourceMapForThisRun;
    bool m_autoprefixForThisRun = false;
};
