#include "LessPackage.h"

#include "support/Resources.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

const QString PackageInModules = QStringLiteral("node_modules/less");
const QString PackageManifest = QStringLiteral("package.json");

bool holdsPackage(const QString &folder)
{
    return QFileInfo::exists(folder + u'/' + PackageManifest);
}

} // namespace

// node_modules lies beside the worker script's real place.
QString LessPackage::bundledFolder()
{
    const QString worker = Resources::pathForResource(QStringLiteral("compile-worker.js"), {}, QStringLiteral("engines/bin"));
    return worker.isEmpty() ? QString() : QFileInfo(worker).canonicalPath() + u'/' + PackageInModules;
}

QString LessPackage::projectFolderFor(const QString &lessFile, const QString &topFolder)
{
    const QString top = QDir::cleanPath(topFolder);
    for (QDir folder = QFileInfo(lessFile).dir();; ) {
        const QString candidate = folder.filePath(PackageInModules);
        if (holdsPackage(candidate))
            return candidate;
        if (QDir::cleanPath(folder.path()) == top || !folder.path().startsWith(top) || !folder.cdUp())
            return {};
    }
}

QString LessPackage::versionAt(const QString &packageFolder)
{
    QFile manifest(packageFolder + u'/' + PackageManifest);
    if (!manifest.open(QIODevice::ReadOnly))
        return {};
    return QJsonDocument::fromJson(manifest.readAll()).object().value(QStringLiteral("version")).toString();
}
