#include "ImageResources.h"

#include "support/Resources.h"

#include <QPixmapCache>

namespace {

const QString ImagesFolder = QStringLiteral("images");
const QString HighDensitySuffix = QStringLiteral("@2x");
constexpr qreal HighDensity = 2;

QString pathOf(const QString &name)
{
    return Resources::pathForResource(name, {}, ImagesFolder);
}

QString highDensityName(const QString &name)
{
    const qsizetype dot = name.lastIndexOf(u'.');
    return dot < 0 ? name + HighDensitySuffix : name.left(dot) + HighDensitySuffix + name.mid(dot);
}

} // namespace

namespace ImageResources {

QIcon icon(const QString &name)
{
    const QString path = pathOf(name);
    // QIcon finds the "@2x" twin by itself.
    return path.isEmpty() ? QIcon() : QIcon(path);
}

QPixmap pixmap(const QString &name, qreal devicePixelRatio)
{
    const bool sharp = devicePixelRatio > 1 && !pathOf(highDensityName(name)).isEmpty();
    const QString path = pathOf(sharp ? highDensityName(name) : name);
    QPixmap image;
    if (!path.isEmpty() && !QPixmapCache::find(path, &image) && image.load(path))
        QPixmapCache::insert(path, image);
    image.setDevicePixelRatio(sharp ? HighDensity : 1);
    return image;
}

} // namespace ImageResources
