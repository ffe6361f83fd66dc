#pragma once

#include <Qt>

// The item roles that the folder and file lists offer beyond Qt's own, so
// that a delegate can draw a row from its record's row values.
namespace ItemRoles {

enum : int {
    // The row's "subtitleString": a folder's file count, a file's output line.
    SubtitleRole = Qt::UserRole + 1,
    // The record's whole valuesForTableViewCell map.
    RowValuesRole,
};

} // namespace ItemRoles
