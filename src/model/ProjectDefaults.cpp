#include "ProjectDefaults.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

const QString ProjectDefaults::FileName = QStringLiteral("cascader.json");

namespace {

namespace Keys {
inline constexpr QLatin1StringView Output{"output"};
inline constexpr QLatin1StringView Options{"options"};
inline constexpr QLatin1StringView Compress{"compress"};
inline constexpr QLatin1StringView EntryFiles{"entryFiles"};
} // namespace Keys

// QJsonDocument counts bytes; people count lines and characters.
QString positionOf(const QByteArray &json, int offset)
{
    const QByteArray before = json.left(offset);
    const qsizetype lineStart = before.lastIndexOf('\n') + 1;
    return QStringLiteral("line %1, column %2")
        .arg(before.count('\n') + 1)
        .arg(QString::fromUtf8(before.mid(lineStart)).size() + 1);
}

ProjectDefaults::Reading failed(const QString &reason)
{
    return {std::nullopt, reason};
}

} // namespace

QString ProjectDefaults::pathIn(const QString &folder)
{
    return QDir(folder).filePath(FileName);
}

ProjectDefaults::Reading ProjectDefaults::readFromFolder(const QString &folder)
{
    QFile file(pathIn(folder));
    if (!file.exists())
        return {};
    if (!file.open(QIODevice::ReadOnly))
        return failed(file.errorString());
    return parse(file.readAll());
}

ProjectDefaults::Reading ProjectDefaults::parse(const QByteArray &json)
{
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(json, &parseError);
    if (parseError.error != QJsonParseError::NoError)
        return failed(QStringLiteral("%1: %2").arg(positionOf(json, parseError.offset), parseError.errorString()));
    if (!document.isObject())
        return failed(QStringLiteral("line 1, column 1: not a JSON object"));
    const QVariantMap values = document.object().toVariantMap();
    QString error;
    ProjectDefaults defaults;
    defaults.output = OutputRule::fromVariantMap(values.value(Keys::Output).toMap(), &error);
    defaults.options = LessOptions::fromVariantMap(values.value(Keys::Options).toMap(), &error);
    const QVariant compress = values.value(Keys::Compress);
    if (compress.metaType() == QMetaType::fromType<bool>())
        defaults.compress = compress.toBool();
    else if (compress.isValid())
        error = QStringLiteral("\"compress\" must be true or false");
    defaults.entryFiles = values.value(Keys::EntryFiles).toStringList();
    if (!error.isEmpty())
        return failed(error);
    return {defaults, {}};
}

QByteArray ProjectDefaults::toJson() const
{
    QJsonObject object;
    if (!output.isBesideFile())
        object.insert(Keys::Output, QJsonObject::fromVariantMap(output.toVariantMap()));
    const QVariantMap optionValues = options.toVariantMap();
    if (!optionValues.isEmpty())
        object.insert(Keys::Options, QJsonObject::fromVariantMap(optionValues));
    if (compress)
        object.insert(Keys::Compress, *compress);
    if (!entryFiles.isEmpty())
        object.insert(Keys::EntryFiles, QJsonValue::fromVariant(entryFiles));
    return QJsonDocument(object).toJson(QJsonDocument::Indented);
}

bool ProjectDefaults::writeToFolder(const QString &folder, QString *error) const
{
    QSaveFile file(pathIn(folder));
    if (file.open(QIODevice::WriteOnly) && file.write(toJson()) >= 0 && file.commit())
        return true;
    *error = file.errorString();
    return false;
}

bool ProjectDefaults::isEntryFile(const QString &lessFile, const QString &folder) const
{
    return entryFiles.contains(QDir(folder).relativeFilePath(lessFile));
}
