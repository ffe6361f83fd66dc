#include "OutputRule.h"

#include <QDir>
#include <QFileInfo>

namespace {

namespace Keys {
inline constexpr QLatin1StringView Folder{"folder"};
inline constexpr QLatin1StringView Replace{"replace"};
inline constexpr QLatin1StringView With{"with"};
} // namespace Keys

const QString CSSExtension = QStringLiteral(".css");

QString cssNameOf(const QString &lessFile)
{
    return QFileInfo(lessFile).completeBaseName() + CSSExtension;
}

} // namespace

bool OutputRule::isFolderName(const QString &name)
{
    return !name.isEmpty() && !name.contains(u'/') && name != u"." && name != u"..";
}

OutputRule OutputRule::intoFolder(const QString &folder)
{
    return {Kind::Folder, folder, {}, {}};
}

OutputRule OutputRule::replacingComponent(const QString &replace, const QString &with)
{
    return {Kind::ReplaceComponent, {}, replace, with};
}

QString OutputRule::targetFor(const QString &lessFile, const QString &watchedFolder) const
{
    const QDir lessFolder = QFileInfo(lessFile).dir();
    if (kind == Kind::Folder)
        return QDir::cleanPath(lessFolder.absoluteFilePath(folder) + u'/' + cssNameOf(lessFile));
    if (kind != Kind::ReplaceComponent)
        return {};
    const QDir top(watchedFolder);
    QStringList components = top.relativeFilePath(lessFolder.path()).split(u'/', Qt::SkipEmptyParts);
    if (components.startsWith(QStringLiteral("..")) || !components.contains(replace))
        return {};
    std::replace(components.begin(), components.end(), replace, with);
    return QDir::cleanPath(top.filePath(components.join(u'/')) + u'/' + cssNameOf(lessFile));
}

QVariantMap OutputRule::toVariantMap() const
{
    switch (kind) {
    case Kind::Folder:
        return {{Keys::Folder, folder}};
    case Kind::ReplaceComponent:
        return {{Keys::Replace, replace}, {Keys::With, with}};
    case Kind::BesideFile:
        break;
    }
    return {};
}

OutputRule OutputRule::fromVariantMap(const QVariantMap &values, QString *error)
{
    const auto fail = [error](const QString &reason) {
        if (error && error->isEmpty())
            *error = reason;
        return OutputRule();
    };
    const QVariant folder = values.value(Keys::Folder);
    if (folder.isValid()) {
        if (folder.metaType() != QMetaType::fromType<QString>() || folder.toString().isEmpty())
            return fail(QStringLiteral("\"folder\" must be a folder's path"));
        return intoFolder(folder.toString());
    }
    if (!values.contains(Keys::Replace) && !values.contains(Keys::With))
        return {};
    const QString replace = values.value(Keys::Replace).toString();
    const QString with = values.value(Keys::With).toString();
    if (!isFolderName(replace) || !isFolderName(with))
        return fail(QStringLiteral("\"replace\" and \"with\" must each be one folder name"));
    return replacingComponent(replace, with);
}
