#include "FileActions.h"
#include "engine/UKFileWatcherDelegate.h"
#include "engine/UKKQueue.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTest>

#include <functional>
#include <memory>
#include <utility>

#include <unistd.h>

using FileActions::Save;

namespace {

constexpr int Timeout = 20000;

// Records "WrittenTo: <content then>", "Renamed" and so on; when asked to, removes
// and adds again a written path from inside the call.
struct RecordingDelegate : public UKFileWatcherDelegate
{
    void watcher(UKFileWatcher *watcher, const QString &notification, const QString &path) override
    {
        const bool written = notification == UKFileWatcherWriteNotification;
        const QString content = written ? ": " + QString::fromUtf8(FileActions::contentOf(path)) : QString();
        events.append({path, QString(notification).remove("UKKQueueFile").remove("Notification") + content});
        calledOffGuiThread |= QThread::currentThread() != QCoreApplication::instance()->thread();
        if (onEvent)
            onEvent(path);
        if (renews && written) {
            static_cast<UKKQueue *>(watcher)->removePath(path);
            static_cast<UKKQueue *>(watcher)->addPath(path);
        }
    }

    QList<std::pair<QString, QString>> events; // path, description
    bool renews = false;
    bool calledOffGuiThread = false;
    std::function<void(const QString &path)> onEvent;
};

} // namespace

class TestUKKQueue : public QObject
{
    Q_OBJECT

    QString filePath(const QString &name) const { return QDir(m_folder).filePath(name); }

    // Events arrive in order: once the marker's write is in, all before it are too.
    bool flush()
    {
        const QByteArray stamp = QByteArray::number(++m_markerWrites);
        FileActions::writeInPlace(m_marker, stamp);
        const std::pair<QString, QString> markerWritten{m_marker, "WrittenTo: " + QString::fromLatin1(stamp)};
        return QTest::qWaitFor([&] { return m_delegate.events.contains(markerWritten); }, Timeout);
    }

    // Runs work inside a delegate call, so the watcher thread reads its events late.
    bool whileWatcherWaits(const std::function<void()> &work)
    {
        bool done = false;
        m_delegate.onEvent = [&](const QString &) {
            if (!std::exchange(done, true))
                work();
        };
        const bool flushed = flush() && flush();
        m_delegate.onEvent = nullptr;
        return flushed;
    }

    QStringList takeEventsFor(const QString &path)
    {
        QStringList events;
        for (const auto &[eventPath, description] : std::exchange(m_delegate.events, {}))
            if (eventPath == path)
                events.append(description);
        return events;
    }

    std::unique_ptr<QTemporaryDir> m_root;
    QString m_folder, m_marker;
    int m_markerWrites = 0;
    RecordingDelegate m_delegate;
    std::unique_ptr<UKKQueue> m_queue;

private Q_SLOTS:
    void init()
    {
        m_root = std::make_unique<QTemporaryDir>();
        m_folder = m_root->filePath(QStringLiteral("project ü"));
        QVERIFY(QDir().mkpath(m_folder));
        m_marker = m_root->filePath(QStringLiteral("marker/marker.less"));
        FileActions::create(m_marker, "0");
        m_delegate = RecordingDelegate();
        m_queue = std::make_unique<UKKQueue>();
        m_queue->setDelegate(&m_delegate);
        m_queue->addPath(m_marker);
    }

    void cleanup()
    {
        m_queue.reset();
        QVERIFY(!m_delegate.calledOffGuiThread);
        m_root.reset();
    }

    void changes_data()
    {
        QTest::addColumn<QString>("steps"); // "late" first: all read while the watcher waits
        QTest::addColumn<QStringList>("expected");

        const QStringList saved{"WrittenTo: saved"}, returned{"WrittenTo: returned"};
        QTest::newRow("in place") << "create add flush inPlace" << saved;
        QTest::newRow("in chunks, renewed") << "renew create add flush chunks" << saved;
        QTest::newRow("temp file renamed over, renewed") << "renew create add flush temp" << saved;
        QTest::newRow("temp file renamed over, read late") << "late create add temp" << saved;
        QTest::newRow("backup, new file, renewed") << "renew create add flush backup" << QStringList{"Renamed", "WrittenTo: saved"};
        QTest::newRow("delete, then new file, read late") << "late create add deleteNew" << saved;
        QTest::newRow("deleted before adding, read late") << "late create remove recreate add inPlace" << saved;
        QTest::newRow("deleted, created again") << "create add remove flush recreate" << returned;
        QTest::newRow("renamed away, renamed back")
            << "create add away flush back" << QStringList{"Renamed", "WrittenTo: returned"};
        QTest::newRow("folder removed, made again (15 s poll)") << "create add rmdir flush recreate" << returned;
        const QStringList both{"WrittenTo: AAAA", "WrittenTo: BBBB"};
        QTest::newRow("saved during a delivery") << "create add during" << both;
        QTest::newRow("saved during a delivery, replaced, renewed") << "renew create add temp clear during" << both;
    }

    // Each save is one write, reported once its content is complete, even one made
    // during a delivery; read late, events from before adding do not count. A gone
    // file's path stays watched; its return is a write. The next save is seen.
    void changes()
    {
        QFETCH(QString, steps);
        QFETCH(QStringList, expected);

        const QString path = filePath(QStringLiteral("style 'q'.less"));
        const QString elsewhere = m_root->filePath(QStringLiteral("elsewhere.less"));
        const auto whileDelivering = [&](const QString &eventPath) {
            if (eventPath == path && m_delegate.events.size() == 1)
                FileActions::writeInPlace(path, "BBBB");
        };
        const QHash<QString, std::function<bool()>> actions{
            {"inPlace", [&] { return FileActions::save(Save::InPlace, path, "saved"), true; }},
            {"chunks", [&] { return FileActions::save(Save::InPlaceInChunks, path, "saved"), true; }},
            {"temp", [&] { return FileActions::save(Save::TempFileRenamedOver, path, "saved"), true; }},
            {"backup", [&] { return FileActions::save(Save::BackupThenNewFile, path, "saved"), true; }},
            {"deleteNew", [&] { return FileActions::save(Save::DeleteThenNewFile, path, "saved"), true; }},
            {"renew", [&] { return m_delegate.renews = true; }},
            {"create", [&] { return FileActions::create(path, "created"), true; }},
            {"recreate", [&] { return FileActions::create(path, "returned"), true; }},
            {"add", [&] { return m_queue->addPath(path), true; }},
            {"remove", [&] { return FileActions::remove(path), true; }},
            {"away", [&] { return FileActions::rename(path, elsewhere), true; }},
            {"back", [&] { return FileActions::writeInPlace(elsewhere, "returned"), FileActions::rename(elsewhere, path), true; }},
            {"rmdir", [&] { return QDir(m_folder).removeRecursively(); }},
            {"during", [&] { return m_delegate.onEvent = whileDelivering, FileActions::writeInPlace(path, "AAAA"), true; }},
            {"flush", [&] { return flush(); }},
            {"clear", [&] { return flush() && (m_delegate.events.clear(), true); }},
        };
        const auto perform = [&](const QString &step) { return actions.value(step, [] { return false; })(); };
        QStringList list = steps.split(u' ');
        if (list.first() == "late")
            QVERIFY(whileWatcherWaits([&] {
                for (const QString &step : list.mid(1))
                    perform(step);
            }));
        else
            for (const QString &step : std::as_const(list))
                QVERIFY2(perform(step), qPrintable(step));
        QTRY_VERIFY_WITH_TIMEOUT(m_delegate.events.contains({path, expected.last()}), Timeout);
        m_delegate.onEvent = nullptr;
        QVERIFY(flush());
        QCOMPARE(takeEventsFor(path), expected);

        FileActions::writeInPlace(path, "next save");
        QVERIFY(flush());
        QCOMPARE(takeEventsFor(path), QStringList{"WrittenTo: next save"});
        QCOMPARE(m_queue->watchedPaths().count(path), 1);
    }

    // Paths to one inode share its watch; removing one leaves the other watched.
    void hardLinks()
    {
        const QString first = filePath(QStringLiteral("first.less"));
        const QString second = filePath(QStringLiteral("second.less"));
        FileActions::create(first, "created");
        QCOMPARE(::link(QFile::encodeName(first).constData(), QFile::encodeName(second).constData()), 0);
        m_queue->addPath(first);
        m_queue->addPath(second);

        FileActions::writeInPlace(first, "both");
        QVERIFY(flush());
        m_delegate.events.removeIf([&](const auto &event) { return event.first == m_marker; });
        const QList<std::pair<QString, QString>> both{{first, "WrittenTo: both"}, {second, "WrittenTo: both"}};
        QCOMPARE(std::exchange(m_delegate.events, {}), both);

        m_queue->removePath(first);
        FileActions::writeInPlace(first, "one left");
        QVERIFY(flush());
        QCOMPARE(takeEventsFor(second), QStringList{"WrittenTo: one left"});
    }

    // A save lost to a queue overflow is still reported by the rescan after it.
    void overflowRescansEveryPath()
    {
        const int maxQueuedEvents = FileActions::contentOf("/proc/sys/fs/inotify/max_queued_events").trimmed().toInt();
        QVERIFY(maxQueuedEvents > 0);

        const QString path = filePath(QStringLiteral("flooded.less"));
        FileActions::create(path, "created");
        m_queue->addPath(path);
        QTest::ignoreMessage(QtWarningMsg, "UKKQueue: the inotify queue overflowed and events were lost; "
                                           "rescanning every watched path.");
        // A create and a close for each file fill the queue; the save after them is lost.
        QVERIFY(whileWatcherWaits([&] {
            for (int i = 0; i < maxQueuedEvents / 2 + 1000; ++i)
                FileActions::create(filePath(QStringLiteral("flood%1.css").arg(i)), {});
            FileActions::writeInPlace(path, "saved while flooded");
        }));
        // The rescan may report the marker first, so wait for the path itself.
        QTRY_VERIFY_WITH_TIMEOUT(m_delegate.events.contains({path, "WrittenTo: saved while flooded"}), Timeout);
        QVERIFY(flush());
        QCOMPARE(takeEventsFor(path), QStringList{"WrittenTo: saved while flooded"});
    }

    // The watcher thread ends well within its 5 s poll, even while blocked on a delivery.
    void stopsPromptly()
    {
        FileActions::writeInPlace(m_marker, "pending");
        QThread::msleep(200); // the GUI thread takes no delivery, so the watcher blocks on this one
        QElapsedTimer stopping;
        stopping.start();
        m_queue.reset();
        QCOMPARE_LT(stopping.elapsed(), 5000);
        QVERIFY(m_delegate.events.isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestUKKQueue)
#include "TestUKKQueue.moc"
