#pragma once

#include <QString>
#include <QStringList>

#include <optional>

// What a drop of files and folders on the main window would add, told by
// the badge that the window shows while the drag hovers over it.
namespace DragClassification {

enum class BadgeIcon { DropFolder, LessFile };

struct Badge
{
    BadgeIcon icon;
    QString title;
    QString subtitle;

    friend bool operator==(const Badge &, const Badge &) = default;
};

// None when the drag is refused. One item must be a folder without extension
// or a LESS file; among several, the first file-like item decides: they are
// LESS files unless a folder came before it.
std::optional<Badge> badgeForDraggedPaths(const QStringList &paths);

} // namespace DragClassification
