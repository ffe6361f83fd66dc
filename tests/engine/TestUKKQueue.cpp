#include "EditorSave.h"
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
#include <optional>
#include <memory>

#include <unistd.h>

using EditorSave::Pattern;

namespace {

constexpr int Timeout = 20000;
// A folder that was removed is watched again within one poll time-out.
constexpr int FolderRetryTimeout = 15000;

const QString Renamed = UKFileWatcherRenameNotification;
const QString Written = UKFileWatcherWriteNotification;
const QString Deleted = UKFileWatcherDeleteNotification;
const QString AttributesChanged = UKFileWatcherAttributeChangeNotification;
const QString SizeIncreased = UKFileWatcherSizeIncreaseNotification;
const QString LinkCountChanged = UKFileWatcherLinkCountChangeNotification;

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

struct Event
{
    QString name;
    QString path;
    QByteArray content; // what the file held when the delegate was told
};

// Records what it is told; optionally renews the watch of a written or
// deleted path from inside the call, as the compiler engine does.
class RecordingDelegate : public UKFileWatcherDelegate
{
public:
    void watcher(UKFileWatcher *watcher, const QString &notification, const QString &path) override
    {
        events.append(Event{notification, path, contentOf(path)});
        calledOffGuiThread |= QThread::currentThread() != QCoreApplication::instance()->thread();
        if (onEvent)
            onEvent(notification, path);
        if (renews && (notification == Written || notification == Deleted)) {
            auto *queue = static_cast<UKKQueue *>(watcher);
            queue->removePath(path);
            queue->addPathAwaitingReturn(path);
        }
    }

    QList<Event> events;
    bool renews = false;
    bool calledOffGuiThread = false;
    std::function<void(const QString &notification, const QString &path)> onEvent;
};

enum class Change { Chmod, Append, AddHardLink, RenameAway };

} // namespace

Q_DECLARE_METATYPE(Change)
Q_DECLARE_METATYPE(std::optional<Pattern>)

class TestUKKQueue : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void editorSaves_data();
    void editorSaves();
    void saveDuringDelivery_data();
    void saveDuringDelivery();
    void leavingAndReturning_data();
    void leavingAndReturning();
    void missingPaths();
    void addedWhileLagging_data();
    void addedWhileLagging();
    void sharedInode_data();
    void sharedInode();
    void eventMask_data();
    void eventMask();
    void notificationRouting_data();
    void notificationRouting();
    void overflowRescansEveryPath();
    void stopsPromptly_data();
    void stopsPromptly();
    void description();

private:
    QString makeFile(const QString &name, const QByteArray &content = "initial");
    bool flush();
    bool hasEventFor(const QString &path) const;
    QStringList takeNamesFor(const QString &path);
    QList<Event> takeEventsFor(const QString &path);

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
    EditorSave::createFile(m_marker, "0");

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

QString TestUKKQueue::makeFile(const QString &name, const QByteArray &content)
{
    const QString path = QDir(m_folder).filePath(name);
    EditorSave::createFile(path, content);
    return path;
}

// Events reach the delegate in order, so once the marker's write is in,
// everything that happened before it is in too.
bool TestUKKQueue::flush()
{
    const QByteArray stamp = QByteArray::number(++m_markerWrites);
    EditorSave::writeInPlace(m_marker, stamp);
    return QTest::qWaitFor(
        [&] {
            return std::any_of(m_delegate.events.cbegin(), m_delegate.events.cend(), [&](const Event &event) {
                return event.path == m_marker && event.content == stamp;
            });
        },
        Timeout);
}

bool TestUKKQueue::hasEventFor(const QString &path) const
{
    return std::any_of(m_delegate.events.cbegin(), m_delegate.events.cend(),
                       [&](const Event &event) { return event.path == path; });
}

QList<Event> TestUKKQueue::takeEventsFor(const QString &path)
{
    QList<Event> events;
    for (const Event &event : std::as_const(m_delegate.events)) {
        if (event.path == path)
            events.append(event);
    }
    m_delegate.events.clear();
    return events;
}

QStringList TestUKKQueue::takeNamesFor(const QString &path)
{
    QStringList names;
    for (const Event &event : takeEventsFor(path))
        names.append(event.name);
    return names;
}

namespace {

// What each way of saving is reported as.
const struct
{
    const char *name;
    Pattern pattern;
    QStringList expected;
} Saves[] = {
    {"in place", Pattern::InPlace, {Written}},
    {"in chunks", Pattern::InPlaceInChunks, {Written}},
    {"temporary file renamed over", Pattern::TempFileRenamedOver, {Written}},
    {"backup, then new file", Pattern::BackupThenNewFile, {Renamed, Written}},
    {"delete, then new file", Pattern::DeleteThenNewFile, {Written}},
};

} // namespace

void TestUKKQueue::editorSaves_data()
{
    QTest::addColumn<Pattern>("pattern");
    QTest::addColumn<bool>("renews");
    QTest::addColumn<QStringList>("expected");

    for (const auto &save : Saves) {
        QTest::addRow("%s", save.name) << save.pattern << false << save.expected;
        QTest::addRow("%s, renewed by the delegate", save.name) << save.pattern << true << save.expected;
    }
}

// Each save is one write, reported once the new content is complete, and the
// path stays watched for the next save.
void TestUKKQueue::editorSaves()
{
    QFETCH(Pattern, pattern);
    QFETCH(bool, renews);
    QFETCH(QStringList, expected);

    m_delegate.renews = renews;
    const QString path = makeFile(QStringLiteral("style 'q'.less"));
    m_queue->addPath(path);

    const QByteArray newContent = QByteArray("new content ").repeated(50);
    EditorSave::save(pattern, path, newContent);
    QVERIFY(flush());
    const QList<Event> events = takeEventsFor(path);
    QStringList names;
    for (const Event &event : events)
        names.append(event.name);
    QCOMPARE(names, expected);
    QCOMPARE(events.last().content, newContent);

    EditorSave::writeInPlace(path, "next save");
    QVERIFY(flush());
    const QList<Event> next = takeEventsFor(path);
    QCOMPARE(next.size(), 1);
    QCOMPARE(next.first().name, Written);
    QCOMPARE(next.first().content, QByteArray("next save"));
    QCOMPARE(m_queue->watchedPaths().count(path), 1);
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
    const QString path = makeFile(QStringLiteral("busy.less"));
    m_queue->addPath(path);
    if (replacedFirst) {
        EditorSave::save(Pattern::TempFileRenamedOver, path, "replaced");
        QVERIFY(flush());
        m_delegate.events.clear();
    }
    m_delegate.onEvent = [&](const QString &, const QString &eventPath) {
        if (eventPath == path && m_delegate.events.size() == 1)
            EditorSave::writeInPlace(path, "BBBB");
    };
    EditorSave::writeInPlace(path, "AAAA");
    QTRY_COMPARE_WITH_TIMEOUT(m_delegate.events.size(), 2, Timeout);
    QVERIFY(flush());
    const QList<Event> events = takeEventsFor(path);
    QCOMPARE(events.size(), 2);
    QCOMPARE(events.at(0).content, QByteArray("AAAA"));
    QCOMPARE(events.at(1).name, Written);
    QCOMPARE(events.at(1).content, QByteArray("BBBB"));
}

void TestUKKQueue::leavingAndReturning_data()
{
    QTest::addColumn<QString>("leave");
    QTest::addColumn<QString>("comeBack");
    QTest::addColumn<QStringList>("whenGone");

    QTest::newRow("deleted, created again") << "delete" << "create" << QStringList();
    QTest::newRow("renamed away, renamed back") << "rename away" << "rename back" << QStringList{Renamed};
    QTest::newRow("folder removed, made again") << "remove folder" << "make folder" << QStringList();
}

// A path whose file is gone is watched until a file is there again; its
// return counts as a write.
void TestUKKQueue::leavingAndReturning()
{
    QFETCH(QString, leave);
    QFETCH(QString, comeBack);
    QFETCH(QStringList, whenGone);

    m_delegate.renews = true;
    const QString path = makeFile(QStringLiteral("base.less"));
    const QString elsewhere = m_root->filePath(QStringLiteral("elsewhere.less"));
    m_queue->addPath(path);

    if (leave == "delete")
        EditorSave::remove(path);
    else if (leave == "rename away")
        EditorSave::rename(path, elsewhere);
    else
        QVERIFY(QDir(m_folder).removeRecursively());
    QVERIFY(flush());
    QCOMPARE(takeNamesFor(path), whenGone);

    if (comeBack == "create") {
        EditorSave::createFile(path, "returned");
    } else if (comeBack == "rename back") {
        EditorSave::writeInPlace(elsewhere, "returned");
        EditorSave::rename(elsewhere, path);
    } else {
        QVERIFY(QDir().mkpath(m_folder));
        EditorSave::createFile(path, "returned");
    }
    QTRY_VERIFY_WITH_TIMEOUT(hasEventFor(path), FolderRetryTimeout);
    QVERIFY(flush());
    const QList<Event> events = takeEventsFor(path);
    QCOMPARE(events.size(), 1);
    QCOMPARE(events.first().name, Written);
    QCOMPARE(events.first().content, QByteArray("returned"));

    EditorSave::writeInPlace(path, "next save");
    QVERIFY(flush());
    QCOMPARE(takeNamesFor(path), QStringList{Written});
}

void TestUKKQueue::missingPaths()
{
    QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
    const QString missing = QDir(m_folder).filePath(QStringLiteral("missing.less"));
    m_queue->addPath(missing);
    QCOMPARE(m_queue->watchedPaths(), QStringList{m_marker});

    m_queue->addPathAwaitingReturn(missing);
    QCOMPARE(m_queue->watchedPaths(), QStringList({m_marker, missing}));
    EditorSave::createFile(missing, "arrived");
    QVERIFY(flush());
    const QList<Event> events = takeEventsFor(missing);
    QCOMPARE(events.size(), 1);
    QCOMPARE(events.first().name, Written);
    QCOMPARE(events.first().content, QByteArray("arrived"));

    m_queue->removePath(QStringLiteral("/never/added.less"));
    QCOMPARE(m_queue->watchedPaths(), QStringList({m_marker, missing}));
}

void TestUKKQueue::addedWhileLagging_data()
{
    QTest::addColumn<QString>("beforeAdding");
    QTest::addColumn<std::optional<Pattern>>("saveAfterAdding");
    QTest::addColumn<QStringList>("expected");

    QTest::newRow("written") << "" << std::optional<Pattern>() << QStringList();
    QTest::newRow("deleted and created again") << "delete" << std::optional<Pattern>() << QStringList();
    QTest::newRow("renamed away and created again") << "rename" << std::optional<Pattern>() << QStringList();
    for (const auto &save : Saves)
        QTest::addRow("written, then saved %s", save.name) << "" << std::optional(save.pattern) << save.expected;
}

// The watcher reads events some time after they happen. Those from before a
// path was added are none of its business, even when they are read after it
// was added and saved again.
void TestUKKQueue::addedWhileLagging()
{
    QFETCH(QString, beforeAdding);
    QFETCH(std::optional<Pattern>, saveAfterAdding);
    QFETCH(QStringList, expected);

    m_queue->addPath(makeFile(QStringLiteral("neighbour.less")));
    const QString path = QDir(m_folder).filePath(QStringLiteral("fresh.less"));
    bool done = false;
    // While the watcher thread waits for this call, it reads nothing.
    m_delegate.onEvent = [&](const QString &, const QString &) {
        if (std::exchange(done, true))
            return;
        EditorSave::createFile(path, "created");
        if (beforeAdding == "delete")
            EditorSave::remove(path);
        else if (beforeAdding == "rename")
            EditorSave::rename(path, path + QStringLiteral(".old"));
        if (!beforeAdding.isEmpty())
            EditorSave::createFile(path, "created again");
        m_queue->addPath(path);
        if (saveAfterAdding)
            EditorSave::save(*saveAfterAdding, path, "saved");
    };
    QVERIFY(flush());
    QVERIFY(flush());
    const QList<Event> events = takeEventsFor(path);
    QStringList names;
    for (const Event &event : events)
        names.append(event.name);
    QCOMPARE(names, expected);
    if (!events.isEmpty())
        QCOMPARE(events.last().content, QByteArray("saved"));
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

    const QString first = makeFile(QStringLiteral("first.less"));
    QString second = first;
    if (hardLink) {
        second = QDir(m_folder).filePath(QStringLiteral("second.less"));
        QCOMPARE(::link(QFile::encodeName(first).constData(), QFile::encodeName(second).constData()), 0);
    }
    m_queue->addPath(first);
    m_queue->addPath(second);

    EditorSave::writeInPlace(first, "both");
    QVERIFY(flush());
    QList<Event> events = m_delegate.events;
    m_delegate.events.clear();
    events.removeIf([&](const Event &event) { return event.path == m_marker; });
    QCOMPARE(events.size(), 2);
    QCOMPARE(events.at(0).path, first);
    QCOMPARE(events.at(1).path, second);

    m_queue->removePath(first);
    EditorSave::writeInPlace(first, "one left");
    QVERIFY(flush());
    const QList<Event> remaining = takeEventsFor(second);
    QCOMPARE(remaining.size(), 1);
    QCOMPARE(remaining.first().name, Written);
    if (hardLink)
        QVERIFY(takeEventsFor(first).isEmpty());
}

void TestUKKQueue::eventMask_data()
{
    QTest::addColumn<quint32>("mask");
    QTest::addColumn<Change>("change");
    QTest::addColumn<QStringList>("expected");

    const quint32 defaultMask = UKKQueue::DefaultEventMask;
    QTest::newRow("chmod, default") << defaultMask << Change::Chmod << QStringList{AttributesChanged};
    QTest::newRow("chmod, writes only") << quint32(UKKQueue::Write) << Change::Chmod << QStringList();
    QTest::newRow("append, default") << defaultMask << Change::Append << QStringList{Written};
    QTest::newRow("append, size and writes")
        << quint32(UKKQueue::Extend | UKKQueue::Write) << Change::Append << QStringList{SizeIncreased, Written};
    QTest::newRow("new hard link, default") << defaultMask << Change::AddHardLink << QStringList();
    QTest::newRow("new hard link, link count")
        << quint32(UKKQueue::Link | UKKQueue::Attrib) << Change::AddHardLink << QStringList{LinkCountChanged};
    QTest::newRow("renamed away, renames only") << quint32(UKKQueue::Rename) << Change::RenameAway
                                                << QStringList{Renamed};
}

void TestUKKQueue::eventMask()
{
    QFETCH(quint32, mask);
    QFETCH(Change, change);
    QFETCH(QStringList, expected);

    const QString path = makeFile(QStringLiteral("masked.less"));
    const QByteArray encoded = QFile::encodeName(path);
    m_queue->addPathToQueue(path, mask);

    switch (change) {
    case Change::Chmod:
        QVERIFY(QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner));
        break;
    case Change::Append: {
        QFile file(path);
        QVERIFY(file.open(QIODevice::Append));
        QVERIFY(file.write(" and more") > 0);
        break;
    }
    case Change::AddHardLink:
        QCOMPARE(::link(encoded.constData(), QFile::encodeName(path + QStringLiteral(".link")).constData()), 0);
        break;
    case Change::RenameAway:
        EditorSave::rename(path, path + QStringLiteral(".moved"));
        break;
    }
    QVERIFY(flush());
    QCOMPARE(takeNamesFor(path), expected);
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

    const QString path = makeFile(QStringLiteral("routed.less"));
    QStringList calls;
    QObject observer;
    NotificationCenter::workspaceCenter()->addObserver(&observer, {Written}, [&](const Notification &posted) {
        if (posted.userInfo.value(QStringLiteral("path")).toString() != path)
            return;
        QCOMPARE(posted.sender, m_queue.get());
        QCOMPARE(QThread::currentThread(), QCoreApplication::instance()->thread());
        calls.append(QStringLiteral("workspace"));
    });
    m_delegate.onEvent = [&](const QString &, const QString &eventPath) {
        if (eventPath == path)
            calls.append(QStringLiteral("delegate"));
    };
    m_queue->setAlwaysNotify(alwaysNotify);
    m_queue->setDelegate(hasDelegate ? &m_delegate : nullptr);
    m_queue->addPath(path);

    EditorSave::writeInPlace(path, "routed");
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

    const QString path = makeFile(QStringLiteral("flooded.less"));
    m_queue->addPath(path);
    bool flooded = false;
    // The watcher thread waits for this call, so nothing is read meanwhile:
    // a create and a close for each file fill the queue, and the save after
    // them is lost.
    m_delegate.onEvent = [&](const QString &, const QString &eventPath) {
        if (eventPath != path || flooded)
            return;
        flooded = true;
        for (int i = 0; i < maxQueuedEvents / 2 + 1000; ++i)
            EditorSave::createFile(QDir(m_folder).filePath(QStringLiteral("flood%1.css").arg(i)), {});
        EditorSave::writeInPlace(path, "saved while flooded");
    };
    QTest::ignoreMessage(QtWarningMsg, "UKKQueue: the inotify queue overflowed and events were lost; "
                                       "rescanning every watched path.");
    EditorSave::writeInPlace(path, "first save");
    // The rescan may report the marker before this path, so wait for the path itself.
    QTRY_VERIFY_WITH_TIMEOUT(std::any_of(m_delegate.events.cbegin(), m_delegate.events.cend(),
                                         [&](const Event &event) {
                                             return event.path == path && event.content == "saved while flooded";
                                         }),
                             Timeout);
    QVERIFY(flush());
    const QList<Event> events = takeEventsFor(path);
    QCOMPARE(events.size(), 2);
    QCOMPARE(events.last().name, Written);
    QCOMPARE(events.last().content, QByteArray("saved while flooded"));
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

    const QString path = makeFile(QStringLiteral("stopping.less"));
    m_queue->addPath(path);
    QVERIFY(flush());
    m_delegate.events.clear();
    if (deliveryPending) {
        EditorSave::writeInPlace(path, "pending");
        // Without the GUI thread taking deliveries, the watcher thread blocks on this one.
        QThread::msleep(200);
    }
    QElapsedTimer stopping;
    stopping.start();
    m_queue.reset();
    QCOMPARE_LT(stopping.elapsed(), 5000);
    QVERIFY(m_delegate.events.isEmpty());
}

void TestUKKQueue::description()
{
    const QString path = makeFile(QStringLiteral("described.less"));
    m_queue->addPath(path);
    m_queue->setAlwaysNotify(true);
    QCOMPARE(m_queue->description(),
             QStringLiteral("UKKQueue { watchedPaths = (\"%1\", \"%2\"), alwaysNotify = YES }").arg(m_marker, path));
}

QTEST_GUILESS_MAIN(TestUKKQueue)
#include "TestUKKQueue.moc"
