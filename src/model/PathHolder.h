#pragma once

#include "LessHolder.h"
#include "OutputRule.h"
#include "ProjectDefaults.h"

#include <QObject>
#include <QString>
#include <QVariantMap>

#include <memory>
#include <vector>

// The record of one watched folder: its path in the forms the interface shows,
// the records of its LESS files (owned here), their count and the values of
// its table row. Field changes are announced through changed(), changes of the
// file list through the lessFiles... signals, and changes of a file record
// through lessFileChanged() with the record's row.
class PathHolder : public QObject
{
    Q_OBJECT

public:
    enum class Field {
        UserSelectedFullPath,
        UserSelectedTildePath,
        UserSelectedLastPathComponent,
        NumberOfLessFilesInPath,
        IconImage,
        ValuesForTableViewCell,
        Missing,
        OutputRule,
        ProjectDefaults,
    };
    Q_ENUM(Field)

    using LessFiles = std::vector<std::unique_ptr<LessHolder>>;

    // The model cannot hold images: the icon is a name from the icon theme.
    static inline const QString FolderIconName = QStringLiteral("folder");

    PathHolder();

    // Appends a record for the file, with the compression preference now in force.
    void addLessFileAtPath(const QString &path);
    // Appends a record for each file, announced as one insertion.
    void addLessFilesAtPaths(const QStringList &paths);
    // Removes the first record whose full path matches, ignoring case.
    void removeLessFileAtPath(const QString &path);
    // Removes the records of the files, announced as one change of the list.
    void removeLessFilesAtPaths(const QStringList &paths);
    // Takes the record out, to be adopted by another folder; null when there is none.
    std::unique_ptr<LessHolder> takeLessFile(LessHolder *lessFile);
    void adoptLessFile(std::unique_ptr<LessHolder> lessFile);

    // The folder is not on disk now; its records wait for its return.
    bool isMissing() const { return m_missing; }
    void setMissing(bool missing);

    QString userSelectedFullPath() const { return m_userSelectedFullPath; }
    void setUserSelectedFullPath(const QString &path);
    QString userSelectedTildePath() const { return m_userSelectedTildePath; }
    void setUserSelectedTildePath(const QString &path);
    QString userSelectedLastPathComponent() const { return m_userSelectedLastPathComponent; }
    // Also makes the component the row's title.
    void setUserSelectedLastPathComponent(const QString &component);
    const LessFiles &lessFiles() const { return m_lessFiles; }
    // Replaces the list as it is; the count and the row values stay as they were.
    void setLessFiles(LessFiles lessFiles);
    qint64 numberOfLessFilesInPath() const { return m_numberOfLessFilesInPath; }
    void setNumberOfLessFilesInPath(qint64 count);
    QString iconImage() const { return m_iconImage; }
    void setIconImage(const QString &iconName);
    QVariantMap valuesForTableViewCell() const { return m_valuesForTableViewCell; }
    void setValuesForTableViewCell(const QVariantMap &values);

    // The user's rule for where new files' CSS goes; beside the file when unset.
    const ::OutputRule &outputRule() const { return m_outputRule; }
    void setOutputRule(const ::OutputRule &rule);
    // What the folder's cascader.json says; nothing without one.
    const std::optional<::ProjectDefaults> &projectDefaults() const { return m_projectDefaults; }
    void setProjectDefaults(const std::optional<::ProjectDefaults> &defaults);
    // The user's rule, else the project's.
    ::OutputRule effectiveOutputRule() const;
    // Back to the rule's target, or beside the file.
    void resetCSSTarget(LessHolder *lessFile) const;
    void applyOutputRuleToEveryFile();
    // Whether new files get other settings from the project file than the
    // user's own defaults would give them.
    bool projectDiffersFromUser() const;

Q_SIGNALS:
    void changed(PathHolder::Field field);
    void lessFilesAboutToBeInserted(int first, int last);
    void lessFilesInserted(int first, int last);
    void lessFilesAboutToBeRemoved(int first, int last);
    void lessFilesRemoved(int first, int last);
    void lessFilesAboutToBeReset();
    void lessFilesReset();
    void lessFileChanged(int row, LessHolder::Field field);
    // New files whose settings came from the project file rather than the user's defaults.
    void lessFilesTookProjectDefaults(const QStringList &paths);

private:
    void setRowValue(const QString &key, const QString &value);
    void updateCount();
    void relayChangesOf(LessHolder *lessFile);
    // A new file's settings: the project's where it has them, else the user's.
    void applyDefaultsTo(LessHolder *lessFile, bool userCompress) const;

    QString m_userSelectedFullPath;
    QString m_userSelectedTildePath;
    QString m_userSelectedLastPathComponent;
    LessFiles m_lessFiles;
    qint64 m_numberOfLessFilesInPath = 0;
    QString m_iconImage;
    QVariantMap m_valuesForTableViewCell;
    bool m_missing = false;
    ::OutputRule m_outputRule;
    std::optional<::ProjectDefaults> m_projectDefaults;
};
