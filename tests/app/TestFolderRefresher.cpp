#include "ControllerTest.h"
#include "app/FolderRefresher.h"

#include <QSignalSpy>

using namespace AppTestSupport;

class TestFolderRefresher : public ControllerTest
{
    Q_OBJECT

private Q_SLOTS:
    void refreshFollowsTheDisk()
    {
        for (const char *file : {"/p/less/keep.less", "/p/less/gone.less", "/p/less/moved.less", "/q/q.less"})
            writeFile(m_root->path() + QLatin1String(file), "a { b: c; }\n");
        for (const char *folder : {"/p/out", "/p/built"})
            QVERIFY(QDir().mkpath(m_root->path() + QLatin1String(folder)));
        watch(resolved("@/p"));
        watch(resolved("@/q"));
        LessHolder *keep = record("@/p/less/keep.less");
        keep->setCSSFileOutputPath(resolved("@/p/out"));
        keep->setCheckboxState(false);
        keep->setShouldCompressCSSOutput(true);
        record("@/p/less/moved.less")->setCSSFileOutputPath(resolved("@/p/built"));

        QVERIFY(QFile::remove(resolved("@/p/less/gone.less")));
        writeFile(resolved("@/p/less/new.less"), "@import 'keep';\n");
        QVERIFY(QDir(resolved("@/p/built")).removeRecursively());
        QVERIFY(QDir().rename(resolved("@/q"), resolved("@/q-renamed")));
        QSignalSpy finished(m_controller->folderRefresher(), &FolderRefresher::refreshFinished);
        m_controller->refreshWatchedFolders();
        QVERIFY(waitUntilIdle(*m_controller));

        QCOMPARE(finished, QList<QList<QVariant>>{{true}});
        // The renamed folder waits, missing, with its files.
        QCOMPARE(m_controller->appModel()->getAllRegisteredPaths(), resolved(QStringList{"@/p", "@/q"}));
        QVERIFY(m_controller->appModel()->pathData().at(1)->isMissing());
        QCOMPARE(sorted(m_controller->appModel()->getAllLessFilesAndIncludeIgnoredOnes(true)),
                 resolved(QStringList{"@/p/less/keep.less", "@/p/less/moved.less", "@/p/less/new.less", "@/q/q.less"}));
        keep = record("@/p/less/keep.less");
        QCOMPARE(keep->targetCSSFileFullPath(), resolved("@/p/out/keep.css"));
        QVERIFY(!keep->checkboxState() && keep->shouldCompressCSSOutput());
        QCOMPARE(keep->linkedFilesToCompile(), QStringList{resolved("@/p/less/new.less")});
        QCOMPARE(record("@/p/less/moved.less")->targetCSSFileFullPath(), resolved("@/p/less/moved.css"));
        QVERIFY(record("@/p/less/new.less")->checkboxState());

        QVERIFY(waitUntilWatched({resolved("@/p/less/new.less")}));
        QVERIFY(!engineWatches().contains(resolved("@/p/less/gone.less")));
        QVERIFY(engineWatches().contains(resolved("@/q/q.less")));

        // Overlapping refreshes both see a new file before either adds it.
        writeFile(resolved("@/p/extra.less"), "a { b: c; }\n");
        m_controller->folderRefresher()->fireAutoRefresh();
        m_controller->folderRefresher()->fireAutoRefresh();
        QVERIFY(waitUntilIdle(*m_controller));
        QCOMPARE(m_controller->appModel()->getAllLessFilesAndIncludeIgnoredOnes(true).size(), 5);
    }
};

QTEST_MAIN(TestFolderRefresher)
#include "TestFolderRefresher.moc"
