#include "engine/FolderTreeWatcher.h"

#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr int Timeout = 5000;

void touch(const QString &path)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
}

// What the watcher reported after action, once the batch it caused is delivered.
FolderTreeWatcher::Changes batchAfter(FolderTreeWatcher &watcher, const std::function<void()> &action)
{
    QSignalSpy changed(&watcher, &FolderTreeWatcher::changed);
    action();
    if (!changed.wait(Timeout))
        return {};
    return changed.constFirst().constFirst().value<FolderTreeWatcher::Changes>();
}

} // namespace

Q_DECLARE_METATYPE(FolderTreeWatcher::Changes)

class TestFolderTreeWatcher : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_folder = std::make_unique<QTemporaryDir>();
        m_root = m_folder->filePath(QStringLiteral("root"));
        QVERIFY(QDir().mkpath(m_root + QStringLiteral("/sub")));
        for (const char *skipped : {"/node_modules/pkg", "/.git", "/sub/bower_components"})
            QVERIFY(QDir().mkpath(m_root + QLatin1String(skipped)));
        touch(m_root + QStringLiteral("/sub/old.less"));
        m_watcher = std::make_unique<FolderTreeWatcher>();
        m_watcher->watchRoot(m_root);
    }

    void skippedFoldersAreNotWatched()
    {
        QStringList watched = m_watcher->watchedFolders();
        watched.sort();
        QCOMPARE(watched, (QStringList{m_root, m_root + QStringLiteral("/sub")}));
        QSignalSpy changed(m_watcher.get(), &FolderTreeWatcher::changed);
        touch(m_root + QStringLiteral("/node_modules/pkg/theirs.less"));
        touch(m_root + QStringLiteral("/sub/notes.txt"));
        QVERIFY(!changed.wait(5 * FolderTreeWatcher::QuietMs));
    }

    void changesArriveInBatches()
    {
        const QString sub = m_root + QStringLiteral("/sub");
        QCOMPARE(batchAfter(*m_watcher, [&] { touch(sub + QStringLiteral("/new.less")); }).created,
                 QStringList{sub + QStringLiteral("/new.less")});

        // Renamed within, renamed out of sight (no longer LESS), deleted.
        FolderTreeWatcher::Changes changes = batchAfter(*m_watcher, [&] {
            QVERIFY(QFile::rename(sub + QStringLiteral("/new.less"), m_root + QStringLiteral("/moved.less")));
            QVERIFY(QFile::rename(sub + QStringLiteral("/old.less"), sub + QStringLiteral("/old.less.bak")));
        });
        QCOMPARE(changes.moved, (QList<FolderTreeWatcher::Move>{
                                    {sub + QStringLiteral("/new.less"), m_root + QStringLiteral("/moved.less")}}));
        QCOMPARE(changes.removed, QStringList{sub + QStringLiteral("/old.less")});

        // A tree moved in is watched at once: a file written into its deepest
        // folder right after is seen.
        const QString outside = m_folder->filePath(QStringLiteral("outside"));
        QVERIFY(QDir().mkpath(outside + QStringLiteral("/a/b/c")));
        touch(outside + QStringLiteral("/a/b/c/deep.less"));
        changes = batchAfter(*m_watcher, [&] {
            QVERIFY(QDir().rename(outside + QStringLiteral("/a"), m_root + QStringLiteral("/a")));
            touch(m_root + QStringLiteral("/a/b/c/written-after.less"));
        });
        QVERIFY(changes.created.contains(m_root + QStringLiteral("/a/b/c/deep.less")));
        QVERIFY(changes.created.contains(m_root + QStringLiteral("/a/b/c/written-after.less")));

        // A folder moved within keeps its watches under its new name.
        changes = batchAfter(*m_watcher, [&] {
            QVERIFY(QDir().rename(m_root + QStringLiteral("/a"), sub + QStringLiteral("/a")));
        });
        QCOMPARE(changes.moved, (QList<FolderTreeWatcher::Move>{{m_root + QStringLiteral("/a"), sub + QStringLiteral("/a")}}));
        QCOMPARE(batchAfter(*m_watcher, [&] { touch(sub + QStringLiteral("/a/b/later.less")); }).created,
                 QStringList{sub + QStringLiteral("/a/b/later.less")});
    }

    void aRootThatGoesAwayIsWaitedFor()
    {
        QSignalSpy missing(m_watcher.get(), &FolderTreeWatcher::rootMissing);
        QSignalSpy returned(m_watcher.get(), &FolderTreeWatcher::rootReturned);
        QVERIFY(QDir(m_root).removeRecursively());
        QVERIFY(missing.wait(Timeout));
        QVERIFY(m_watcher->isMissing(m_root));
        // Its parent too: the watcher waits further up.
        QVERIFY(QDir().rename(m_folder->path(), m_folder->path() + QStringLiteral(".away")));
        QVERIFY(QDir().mkpath(m_root + QStringLiteral("/sub")));
        QVERIFY(QDir(m_folder->path() + QStringLiteral(".away")).removeRecursively());
        QVERIFY(returned.wait(Timeout));
        QVERIFY(!m_watcher->isMissing(m_root));
        QCOMPARE(batchAfter(*m_watcher, [&] { touch(m_root + QStringLiteral("/sub/back.less")); }).created,
                 QStringList{m_root + QStringLiteral("/sub/back.less")});
    }

    // More events than the kernel queues while nothing reads them.
    void lostEventsAreSaid()
    {
        QSignalSpy lost(m_watcher.get(), &FolderTreeWatcher::eventsLost);
        const QByteArray flood = QFile::encodeName(m_root + QStringLiteral("/flood.less"));
        for (int round = 0; round < 20000; ++round) {
            close(open(flood.constData(), O_CREAT | O_WRONLY, 0644));
            unlink(flood.constData());
        }
        QVERIFY(lost.wait(Timeout));
    }

private:
    std::unique_ptr<QTemporaryDir> m_folder;
    QString m_root;
    std::unique_ptr<FolderTreeWatcher> m_watcher;
};

QTEST_GUILESS_MAIN(TestFolderTreeWatcher)
#include "TestFolderTreeWatcher.moc"
