#include "ControllerTest.h"
#include "support/PathUtils.h"

using namespace AppTestSupport;

class TestMainAppController : public ControllerTest
{
    Q_OBJECT

private Q_SLOTS:
    void toggleDecidesAutoCompileButNotCompileAll()
    {
        writeFile(resolved("@/site/on.less"), "a { b: c; }\n");
        writeFile(resolved("@/site/off.less"), "a { b: c; }\n");
        watch(resolved("@/site"));
        record("@/site/off.less")->setCheckboxState(false);
        const auto compiles = [this](const char *file) { // looked up ignoring case
            return m_controller->compilingSettingsForLESSFileAtPath(resolved(file).toUpper())
                .value(ZRMCompilingSettingsKey::ShouldAutoCompile).toBool();
        };

        m_controller->toggleAutoCompile();
        QVERIFY(compiles("@/site/on.less") && !compiles("@/site/off.less"));
        m_controller->toggleAutoCompile();
        QVERIFY(!compiles("@/site/on.less"));
        QVERIFY(m_controller->compilingSettingsForLESSFileAtPath(resolved("@/site/new.less")).isEmpty());

        const QList<CompilerResultHolder> &log = m_controller->appModel()->compilerResultData();
        QCOMPARE(log.size(), 2);
        const auto grey = [](const char *text) {
            return StyledText(QString::fromLatin1(text), StyledText::Grey);
        };
        QCOMPARE(log.at(0).result(), grey("Auto-compile is now enabled."));
        QCOMPARE(log.at(1).result(), grey("Auto-compile is now disabled."));
        QCOMPARE(log.at(1).file(), QStringLiteral("..."));

        // Compiling all ignores the switch but not the check mark.
        m_controller->compileAllFiles();
        QVERIFY(waitUntilIdle(*m_controller));
        QCOMPARE(log.size(), 3);
        QVERIFY(QFileInfo::exists(resolved("@/site/on.css")));
        QVERIFY(!QFileInfo::exists(resolved("@/site/off.css")));
    }

    // Two imports deep, outside the project, and an import added while running.
    void savesReachEveryFileThatReadsThem()
    {
        writeFile(resolved("@/lib/shared.less"), "@c: #123;\n");
        writeFile(resolved("@/site/parts/colors.less"), "@import '../../lib/shared.less';\n");
        writeFile(resolved("@/site/main.less"), "@import 'parts/colors';\na { color: @c; }\n");
        writeFile(resolved("@/site/late.less"), "b { c: d; }\n");
        m_controller->beginValidatingPath(resolved("@/site"));
        QVERIFY(waitUntilIdle(*m_controller));
        QVERIFY(!record("@/site/parts/colors.less")->checkboxState());
        QVERIFY(waitUntilWatched(resolved(QStringList{"@/lib/shared.less", "@/site/main.less", "@/site/late.less"})));
        m_controller->setJAutoCompileEnabled(true);

        const QList<CompilerResultHolder> &log = m_controller->appModel()->compilerResultData();
        writeFile(resolved("@/lib/shared.less"), "@c: #456;\n");
        QTRY_COMPARE_WITH_TIMEOUT(log.size(), 1, Timeout);
        QCOMPARE(log.at(0).result().plainText(), "Success!  [Triggered by: shared.less]");
        QVERIFY(readFile(resolved("@/site/main.css")).contains("#456"));

        writeFile(resolved("@/site/late.less"), "@import 'parts/colors';\nb { color: @c; }\n");
        QTRY_COMPARE_WITH_TIMEOUT(log.size(), 2, Timeout);
        writeFile(resolved("@/site/parts/colors.less"), "@import '../../lib/shared.less';\n@d: 1;\n");
        QTRY_COMPARE_WITH_TIMEOUT(log.size(), 4, Timeout);
        QStringList triggered{log.at(2).file(), log.at(3).file()};
        triggered.sort();
        QCOMPARE(triggered, (QStringList{PathUtils::abbreviateWithTilde(resolved("@/site/late.less")),
                                         PathUtils::abbreviateWithTilde(resolved("@/site/main.less"))}));
    }
};

QTEST_MAIN(TestMainAppController)
#include "TestMainAppController.moc"
