#include "ControllerTest.h"
#include "app/LiveFolders.h"

#include <QSignalSpy>

using namespace AppTestSupport;

class TestLiveFolders : public ControllerTest
{
    Q_OBJECT

private Q_SLOTS:
    void filesFollowTheDisk()
    {
        for (const char *file : {"/p/less/custom.less", "/p/less/beside.less"})
            writeFile(m_root->path() + QLatin1String(file), "a { b: c; }\n");
        QVERIFY(QDir().mkpath(resolved("@/p/out")));
        watch(resolved("@/p"));
        m_controller->setJAutoCompileEnabled(true);
        record("@/p/less/custom.less")->setCSSFileOutputPath(resolved("@/p/out"));
        record("@/p/less/custom.less")->chooseCheckboxState(false);

        // Created, then compiled on its first save without a refresh.
        writeFile(resolved("@/p/less/new.less"), "");
        QVERIFY(waitUntilWatched({resolved("@/p/less/new.less")}));
        writeFile(resolved("@/p/less/new.less"), "a { color: red; }\n");
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(resolved("@/p/less/new.css")), Timeout);

        // Renamed: the settings stay, and a CSS file beside it follows it.
        QVERIFY(QFile::rename(resolved("@/p/less/custom.less"), resolved("@/p/less/renamed.less")));
        QVERIFY(QDir().mkpath(resolved("@/p/less/sub")));
        QVERIFY(QFile::rename(resolved("@/p/less/beside.less"), resolved("@/p/less/sub/beside.less")));
        QTRY_VERIFY_WITH_TIMEOUT(record("@/p/less/sub/beside.less") && record("@/p/less/renamed.less"), Timeout);
        QVERIFY(!record("@/p/less/custom.less"));
        QVERIFY(!record("@/p/less/renamed.less")->checkboxState());
        QCOMPARE(record("@/p/less/renamed.less")->targetCSSFileFullPath(), resolved("@/p/out/custom.css"));
        QCOMPARE(record("@/p/less/sub/beside.less")->targetCSSFileFullPath(), resolved("@/p/less/sub/beside.css"));
        QVERIFY(waitUntilWatched({resolved("@/p/less/renamed.less")}));
        QVERIFY(!engineWatches().contains(resolved("@/p/less/custom.less")));

        QVERIFY(QFile::remove(resolved("@/p/less/renamed.less")));
        QTRY_VERIFY_WITH_TIMEOUT(!record("@/p/less/renamed.less"), Timeout);
    }

    void aFolderThatGoesAwayWaitsWithItsSettings()
    {
        writeFile(resolved("@/q/x.less"), "a { b: c; }\n");
        watch(resolved("@/q"));
        record("@/q/x.less")->chooseCheckboxState(false);
        const PathHolder *folder = m_controller->appModel()->pathData().front().get();

        QVERIFY(QDir().rename(resolved("@/q"), resolved("@/q-away")));
        QTRY_VERIFY_WITH_TIMEOUT(folder->isMissing(), Timeout);
        QVERIFY(record("@/q/x.less"));
        QVERIFY(QDir().rename(resolved("@/q-away"), resolved("@/q")));
        QTRY_VERIFY_WITH_TIMEOUT(!folder->isMissing(), Timeout);
        QVERIFY(waitUntilIdle(*m_controller));
        QVERIFY(!record("@/q/x.less")->checkboxState());
        QCOMPARE(m_controller->appModel()->getAllRegisteredPaths(), QStringList{resolved("@/q")});
    }

    void aBurstIsOneUpdateOfTheList()
    {
        constexpr int Files = 2000;
        QVERIFY(QDir().mkpath(resolved("@/r")));
        watch(resolved("@/r"));
        QSignalSpy inserted(m_controller->appModel(), &LessModel::lessFilesInserted);
        for (int file = 0; file < Files; ++file)
            writeFile(resolved(QStringLiteral("@/r/f%1.less").arg(file)), "");
        QTRY_COMPARE_WITH_TIMEOUT(m_controller->appModel()->getAllLessFilesAndIncludeIgnoredOnes(true).size(), Files,
                                  Timeout);
        QCOMPARE(inserted.size(), 1);
    }
};

QTEST_MAIN(TestLiveFolders)
#include "TestLiveFolders.moc"
