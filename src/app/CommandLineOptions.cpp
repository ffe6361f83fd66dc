#include "CommandLineOptions.h"

#include <QCommandLineParser>
#include <QCoreApplication>

#include <cstdio>

namespace {

const QString On = QStringLiteral("on");
const QString Off = QStringLiteral("off");

void printError(const QString &message)
{
    std::fprintf(stderr, "%s\n", qUtf8Printable(message));
}

// Cascader's options, set up once for both the early look at the arguments
// and the real parse.
// QCommandLineParser knows no option whose value may be left out: the
// inline form becomes an option of its own.
const QString InlineSourceMapOption = QStringLiteral("source-map-inline");

QStringList withOptionalValuesSplit(QStringList arguments)
{
    for (QString &argument : arguments) {
        if (argument == u"--source-map=inline")
            argument = QStringLiteral("--") + InlineSourceMapOption;
        else if (argument == u"--source-map=file")
            argument = QStringLiteral("--source-map");
    }
    return arguments;
}

struct Parser
{
    Parser();

    bool wantsHelp() const { return parser.isSet(help) || parser.isSet(QStringLiteral("help-all")); }

    QCommandLineParser parser;
    QCommandLineOption help;
    QCommandLineOption version;
    QCommandLineOption headless{
        QStringLiteral("headless"),
        QStringLiteral("Run without a window or tray icon: watch and compile until SIGINT or SIGTERM, "
                       "printing each compiler log entry, then save the project and exit.")};
    QCommandLineOption compileAll{
        QStringLiteral("compile-all"),
        QStringLiteral("Compile every checked file once, print the compiler log, save the project and "
                       "exit: 0 when every compile succeeded, 1 otherwise.")};
    QCommandLineOption autoCompile{QStringLiteral("auto-compile"),
                                   QStringLiteral("Switch auto-compile on or off for this run only."),
                                   QStringLiteral("on|off")};
    QCommandLineOption quiet{QStringLiteral("quiet"),
                             QStringLiteral("With --headless or --compile-all: print errors only.")};
    QCommandLineOption json{
        QStringLiteral("json"),
        QStringLiteral("With --headless or --compile-all: print each compile as one JSON object a line "
                       "(time, file, triggeredBy, ok, message, warnings, css, milliseconds).")};
    QCommandLineOption sourceMap{
        QStringLiteral("source-map"),
        QStringLiteral("With --headless or --compile-all: write a source map beside each CSS file "
                       "(--source-map=inline: into the CSS file).")};
    QCommandLineOption inlineSourceMap{InlineSourceMapOption};
    QCommandLineOption autoprefix{
        QStringLiteral("autoprefix"),
        QStringLiteral("With --headless or --compile-all: add vendor prefixes with autoprefixer "
                       "for the project's browsers.")};
    QCommandLineOption liveReload{
        QStringLiteral("live-reload"),
        QStringLiteral("Tell browser pages of each new CSS file (LiveReload, on the port set in the preferences, "
                       "35729 unless changed) for this run.")};
};

Parser::Parser() : help(parser.addHelpOption()), version(parser.addVersionOption())
{
    parser.setApplicationDescription(QStringLiteral(
        "Cascader compiles LESS files into CSS each time they are saved.\n\n"
        "Without --headless or --compile-all it opens its window. When Cascader is\n"
        "already running, the PATHs go to that one, which comes forward."));
    parser.addOption(headless);
    parser.addOption(compileAll);
    parser.addOption(autoCompile);
    parser.addOption(quiet);
    parser.addOption(json);
    parser.addOption(sourceMap);
    inlineSourceMap.setFlags(QCommandLineOption::HiddenFromHelp);
    parser.addOption(inlineSourceMap);
    parser.addOption(autoprefix);
    parser.addOption(liveReload);
    parser.addPositionalArgument(QStringLiteral("PATH"),
                                 QStringLiteral("A folder to add to the watched folders (a LESS file "
                                                "adds the folder that holds it)."),
                                 QStringLiteral("[PATH...]"));
}

} // namespace

bool CommandLineOptions::needsWindow(const QStringList &arguments)
{
    Parser options;
    const bool parsed = options.parser.parse(withOptionalValuesSplit(arguments))
                        || !options.parser.unknownOptionNames().isEmpty();
    return parsed && !options.wantsHelp() && !options.parser.isSet(options.version)
           && !options.parser.isSet(options.headless) && !options.parser.isSet(options.compileAll);
}

std::optional<CommandLineOptions> CommandLineOptions::parse(const QCoreApplication &application,
                                                            int *exitCode)
{
    Parser options;
    QCommandLineParser &parser = options.parser;
    *exitCode = 0;
    if (!parser.parse(withOptionalValuesSplit(application.arguments()))) {
        printError(parser.errorText());
        *exitCode = UsageErrorExitCode;
        return std::nullopt;
    }
    if (parser.isSet(QStringLiteral("help-all")))
        parser.process(application); // prints Qt's options too, and exits
    if (options.wantsHelp()) {
        std::fputs(qUtf8Printable(parser.helpText()), stdout);
        return std::nullopt;
    }
    if (parser.isSet(options.version)) {
        std::printf("%s %s\n", qUtf8Printable(application.applicationName()),
                    qUtf8Printable(application.applicationVersion()));
        return std::nullopt;
    }
    if (parser.isSet(options.headless) && parser.isSet(options.compileAll)) {
        printError(QStringLiteral("--headless and --compile-all cannot be used together."));
        *exitCode = UsageErrorExitCode;
        return std::nullopt;
    }

    CommandLineOptions result;
    if (parser.isSet(options.headless))
        result.mode = Mode::Headless;
    else if (parser.isSet(options.compileAll))
        result.mode = Mode::CompileAll;
    if (parser.isSet(options.autoCompile)) {
        const QString value = parser.value(options.autoCompile);
        if (value != On && value != Off) {
            printError(QStringLiteral("--auto-compile takes on or off, not \"%1\".").arg(value));
            *exitCode = UsageErrorExitCode;
            return std::nullopt;
        }
        result.autoCompile = value == On;
    }
    result.quiet = parser.isSet(options.quiet);
    result.json = parser.isSet(options.json);
    if (parser.isSet(options.inlineSourceMap))
        result.sourceMap = LessOptions::SourceMap::Inline;
    else if (parser.isSet(options.sourceMap))
        result.sourceMap = LessOptions::SourceMap::File;
    result.autoprefix = parser.isSet(options.autoprefix);
    const bool forOneRun = result.quiet || result.json || result.sourceMap || result.autoprefix;
    if (forOneRun && result.mode == Mode::Window) {
        printError(QStringLiteral("--quiet, --json, --source-map and --autoprefix go with --headless or --compile-all."));
        *exitCode = UsageErrorExitCode;
        return std::nullopt;
    }
    result.liveReload = parser.isSet(options.liveReload);
    if (result.liveReload && result.mode == Mode::CompileAll) {
        printError(QStringLiteral("--live-reload goes with --headless or the window, not with --compile-all."));
        *exitCode = UsageErrorExitCode;
        return std::nullopt;
    }
    result.paths = parser.positionalArguments();
    return result;
}
