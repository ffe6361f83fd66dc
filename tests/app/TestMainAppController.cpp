#include "ControllerTest.h"

using namespace AppTestSupport;

class TestMainAppController : public ControllerTest
{
    Q_OBJECT

private Q_SLOTS:
    void toggleDecidesAutoCompileButNotCompileAll();
};

void TestMainAppController::toggleDecidesAutoCompileButNotCompileAll()
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

QTEST_MAIN(TestMainAppController)
#include "TestMainAppController.moc"
