#include "ControllerTest.h"

#include <QSignalSpy>

using namespace AppTestSupport;

namespace {

const QString TooBroad = QStringLiteral("Select a More Specific Path: We search every folder in the path");
const QString Inside = QStringLiteral("part of a folder we're already watching: %1  \n");

} // namespace

class TestFolderAdder : public ControllerTest
{
    Q_OBJECT

private Q_SLOTS:
    void validation_data()
    {
        QTest::addColumn<QStringList>("watched");
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("sheet");
        QTest::addColumn<QStringList>("foldersAfter");

        const QStringList none, site{"@/site"};
        QTest::newRow("home") << none << "~" << TooBroad << none;
        QTest::newRow("home's Videos") << none << "~/Videos" << TooBroad << none;
        QTest::newRow("home's Desktop") << none << "~/Desktop" << QString() << QStringList{"~/Desktop"};
        QTest::newRow("LESS file") << none << "~/Documents/a.less" << QString() << QStringList{"~/Documents"};
        // A folder in the project already is no error: nothing happens.
        QTest::newRow("same folder") << site << "@/site" << QString() << site;
        QTest::newRow("inside") << site << "@/site/less/deep" << Inside.arg("@/site") << site;
        QTest::newRow("LESS file inside") << site << "@/site/less/main.less" << Inside.arg("@/site") << site;
        QTest::newRow("ancestor test keeps case") << QStringList{"@/A/b"} << "@/a/b/c" << QString()
                                                  << QStringList{"@/A/b", "@/a/b/c"};
        QTest::newRow("absorbs by path components") << QStringList{"@/a/b/c", "@/a/bc", "@/other"} << "@/a/b"
                                                    << QString() << QStringList{"@/a/bc", "@/other", "@/a/b"};
        QTest::newRow("another case is another folder") << QStringList{"@/A/B/C"} << "@/a/b" << QString()
                                                        << QStringList{"@/A/B/C", "@/a/b"};
        QTest::newRow("trailing slash and ..") << site << "@/site/less/../" << QString() << site;
        QTest::newRow("too broad with a trailing slash") << none << "~/" << TooBroad << none;
    }

    void validation()
    {
        QFETCH(QStringList, watched);
        QFETCH(QString, path);
        QFETCH(QString, sheet);
        QFETCH(QStringList, foldersAfter);

        for (const QString &folder : resolved(watched))
            m_controller->appModel()->addNewPathToModel(folder, {});
        StandardErrorCapture standardError;
        m_controller->beginValidatingPath(resolved(path));
        QVERIFY(waitUntilIdle(*m_controller));

        const QString shown = standardError.text();
        QVERIFY2(sheet.isEmpty() ? !shown.contains("Path Already Included") && !shown.contains(TooBroad)
                                 : shown.contains(resolved(sheet)), qPrintable(shown));
        // Advice names this system's places and this application.
        QVERIFY2(!shown.contains("/Users/") && !shown.contains(".app"), qPrintable(shown));
        QCOMPARE(m_controller->appModel()->getAllRegisteredPaths(), resolved(foldersAfter));
    }

    // Absorbed folders come back as fresh records; /a/site2 is not under /a/site,
    // and folders are where they are on disk.
    void absorbedFoldersComeBackAsFreshRecords()
    {
        for (const char *file : {"/a/site/x.less", "/a/site/sub/y.less", "/a/site2/z.less"})
            writeFile(m_root->path() + QLatin1String(file), "a { b: c; }\n");
        watch(resolved("@/a/site/sub"));
        watch(resolved("@/a/site2"));
        record("@/a/site/sub/y.less")->setCheckboxState(false);
        record("@/a/site/sub/y.less")->setCSSFileOutputPath(resolved("@/elsewhere"));

        m_controller->beginValidatingPath(resolved("@/a/site"));
        QVERIFY(waitUntilIdle(*m_controller));

        LessModel *model = m_controller->appModel();
        QCOMPARE(model->getAllRegisteredPaths(), resolved(QStringList{"@/a/site2", "@/a/site"}));
        QCOMPARE(sorted(model->getAllLessFilesAndIncludeIgnoredOnes(true)),
                 resolved(QStringList{"@/a/site/sub/y.less", "@/a/site/x.less", "@/a/site2/z.less"}));
        QVERIFY(record("@/a/site/sub/y.less")->checkboxState());
        QCOMPARE(record("@/a/site/sub/y.less")->targetCSSFileFullPath(), resolved("@/a/site/sub/y.css"));
        QVERIFY(waitUntilWatched(resolved(QStringList{"@/a/site/x.less", "@/a/site/sub/y.less"})));
        QVERIFY(engineWatches().contains(resolved("@/a/site2/z.less")));

        // A link into a watched folder is inside it; a link to a folder above a
        // watched one takes that one in.
        QVERIFY(QFile::link(resolved("@/a/site/sub"), resolved("@/into-site")));
        QVERIFY(QFile::link(resolved("@/a"), resolved("@/above")));
        StandardErrorCapture standardError;
        m_controller->beginValidatingPath(resolved("@/into-site"));
        m_controller->beginValidatingPath(resolved("@/above"));
        QVERIFY(waitUntilIdle(*m_controller));
        QVERIFY2(standardError.text().contains(Inside.arg(resolved("@/a/site"))), qPrintable(standardError.text()));
        QCOMPARE(model->getAllRegisteredPaths(), resolved(QStringList{"@/above"}));
    }

    // Two drops at once: the second add's checks see the first folder.
    void addsAtTheSameMomentSeeEachOther()
    {
        for (const char *file : {"/p/a.less", "/p/sub/b.less"})
            writeFile(m_root->path() + QLatin1String(file), "a { b: c; }\n");
        m_controller->beginValidatingPath(resolved("@/p/sub"));
        m_controller->beginValidatingPath(resolved("@/p"));
        m_controller->beginValidatingPath(resolved("@/p/sub"));
        QVERIFY(waitUntilIdle(*m_controller));
        QCOMPARE(m_controller->appModel()->getAllRegisteredPaths(), QStringList{resolved("@/p")});
        QCOMPARE(sorted(m_controller->appModel()->getAllLessFilesAndIncludeIgnoredOnes(true)),
                 resolved(QStringList{"@/p/a.less", "@/p/sub/b.less"}));
    }

    void addingAFolderShowsEachStepInTurn_data()
    {
        QTest::addColumn<bool>("autoSetCSSPaths");
        QTest::addColumn<QStringList>("messages");

        QTest::newRow("CSS paths as they are")
            << false << QStringList{"Validating Path...", "Looking for LESS Files...", "Linking Imported Files"};
        QTest::newRow("CSS paths set automatically")
            << true << QStringList{"Validating Path...", "Looking for LESS Files...", "Setting CSS Paths..."};
    }

    void addingAFolderShowsEachStepInTurn()
    {
        QFETCH(bool, autoSetCSSPaths);
        QFETCH(QStringList, messages);

        UserDefaults::standardUserDefaults()->setBool(autoSetCSSPaths, UserDefaultsKeys::AutoSetCustomCSSPaths);
        writeFile(resolved("@/site/less/a.less"), "a { b: c; }\n");
        QSignalSpy started(m_controller.get(), &MainAppController::spinnerStarted);
        QSignalSpy enabled(m_controller.get(), &MainAppController::jEnableUIElementsChanged);
        m_controller->beginValidatingPath(resolved("@/site"));
        QVERIFY(!m_controller->jEnableUIElements());
        QVERIFY(waitUntilIdle(*m_controller) && m_controller->jEnableUIElements());
        QCOMPARE(enabled.size(), 2 * messages.size());

        QCOMPARE(started, (QList<QList<QVariant>>{{messages[0]}, {messages[1]}, {messages[2]}}));
        QVERIFY(waitUntilWatched({resolved("@/site/less/a.less")}));
    }
};

QTEST_MAIN(TestFolderAdder)
#include "TestFolderAdder.moc"
