#include "FolderScan.h"

#include <QFile>

#include <cstring>

#include <dirent.h>
#include <fcntl.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr char LessExtension[] = ".less";
constexpr size_t LessExtensionLength = sizeof LessExtension - 1;

bool isDotOrDotDot(const char *name)
{
    return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
}

bool isFolder(int folderFD, const dirent &entry)
{
    if (entry.d_type != DT_UNKNOWN)
        return entry.d_type == DT_DIR;
    struct stat status;
    return fstatat(folderFD, entry.d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(status.st_mode);
}

QByteArray joined(const QByteArray &folder, const char *name)
{
    return folder.endsWith('/') ? folder + name : folder + '/' + name;
}

} // namespace

FolderScan::FolderScan(SkippedFolders skipped, FolderVisitor visitFolder)
    : m_skipped(std::move(skipped)), m_visitFolder(std::move(visitFolder))
{
}

// A name of just ".less" is a hidden file without an extension.
bool FolderScan::hasLessExtension(const char *name)
{
    const size_t length = std::strlen(name);
    return length > LessExtensionLength
           && strncasecmp(name + length - LessExtensionLength, LessExtension, LessExtensionLength) == 0;
}

void FolderScan::scan(const QString &folder)
{
    const QByteArray encodedFolder = QFile::encodeName(folder);
    const int folderFD = open(encodedFolder.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folderFD >= 0)
        scanFolder(folderFD, encodedFolder);
}

// Takes over folderFD. Paths stay as the file system has them until a file is found.
void FolderScan::scanFolder(int folderFD, const QByteArray &folderPath)
{
    if (m_visitFolder)
        m_visitFolder(QFile::decodeName(folderPath));
    DIR *folder = fdopendir(folderFD);
    if (!folder) {
        close(folderFD);
        return;
    }
    while (const dirent *entry = readdir(folder)) {
        const char *name = entry->d_name;
        if (isDotOrDotDot(name))
            continue;
        if (hasLessExtension(name) && !SkippedFolders::skipsFile(name))
            addLessFile(joined(folderPath, name));
        if (!isFolder(dirfd(folder), *entry) || m_skipped.skipsFolder(name))
            continue;
        const int childFD = openat(dirfd(folder), name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        if (childFD >= 0)
            scanFolder(childFD, joined(folderPath, name));
    }
    closedir(folder);
}

// A path that does not come back from a QString unchanged names no file once decoded.
void FolderScan::addLessFile(const QByteArray &path)
{
    const QString decoded = QFile::decodeName(path);
    if (QFile::encodeName(decoded) == path)
        m_lessFiles.append(decoded);
    else
        m_undecodablePaths.append(path);
}
