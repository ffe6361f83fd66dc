#pragma once

#include <QString>

// Opens a file at a line in the user's editor: the command set in the
// preferences (%f the file, %l the line), else $VISUAL or $EDITOR in a
// terminal, else the desktop's default application for the file.
namespace EditorLauncher {

void open(const QString &file, int line);

} // namespace EditorLauncher
