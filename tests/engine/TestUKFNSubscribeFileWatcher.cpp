#include "engine/UKFNSubscribeFileWatcher.h"
#include "engine/UKFileWatcherDelegate.h"
#include "support/NotificationCenter.h"

#include <QDir>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

// Records workspace posts and delegate calls in one list, in the order they happen.
class Recorder : public QObject, public UKFileWatcherDelegate
{
public:
    Recorder()
    {
        NotificationCenter::workspaceCenter()->addObserver(this, {}, [this](const Notification &posted) {
            events.append("posted " + posted.name + ' ' + posted.userInfo.value("path").toString());
        });
    }

    void watcher(UKFileWatcher *, const QString &notification, const QString &path) override
    {
        events.append("delegate " + notification + ' ' + path);
    }

    QStringList events;
};

class TestUKFNSubscribeFileWatcher : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        QTest::failOnWarning(QRegularExpression(".*"));
        QVERIFY(QDir(m_root.path()).removeRecursively() && QDir().mkpath(m_root.filePath("less/marker")));
        m_folder = m_root.filePath("less");
        m_watcher = std::make_unique<UKFNSubscribeFileWatcher>();
        m_watcher->setDelegate(&m_recorder);
        m_watcher->addPath(m_folder);
        m_watcher->addPath(m_folder + "/marker");
        run("echo 'a {}' > existing.less");
        m_recorder.events.clear();
    }

    void changesReportAsWrites_data()
    {
        QTest::addColumn<QString>("command");

        QTest::newRow("file created") << "echo 'b {}' > new.less";
        QTest::newRow("file written") << "echo 'b {}' >> existing.less";
        QTest::newRow("file deleted") << "rm existing.less";
        QTest::newRow("file renamed") << "mv existing.less renamed.less";
        QTest::newRow("mode changed") << "chmod 400 existing.less";
        QTest::newRow("folder made") << "mkdir partials";
    }

    void changesReportAsWrites()
    {
        QFETCH(QString, command);
        run(command);
        const QStringList events = takeEventsFor(m_folder);
        QVERIFY(!events.isEmpty());
        const QString written = " UKKQueueFileWrittenToNotification " + m_folder;
        for (qsizetype i = 0; i < events.size(); ++i)
            QCOMPARE(events.at(i), (i % 2 ? "delegate" : "posted") + written);
    }

    void failedAdd_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("command");
        QTest::addColumn<int>("error");

        QTest::newRow("missing") << "missing" << "mkdir missing && touch missing/a.less" << ENOENT;
        QTest::newRow("not a folder") << "existing.less" << "echo 'b {}' >> existing.less" << ENOTDIR;
    }

    void failedAdd()
    {
        QFETCH(QString, name);
        QFETCH(QString, command);
        QFETCH(int, error);

        const QString path = m_folder + '/' + name;
        const QString message = "UKFNSubscribeFileWatcher addPath: %1 failed due to error ID=%2.";
        QTest::ignoreMessage(QtWarningMsg, qPrintable(message.arg(path).arg(error)));
        m_watcher->addPath(path);
        run(command);
        QCOMPARE(takeEventsFor(path), QStringList());
    }

    void removePath()
    {
        // A second path to the same folder shares its inotify watch.
        const QString link = m_root.filePath("link");
        QVERIFY(QFile::link(m_folder, link));
        m_watcher->addPath(link);
        m_watcher->removePath(link);
        m_watcher->removePath(m_root.filePath("never added"));
        run("touch a.less");
        QVERIFY(!takeEventsFor(m_folder).isEmpty());

        m_watcher->removePath(m_folder);
        run("touch b.less");
        QCOMPARE(takeEventsFor(m_folder), QStringList());
    }

private:
    // Runs command in the watched folder, then waits for a change of the marker
    // folder: events come in order, so all those of command are in by then.
    void run(const QString &command)
    {
        QCOMPARE(QProcess::execute("sh", {"-c", "cd \"$0\" && " + command + " && touch marker/done", m_folder}), 0);
        QTRY_VERIFY(!m_recorder.events.filter("/marker").isEmpty());
        takeEventsFor(m_folder + "/marker");
    }

    QStringList takeEventsFor(const QString &path)
    {
        const QStringList events =
            m_recorder.events.filter(QRegularExpression(' ' + QRegularExpression::escape(path) + '$'));
        m_recorder.events.removeIf([&](const QString &event) { return events.contains(event); });
        return events;
    }

    QTemporaryDir m_root;
    QString m_folder;
    Recorder m_recorder;
    std::unique_ptr<UKFNSubscribeFileWatcher> m_watcher;
};

QTEST_GUILESS_MAIN(TestUKFNSubscribeFileWatcher)
#include "TestUKFNSubscribeFileWatcher.moc"
