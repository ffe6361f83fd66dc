#pragma once

#include "OutputRule.h"
#include "engine/LessOptions.h"

#include <QString>
#include <QStringList>

#include <optional>

// A watched folder's own defaults, from the cascader.json at its top, so that
// they travel with the repository: where CSS goes, the compile options,
// compression, and which files are entry files (the others are not compiled
// by themselves).
struct ProjectDefaults
{
    static const QString FileName;
    // The project file at the top of folder.
    static QString pathIn(const QString &folder);

    OutputRule output;
    LessOptions options;
    std::optional<bool> compress;
    // Relative to the folder; none named leaves every check mark to Cascader.
    QStringList entryFiles;

    bool operator==(const ProjectDefaults &other) const = default;

    struct Reading;
    static Reading readFromFolder(const QString &folder);
    static Reading parse(const QByteArray &json);
    // Writes the folder's cascader.json in one step; false with *error on failure.
    bool writeToFolder(const QString &folder, QString *error) const;
    QByteArray toJson() const;

    bool isEntryFile(const QString &lessFile, const QString &folder) const;
};

// What reading a folder's project file gave: no file, defaults, or the
// reason it was ignored ("line 3, column 14: …").
struct ProjectDefaults::Reading
{
    std::optional<ProjectDefaults> defaults;
    QString error;
};
Q_DECLARE_METATYPE(std::optional<ProjectDefaults>)
