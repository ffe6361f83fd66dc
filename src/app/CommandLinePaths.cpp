#include "CommandLinePaths.h"

#include "engine/ZRMLessCompiler.h"
#include "support/PathUtils.h"

#include <QFileInfo>

CommandLinePaths::CommandLinePaths(const QStringList &paths)
{
    for (const QString &path : paths) {
        const QString problem = problemWith(path);
        if (problem.isEmpty())
            m_usable << path;
        else
            m_problems << QStringLiteral("%1: %2").arg(PathUtils::printablePath(path), problem);
    }
}

QString CommandLinePaths::problemWith(const QString &path) const
{
    const QFileInfo info(path);
    if (!info.exists())
        return QStringLiteral("no such file or folder");
    if (!info.isDir()) {
        return PathUtils::isLessFile(path) ? QString()
                                           : QStringLiteral("not a LESS file; give a folder or a .less file");
    }
    if (!info.isReadable() || !info.isExecutable())
        return QStringLiteral("this folder cannot be read");
    if (ZRMLessCompiler::getAllLessFilesInDirectory(path).isEmpty())
        return QStringLiteral("no LESS files in this folder");
    return {};
}
