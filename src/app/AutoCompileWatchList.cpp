#include "AutoCompileWatchList.h"

#include "engine/ZRMLessCompiler.h"
#include "model/LessModel.h"

#include <QFileInfo>
#include <QTimer>

namespace {

// Watches handed to the engine at a time: some 5 ms of its work.
constexpr int WatchSliceSize = 200;

} // namespace

AutoCompileWatchList::AutoCompileWatchList(ZRMLessCompiler *lessCompiler, const LessModel *model, QObject *parent)
    : QObject(parent), m_lessCompiler(lessCompiler), m_model(model), m_watchSliceTimer(new QTimer(this))
{
    // A timer rather than a posted call, so that input and timers get their turn between slices.
    m_watchSliceTimer->setSingleShot(true);
    connect(m_watchSliceTimer, &QTimer::timeout, this, &AutoCompileWatchList::watchNextSlice);
    connect(model, &LessModel::importGraphChanged, this, &AutoCompileWatchList::followImportedFiles);
}

// Only files that exist can be watched; one that appears later is watched
// after the next scan or compile that reads it.
void AutoCompileWatchList::followImportedFiles()
{
    QSet<QString> imported;
    for (const QString &file : m_model->importedFilesOutsideProject()) {
        if (QFileInfo(file).isFile())
            imported.insert(file);
    }
    QStringList gone;
    for (const QString &file : std::as_const(m_importedFilesWatched)) {
        if (!imported.contains(file) && !m_model->getLessHolderForLessFileAtPath(file))
            gone << file;
    }
    removeLessFilesFromAutoCompileList(gone);
    addLessFilesToAutoCompileList(QStringList(imported.cbegin(), imported.cend()));
    m_importedFilesWatched = imported;
}

void AutoCompileWatchList::refreshAutoCompileWatchList()
{
    addLessFilesToAutoCompileList(m_model->getAllLessFilesAndIncludeIgnoredOnes(true));
}

void AutoCompileWatchList::addLessFilesToAutoCompileList(const QStringList &paths)
{
    const QStringList watched = m_lessCompiler->watchedLessFiles();
    const QSet<QString> alreadyWatched(watched.cbegin(), watched.cend());
    const bool slicing = !m_watchQueue.isEmpty();
    for (const QString &path : paths) {
        if (alreadyWatched.contains(path) || m_filesAwaitingWatch.contains(path))
            continue;
        m_filesAwaitingWatch.insert(path);
        m_watchQueue.append(path);
    }
    if (!slicing)
        watchNextSlice();
}

void AutoCompileWatchList::removeLessFilesFromAutoCompileList(const QStringList &paths)
{
    for (const QString &path : paths) {
        m_filesAwaitingWatch.remove(path);
        m_lessCompiler->stopWatchingLessFileAtPath(path);
    }
}

// A file taken off the list while it waited is skipped.
void AutoCompileWatchList::watchNextSlice()
{
    for (int count = 0; count < WatchSliceSize && !m_watchQueue.isEmpty(); ++count) {
        const QString path = m_watchQueue.takeFirst();
        if (m_filesAwaitingWatch.remove(path))
            m_lessCompiler->watchLessFileAtPath(path);
    }
    if (!m_watchQueue.isEmpty())
        m_watchSliceTimer->start();
}
