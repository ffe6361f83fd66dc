#pragma once

#include "SkippedFolders.h"

#include <QByteArrayList>
#include <QStringList>

#include <functional>

// One walk of a folder tree for its LESS files, depth first: each entry comes
// before what lies beneath it. Symbolic links are never followed into, and
// skipped folders are not entered.
class FolderScan
{
public:
    // Called with each folder's path before the folder is read, so that a
    // watch set up there misses nothing that arrives after the scan saw it.
    using FolderVisitor = std::function<void(const QString &folder)>;

    explicit FolderScan(SkippedFolders skipped, FolderVisitor visitFolder = {});

    void scan(const QString &folder);

    const QStringList &lessFiles() const { return m_lessFiles; }
    // Paths that are not UTF-8, as the file system has them: no compile can name them.
    const QByteArrayList &undecodablePaths() const { return m_undecodablePaths; }

    // Whether name, an entry's last path component, is that of a LESS file.
    static bool hasLessExtension(const char *name);

private:
    void scanFolder(int folderFD, const QByteArray &folderPath);
    void addLessFile(const QByteArray &path);

    SkippedFolders m_skipped;
    FolderVisitor m_visitFolder;
    QStringList m_lessFiles;
    QByteArrayList m_undecodablePaths;
};
