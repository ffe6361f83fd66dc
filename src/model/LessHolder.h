#pragma once

#include "engine/LessOptions.h"

#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <optional>

// The record of one LESS file in a watched folder: its path in the forms the
// interface shows, the CSS file it compiles to, its per-file switches, the
// files it reads and the files that import it. A file that another file of
// the project imports is a partial: its row names its importers. Every setter
// announces its field through changed().
class LessHolder : public QObject
{
    Q_OBJECT

public:
    enum class Field {
        MemberOfWatchedFolder,
        LessFileFullPath,
        LessFileTildePath,
        LessFileAbbreviatedPath,
        LessFilename,
        TargetCSSFileFullPath,
        TargetCSSFileTildePath,
        TargetCSSFileAbbreviatedPath,
        TargetCSSFilename,
        LinkedFilesToCompile,
        CheckboxState,
        ValuesForTableViewCell,
        ShouldCompressCSSOutput,
        CheckboxChosenByUser,
        ImportedFiles,
        LessOptions,
    };
    Q_ENUM(Field)

    // An empty record, filled field by field when the project is read back.
    LessHolder() = default;
    LessHolder(const QString &lessFilePath, const QString &watchedFolder, bool compressCSSOutput);

    // A folder (a path without an extension) receives the LESS file's name
    // with the css extension; any other path is the CSS file itself.
    // The CSS goes into folder, under the LESS file's name.
    void setCSSFileOutputFolder(const QString &folder);
    // The CSS file itself (a .css path, or any path with no folder there on
    // disk), or that folder.
    void setCSSFileOutputPath(const QString &path);
    // Back to the default: the LESS file's own path with the css extension.
    void clearCSSFileOutputPath();
    // The file was renamed or moved to path, in watchedFolder: every setting
    // stays, and a CSS target beside the file follows it.
    void moveTo(const QString &path, const QString &watchedFolder);

    QString memberOfWatchedFolder() const { return m_memberOfWatchedFolder; }
    void setMemberOfWatchedFolder(const QString &folder);
    QString lessFileFullPath() const { return m_lessFileFullPath; }
    void setLessFileFullPath(const QString &path);
    QString lessFileTildePath() const { return m_lessFileTildePath; }
    void setLessFileTildePath(const QString &path);
    QString lessFileAbbreviatedPath() const { return m_lessFileAbbreviatedPath; }
    void setLessFileAbbreviatedPath(const QString &path);
    QString lessFilename() const { return m_lessFilename; }
    void setLessFilename(const QString &filename);
    QString targetCSSFileFullPath() const { return m_targetCSSFileFullPath; }
    void setTargetCSSFileFullPath(const QString &path);
    QString targetCSSFileTildePath() const { return m_targetCSSFileTildePath; }
    void setTargetCSSFileTildePath(const QString &path);
    QString targetCSSFileAbbreviatedPath() const { return m_targetCSSFileAbbreviatedPath; }
    void setTargetCSSFileAbbreviatedPath(const QString &path);
    QString targetCSSFilename() const { return m_targetCSSFilename; }
    void setTargetCSSFilename(const QString &filename);
    // The files that import this one directly.
    QStringList linkedFilesToCompile() const { return m_linkedFilesToCompile; }
    void setLinkedFilesToCompile(const QStringList &importers);
    bool checkboxState() const { return m_checkboxState; }
    void setCheckboxState(bool checked);
    // A check mark the user set or cleared stays; one Cascader chose follows
    // whether the file is a partial.
    bool checkboxChosenByUser() const { return m_checkboxChosenByUser; }
    void setCheckboxChosenByUser(bool chosen);
    void chooseCheckboxState(bool checked);
    // The files this one reads, as far as known; nothing before it was ever scanned.
    std::optional<QStringList> importedFiles() const { return m_importedFiles; }
    void setImportedFiles(const std::optional<QStringList> &files);
    QVariantMap valuesForTableViewCell() const { return m_valuesForTableViewCell; }
    void setValuesForTableViewCell(const QVariantMap &values);
    bool shouldCompressCSSOutput() const { return m_shouldCompressCSSOutput; }
    void setShouldCompressCSSOutput(bool compress);
    const ::LessOptions &lessOptions() const { return m_lessOptions; }
    void setLessOptions(const ::LessOptions &options);

Q_SIGNALS:
    void changed(LessHolder::Field field);

private:
    void updateSubtitle();
    void setTarget(const QString &target, const QString &givenPath);
    QString abbreviatedTargetFolder(const QString &givenPath) const;

    QString m_memberOfWatchedFolder;
    QString m_lessFileFullPath;
    QString m_lessFileTildePath;
    QString m_lessFileAbbreviatedPath;
    QString m_lessFilename;
    QString m_targetCSSFileFullPath;
    QString m_targetCSSFileTildePath;
    QString m_targetCSSFileAbbreviatedPath;
    QString m_targetCSSFilename;
    QStringList m_linkedFilesToCompile;
    bool m_checkboxState = true;
    bool m_checkboxChosenByUser = false;
    std::optional<QStringList> m_importedFiles;
    QVariantMap m_valuesForTableViewCell;
    bool m_shouldCompressCSSOutput = false;
    ::LessOptions m_lessOptions;
};
