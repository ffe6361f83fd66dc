#include "UKFNSubscribeFileWatcher.h"

#include "UKFileWatcherDelegate.h"
#include "support/Logging.h"
#include "support/NotificationCenter.h"

#include <QFile>
#include <QSocketNotifier>

#include <cerrno>

#include <sys/inotify.h>
#include <unistd.h>

namespace {

constexpr quint32 FolderChangeMask = IN_CREATE | IN_DELETE | IN_MOVE | IN_CLOSE_WRITE | IN_ATTRIB;
constexpr size_t EventBufferSize = 64 * 1024;

} // namespace

UKFNSubscribeFileWatcher *UKFNSubscribeFileWatcher::sharedFileWatcher()
{
    static auto *shared = new UKFNSubscribeFileWatcher;
    return shared;
}

UKFNSubscribeFileWatcher::UKFNSubscribeFileWatcher()
    : m_fd(inotify_init1(IN_NONBLOCK | IN_CLOEXEC))
{
    if (m_fd < 0) {
        qCWarning(lcWatcher, "UKFNSubscribeFileWatcher could not create its inotify instance (%d); nothing is watched.",
                  errno);
        return;
    }
    m_notifier = std::make_unique<QSocketNotifier>(m_fd, QSocketNotifier::Read);
    connect(m_notifier.get(), &QSocketNotifier::activated, this, &UKFNSubscribeFileWatcher::readEvents);
}

UKFNSubscribeFileWatcher::~UKFNSubscribeFileWatcher()
{
    m_notifier.reset();
    // Closing the instance ends every watch.
    if (m_fd >= 0)
        close(m_fd);
}

void UKFNSubscribeFileWatcher::addPath(const QString &path)
{
    const int subscription =
        inotify_add_watch(m_fd, QFile::encodeName(path).constData(), FolderChangeMask | IN_ONLYDIR);
    if (subscription < 0) {
        const int error = errno;
        qCWarning(lcWatcher, "UKFNSubscribeFileWatcher addPath: %s failed due to error ID=%d.", qUtf8Printable(path),
                  error);
        return;
    }
    m_subscriptions.insert(path, subscription);
}

void UKFNSubscribeFileWatcher::removePath(const QString &path)
{
    const auto found = m_subscriptions.constFind(path);
    if (found == m_subscriptions.cend())
        return;
    const int subscription = found.value();
    m_subscriptions.erase(found);
    // Another path to the same folder shares the watch and keeps it.
    if (m_subscriptions.key(subscription).isNull())
        inotify_rm_watch(m_fd, subscription);
}

UKFileWatcherDelegate *UKFNSubscribeFileWatcher::delegate() const
{
    return m_delegate;
}

void UKFNSubscribeFileWatcher::setDelegate(UKFileWatcherDelegate *delegate)
{
    m_delegate = delegate;
}

void UKFNSubscribeFileWatcher::sendDelegateMessage(quint32, int subscription)
{
    // Nothing to tell about a watch that has been removed meanwhile.
    const QString path = m_subscriptions.key(subscription);
    if (path.isNull())
        return;
    NotificationCenter::workspaceCenter()->post(UKFileWatcherWriteNotification, this, {{UKFileWatcherPathKey, path}});
    if (m_delegate)
        m_delegate->watcher(this, UKFileWatcherWriteNotification, path);
}

void UKFNSubscribeFileWatcher::readEvents()
{
    alignas(inotify_event) char buffer[EventBufferSize];
    const ssize_t length = read(m_fd, buffer, sizeof buffer);
    for (ssize_t offset = 0; offset < length;) {
        const auto *event = reinterpret_cast<const inotify_event *>(buffer + offset);
        handleEvent(event->mask, event->wd);
        offset += sizeof(inotify_event) + event->len;
    }
}

void UKFNSubscribeFileWatcher::handleEvent(quint32 mask, int subscription)
{
    if (mask & IN_Q_OVERFLOW)
        reportEveryFolder();
    else if (mask & FolderChangeMask)
        sendDelegateMessage(DirectoryModified, subscription);
    else if (!(mask & IN_IGNORED))
        qCWarning(lcWatcher, "UKFileSubscriptionProc: Unknown message %u", mask);
}

// Events were lost, so any folder may have changed.
void UKFNSubscribeFileWatcher::reportEveryFolder()
{
    const QList<int> subscriptions = m_subscriptions.values();
    for (const int subscription : subscriptions)
        sendDelegateMessage(DirectoryModified, subscription);
}
