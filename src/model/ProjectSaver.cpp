#include "ProjectSaver.h"

#include "LessModel.h"

ProjectSaver::ProjectSaver(const LessModel *model, const ProjectDataFile &dataFile, QObject *parent)
    : QObject(parent), m_model(model), m_dataFile(dataFile)
{
    m_delay.setSingleShot(true);
    m_delay.setInterval(SaveDelay);
    connect(&m_delay, &QTimer::timeout, this, &ProjectSaver::saveInBackground);
    // Writes must not overtake one another.
    m_writer.setMaxThreadCount(1);
}

ProjectSaver::~ProjectSaver()
{
    m_writer.waitForDone();
}

// The compiler log is not stored; every other change of the model is.
void ProjectSaver::startFollowingChanges()
{
    for (const auto &folder : m_model->pathData())
        m_loadedFolders.insert(folder->userSelectedFullPath());
    connect(m_model, &LessModel::pathsAboutToBeRemoved, this, &ProjectSaver::noteRemovedFolders);
    connect(m_model, &LessModel::pathsInserted, this, &ProjectSaver::noteAddedFolders);
    const auto changed = [this] { projectChanged(); };
    connect(m_model, &LessModel::pathsInserted, this, changed);
    connect(m_model, &LessModel::pathsRemoved, this, changed);
    connect(m_model, &LessModel::pathsReset, this, changed);
    connect(m_model, &LessModel::pathChanged, this, changed);
    connect(m_model, &LessModel::lessFilesInserted, this, changed);
    connect(m_model, &LessModel::lessFilesRemoved, this, changed);
    connect(m_model, &LessModel::lessFilesReset, this, changed);
    connect(m_model, &LessModel::lessFileChanged, this, changed);
}

// Later changes of the burst do not push the write back.
void ProjectSaver::projectChanged()
{
    m_hasUnsavedChanges = true;
    if (!m_delay.isActive())
        m_delay.start();
}

void ProjectSaver::noteRemovedFolders(int first, int last)
{
    for (int row = first; row <= last; ++row)
        m_removedFolders << m_model->pathData().at(row)->userSelectedFullPath();
}

void ProjectSaver::noteAddedFolders(int first, int last)
{
    for (int row = first; row <= last; ++row)
        m_removedFolders.removeAll(m_model->pathData().at(row)->userSelectedFullPath());
}

bool ProjectSaver::saveNow()
{
    m_delay.stop();
    m_writer.waitForDone();
    m_hasUnsavedChanges = false;
    return save(ProjectDataFile::snapshotOf(m_model->pathData()), m_dataFile);
}

// Runs on either thread, from a snapshot and copies only.
bool ProjectSaver::save(const ProjectDataFile::Snapshot &snapshot, const ProjectDataFile &dataFile) const
{
    switch (m_role) {
    case Role::Owner:
        return dataFile.saveOwnFolders(snapshot, m_removedFolders);
    case Role::AddsFolders: {
        ProjectDataFile::Snapshot added;
        for (const ProjectDataFile::FolderRecord &folder : snapshot) {
            if (!m_loadedFolders.contains(folder.userSelectedFullPath))
                added << folder;
        }
        return added.isEmpty() || dataFile.addFolders(added);
    }
    case Role::ReadOnly:
        break;
    }
    return true;
}

// While a write is under way, the changes wait for it to end.
void ProjectSaver::saveInBackground()
{
    m_delay.stop();
    if (m_isSaving)
        return;
    m_hasUnsavedChanges = false;
    m_isSaving = true;
    m_writer.start([this, snapshot = ProjectDataFile::snapshotOf(m_model->pathData()), dataFile = m_dataFile] {
        const bool saved = save(snapshot, dataFile);
        QMetaObject::invokeMethod(this, [this, saved] { didFinishSaving(saved); }, Qt::QueuedConnection);
    });
}

void ProjectSaver::didFinishSaving(bool saved)
{
    m_isSaving = false;
    if (m_hasUnsavedChanges && !m_delay.isActive())
        saveInBackground();
    Q_EMIT savedInBackground(saved);
}
