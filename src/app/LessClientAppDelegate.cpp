#include "LessClientAppDelegate.h"

#include "CompilerLogPrinter.h"
#include "FolderRefresher.h"
#include "MainAppController.h"
#include "model/ProjectDataFile.h"
#include "services/GrowlHelper.h"
#include "services/JSON/SBJSON.h"
#include "support/Logging.h"
#include "support/PathUtils.h"
#include "support/Resources.h"
#include "support/UserDefaults.h"
#include "support/UserDefaultsKeys.h"
#include "UserInterface.h"

#include <QGuiApplication>
#include <QDateTime>
#include <QFile>
#include <QThread>

#include <memory>
#include <utility>

namespace {

const QString AppDefaultsResource = QStringLiteral("AppDefaults");
const QString AppDefaultsType = QStringLiteral("json");
const QString UnreadableProjectMessage =
    QStringLiteral("The project could not be read (%1); Cascader starts with an empty project.");

// A missing or broken resource registers nothing: every preference then reads as false or 0.
void registerAppDefaults()
{
    const QString path = Resources::pathForResource(AppDefaultsResource, AppDefaultsType);
    QFile file(path);
    if (path.isEmpty() || !file.open(QIODevice::ReadOnly)) {
        qCWarning(lcApp, "The default preferences %s.%s cannot be read from %s.",
                  qUtf8Printable(AppDefaultsResource), qUtf8Printable(AppDefaultsType),
                  qUtf8Printable(Resources::folder()));
        return;
    }
    const QVariant defaults = SBJSON::JSONValue(QString::fromUtf8(file.readAll()));
    if (defaults.metaType() != QMetaType::fromType<QVariantMap>()) {
        qCWarning(lcApp, "The default preferences in %s are not a JSON object.", qUtf8Printable(path));
        return;
    }
    UserDefaults::standardUserDefaults()->registerDefaults(defaults.toMap());
}

} // namespace

// The controller reads the preferences as it starts.
LessClientAppDelegate::LessClientAppDelegate(QObject *parent) : QObject(parent)
{
    registerAppDefaults();
    m_appController = new MainAppController(this, this);
    // Made here so that a user interface can follow it before launching.
    // Headless runs in a desktop session notify too; without a notification
    // service the helper stays silent.
    m_growler = new GrowlHelper(this);
}

// The data file's reader posts back to this object.
LessClientAppDelegate::~LessClientAppDelegate()
{
    m_dataFileQueue.waitForDone();
}

void LessClientAppDelegate::setUserInterface(UserInterface *userInterface)
{
    m_userInterface = userInterface;
    m_appController->setUserInterface(userInterface);
}

void LessClientAppDelegate::applicationWillFinishLaunching(std::optional<bool> autoCompileOverride)
{
    m_autoCompileOverride = autoCompileOverride;
    m_projectSaver = std::make_unique<ProjectSaver>(m_appController->appModel(), ProjectDataFile());
    m_projectSaver->setRole(m_projectRole);
    presentController();
    loadDataFromDisk();
}

// Menu-bar mode shows the tray icon and loads the window without showing it;
// closing a window then leaves Cascader running in the tray. Headless runs
// print the compiler log instead.
void LessClientAppDelegate::presentController()
{
    if (!m_userInterface) {
        auto *printer = new CompilerLogPrinter(m_appController->appModel(), m_logStyle, this);
        // Once the project and the folders given are in.
        connect(this, &LessClientAppDelegate::applicationDidFinishLaunching, printer, [this, printer] {
            if (m_appController->spinnerCount() == 0)
                printer->announceWatching();
            else
                connect(m_appController, &MainAppController::spinnerStopped, printer,
                        [printer] { printer->announceWatching(); }, Qt::SingleShotConnection);
        });
        return;
    }
    if (UserDefaults::standardUserDefaults()->boolForKey(UserDefaultsKeys::UIMode)) {
        QGuiApplication::setQuitOnLastWindowClosed(false);
        m_userInterface->showInTray();
        return;
    }
    m_userInterface->showMainWindowInFront(false);
}

// Before the project has been read, the switch and the project on disk are
// still what the last run left.
void LessClientAppDelegate::applicationWillTerminate()
{
    if (!m_hasFinishedLaunching)
        return;
    saveStateToUserDefaults();
    saveDataToDisk();
}

// A switch given on the command line holds for that run only.
void LessClientAppDelegate::saveStateToUserDefaults()
{
    if (m_autoCompileOverride)
        return;
    UserDefaults *defaults = UserDefaults::standardUserDefaults();
    defaults->setBool(m_appController->jAutoCompileEnabled(), UserDefaultsKeys::AutoCompileEnabled);
    defaults->synchronize();
}

void LessClientAppDelegate::restoreStateFromUserDefaults()
{
    m_appController->setJAutoCompileEnabled(m_autoCompileOverride.value_or(
        UserDefaults::standardUserDefaults()->boolForKey(UserDefaultsKeys::AutoCompileEnabled)));
    m_appController->awakenAutoCompile();
}

bool LessClientAppDelegate::saveDataToDisk()
{
    return m_projectSaver->saveNow();
}

// The file is read and its records built on a worker thread, then handed to
// the GUI thread, where the model takes them.
void LessClientAppDelegate::loadDataFromDisk()
{
    const QString path = ProjectDataFile::pathForDataFile();
    QThread *guiThread = thread();
    m_dataFileQueue.start([this, path, guiThread] {
        auto loaded = std::make_shared<ProjectDataFile::LoadResult>(ProjectDataFile(path).loadDataFromDisk());
        for (const auto &folder : loaded->pathData) {
            for (const auto &file : folder->lessFiles())
                file->moveToThread(guiThread);
            folder->moveToThread(guiThread);
        }
        QMetaObject::invokeMethod(
            this, [this, loaded] { didLoadDataFromDisk(std::move(*loaded)); }, Qt::QueuedConnection);
    });
}

// A file that cannot be read leaves the project empty; the log says why.
void LessClientAppDelegate::didLoadDataFromDisk(ProjectDataFile::LoadResult loaded)
{
    switch (loaded.outcome) {
    case ProjectDataFile::Outcome::Loaded:
        m_appController->appModel()->loadNewPathDataIntoModel(std::move(loaded.pathData));
        m_appController->folderRefresher()->beginRefreshingWatchedPathsAndShouldNotifyUserWhenDone(false);
        break;
    case ProjectDataFile::Outcome::Unreadable:
        m_appController->appModel()->addNewCompilerResultWithTime(
            QDateTime::currentDateTime(), PathUtils::abbreviateWithTilde(ProjectDataFile::pathForDataFile()),
            StyledText(UnreadableProjectMessage.arg(loaded.reason), StyledText::Grey));
        break;
    case ProjectDataFile::Outcome::Missing:
    case ProjectDataFile::Outcome::Ignored:
        break;
    }
    restoreStateFromUserDefaults();
    // From here on every change is written soon, so that a crash loses little.
    m_projectSaver->startFollowingChanges();
    connect(m_appController, &MainAppController::jAutoCompileEnabledChanged, this,
            &LessClientAppDelegate::saveStateToUserDefaults);
    m_hasFinishedLaunching = true;
    for (const QString &path : std::exchange(m_pathsToOpenWhenLaunched, {}))
        applicationOpenFile(path);
    Q_EMIT applicationDidFinishLaunching();
}

bool LessClientAppDelegate::applicationShouldHandleReopen()
{
    bringAppToFrontWithBeep(false);
    return true;
}

void LessClientAppDelegate::bringAppToFrontWithBeep(bool beep)
{
    if (m_userInterface)
        m_userInterface->showMainWindowInFront(beep);
}

// Folders added before the project is in would be lost when it arrives.
bool LessClientAppDelegate::applicationOpenFile(const QString &path)
{
    if (m_hasFinishedLaunching)
        m_appController->beginValidatingPath(path);
    else
        m_pathsToOpenWhenLaunched << path;
    return true;
}
