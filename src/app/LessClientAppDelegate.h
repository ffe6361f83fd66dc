#pragma once

#include "CompilerLogPrinter.h"
#include "model/ProjectDataFile.h"
#include "model/ProjectSaver.h"

#include <QObject>
#include <QString>
#include <QStringList>
#include <QThreadPool>

#include <memory>
#include <optional>

class GrowlHelper;
class MainAppController;
class UserInterface;

// The application's delegate: registers the default preferences, creates the
// main controller and the desktop notifications, starts in window, tray or
// headless mode, loads the project and the auto-compile switch at start,
// saves both on every change and at quit, and answers the desktop's reopen
// and open-file requests.
class LessClientAppDelegate : public QObject
{
    Q_OBJECT

public:
    // Registers the defaults from the resource AppDefaults.json, then creates
    // the main controller.
    explicit LessClientAppDelegate(QObject *parent = nullptr);
    ~LessClientAppDelegate() override;

    MainAppController *appController() const { return m_appController; }
    GrowlHelper *growler() const { return m_growler; }
    // Without one (the default) Cascader runs headless. Set it before launching.
    void setUserInterface(UserInterface *userInterface);
    UserInterface *userInterface() const { return m_userInterface; }

    // Start-up: controllers, window or tray, the project, the switch. The
    // project is read off the GUI thread, so the window shows at once;
    // applicationDidFinishLaunching() follows when it is in. An auto-compile
    // override (from the command line) holds for this run only.
    // How this run writes the project; the running instance owns it.
    void setProjectRole(ProjectSaver::Role role) { m_projectRole = role; }
    // How a run without a window prints its log. Set it before launching.
    void setLogStyle(CompilerLogPrinter::Style style) { m_logStyle = style; }
    void applicationWillFinishLaunching(std::optional<bool> autoCompileOverride = std::nullopt);
    bool hasFinishedLaunching() const { return m_hasFinishedLaunching; }
    // Quit: the switch, then the project, at once; nothing before the project
    // was read.
    void applicationWillTerminate();

    void saveStateToUserDefaults();
    void restoreStateFromUserDefaults();
    bool saveDataToDisk();
    void loadDataFromDisk();

    bool applicationShouldHandleReopen();
    void bringAppToFrontWithBeep(bool beep);
    // A file or folder opened with Cascader: validated as a folder to add,
    // once the project has been read.
    bool applicationOpenFile(const QString &path);

Q_SIGNALS:
    void applicationDidFinishLaunching();

private:
    void presentController();
    void didLoadDataFromDisk(ProjectDataFile::LoadResult loaded);

    MainAppController *m_appController = nullptr;
    GrowlHelper *m_growler = nullptr;
    UserInterface *m_userInterface = nullptr;
    std::optional<bool> m_autoCompileOverride;
    bool m_hasFinishedLaunching = false;
    QStringList m_pathsToOpenWhenLaunched;
    QThreadPool m_dataFileQueue;
    // Destroyed before the controller, whose model it reads.
    std::unique_ptr<ProjectSaver> m_projectSaver;
    ProjectSaver::Role m_projectRole = ProjectSaver::Role::Owner;
    CompilerLogPrinter::Style m_logStyle;
};
