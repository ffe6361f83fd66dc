#include "FileViewer.h"

#include "support/PathUtils.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDesktopServices>
#include <QUrl>

namespace FileViewer {

namespace {

const QString FileManagerService = QStringLiteral("org.freedesktop.FileManager1");
const QString FileManagerObject = QStringLiteral("/org/freedesktop/FileManager1");
const QString FileManagerInterface = QStringLiteral("org.freedesktop.FileManager1");
const QString ShowItemsMethod = QStringLiteral("ShowItems");

void openContainingFolders(const QStringList &paths)
{
    QStringList folders;
    for (const QString &path : paths) {
        const QString folder = PathUtils::deletingLastPathComponent(path);
        if (!folders.contains(folder))
            folders << folder;
    }
    for (const QString &folder : folders)
        QDesktopServices::openUrl(QUrl::fromLocalFile(folder));
}

} // namespace

void reveal(const QStringList &paths)
{
    if (paths.isEmpty())
        return;
    QStringList uris;
    for (const QString &path : paths)
        uris << QUrl::fromLocalFile(path).toString(QUrl::FullyEncoded);
    QDBusMessage showItems = QDBusMessage::createMethodCall(FileManagerService, FileManagerObject,
                                                            FileManagerInterface, ShowItemsMethod);
    // The second argument is the start-up notification id; we have none.
    showItems << uris << QString();
    // Asynchronous, so that a file manager being started does not freeze the window.
    auto *watcher = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(showItems));
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, watcher,
                     [paths](QDBusPendingCallWatcher *call) {
                         if (call->isError())
                             openContainingFolders(paths);
                         call->deleteLater();
                     });
}

} // namespace FileViewer
