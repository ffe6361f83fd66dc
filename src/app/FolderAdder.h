#pragma once

#include <QObject>
#include <QStringList>
#include <QVariantMap>

class MainAppController;

// Adding a folder: checks it is specific enough and not already watched
// (absorbing watched folders inside it), lists its LESS files off the GUI
// thread, then puts it into the project and watches its files. Adds run one
// after another, so that each one's checks see every folder added before it.
class FolderAdder : public QObject
{
    Q_OBJECT

public:
    explicit FolderAdder(MainAppController *controller);

    // A LESS file stands for the folder that holds it.
    void beginValidatingPath(const QString &path);

private:
    struct AbsorbedFolder;
    struct Validation;

    void validateNextPath();
    static Validation asynchronouslyValidatePath(const QString &path, const QStringList &watchedFolders);
    void absorbWatchedSubfolders(const QList<AbsorbedFolder> &folders);
    void didFinishValidatingPathWithResult(const QVariantMap &result);
    void addPathToWatchList(const QString &folder);
    void didFinishFindingLessFilesWithResult(const QVariantMap &result);
    void didFinishAdding();

    MainAppController *m_controller;
    bool m_addInProgress = false;
    QStringList m_pendingAdds;
};
