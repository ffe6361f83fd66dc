#include "LessOptions.h"

#include <QDir>
#include <QFileInfo>

namespace {

namespace Keys {
inline constexpr QLatin1StringView SourceMap{"sourceMap"};
inline constexpr QLatin1StringView Autoprefix{"autoprefix"};
inline constexpr QLatin1StringView Math{"math"};
inline constexpr QLatin1StringView StrictUnits{"strictUnits"};
inline constexpr QLatin1StringView IncludePaths{"includePaths"};
inline constexpr QLatin1StringView GlobalVariables{"globalVariables"};
inline constexpr QLatin1StringView LessCompiler{"lessCompiler"};
} // namespace Keys

const QString ProjectLessName = QStringLiteral("project");

// Reads values of one kind, remembering the first that is of another.
class Reader
{
public:
    Reader(const QVariantMap &values, QString *error) : m_values(values), m_error(error) {}

    template<typename T>
    std::optional<T> take(QLatin1StringView key, const char *kind)
    {
        const QVariant value = m_values.value(key);
        if (!value.isValid())
            return std::nullopt;
        if (value.metaType() != QMetaType::fromType<T>()) {
            fail(QStringLiteral("\"%1\" must be %2").arg(key, QLatin1StringView(kind)));
            return std::nullopt;
        }
        return value.value<T>();
    }

    std::optional<QStringList> strings(QLatin1StringView key)
    {
        const auto list = take<QVariantList>(key, "a list of strings");
        if (!list)
            return std::nullopt;
        QStringList strings;
        for (const QVariant &value : *list) {
            if (value.metaType() != QMetaType::fromType<QString>()) {
                fail(QStringLiteral("\"%1\" must be a list of strings").arg(key));
                return std::nullopt;
            }
            strings << value.toString();
        }
        return strings;
    }

    void fail(const QString &reason)
    {
        if (m_error && m_error->isEmpty())
            *m_error = reason;
    }

private:
    QVariantMap m_values;
    QString *m_error;
};

} // namespace

QStringList LessOptions::mathModes()
{
    return {QStringLiteral("always"), QStringLiteral("parens-division"), QStringLiteral("parens"),
            QStringLiteral("strict-legacy")};
}

QString LessOptions::sourceMapName(SourceMap sourceMap)
{
    switch (sourceMap) {
    case SourceMap::File:
        return QStringLiteral("file");
    case SourceMap::Inline:
        return QStringLiteral("inline");
    case SourceMap::None:
        break;
    }
    return QStringLiteral("none");
}

std::optional<LessOptions::SourceMap> LessOptions::sourceMapNamed(const QString &name)
{
    for (SourceMap sourceMap : {SourceMap::None, SourceMap::File, SourceMap::Inline}) {
        if (sourceMapName(sourceMap) == name)
            return sourceMap;
    }
    return std::nullopt;
}

QVariantMap LessOptions::toVariantMap() const
{
    QVariantMap values;
    if (sourceMap != SourceMap::None)
        values.insert(Keys::SourceMap, sourceMapName(sourceMap));
    if (autoprefix)
        values.insert(Keys::Autoprefix, true);
    if (!math.isEmpty())
        values.insert(Keys::Math, math);
    if (strictUnits)
        values.insert(Keys::StrictUnits, true);
    if (!includePaths.isEmpty())
        values.insert(Keys::IncludePaths, includePaths);
    if (!globalVariables.isEmpty()) {
        QVariantMap variables;
        for (auto it = globalVariables.cbegin(); it != globalVariables.cend(); ++it)
            variables.insert(it.key(), it.value());
        values.insert(Keys::GlobalVariables, variables);
    }
    if (projectLess)
        values.insert(Keys::LessCompiler, ProjectLessName);
    return values;
}

LessOptions LessOptions::fromVariantMap(const QVariantMap &values, QString *error)
{
    Reader reader(values, error);
    LessOptions options;
    if (const auto name = reader.take<QString>(Keys::SourceMap, "\"none\", \"file\" or \"inline\"")) {
        if (const auto sourceMap = sourceMapNamed(*name))
            options.sourceMap = *sourceMap;
        else
            reader.fail(QStringLiteral("\"sourceMap\" must be \"none\", \"file\" or \"inline\""));
    }
    options.autoprefix = reader.take<bool>(Keys::Autoprefix, "true or false").value_or(false);
    if (const auto math = reader.take<QString>(Keys::Math, "a math mode")) {
        if (mathModes().contains(*math))
            options.math = *math;
        else
            reader.fail(QStringLiteral("\"math\" must be one of %1").arg(mathModes().join(QStringLiteral(", "))));
    }
    options.strictUnits = reader.take<bool>(Keys::StrictUnits, "true or false").value_or(false);
    options.includePaths = reader.strings(Keys::IncludePaths).value_or(QStringList());
    const QVariantMap variables = reader.take<QVariantMap>(Keys::GlobalVariables, "an object").value_or(QVariantMap());
    for (auto it = variables.cbegin(); it != variables.cend(); ++it) {
        if (it.value().metaType() == QMetaType::fromType<QString>())
            options.globalVariables.insert(it.key(), it.value().toString());
        else
            reader.fail(QStringLiteral("\"globalVariables\" must hold strings"));
    }
    options.projectLess = reader.take<QString>(Keys::LessCompiler, "\"bundled\" or \"project\"") == ProjectLessName;
    return options;
}

void LessOptions::addToRequest(QJsonObject *request, const QString &lessFile) const
{
    if (sourceMap != SourceMap::None)
        request->insert(QStringLiteral("sourceMap"), sourceMapName(sourceMap));
    if (autoprefix)
        request->insert(QStringLiteral("autoprefix"), true);
    if (!math.isEmpty())
        request->insert(QStringLiteral("math"), math);
    if (strictUnits)
        request->insert(QStringLiteral("strictUnits"), true);
    if (!includePaths.isEmpty()) {
        const QDir folder = QFileInfo(lessFile).dir();
        QStringList paths;
        for (const QString &path : includePaths)
            paths << QDir::cleanPath(folder.absoluteFilePath(path));
        request->insert(QStringLiteral("paths"), QJsonValue::fromVariant(paths));
    }
    if (!globalVariables.isEmpty()) {
        QJsonObject variables;
        for (auto it = globalVariables.cbegin(); it != globalVariables.cend(); ++it)
            variables.insert(it.key(), it.value());
        request->insert(QStringLiteral("modifyVars"), variables);
    }
}
