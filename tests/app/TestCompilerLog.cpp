#include "ControllerTest.h"
#include "support/PathUtils.h"

#include <sys/stat.h>

using namespace AppTestSupport;

class TestCompilerLog : public ControllerTest
{
    Q_OBJECT

private Q_SLOTS:
    void compileResultsEnterTheLog()
    {
        QTemporaryDir site(QDir::homePath() + QStringLiteral("/site-XXXXXX"));
        const QString less = site.filePath(QStringLiteral("less"));
        writeFile(less + "/variables.less", "@c: #123;\n");
        writeFile(less + "/main.less", "@import 'variables';\n.m() { b: c; }\na { color: @c; .m; }\n");
        writeFile(less + "/broken.less", "a { color: red; }\n");
        m_controller->beginValidatingPath(site.path());
        QVERIFY(waitUntilIdle(*m_controller));
        QVERIFY(waitUntilWatched(m_controller->appModel()->getAllLessFilesAndIncludeIgnoredOnes(true)));
        m_controller->setJAutoCompileEnabled(true);
        m_controller->setActiveTabViewIndex(0);

        const QList<CompilerResultHolder> &log = m_controller->appModel()->compilerResultData();
        // The partial compiles only inside the file that imports it.
        writeFile(less + "/variables.less", "@c: #456;\n");
        QTRY_COMPARE_WITH_TIMEOUT(log.size(), 1, Timeout);
        QCOMPARE(log.at(0).file(), PathUtils::abbreviateWithTilde(less + "/main.less"));
        QVERIFY(log.at(0).file().startsWith(QStringLiteral("~/site-")));
        const QList<StyledText::Run> importer = log.at(0).result().runs();
        // A success leaves the user where they are; the compiler's warning follows it in its own colour.
        QCOMPARE(importer.size(), 3);
        QCOMPARE(importer.at(0).color, (RgbaColor{0, 0.573, 0, 1}));
        QCOMPARE(importer.at(1).text, QStringLiteral("  [Triggered by: variables.less]"));
        QCOMPARE(importer.at(1).color, StyledText::Grey);
        QVERIFY(importer.at(2).text.startsWith(QStringLiteral("\nDEPRECATED WARNING")));
        QVERIFY(importer.at(2).color != importer.at(0).color && importer.at(2).color != StyledText::Red);
        QVERIFY(readFile(less + "/main.css").contains("#456"));
        QCOMPARE(m_controller->activeTabViewIndex(), 0);

        writeFile(less + "/broken.less", "a { color: @missing; }\n");
        QTRY_COMPARE_WITH_TIMEOUT(log.size(), 2, Timeout);
        const StyledText error = log.constLast().result();
        QCOMPARE(error.runs().constFirst().color, StyledText::Red);
        QVERIFY2(error.plainText().contains(QStringLiteral("@missing")), qPrintable(error.plainText()));
        QCOMPARE(m_controller->activeTabViewIndex(), MainAppController::CompilerLogTab);
    }

    // A folder's new names go into one red entry, each name once per run; the
    // files are left out of the project.
    void namesThatAreNotUtf8AreReportedOnce()
    {
        const QByteArray site = QFile::encodeName(resolved("@/site"));
        writeFile(resolved("@/site/a.less"), "a { b: c; }\n");
        writeFileNamed(site + "/bad\xff.less", "");
        QVERIFY(::mkdir(QByteArray(site + "/sub\xfe").constData(), 0755) == 0);
        writeFileNamed(site + "/sub\xfe/c.less", "");
        m_controller->beginValidatingPath(resolved("@/site"));
        QVERIFY(waitUntilIdle(*m_controller));
        m_controller->refreshWatchedFolders();
        QVERIFY(waitUntilIdle(*m_controller));
        writeFileNamed(site + "/new\xff.less", "");
        m_controller->refreshWatchedFolders();
        QVERIFY(waitUntilIdle(*m_controller));

        QCOMPARE(m_controller->appModel()->getAllLessFilesAndIncludeIgnoredOnes(true), QStringList{resolved("@/site/a.less")});
        const QList<CompilerResultHolder> &log = m_controller->appModel()->compilerResultData();
        QCOMPARE(log.size(), 2);
        const QList<QStringList> reported{{R"(bad\xFF.less)", R"(sub\xFE/c.less)"}, {R"(new\xFF.less)"}};
        for (int entry = 0; entry < 2; ++entry) {
            QStringList lines = log.at(entry).result().plainText().split(u'\n');
            QCOMPARE(lines.takeFirst(), QStringLiteral("Cascader cannot compile these LESS files: their names, or the "
                                                       "names of their folders, are not valid UTF-8. Rename them to "
                                                       "compile them:"));
            QCOMPARE(sorted(lines), reported.at(entry));
            QCOMPARE(log.at(entry).file(), PathUtils::abbreviateWithTilde(resolved("@/site")));
            QCOMPARE(log.at(entry).result().runs().constFirst().color, StyledText::Red);
        }
    }
};

QTEST_MAIN(TestCompilerLog)
#include "TestCompilerLog.moc"
