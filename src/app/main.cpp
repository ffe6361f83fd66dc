#include "app/CommandLineOptions.h"
#include "app/CommandLinePaths.h"
#include "app/CompileAllRun.h"
#include "app/LessClientAppDelegate.h"
#include "app/LiveReload.h"
#include "app/MainAppController.h"
#include "app/RunningInstance.h"
#include "app/UnixSignalWatcher.h"
#include "engine/ZRMLessCompiler.h"
#include "support/BundleInfo.h"
#include "ui/ApplicationIcon.h"
#include "ui/DesktopUserInterface.h"

#include <QApplication>
#include <QDir>
#include <QFileInfo>

#include <cstdio>
#include <memory>

namespace {

using Mode = CommandLineOptions::Mode;

const char NoDisplayMessage[] =
    "cascader: there is no display to open the window on (neither DISPLAY nor WAYLAND_DISPLAY is set).\n"
    "To watch and compile without a window, on a server or over ssh, run: cascader --headless FOLDER\n";

// Qt would abort without a word of --headless; a platform named by hand is the user's choice.
bool hasDisplay()
{
    return !qEnvironmentVariableIsEmpty("DISPLAY") || !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")
           || !qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM");
}

// Only the window needs a display; the other modes run anywhere. Null when
// the window is wanted and there is no display.
std::unique_ptr<QCoreApplication> createApplication(int &argc, char **argv)
{
    QStringList arguments;
    for (int index = 0; index < argc; ++index)
        arguments << QString::fromLocal8Bit(argv[index]);
    // --help-all lists the options of Qt's GUI, which only its application knows.
    const bool helpAll = arguments.contains(QStringLiteral("--help-all")) && hasDisplay();
    if (helpAll || CommandLineOptions::needsWindow(arguments)) {
        if (!hasDisplay() && !arguments.contains(QStringLiteral("-platform"))) {
            std::fputs(NoDisplayMessage, stderr);
            return nullptr;
        }
        auto application = std::make_unique<QApplication>(argc, argv);
        QApplication::setWindowIcon(ApplicationIcon::icon());
        return application;
    }
    return std::make_unique<QCoreApplication>(argc, argv);
}

QStringList absolutePaths(const QStringList &paths)
{
    QStringList absolute;
    for (const QString &path : paths)
        absolute << QDir::cleanPath(QFileInfo(path).absoluteFilePath());
    return absolute;
}

void openPaths(LessClientAppDelegate &delegate, const QStringList &paths)
{
    for (const QString &path : paths)
        delegate.applicationOpenFile(path);
}

// Signals and the end of the desktop session quit like the Quit command: the
// switch and the project are saved.
void saveAtQuit(LessClientAppDelegate &delegate)
{
    QObject::connect(QCoreApplication::instance(), &QCoreApplication::aboutToQuit, &delegate,
                     &LessClientAppDelegate::applicationWillTerminate);
    if (auto *guiApplication = qobject_cast<QGuiApplication *>(QCoreApplication::instance())) {
        QObject::connect(guiApplication, &QGuiApplication::commitDataRequest, &delegate,
                         [&delegate] { delegate.applicationWillTerminate(); });
    }
}

// How the log is printed, and the compile options switched on for every file.
void applyOptionsOfThisRun(LessClientAppDelegate &delegate, const CommandLineOptions &options)
{
    delegate.setLogStyle({options.json, options.quiet, !options.json && CompilerLogPrinter::colourWanted(),
                          options.mode == Mode::Headless});
    delegate.appController()->setOptionsForThisRun(options.sourceMap, options.autoprefix);
}

// The workers load less while the rest of Cascader starts.
void startCompilerWorkers()
{
    ZRMLessCompiler::sharedLessCompiler();
}

int handOffToRunningInstance(const RunningInstance &runningInstance, const QStringList &paths)
{
    if (runningInstance.handOff(paths))
        return 0;
    std::fputs("Cascader is already running but does not answer.\n", stderr);
    return 1;
}

// The window or --headless: one instance per user, running until quit.
int runUntilQuit(const CommandLineOptions &options, const QStringList &paths)
{
    RunningInstance runningInstance;
    if (!runningInstance.claim())
        return handOffToRunningInstance(runningInstance, paths);
    startCompilerWorkers();

    LessClientAppDelegate delegate;
    applyOptionsOfThisRun(delegate, options);
    std::unique_ptr<DesktopUserInterface> desktop;
    if (options.mode == Mode::Window)
        desktop = std::make_unique<DesktopUserInterface>(&delegate);
    QObject::connect(&runningInstance, &RunningInstance::openFileRequested, &delegate,
                     &LessClientAppDelegate::applicationOpenFile);
    QObject::connect(&runningInstance, &RunningInstance::reopenRequested, &delegate,
                     &LessClientAppDelegate::applicationShouldHandleReopen);
    UnixSignalWatcher signalWatcher;
    QObject::connect(&signalWatcher, &UnixSignalWatcher::terminationRequested, QCoreApplication::instance(),
                     [] { QCoreApplication::quit(); });
    saveAtQuit(delegate);

    delegate.applicationWillFinishLaunching(options.autoCompile);
    delegate.appController()->liveReload()->start(options.liveReload);
    openPaths(delegate, paths);
    return QCoreApplication::exec();
}

// --compile-all: a one-off run beside any running instance; a signal ends it
// as failed. The project is the running instance's: the folders given go to
// it, and this run does not write the project. Without one, this run adds
// its folders to the project on disk and changes nothing else.
int runCompileAll(const CommandLineOptions &options, const QStringList &paths)
{
    startCompilerWorkers();
    LessClientAppDelegate delegate;
    applyOptionsOfThisRun(delegate, options);
    const RunningInstance runningInstance;
    if (runningInstance.isRunning()) {
        delegate.setProjectRole(ProjectSaver::Role::ReadOnly);
        if (!paths.isEmpty() && !runningInstance.handOff(paths, RunningInstance::Reopen::No))
            std::fputs("cascader: the running Cascader did not take the folders given; they are compiled "
                       "but not added to its project.\n",
                       stderr);
    } else {
        delegate.setProjectRole(ProjectSaver::Role::AddsFolders);
    }
    UnixSignalWatcher signalWatcher;
    QObject::connect(&signalWatcher, &UnixSignalWatcher::terminationRequested, QCoreApplication::instance(),
                     [] { QCoreApplication::exit(1); });
    saveAtQuit(delegate);

    delegate.applicationWillFinishLaunching(options.autoCompile);
    openPaths(delegate, paths);
    CompileAllRun run(delegate.appController());
    QObject::connect(&delegate, &LessClientAppDelegate::applicationDidFinishLaunching, &run,
                     &CompileAllRun::start);
    QObject::connect(&run, &CompileAllRun::finished, QCoreApplication::instance(),
                     [](int exitCode) { QCoreApplication::exit(exitCode); });
    return QCoreApplication::exec();
}

} // namespace

int main(int argc, char *argv[])
{
    const std::unique_ptr<QCoreApplication> application = createApplication(argc, argv);
    if (!application)
        return 1;
    QCoreApplication::setApplicationName(BundleInfo::ApplicationName);
    QCoreApplication::setApplicationVersion(BundleInfo::value(BundleInfo::CFBundleShortVersionString));

    int exitCode = 0;
    const std::optional<CommandLineOptions> options = CommandLineOptions::parse(*application, &exitCode);
    if (!options)
        return exitCode;
    const CommandLinePaths given(absolutePaths(options->paths));
    for (const QString &problem : given.problems())
        std::fprintf(stderr, "cascader: %s\n", qUtf8Printable(problem));
    if (given.nothingUsable() && options->mode != Mode::Window) {
        std::fputs("cascader: none of the paths given can be added; nothing was done.\n", stderr);
        return CommandLineOptions::UsageErrorExitCode;
    }
    const QStringList paths = given.usable();
    if (options->mode == Mode::CompileAll)
        return runCompileAll(*options, paths);
    return runUntilQuit(*options, paths);
}
