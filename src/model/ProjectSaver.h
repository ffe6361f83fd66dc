#pragma once

#include "ProjectDataFile.h"

#include <QObject>
#include <QSet>
#include <QThreadPool>
#include <QTimer>

#include <chrono>

class LessModel;

// Writes the project soon after it changes, so that a crash loses at most the
// last second: SaveDelay leaves the write time to land within it. The first
// change of a burst starts the delay and the whole burst goes into one write. The records are copied on the GUI thread and
// written on the saver's own thread, one write at a time.
class ProjectSaver : public QObject
{
    Q_OBJECT

public:
    static constexpr std::chrono::milliseconds SaveDelay{700};

    // Whose project it is. The owner is the one running instance; a run
    // beside it (or beside nobody) only adds the folders it was given, and a
    // run beside a running owner leaves the file to that one.
    enum class Role { Owner, AddsFolders, ReadOnly };

    ProjectSaver(const LessModel *model, const ProjectDataFile &dataFile, QObject *parent = nullptr);
    // Waits for a write under way.
    ~ProjectSaver() override;

    void setRole(Role role) { m_role = role; }

    // From now on each change is written. Until the model is loaded, the file
    // on disk holds more than the model does.
    void startFollowingChanges();
    // Writes on this thread, after any write under way; for quitting.
    bool saveNow();
    // Copies the records and writes them on the writer thread.
    void saveInBackground();

Q_SIGNALS:
    // Each write on the writer thread, reported on the saver's thread.
    void savedInBackground(bool saved);

private:
    void projectChanged();
    void noteRemovedFolders(int first, int last);
    void noteAddedFolders(int first, int last);
    bool save(const ProjectDataFile::Snapshot &snapshot, const ProjectDataFile &dataFile) const;
    void didFinishSaving(bool saved);

    const LessModel *m_model;
    ProjectDataFile m_dataFile;
    QTimer m_delay;
    QThreadPool m_writer;
    Role m_role = Role::Owner;
    // Folders this run removed, which another writer's copy must not bring back.
    QStringList m_removedFolders;
    // The folders the file held when the model was loaded.
    QSet<QString> m_loadedFolders;
    bool m_hasUnsavedChanges = false;
    bool m_isSaving = false;
};
