#include "Resources.h"

#include "PathUtils.h"

#include <QCoreApplication>
#include <QFileInfo>

namespace Resources {

QString folder()
{
    const QString override = qEnvironmentVariable("CASCADER_RESOURCES");
    if (!override.isEmpty())
        return override;
    return QFileInfo(QCoreApplication::applicationDirPath() + QStringLiteral("/../share/cascader"))
        .absoluteFilePath();
}

QString pathForResource(const QString &name, const QString &type, const QString &directory)
{
    const QString fileName = type.isEmpty() ? name : PathUtils::appendingPathExtension(name, type);
    const QString path = PathUtils::appendingPathComponent(
        PathUtils::appendingPathComponent(folder(), directory), fileName);
    return QFileInfo::exists(path) ? path : QString();
}

} // namespace Resources
