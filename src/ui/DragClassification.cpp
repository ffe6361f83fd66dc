#include "DragClassification.h"

#include "support/PathUtils.h"

#include <QCoreApplication>
#include <QFileInfo>

namespace {

QString translated(const char *text)
{
    return QCoreApplication::translate("ZRMWindow", text);
}

bool hasExtension(const QString &path)
{
    return !PathUtils::pathExtension(path).isEmpty();
}

std::optional<DragClassification::Badge> badgeForOneItem(const QString &path)
{
    using namespace DragClassification;
    const QFileInfo item(path);
    if (item.exists() && item.isDir() && !hasExtension(path))
        return Badge{BadgeIcon::DropFolder, PathUtils::lastPathComponent(path), translated("Add this folder")};
    if (item.exists() && !item.isDir() && PathUtils::isLessFile(path))
        return Badge{BadgeIcon::LessFile, PathUtils::lastPathComponent(path),
                     translated("Add the folder this file is in")};
    return std::nullopt;
}

// A missing path without extension counts as a folder.
bool isFileLike(const QString &path)
{
    const QFileInfo item(path);
    return (item.exists() && !item.isDir()) || hasExtension(path);
}

std::optional<DragClassification::Badge> badgeForSeveralItems(const QStringList &paths)
{
    using namespace DragClassification;
    const qsizetype count = paths.size();
    bool noFolderYet = true;
    for (const QString &path : paths) {
        if (isFileLike(path))
            return noFolderYet ? std::optional(Badge{BadgeIcon::LessFile, translated("%1 LESS Files").arg(count),
                                                     translated("Add the folders these files are in")})
                               : std::nullopt;
        noFolderYet = false;
    }
    return Badge{BadgeIcon::DropFolder, translated("%1 Folders").arg(count), translated("Add these folders")};
}

} // namespace

namespace DragClassification {

std::optional<Badge> badgeForDraggedPaths(const QStringList &paths)
{
    if (paths.size() == 1)
        return badgeForOneItem(paths.constFirst());
    if (paths.size() < 2)
        return std::nullopt;
    return badgeForSeveralItems(paths);
}

} // namespace DragClassification
