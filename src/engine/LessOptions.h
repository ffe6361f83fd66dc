#pragma once

#include <QJsonObject>
#include <QMap>
#include <QMetaType>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <optional>

// What a LESS file is compiled with beyond its CSS target and compression:
// the source map, vendor prefixes, the compiler's language options and which
// less compiles it. The defaults are lessc's own behaviour.
struct LessOptions
{
    enum class SourceMap { None, File, Inline };

    SourceMap sourceMap = SourceMap::None;
    bool autoprefix = false;
    // One of mathModes(); empty for the compiler's default.
    QString math;
    bool strictUnits = false;
    // Searched for imports after the file's own folder, relative to it or absolute.
    QStringList includePaths;
    // Global variables by name (without the @), set as less's modify-vars.
    QMap<QString, QString> globalVariables;
    // The project's own node_modules/less when there is one, else the bundled less.
    bool projectLess = false;

    bool operator==(const LessOptions &other) const = default;

    static QStringList mathModes();
    static QString sourceMapName(SourceMap sourceMap);
    static std::optional<SourceMap> sourceMapNamed(const QString &name);

    // As stored: only what differs from the defaults.
    QVariantMap toVariantMap() const;
    // Values of the wrong kind are left at their defaults, and the first is
    // described in *error when error is given.
    static LessOptions fromVariantMap(const QVariantMap &values, QString *error = nullptr);
    // The compile request's fields for them, include paths resolved against lessFile's folder.
    void addToRequest(QJsonObject *request, const QString &lessFile) const;
};

Q_DECLARE_METATYPE(LessOptions)
