#pragma once

#include <QLatin1StringView>
#include <QString>

class UKFileWatcherDelegate;

// The event names every file watcher reports, one per kind of change.
inline constexpr QLatin1StringView UKFileWatcherRenameNotification{"UKKQueueFileRenamedNotification"};
inline constexpr QLatin1StringView UKFileWatcherWriteNotification{"UKKQueueFileWrittenToNotification"};
inline constexpr QLatin1StringView UKFileWatcherDeleteNotification{"UKKQueueFileDeletedNotification"};
inline constexpr QLatin1StringView UKFileWatcherAttributeChangeNotification{
    "UKKQueueFileAttributesChangedNotification"};
inline constexpr QLatin1StringView UKFileWatcherSizeIncreaseNotification{
    "UKKQueueFileSizeIncreasedNotification"};
inline constexpr QLatin1StringView UKFileWatcherLinkCountChangeNotification{
    "UKKQueueFileLinkCountChangedNotification"};
inline constexpr QLatin1StringView UKFileWatcherAccessRevocationNotification{
    "UKKQueueFileAccessRevocationNotification"};

// User-info key of the workspace notifications a watcher posts.
inline constexpr QLatin1StringView UKFileWatcherPathKey{"path"};

// What every file watcher offers, so that a client can switch watchers.
class UKFileWatcher
{
public:
    virtual ~UKFileWatcher() = default;

    virtual void addPath(const QString &path) = 0;
    virtual void removePath(const QString &path) = 0;
    virtual UKFileWatcherDelegate *delegate() const = 0;
    virtual void setDelegate(UKFileWatcherDelegate *delegate) = 0;
};
