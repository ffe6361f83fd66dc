#pragma once

#include <QObject>
#include <QSet>
#include <QStringList>

class LessModel;
class ZRMLessCompiler;
class QTimer;

// The engine's watch list, fed in slices: thousands of watches at once would
// hold up the window, so a slice goes at once and the rest one per turn of
// the event loop. Files outside the project that its files import are
// watched too, for as long as they are imported.
class AutoCompileWatchList : public QObject
{
    Q_OBJECT

public:
    AutoCompileWatchList(ZRMLessCompiler *lessCompiler, const LessModel *model, QObject *parent = nullptr);

    // Watches every file of the project, checked or not.
    void refreshAutoCompileWatchList();
    void addLessFilesToAutoCompileList(const QStringList &paths);
    void removeLessFilesFromAutoCompileList(const QStringList &paths);

private:
    void watchNextSlice();
    void followImportedFiles();

    ZRMLessCompiler *m_lessCompiler;
    const LessModel *m_model;
    // Files on their way to the engine, in order.
    QStringList m_watchQueue;
    QSet<QString> m_filesAwaitingWatch;
    QTimer *m_watchSliceTimer;
    QSet<QString> m_importedFilesWatched;
};
