#pragma once

#include <QString>

class UKFileWatcher;

// Told of every change of a watched path, on the GUI thread, one event at a
// time. It may add and remove paths of the watcher from inside the call.
class UKFileWatcherDelegate
{
public:
    virtual ~UKFileWatcherDelegate() = default;

    virtual void watcher(UKFileWatcher *watcher, const QString &notification, const QString &path) = 0;
};
