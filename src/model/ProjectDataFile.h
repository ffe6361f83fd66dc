#pragma once

#include "LessModel.h"

#include <QList>
#include <QString>
#include <QVariantMap>

#include <functional>

// The project on disk: the watched folders with their LESS files and per-file
// settings, as JSON in which every record names its class. Written atomically;
// a file that cannot be read is kept aside, so the next save cannot destroy
// the user's project.
class ProjectDataFile
{
public:
    enum class Outcome {
        Loaded,
        Missing,
        // Written by a build that is too old, or without a build number.
        Ignored,
        // Not JSON, cut short or holding a value of the wrong type.
        Unreadable,
    };

    struct LoadResult
    {
        Outcome outcome = Outcome::Missing;
        LessModel::PathData pathData;
        // Why the file was ignored or could not be read.
        QString reason;
    };

    // A copy of what the file keeps of each record: taken on the GUI thread,
    // written on any.
    struct FileRecord
    {
        QString memberOfWatchedFolder;
        QString lessFileFullPath;
        QString lessFileTildePath;
        QString lessFileAbbreviatedPath;
        QString lessFilename;
        QString targetCSSFileFullPath;
        QString targetCSSFileTildePath;
        QString targetCSSFileAbbreviatedPath;
        QString targetCSSFilename;
        bool checkboxState;
        bool shouldCompressCSSOutput;
        bool checkboxChosenByUser;
        std::optional<QStringList> importedFiles;
        LessOptions lessOptions;
    };
    struct FolderRecord
    {
        QString userSelectedFullPath;
        QString userSelectedTildePath;
        QString userSelectedLastPathComponent;
        QList<FileRecord> lessFiles;
        qint64 numberOfLessFilesInPath;
        QString iconImage;
        QVariantMap valuesForTableViewCell;
        OutputRule outputRule;
    };
    using Snapshot = QList<FolderRecord>;

    static constexpr int MinimumBuildNumber = 406;

    // $XDG_DATA_HOME/Cascader app/lessDataFile.lessData; creates the folder.
    static QString pathForDataFile();

    explicit ProjectDataFile(const QString &filePath = pathForDataFile());

    QString filePath() const { return m_filePath; }

    // The strings are shared, not copied, so this is quick for large projects.
    static Snapshot snapshotOf(const LessModel::PathData &pathData);
    // Replaces the file as a whole or not at all; failures are logged.
    bool saveDataToDisk(const LessModel::PathData &pathData) const;
    bool saveSnapshot(const Snapshot &snapshot) const;

    // Writes that others may have written in between merge with what is on
    // disk, under an advisory lock that every writer takes. The owner of the
    // project writes its folders and keeps any other folder on disk unless
    // it removed that one itself.
    bool saveOwnFolders(const Snapshot &folders, const QStringList &removedFolders) const;
    // A run beside the owner adds its new folders to what is on disk, and
    // changes nothing else.
    bool addFolders(const Snapshot &folders) const;
    // The folder records, ready for LessModel::loadNewPathDataIntoModel(). An
    // unreadable file is copied aside with a time stamp and logged.
    LoadResult loadDataFromDisk() const;

private:
    QString copyAside() const;
    bool saveMerged(const std::function<Snapshot(const Snapshot &onDisk)> &merge) const;
    bool writeSnapshot(const Snapshot &snapshot) const;

    QString m_filePath;
};
