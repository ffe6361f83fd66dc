#pragma once

#include "engine/LessOptions.h"
#include "engine/UKFNSubscribeFileWatcher.h"
#include "engine/UKFileWatcherDelegate.h"
#include "model/ProjectDefaults.h"

#include <QHash>
#include <QObject>
#include <QSet>

class MainAppController;
class PathHolder;

// The cascader.json at the top of each watched folder: read when the folder
// joins the project and whenever something changes at its top, handed to the
// folder as the defaults of the files found later, and written only when the
// user saves a file's options as the project's defaults. A malformed file is
// reported once, with its line and column, and then ignored.
class ProjectFiles : public QObject, public UKFileWatcherDelegate
{
    Q_OBJECT

public:
    explicit ProjectFiles(MainAppController *controller);
    ~ProjectFiles() override;

    // The options and compression given, the folder's output rule, and its
    // checked files as the entry files; false with *error when it cannot be written.
    bool saveAsProjectDefaults(PathHolder *folder, const LessOptions &options, bool compress, QString *error);

private:
    void watcher(UKFileWatcher *watcher, const QString &notification, const QString &path) override;
    void followTheProjectsFolders(bool foldersAreNew);
    void readFolder(PathHolder *folder, bool folderIsNew);
    void reportError(const QString &folder, const QString &error);
    void reportTakenDefaults(const QString &folder, const QStringList &paths);

    MainAppController *m_controller;
    UKFNSubscribeFileWatcher m_watcher;
    QSet<QString> m_folders;
    // The last reason each folder's file was ignored, said once.
    QHash<QString, QString> m_reportedErrors;
};
