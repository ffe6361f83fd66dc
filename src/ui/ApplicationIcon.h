#pragma once

#include <QIcon>
#include <QPixmap>

// Cascader's icon, drawn in code: a blue tile with three cascading steps.
// Drawing it needs no image plugin, so it looks the same on every system.
namespace ApplicationIcon {

// A square picture of the icon, size device-independent pixels wide, sharp
// at devicePixelRatio.
QPixmap pixmap(int size, qreal devicePixelRatio = 1.0);
// The icon at the sizes that menus, trays, title bars and dialogs use.
QIcon icon();

} // namespace ApplicationIcon
