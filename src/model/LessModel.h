#pragma once

#include "CompilerResultHolder.h"
#include "ImportGraph.h"
#include "LessHolder.h"
#include "PathHolder.h"

#include <QDateTime>
#include <QHash>
#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>

#include <memory>
#include <optional>
#include <vector>

// The whole project: the watched folders with their LESS files, the import
// graph between the files, and the compiler log. Lives on the GUI thread;
// every change is announced with the list, row and field it touches, so that
// list models can follow it exactly.
class LessModel : public QObject
{
    Q_OBJECT

public:
    using PathData = std::vector<std::unique_ptr<PathHolder>>;

    // The files whose imports a link computation scans: the project's.
    using LinkSnapshot = QStringList;
    // What a link computation found: each file scanned and the files it reads.
    using FileLinks = QHash<QString, QStringList>;

    explicit LessModel(QObject *parent = nullptr);

    int numberOfPathsInModel() const;
    // Exact, case-sensitive comparison of folder paths.
    bool modelContainsPath(const QString &path) const;
    // The registered folders at or beneath path, as watchedFoldersAtOrBeneath
    // finds them; nothing when none.
    std::optional<QStringList> modelSubpathsOfProposedPath(const QString &path) const;
    // The watched folders at or beneath folder, in their order, compared by path
    // components and where they are on disk: symbolic links are resolved where
    // the paths exist, so a link into folder counts as beneath it. Case counts;
    // an empty folder has nothing beneath it. Thread-safe: reads the file system only.
    static QStringList watchedFoldersAtOrBeneath(const QString &folder, const QStringList &watchedFolders);
    QStringList getAllRegisteredPaths() const;
    QHash<QString, QStringList> getAllRegisteredLessFilesForRegisteredPaths() const;
    QStringList getAllLessFilesAndIncludeIgnoredOnes(bool includeIgnored) const;
    QList<LessHolder *> getAllLessHoldersAndIncludeIgnoredOnes(bool includeIgnored) const;
    // The first record, in folder then file order, whose path equals the
    // tilde-expanded argument ignoring case.
    LessHolder *getLessHolderForLessFileAtPath(const QString &path) const;

    // Adds nothing when a folder with exactly this path is registered. The
    // files take the project's defaults where it has some.
    void addNewPathToModel(const QString &path, const QStringList &lessFiles,
                           const std::optional<ProjectDefaults> &projectDefaults = std::nullopt);
    void removePathFromModel(const QString &path);
    // The folder must be registered with exactly this path; the file then goes
    // to the first folder that matches ignoring case.
    void addLessFileToModel(const QString &path, const QString &folderPath);
    void removeLessFileFromModel(const QString &path, const QString &folderPath);
    // Many files at once, announced as one change of the folder's list.
    void addLessFilesToModel(const QStringList &paths, const QString &folderPath);
    void removeLessFilesFromModel(const QStringList &paths, const QString &folderPath);
    // The file at from was renamed or moved to to, in the same watched folder or
    // another: its record keeps every setting. False when from has no record or
    // to lies in no watched folder.
    bool moveLessFile(const QString &from, const QString &to);
    // The watched folder that holds path, or an empty string.
    QString watchedFolderHolding(const QString &path) const;
    // The watched folder the file's record belongs to; null when none.
    PathHolder *watchedFolderOf(const LessHolder *file) const;
    void setPathMissing(const QString &folderPath, bool missing);
    // Swaps a folder's files for new ones. The count and row values follow
    // the adds only, so they keep their old values when newLessFiles is empty.
    void replaceLessFilesForPath(const QString &folderPath, const QStringList &newLessFiles);
    void loadNewPathDataIntoModel(PathData pathData);

    // Which file reads which. Its links come from the compiler's list of the
    // files a compile read and, for files not compiled yet, from scanning.
    const ImportGraph &importGraph() const { return m_importGraph; }
    // Scans every file's imports. The three steps below let the slow middle
    // one run on a worker thread; this runs them all at once.
    void refreshAllFileLinks();
    LinkSnapshot fileLinkSnapshot() const;
    // Thread-safe: reads the files, and follows imports out of the project.
    static FileLinks computeFileLinks(const LinkSnapshot &snapshot);
    // Adds the links found to those known: a scan can miss a link the
    // compiler resolved (an interpolated name), so it takes none away.
    void applyFileLinks(const FileLinks &links);
    // What a compile of file read, the file first: all it reads when the
    // compile succeeded, some of it when it failed.
    void recordFilesRead(const QString &file, const QStringList &filesRead, bool successful);
    // A file just saved: its own imports, scanned at once.
    void rescanImportsOfFile(const QString &file);
    // The files that the project's files import and that are not its own.
    QStringList importedFilesOutsideProject() const;

    void addNewCompilerResultWithTime(const QDateTime &time, const QString &file,
                                      const StyledText &result, const QString &compiler = {});
    void clearCompilerResults();

    const PathData &pathData() const { return m_pathData; }
    void setPathData(PathData pathData);
    const QList<CompilerResultHolder> &compilerResultData() const { return m_compilerResultData; }
    void setCompilerResultData(const QList<CompilerResultHolder> &results);

Q_SIGNALS:
    void pathsAboutToBeInserted(int first, int last);
    void pathsInserted(int first, int last);
    void pathsAboutToBeRemoved(int first, int last);
    void pathsRemoved(int first, int last);
    void pathsAboutToBeReset();
    void pathsReset();
    void pathChanged(int row, PathHolder::Field field);

    void lessFilesAboutToBeInserted(int pathRow, int first, int last);
    void lessFilesInserted(int pathRow, int first, int last);
    void lessFilesAboutToBeRemoved(int pathRow, int first, int last);
    void lessFilesRemoved(int pathRow, int first, int last);
    void lessFilesAboutToBeReset(int pathRow);
    void lessFilesReset(int pathRow);
    void lessFileChanged(int pathRow, int fileRow, LessHolder::Field field);
    void importGraphChanged();
    // Files found later in folder whose settings came from its project file.
    void lessFilesTookProjectDefaults(const QString &folder, const QStringList &paths);

    void compilerResultsAboutToBeInserted(int first, int last);
    void compilerResultsInserted(int first, int last);
    void compilerResultsAboutToBeReset();
    void compilerResultsReset();

private:
    int rowOfPath(const QString &path, Qt::CaseSensitivity sensitivity = Qt::CaseSensitive) const;
    PathHolder *folderTakingFileChanges(const QString &folderPath) const;
    int rowOf(const PathHolder *pathHolder) const;
    void relayChangesOf(PathHolder *pathHolder);
    // Records by exact path, rebuilt after the files changed.
    const QHash<QString, LessHolder *> &recordsByPath() const;
    const QHash<QString, LessHolder *> &recordsByKey() const;
    void indexRecords() const;
    void setImports(const QString &file, const QStringList &imports);
    void replaceImports(const QString &file, const QStringList &imports);
    void forgetImportsOf(const QStringList &files);
    // Each record's importers, and the check mark of partials nobody chose.
    void updateImportersOf(const QStringList &files);

    PathData m_pathData;
    ImportGraph m_importGraph;
    mutable QHash<QString, LessHolder *> m_recordsByPath;
    mutable QHash<QString, LessHolder *> m_recordsByKey;
    mutable bool m_recordsIndexed = false;
    QList<CompilerResultHolder> m_compilerResultData;
};
