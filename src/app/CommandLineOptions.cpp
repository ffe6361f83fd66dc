#include "CommandLineOptions.h"

#include <QCommandLineParser>
#include <QCoreApplication>

#include <cstdio>

namespace {

void printError(const QString &message)
{
    std::fprintf(stderr, "%s\n", qUtf8Printable(message));
}

} // namespace

std::optional<CommandLineOptions> CommandLineOptions::parse(const QCoreApplication &application,
                                                            int *exitCode)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Cascader compiles LESS files into CSS each time they are saved."));
    const QCommandLineOption helpOption = parser.addHelpOption();
    const QCommandLineOption versionOption = parser.addVersionOption();
    const QCommandLineOption headlessOption(
        QStringLiteral("headless"),
        QStringLiteral("Run without a window: watch and compile until interrupted, "
                       "printing the compiler log."));
    const QCommandLineOption compileAllOption(
        QStringLiteral("compile-all"),
        QStringLiteral("Compile every checked file once, print the log and exit "
                       "(1 when a compile failed)."));
    const QCommandLineOption autoCompileOption(
        QStringLiteral("auto-compile"),
        QStringLiteral("Switch auto-compile on or off for this run."), QStringLiteral("on|off"));
    parser.addOption(headlessOption);
    parser.addOption(compileAllOption);
    parser.addOption(autoCompileOption);
    parser.addPositionalArgument(QStringLiteral("PATH"),
                                 QStringLiteral("A folder (or a LESS file in it) to add."),
                                 QStringLiteral("[PATH...]"));

    *exitCode = 0;
    if (!parser.parse(application.arguments())) {
        printError(parser.errorText());
        *exitCode = 2;
        return std::nullopt;
    }
    if (parser.isSet(helpOption)) {
        std::fputs(qUtf8Printable(parser.helpText()), stdout);
        return std::nullopt;
    }
    if (parser.isSet(versionOption)) {
        std::printf("%s %s\n", qUtf8Printable(application.applicationName()),
                    qUtf8Printable(application.applicationVersion()));
        return std::nullopt;
    }
    if (parser.isSet(headlessOption) && parser.isSet(compileAllOption)) {
        printError(QStringLiteral("--headless and --compile-all cannot be used together."));
        *exitCode = 2;
        return std::nullopt;
    }

    CommandLineOptions options;
    if (parser.isSet(headlessOption))
        options.mode = Mode::Headless;
    else if (parser.isSet(compileAllOption))
        options.mode = Mode::CompileAll;
    if (parser.isSet(autoCompileOption)) {
        const QString value = parser.value(autoCompileOption);
        if (value != QStringLiteral("on") && value != QStringLiteral("off")) {
            printError(QStringLiteral("--auto-compile takes on or off, not \"%1\".").arg(value));
            *exitCode = 2;
            return std::nullopt;
        }
        options.autoCompile = value == QStringLiteral("on");
    }
    options.paths = parser.positionalArguments();
    return options;
}
