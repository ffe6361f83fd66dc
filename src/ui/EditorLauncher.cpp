#include "EditorLauncher.h"

#include "support/Logging.h"
#include "support/UserDefaults.h"
#include "support/UserDefaultsKeys.h"

#include <QDesktopServices>
#include <QProcess>
#include <QUrl>

namespace EditorLauncher {

namespace {

// Debian's choice of terminal, kept by update-alternatives.
const QString Terminal = QStringLiteral("x-terminal-emulator");

bool startDetached(QStringList command)
{
    if (command.isEmpty())
        return false;
    const QString program = command.takeFirst();
    if (QProcess::startDetached(program, command))
        return true;
    qCWarning(lcApp, "Could not start the editor %s.", qUtf8Printable(program));
    return false;
}

QStringList configuredCommand(const QString &file, int line)
{
    QStringList command = QProcess::splitCommand(
        UserDefaults::standardUserDefaults()->objectForKey(UserDefaultsKeys::EditorCommand).toString());
    for (QString &argument : command)
        argument.replace(QStringLiteral("%f"), file).replace(QStringLiteral("%l"), QString::number(line));
    return command;
}

// vi, nano, emacs and their kin all take +LINE before the file.
QStringList terminalEditorCommand(const QString &file, int line)
{
    const QString editor = qEnvironmentVariable("VISUAL", qEnvironmentVariable("EDITOR"));
    if (editor.isEmpty())
        return {};
    return QStringList{Terminal, QStringLiteral("-e")} + QProcess::splitCommand(editor)
           + QStringList{QStringLiteral("+%1").arg(std::max(line, 1)), file};
}

} // namespace

void open(const QString &file, int line)
{
    if (startDetached(configuredCommand(file, line)) || startDetached(terminalEditorCommand(file, line)))
        return;
    QDesktopServices::openUrl(QUrl::fromLocalFile(file));
}

} // namespace EditorLauncher
