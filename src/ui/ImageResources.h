#pragma once

#include <QIcon>
#include <QPixmap>

// The images Cascader draws itself, installed in the resource folder's
// "images" with an "@2x" twin for high-density screens.
namespace ImageResources {

// Both densities, so that the icon is sharp wherever it is drawn; null when missing.
QIcon icon(const QString &name);
// At the given device pixel ratio's density where there is such a variant.
QPixmap pixmap(const QString &name, qreal devicePixelRatio);

} // namespace ImageResources
