#include "ProjectFiles.h"

#include "CompilerLog.h"
#include "MainAppController.h"
#include "support/PathUtils.h"
#include "support/StyledText.h"

#include <QDir>

namespace {

const QString MalformedMessage = QStringLiteral("%1 is ignored: %2");
const QString TakenDefaultMessage = QStringLiteral("1 new file takes its settings from %1");
const QString TakenDefaultsMessage = QStringLiteral("%1 new files take their settings from %2");

} // namespace

ProjectFiles::ProjectFiles(MainAppController *controller) : QObject(controller), m_controller(controller)
{
    m_watcher.setDelegate(this);
    LessModel *model = controller->appModel();
    connect(model, &LessModel::pathsInserted, this, [this] { followTheProjectsFolders(true); });
    connect(model, &LessModel::pathsRemoved, this, [this] { followTheProjectsFolders(false); });
    connect(model, &LessModel::pathsReset, this, [this] { followTheProjectsFolders(false); });
    connect(model, &LessModel::lessFilesTookProjectDefaults, this, &ProjectFiles::reportTakenDefaults);
}

ProjectFiles::~ProjectFiles()
{
    m_watcher.setDelegate(nullptr);
}

void ProjectFiles::followTheProjectsFolders(bool foldersAreNew)
{
    QSet<QString> now;
    for (const auto &folder : m_controller->appModel()->pathData()) {
        const QString path = folder->userSelectedFullPath();
        now.insert(path);
        if (m_folders.contains(path))
            continue;
        m_watcher.addPath(path);
        readFolder(folder.get(), foldersAreNew);
    }
    for (const QString &gone : m_folders - now) {
        m_watcher.removePath(gone);
        m_reportedErrors.remove(gone);
    }
    m_folders = now;
}

// Anything written at the folder's top may be the project file, replaced by an editor or not.
void ProjectFiles::watcher(UKFileWatcher *, const QString &, const QString &path)
{
    for (const auto &folder : m_controller->appModel()->pathData()) {
        if (folder->userSelectedFullPath() == path)
            readFolder(folder.get(), false);
    }
}

void ProjectFiles::readFolder(PathHolder *folder, bool folderIsNew)
{
    const QString path = folder->userSelectedFullPath();
    const ProjectDefaults::Reading reading = ProjectDefaults::readFromFolder(path);
    folder->setProjectDefaults(reading.defaults);
    reportError(path, reading.error);
    if (folderIsNew && !folder->lessFiles().empty() && folder->projectDiffersFromUser()) {
        QStringList files;
        for (const auto &file : folder->lessFiles())
            files << file->lessFileFullPath();
        reportTakenDefaults(path, files);
    }
}

void ProjectFiles::reportError(const QString &folder, const QString &error)
{
    if (m_reportedErrors.value(folder) == error)
        return;
    m_reportedErrors.insert(folder, error);
    if (!error.isEmpty()) {
        const QString file = PathUtils::abbreviateWithTilde(ProjectDefaults::pathIn(folder));
        m_controller->compilerLog()->reportFolderNote(folder, MalformedMessage.arg(file, error), StyledText::Red);
    }
}

void ProjectFiles::reportTakenDefaults(const QString &folder, const QStringList &paths)
{
    const QString file = PathUtils::abbreviateWithTilde(ProjectDefaults::pathIn(folder));
    const QString message = paths.size() == 1 ? TakenDefaultMessage.arg(file)
                                              : TakenDefaultsMessage.arg(paths.size()).arg(file);
    m_controller->compilerLog()->reportFolderNote(folder, message, StyledText::Grey);
}

bool ProjectFiles::saveAsProjectDefaults(PathHolder *folder, const LessOptions &options, bool compress,
                                         QString *error)
{
    ProjectDefaults defaults;
    defaults.output = folder->effectiveOutputRule();
    defaults.options = options;
    defaults.compress = compress;
    const QDir top(folder->userSelectedFullPath());
    for (const auto &file : folder->lessFiles()) {
        if (file->checkboxState())
            defaults.entryFiles << top.relativeFilePath(file->lessFileFullPath());
    }
    if (!defaults.writeToFolder(top.path(), error))
        return false;
    folder->setProjectDefaults(defaults);
    return true;
}
