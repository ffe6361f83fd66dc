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

bool ProjectSaver::saveNow()
{
    m_delay.stop();
    m_writer.waitForDone();
    m_hasUnsavedChanges = false;
    return m_dataFile.saveDataToDisk(m_model->pathData());
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
        const bool saved = dataFile.saveSnapshot(snapshot);
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
