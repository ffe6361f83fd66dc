// From the close that ends a save to the delegate call on the GUI thread,
// against a bare thread waiting on its own inotify watch of the same file.
#include "engine/UKFileWatcherDelegate.h"
#include "engine/UKKQueue.h"
#include "BenchStatistics.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QTemporaryDir>
#include <QThread>

#include <algorithm>
#include <atomic>
#include <cstdio>

#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

namespace {

constexpr int Saves = 500;
const QByteArray Content = QByteArray("a { color: red; }\n").repeated(100);

QElapsedTimer benchClock;

// Wakes on every close after writing, as directly as inotify allows.
class BareWatcher
{
public:
    explicit BareWatcher(const QString &path)
        : m_fd(inotify_init1(IN_CLOEXEC))
    {
        inotify_add_watch(m_fd, QFile::encodeName(path).constData(), IN_CLOSE_WRITE);
        m_thread.reset(QThread::create([this] { run(); }));
        m_thread->start();
    }
    ~BareWatcher()
    {
        m_running = false;
        m_thread->wait();
        close(m_fd);
    }
    // When it woke for the wakeCount-th time.
    qint64 wakeNumber(int wakeCount) const
    {
        while (m_wakes.load() < wakeCount)
            QThread::yieldCurrentThread();
        return m_lastWake.load();
    }

private:
    void run()
    {
        constexpr int StopCheckMs = 100;
        pollfd descriptor{m_fd, POLLIN, 0};
        alignas(inotify_event) char buffer[4096];
        while (m_running) {
            if (poll(&descriptor, 1, StopCheckMs) > 0 && read(m_fd, buffer, sizeof buffer) > 0) {
                m_lastWake.store(benchClock.nsecsElapsed());
                ++m_wakes;
            }
        }
    }

    int m_fd;
    std::unique_ptr<QThread> m_thread;
    std::atomic<bool> m_running{true};
    std::atomic<qint64> m_lastWake{0};
    std::atomic<int> m_wakes{0};
};

class TimingDelegate : public UKFileWatcherDelegate
{
public:
    void watcher(UKFileWatcher *, const QString &, const QString &) override
    {
        called = benchClock.nsecsElapsed();
        loop.quit();
    }

    qint64 called = 0;
    QEventLoop loop;
};

// Returns when the closing began.
qint64 saveInPlace(const QString &path)
{
    const int fd = open(QFile::encodeName(path).constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0 || write(fd, Content.constData(), Content.size()) != Content.size())
        qFatal("cannot save %s", qPrintable(path));
    const qint64 closing = benchClock.nsecsElapsed();
    if (close(fd) != 0)
        qFatal("cannot save %s", qPrintable(path));
    return closing;
}



} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("site.less"));
    benchClock.start();
    saveInPlace(path);

    UKKQueue queue;
    TimingDelegate delegate;
    queue.setDelegate(&delegate);
    queue.addPath(path);
    BareWatcher bare(path);

    QList<qint64> toDelegate;
    QList<qint64> toBareThread;
    for (int save = 0; save < Saves; ++save) {
        const qint64 saved = saveInPlace(path);
        delegate.loop.exec();
        toDelegate << delegate.called - saved;
        toBareThread << bare.wakeNumber(save + 1) - saved;
    }

    const double ours = medianInMilliseconds(toDelegate);
    const double reference = medianInMilliseconds(toBareThread);
    std::printf("save to delegate call, median of %d saves: %.3f ms (95th percentile %.3f ms), "
                "save to a bare inotify thread: %.3f ms, ratio %.1f (target < 5 ms)\n",
                Saves, ours, percentile(toDelegate, 0.95) / 1e6, reference, ours / std::max(reference, 1e-6));
    return 0;
}
