#include "UKKQueue.h"

#include "InotifyWatchTable.h"
#include "UKFileWatcherDelegate.h"
#include "support/Logging.h"
#include "support/NotificationCenter.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QMutexLocker>
#include <QThread>

#include <cerrno>
#include <cstdint>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <unistd.h>

namespace {

// Bounds how long a request to stop can go unseen, and how often folders
// that could not be watched are tried again.
constexpr int PollTimeoutMs = 5000;
// While the GUI thread waits for the watcher thread to end, how often it runs
// a delivery that the watcher thread is blocked on.
constexpr int StopCheckIntervalMs = 10;
constexpr size_t EventBufferSize = 64 * 1024;

QString notificationNameFor(quint32 event)
{
    switch (event) {
    case UKKQueue::Rename:
        return UKFileWatcherRenameNotification;
    case UKKQueue::Write:
        return UKFileWatcherWriteNotification;
    case UKKQueue::Delete:
        return UKFileWatcherDeleteNotification;
    case UKKQueue::Attrib:
        return UKFileWatcherAttributeChangeNotification;
    case UKKQueue::Extend:
        return UKFileWatcherSizeIncreaseNotification;
    case UKKQueue::Link:
        return UKFileWatcherLinkCountChangeNotification;
    default:
        return UKFileWatcherAccessRevocationNotification;
    }
}

void deliver(UKKQueue *queue, const InotifyWatchTable::Changes &changes)
{
    for (const InotifyWatchTable::Change &change : changes)
        queue->postNotification(notificationNameFor(change.event), change.path);
}

} // namespace

UKKQueue *UKKQueue::sharedFileWatcher()
{
    static auto *shared = new UKKQueue;
    return shared;
}

UKKQueue::UKKQueue()
    : m_inotifyFD(inotify_init1(IN_NONBLOCK | IN_CLOEXEC))
    , m_wakeFD(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC))
    , m_table(std::make_unique<InotifyWatchTable>(m_inotifyFD))
{
    if (m_inotifyFD < 0 || m_wakeFD < 0) {
        qCWarning(lcWatcher, "UKKQueue could not create its inotify queue (%d); nothing is watched.", errno);
        return;
    }
    startWatcherThread();
}

UKKQueue::~UKKQueue()
{
    stopWatcherThread();
    if (m_inotifyFD >= 0 && close(m_inotifyFD) != 0)
        qCWarning(lcWatcher, "UKKQueue could not close its inotify descriptor (%d)", errno);
    if (m_wakeFD >= 0)
        close(m_wakeFD);
}

int UKKQueue::queueFD() const
{
    return m_inotifyFD;
}

void UKKQueue::addPath(const QString &path)
{
    addPathToQueue(path, DefaultEventMask);
}

void UKKQueue::addPathToQueue(const QString &path)
{
    addPath(path);
}

void UKKQueue::addPathToQueue(const QString &path, quint32 mask)
{
    QMutexLocker locker(&m_mutex);
    m_table->addPath(path, mask);
}

void UKKQueue::removePath(const QString &path)
{
    removePathFromQueue(path);
}

void UKKQueue::removePathFromQueue(const QString &path)
{
    {
        QMutexLocker locker(&m_mutex);
        m_table->removePath(path);
    }
    wakeWatcherThread();
}

void UKKQueue::removeAllPathsFromQueue()
{
    {
        QMutexLocker locker(&m_mutex);
        m_table->removeAllPaths();
    }
    wakeWatcherThread();
}

UKFileWatcherDelegate *UKKQueue::delegate() const
{
    return m_delegate;
}

void UKKQueue::setDelegate(UKFileWatcherDelegate *delegate)
{
    m_delegate = delegate;
}

bool UKKQueue::alwaysNotify() const
{
    return m_alwaysNotify;
}

void UKKQueue::setAlwaysNotify(bool alwaysNotify)
{
    m_alwaysNotify = alwaysNotify;
}

void UKKQueue::postNotification(const QString &name, const QString &path)
{
    if (QThread::currentThread() == thread()) {
        notifyDelegateAndWorkspace(name, path);
        return;
    }
    QMetaObject::invokeMethod(
        this,
        [this, &name, &path] {
            if (m_keepThreadRunning.loadRelaxed())
                notifyDelegateAndWorkspace(name, path);
        },
        Qt::BlockingQueuedConnection);
}

QStringList UKKQueue::watchedPaths() const
{
    QMutexLocker locker(&m_mutex);
    return m_table->paths();
}

QString UKKQueue::description() const
{
    QStringList quoted;
    for (const QString &path : watchedPaths())
        quoted.append(u'"' + path + u'"');
    return QStringLiteral("%1 { watchedPaths = (%2), alwaysNotify = %3 }")
        .arg(QLatin1StringView(metaObject()->className()), quoted.join(QStringLiteral(", ")),
             m_alwaysNotify ? QStringLiteral("YES") : QStringLiteral("NO"));
}

void UKKQueue::startWatcherThread()
{
    m_thread.reset(QThread::create([this] { watcherThread(); }));
    m_thread->setObjectName(QStringLiteral("UKKQueue"));
    m_thread->start();
}

void UKKQueue::stopWatcherThread()
{
    if (!m_thread)
        return;
    m_keepThreadRunning.storeRelaxed(false);
    wakeWatcherThread();
    // A delivery the thread is blocked on runs here and skips the delegate.
    while (!m_thread->wait(QDeadlineTimer(StopCheckIntervalMs)))
        QCoreApplication::sendPostedEvents(this, QEvent::MetaCall);
}

void UKKQueue::wakeWatcherThread()
{
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(m_wakeFD, &one, sizeof one);
}

void UKKQueue::watcherThread()
{
    pollfd descriptors[] = {{m_inotifyFD, POLLIN, 0}, {m_wakeFD, POLLIN, 0}};
    QElapsedTimer sinceRetry;
    sinceRetry.start();
    while (m_keepThreadRunning.loadRelaxed()) {
        releaseUnusedWatches();
        const int ready = poll(descriptors, std::size(descriptors), PollTimeoutMs);
        if (ready == 0 || sinceRetry.hasExpired(PollTimeoutMs)) {
            retryUnwatchedFolders();
            sinceRetry.restart();
        }
        if (ready <= 0)
            continue;
        if (descriptors[1].revents & POLLIN) {
            std::uint64_t wakes = 0;
            [[maybe_unused]] const ssize_t read = ::read(m_wakeFD, &wakes, sizeof wakes);
        }
        if (descriptors[0].revents & POLLIN)
            readAndDeliverEvents();
    }
}

void UKKQueue::readAndDeliverEvents()
{
    alignas(inotify_event) char buffer[EventBufferSize];
    const ssize_t length = read(m_inotifyFD, buffer, sizeof buffer);
    for (ssize_t offset = 0; offset < length && m_keepThreadRunning.loadRelaxed();) {
        const auto *event = reinterpret_cast<const inotify_event *>(buffer + offset);
        deliverChangesOfEvent(*event);
        offset += sizeof(inotify_event) + event->len;
    }
}

void UKKQueue::deliverChangesOfEvent(const inotify_event &event)
{
    try {
        InotifyWatchTable::Changes changes;
        {
            QMutexLocker locker(&m_mutex);
            changes = m_table->handleEvent(event);
        }
        deliver(this, changes);
        releaseUnusedWatches();
    } catch (const std::exception &error) {
        qCWarning(lcWatcher, "Error in UKKQueue watcherThread: %s", error.what());
    }
}

void UKKQueue::retryUnwatchedFolders()
{
    InotifyWatchTable::Changes changes;
    {
        QMutexLocker locker(&m_mutex);
        changes = m_table->retryUnwatchedFolders();
    }
    deliver(this, changes);
}

void UKKQueue::releaseUnusedWatches()
{
    QMutexLocker locker(&m_mutex);
    m_table->releaseUnusedWatches();
}

void UKKQueue::notifyDelegateAndWorkspace(const QString &name, const QString &path)
{
    if (m_delegate)
        m_delegate->watcher(this, name, path);
    if (m_delegate && !m_alwaysNotify)
        return;
    NotificationCenter::workspaceCenter()->post(name, this, {{UKFileWatcherPathKey, path}});
}
