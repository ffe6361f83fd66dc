#include "FileActions.h"
#include "engine/UKFileWatcherDelegate.h"
#include "engine/UKKQueue.h"
#include "support/NotificationCenter.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <functional>
#include <memory>
#include <utility>

#include <unistd.h>

using FileActions::Save;

namespace {

constexpr int Timeout = 20000;
// A folder that was removed is watched again within one poll time-out.
constexpr int FolderRetryTimeout = 15000;

const QHash<QString, QString> ShortNames{
    {UKFileWatcherRenameNotification, "renamed"},
    {UKFileWatcherWriteNotification, "written"},
    {UKFileWatcherDeleteNotification, "deleted"},
    {UKFileWatcherAttributeChangeNotification, "attributes"},
    {UKFileWatcherSizeIncreaseNotification, "size"},
    {UKFileWatcherLinkCountChangeNotification, "links"},
};

// Records each call as "written: <content at that moment>", "renamed" and
// so on; renews the watch of a written or deleted path from inside the call
// when asked to, as the compiler engine does.
class RecordingDelegate : public UKFileWatcherDelegate
{
public:
    void watcher(UKFileWatcher *watcher, const QString &notification, const QString &path) override
    {
        const bool written = notification == UKFileWatcherWriteNotification;
        const QString content = written ? ": " + QString::fromUtf8(FileActions::contentOf(path)) : QString();
        events.append({path, ShortNames.value(notification) + content});
        calledOffGuiThread |= QThread::currentThread() != QCoreApplication::instance()->thread();
        if (onEvent)
            onEvent(path);
        if (renews && (written || notification == UKFileWatcherDeleteNotification)) {
            static_cast<UKKQueue *>(watcher)->removePath(path);
            static_cast<UKKQueue *>(watcher)->addPathAwaitingReturn(path);
        }
    }

    QList<std::pair<QString, QString>> events; // path, description
    bool renews = false;
    bool calledOffGuiThread = false;
    std::function<void(const QString &path)> onEvent;
};

enum class Change { Chmod, Append, AddHardLink, RenameAway };

// What each way of saving is reported as.
const struct
{
    const char *name;
    Save pattern;
    QStringList expected;
} Saves[] = {
    {"in place", Save::InPlace, {"written: saved"}},
    {"in chunks", Save::InPlaceInChunks, {"written: saved"}},
    {"temporary file renamed over", Save::TempFileRenamedOver, {"written: saved"}},
    {"backup, then new file", Save::BackupThenNewFile, {"renamed", "written: saved"}},
    {"delete, then new file", Save::DeleteThenNewFile, {"written: saved"}},
};

} // namespace

Q_DECLARE_METATYPE(Change)

class TestUKKQueue : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void editorSaves_data();
    void editorSaves();
    void changesBeforeAdding_data();
    void changesBeforeAdding();
    void saveDuringDelivery_data();
    void saveDuringDelivery();
    void leavingAndReturning_data();
    void leavingAndReturning();
    void missingPaths();
    void sharedInode_data();
    void sharedInode();
    void eventMask_data();
    void eventMask();
    void notificationRouting_data();
    void notificationRouting();
    void overflowRescansEveryPath();
    void stopsPromptly_data();
    void stopsPromptly();

private:
    QString filePath(const QString &name) const { return QDir(m_folder).filePath(name); }
    bool flush();
    bool whileWatcherWaits(const std::function<void()> &work);
    QStringList takeEventsFor(const QString &path);

    std::unique_ptr<QTemporaryDir> m_root;
    QString m_folder;
    QString m_marker;
    int m_markerWrites = 0;
    RecordingDelegate m_delegate;
    std::unique_ptr<UKKQueue> m_queue;
};

void TestUKKQueue::init()
{
    m_root = std::make_unique<QTemporaryDir>();
    m_folder = m_root->filePath(QStringLiteral("project ü"));
    QVERIFY(QDir().mkpath(m_folder));
    QVERIFY(QDir().mkpath(m_root->filePath(QStringLiteral("marker"))));
    m_marker = m_root->filePath(QStringLiteral("marker/marker.less"));
    FileActions::create(m_marker, "0");

    m_delegate = RecordingDelegate();
    m_queue = std::make_unique<UKKQueue>();
    m_queue->setDelegate(&m_delegate);
    m_queue->addPath(m_marker);
}

void TestUKKQueue::cleanup()
{
    m_queue.reset();
    QVERIFY(!m_delegate.calledOffGuiThread);
    m_root.reset();
}

// Events reach the delegate in order, so once the marker's write is in,
// everything that happened before it is in too.
bool TestUKKQueue::flush()
{
    const QByteArray stamp = QByteArray::number(++m_markerWrites);
    FileActions::writeInPlace(m_marker, stamp);
    const std::pair<QString, QString> markerWritten{m_marker, "written: " + QString::fromLatin1(stamp)};
    return QTest::qWaitFor([&] { return m_delegate.events.contains(markerWritten); }, Timeout);
}

// Runs work inside a delegate call: the watcher thread, waiting for the call
// to return, reads nothing meanwhile and finds the events of work late.
bool TestUKKQueue::whileWatcherWaits(const std::function<void()> &work)
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

QStringList TestUKKQueue::takeEventsFor(const QString &path)
{
    QStringList events;
    for (const auto &[eventPath, description] : std::as_const(m_delegate.events)) {
        if (eventPath == path)
            events.append(description);
    }
    m_delegate.events.clear();
    return events;
}

void TestUKKQueue::editorSaves_data()
{
    QTest::addColumn<Save>("pattern");
    QTest::addColumn<bool>("renews");
    QTest::addColumn<bool>("lagging");
    QTest::addColumn<QStringList>("expected");

    for (const auto &save : Saves) {
        QTest::addRow("%s", save.name) << save.pattern << false << false << save.expected;
        QTest::addRow("%s, renewed by the delegate", save.name)
            << save.pattern << true << false << save.expected;
        QTest::addRow("%s, read late", save.name) << save.pattern << false << true << save.expected;
    }
}

// Each save is one write, reported once the new content is complete, and the
// path stays watched for the next save. Read late, the events of the file's
// creation before it was added do not count.
void TestUKKQueue::editorSaves()
{
    QFETCH(Save, pattern);
    QFETCH(bool, renews);
    QFETCH(bool, lagging);
    QFETCH(QStringList, expected);

    m_delegate.renews = renews;
    const QString path = filePath(QStringLiteral("style 'q'.less"));
    const auto createAndAdd = [&] {
        FileActions::create(path, "created");
        m_queue->addPath(path);
    };
    if (lagging) {
        QVERIFY(whileWatcherWaits([&] {
            createAndAdd();
            FileActions::save(pattern, path, "saved");
        }));
    } else {
        createAndAdd();
        QVERIFY(flush());
        FileActions::save(pattern, path, "saved");
        QVERIFY(flush());
    }
    QCOMPARE(takeEventsFor(path), expected);

    FileActions::writeInPlace(path, "next save");
    QVERIFY(flush());
    QCOMPARE(takeEventsFor(path), QStringList{"written: next save"});
    QCOMPARE(m_queue->watchedPaths().count(path), 1);
}

void TestUKKQueue::changesBeforeAdding_data()
{
    QTest::addColumn<QString>("change");

    QTest::newRow("written") << "";
    QTest::newRow("deleted and created again") << "delete";
    QTest::newRow("renamed away and created again") << "rename";
}

// Read after the path was added, events from before it are none of its business.
void TestUKKQueue::changesBeforeAdding()
{
    QFETCH(QString, change);

    const QString path = filePath(QStringLiteral("fresh.less"));
    QVERIFY(whileWatcherWaits([&] {
        FileActions::create(path, "created");
        if (change == "delete")
            FileActions::remove(path);
        else if (change == "rename")
            FileActions::rename(path, path + QStringLiteral(".old"));
        if (!change.isEmpty())
            FileActions::create(path, "created again");
        m_queue->addPath(path);
    }));
    QCOMPARE(takeEventsFor(path), QStringList());
}

void TestUKKQueue::saveDuringDelivery_data()
{
    QTest::addColumn<bool>("replacedFirst");
    QTest::addColumn<bool>("renews");

    QTest::newRow("file as added") << false << false;
    QTest::newRow("file as added, renewed by the delegate") << false << true;
    QTest::newRow("file replaced by a save") << true << false;
    QTest::newRow("file replaced by a save, renewed by the delegate") << true << true;
}

// A save made while the delegate handles the previous one is reported too,
// even with the same size within the same timestamp tick.
void TestUKKQueue::saveDuringDelivery()
{
    QFETCH(bool, replacedFirst);
    QFETCH(bool, renews);

    m_delegate.renews = renews;
    const QString path = filePath(QStringLiteral("busy.less"));
    FileActions::create(path, "created");
    m_queue->addPath(path);
    if (replacedFirst) {
        FileActions::save(Save::TempFileRenamedOver, path, "replaced");
        QVERIFY(flush());
        m_delegate.events.clear();
    }
    m_delegate.onEvent = [&](const QString &eventPath) {
        if (eventPath == path && m_delegate.events.size() == 1)
            FileActions::writeInPlace(path, "BBBB");
    };
    FileActions::writeInPlace(path, "AAAA");
    QTRY_VERIFY_WITH_TIMEOUT(m_delegate.events.contains({path, "written: BBBB"}), Timeout);
    QVERIFY(flush());
    QCOMPARE(takeEventsFor(path), QStringList({"written: AAAA", "written: BBBB"}));
}

void TestUKKQueue::leavingAndReturning_data()
{
    QTest::addColumn<QString>("leave");
    QTest::addColumn<QStringList>("whenGone");

    QTest::newRow("deleted, created again") << "delete" << QStringList();
    QTest::newRow("renamed away, renamed back") << "rename" << QStringList{"renamed"};
    QTest::newRow("folder removed, made again") << "remove folder" << QStringList();
}

// A path whose file is gone is watched until a file is there again; its
// return counts as a write.
void TestUKKQueue::leavingAndReturning()
{
    QFETCH(QString, leave);
    QFETCH(QStringList, whenGone);

    m_delegate.renews = true;
    const QString path = filePath(QStringLiteral("base.less"));
    const QString elsewhere = m_root->filePath(QStringLiteral("elsewhere.less"));
    FileActions::create(path, "created");
    m_queue->addPath(path);

    if (leave == "delete")
        FileActions::remove(path);
    else if (leave == "rename")
        FileActions::rename(path, elsewhere);
    else
        QVERIFY(QDir(m_folder).removeRecursively());
    QVERIFY(flush());
    QCOMPARE(takeEventsFor(path), whenGone);

    if (leave == "rename") {
        FileActions::writeInPlace(elsewhere, "returned");
        FileActions::rename(elsewhere, path);
    } else {
        QVERIFY(QDir().mkpath(m_folder));
        FileActions::create(path, "returned");
    }
    QTRY_VERIFY_WITH_TIMEOUT(m_delegate.events.contains({path, "written: returned"}), FolderRetryTimeout);
    QVERIFY(flush());
    QCOMPARE(takeEventsFor(path), QStringList{"written: returned"});
    FileActions::writeInPlace(path, "next save");
    QVERIFY(flush());
    QCOMPARE(takeEventsFor(path), QStringList{"written: next save"});
}

void TestUKKQueue::missingPaths()
{
    QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
    const QString missing = filePath(QStringLiteral("missing.less"));
    m_queue->addPath(missing);
    m_queue->removePath(QStringLiteral("/never/added.less"));
    QCOMPARE(m_queue->watchedPaths(), QStringList{m_marker});

    m_queue->addPathAwaitingReturn(missing);
    QCOMPARE(m_queue->watchedPaths(), QStringList({m_marker, missing}));
    FileActions::create(missing, "arrived");
    QVERIFY(flush());
    QCOMPARE(takeEventsFor(missing), QStringList{"written: arrived"});
}

void TestUKKQueue::sharedInode_data()
{
    QTest::addColumn<bool>("hardLink");

    QTest::newRow("hard link") << true;
    QTest::newRow("same path added twice") << false;
}

// Paths that lead to one inode share its watch; removing one registration
// leaves the others watched.
void TestUKKQueue::sharedInode()
{
    QFETCH(bool, hardLink);

    const QString first = filePath(QStringLiteral("first.less"));
    const QString second = hardLink ? filePath(QStringLiteral("second.less")) : first;
    FileActions::create(first, "created");
    if (hardLink)
        QCOMPARE(::link(QFile::encodeName(first).constData(), QFile::encodeName(second).constData()), 0);
    m_queue->addPath(first);
    m_queue->addPath(second);

    FileActions::writeInPlace(first, "both");
    QVERIFY(flush());
    m_delegate.events.removeIf([&](const auto &event) { return event.first == m_marker; });
    const QList<std::pair<QString, QString>> both{{first, "written: both"}, {second, "written: both"}};
    QCOMPARE(m_delegate.events, both);

    m_queue->removePath(first);
    m_delegate.events.clear();
    FileActions::writeInPlace(first, "one left");
    QVERIFY(flush());
    QCOMPARE(takeEventsFor(second), QStringList{"written: one left"});
}

void TestUKKQueue::eventMask_data()
{
    QTest::addColumn<quint32>("mask");
    QTest::addColumn<Change>("change");
    QTest::addColumn<QStringList>("expected");

    const quint32 byDefault = UKKQueue::DefaultEventMask;
    QTest::newRow("chmod, default") << byDefault << Change::Chmod << QStringList{"attributes"};
    QTest::newRow("chmod, writes only") << quint32(UKKQueue::Write) << Change::Chmod << QStringList();
    QTest::newRow("append, default") << byDefault << Change::Append << QStringList{"written: created, more"};
    QTest::newRow("append, size and writes") << quint32(UKKQueue::Extend | UKKQueue::Write) << Change::Append
                                             << QStringList{"size", "written: created, more"};
    QTest::newRow("new hard link, default") << byDefault << Change::AddHardLink << QStringList();
    QTest::newRow("new hard link, link count")
        << quint32(UKKQueue::Link | UKKQueue::Attrib) << Change::AddHardLink << QStringList{"links"};
    QTest::newRow("renamed away, renames only") << quint32(UKKQueue::Rename) << Change::RenameAway
                                                << QStringList{"renamed"};
}

void TestUKKQueue::eventMask()
{
    QFETCH(quint32, mask);
    QFETCH(Change, change);
    QFETCH(QStringList, expected);

    const QString path = filePath(QStringLiteral("masked.less"));
    FileActions::create(path, "created");
    m_queue->addPathToQueue(path, mask);
    QFile file(path);
    switch (change) {
    case Change::Chmod:
        QVERIFY(file.setPermissions(QFile::ReadOwner | QFile::WriteOwner));
        break;
    case Change::Append:
        QVERIFY(file.open(QIODevice::Append) && file.write(", more") > 0);
        file.close();
        break;
    case Change::AddHardLink:
        QCOMPARE(::link(qPrintable(path), qPrintable(path + QStringLiteral(".link"))), 0);
        break;
    case Change::RenameAway:
        FileActions::rename(path, path + QStringLiteral(".moved"));
        break;
    }
    QVERIFY(flush());
    QCOMPARE(takeEventsFor(path), expected);
}

void TestUKKQueue::notificationRouting_data()
{
    QTest::addColumn<bool>("hasDelegate");
    QTest::addColumn<bool>("alwaysNotify");
    QTest::addColumn<QStringList>("expected");

    QTest::newRow("delegate") << true << false << QStringList{"delegate"};
    QTest::newRow("delegate, always notify") << true << true << QStringList{"delegate", "workspace"};
    QTest::newRow("no delegate") << false << false << QStringList{"workspace"};
}

// Delegate first, then the workspace notification; both on the GUI thread.
void TestUKKQueue::notificationRouting()
{
    QFETCH(bool, hasDelegate);
    QFETCH(bool, alwaysNotify);
    QFETCH(QStringList, expected);

    const QString path = filePath(QStringLiteral("routed.less"));
    FileActions::create(path, "created");
    QStringList calls;
    QObject observer;
    NotificationCenter::workspaceCenter()->addObserver(
        &observer, {UKFileWatcherWriteNotification}, [&](const Notification &posted) {
            if (posted.userInfo == QVariantMap{{"path", path}} && posted.sender == m_queue.get()
                && QThread::currentThread() == QCoreApplication::instance()->thread())
                calls.append(QStringLiteral("workspace"));
        });
    m_delegate.onEvent = [&](const QString &eventPath) {
        if (eventPath == path)
            calls.append(QStringLiteral("delegate"));
    };
    m_queue->setAlwaysNotify(alwaysNotify);
    m_queue->setDelegate(hasDelegate ? &m_delegate : nullptr);
    m_queue->addPath(path);

    FileActions::writeInPlace(path, "routed");
    QTRY_COMPARE_WITH_TIMEOUT(calls, expected, Timeout);
}

// Every save while the queue overflows is lost; the rescan after the
// overflow still reports the path as written.
void TestUKKQueue::overflowRescansEveryPath()
{
    QFile limit(QStringLiteral("/proc/sys/fs/inotify/max_queued_events"));
    QVERIFY(limit.open(QIODevice::ReadOnly));
    const int maxQueuedEvents = limit.readAll().trimmed().toInt();
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
    // The rescan may report the marker before this path, so wait for the path itself.
    QTRY_VERIFY_WITH_TIMEOUT(m_delegate.events.contains({path, "written: saved while flooded"}), Timeout);
    QVERIFY(flush());
    QCOMPARE(takeEventsFor(path), QStringList{"written: saved while flooded"});
}

void TestUKKQueue::stopsPromptly_data()
{
    QTest::addColumn<bool>("deliveryPending");

    QTest::newRow("idle") << false;
    QTest::newRow("blocked on a delivery") << true;
}

// The watcher thread ends well within its 5-second poll, even while it
// waits for the GUI thread.
void TestUKKQueue::stopsPromptly()
{
    QFETCH(bool, deliveryPending);

    if (deliveryPending) {
        FileActions::writeInPlace(m_marker, "pending");
        // Without the GUI thread taking deliveries, the watcher thread blocks on this one.
        QThread::msleep(200);
    }
    QElapsedTimer stopping;
    stopping.start();
    m_queue.reset();
    QCOMPARE_LT(stopping.elapsed(), 5000);
    QVERIFY(m_delegate.events.isEmpty());
}

QTEST_GUILESS_MAIN(TestUKKQueue)
#include "TestUKKQueue.moc"
