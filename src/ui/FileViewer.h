#pragma once

#include <QStringList>

// Shows files and folders in the desktop's file manager.
namespace FileViewer {

// Asks the file manager to show each path selected in its folder; when no
// file manager answers on the session bus, opens the folders that hold them.
void reveal(const QStringList &paths);

} // namespace FileViewer
