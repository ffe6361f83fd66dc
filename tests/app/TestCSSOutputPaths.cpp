#include "ControllerTest.h"
#include "app/CSSOutputPaths.h"

using namespace AppTestSupport;

class TestCSSOutputPaths : public ControllerTest
{
    Q_OBJECT

private Q_SLOTS:
    void automaticCSSPaths_data()
    {
        QTest::addColumn<QString>("target");
        QTest::addColumn<bool>("cssFolderExists");
        QTest::addColumn<QString>("expected");

        QTest::newRow("default moves") << QString() << true << "@/site/css/a.css";
        QTest::newRow("no css folder") << QString() << false << "@/site/less/a.css";
        QTest::newRow("user's choice stays") << "@/elsewhere/a.css" << true << "@/elsewhere/a.css";
        QTest::newRow("default in upper case moves") << "@/site/less/A.CSS" << true << "@/site/css/a.css";
    }

    void automaticCSSPaths()
    {
        QFETCH(QString, target);
        QFETCH(bool, cssFolderExists);
        QFETCH(QString, expected);

        writeFile(resolved(cssFolderExists ? "@/site/css/a.txt" : "@/site/less/a.less"), "");
        writeFile(resolved("@/site/less/a.less"), "a { b: c; }\n");
        watch(resolved("@/site"));
        if (!target.isEmpty())
            record("@/site/less/a.less")->setCSSFileOutputPath(resolved(target));
        m_controller->cssOutputPaths()->beginAutoSettingCSSPaths();
        QVERIFY(waitUntilIdle(*m_controller));
        QCOMPARE(record("@/site/less/a.less")->targetCSSFileFullPath(), resolved(expected));
    }
};

QTEST_MAIN(TestCSSOutputPaths)
#include "TestCSSOutputPaths.moc"
