#pragma once

#include "engine/LessOptions.h"

#include <QString>
#include <QStringList>

#include <optional>

class QCoreApplication;

// What the user asked for on the command line.
struct CommandLineOptions
{
    enum class Mode { Window, Headless, CompileAll };
    // A usage error, or nothing given that can be used.
    static constexpr int UsageErrorExitCode = 2;

    Mode mode = Mode::Window;
    QStringList paths;
    std::optional<bool> autoCompile;
    // How the log is printed without a window: errors only; as JSON lines.
    bool quiet = false;
    bool json = false;
    // Switched on for every file of this run.
    std::optional<LessOptions::SourceMap> sourceMap;
    bool autoprefix = false;
    // Serve live reload for this run, whatever the preferences say.
    bool liveReload = false;

    // Whether the arguments start the window, and so need a display; help,
    // version, usage errors and the modes without a window do not. Options
    // unknown to Cascader are left for Qt's own (-style, -platform).
    static bool needsWindow(const QStringList &arguments);
    // Parses the application's arguments; prints --help and --version answers
    // and usage errors itself, and then returns nothing with the exit code to use.
    static std::optional<CommandLineOptions> parse(const QCoreApplication &application,
                                                   int *exitCode);
};
