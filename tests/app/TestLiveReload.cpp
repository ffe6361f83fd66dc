#include "ControllerTest.h"
#include "app/LiveReload.h"
#include "services/LiveReloadPage.h"

using namespace AppTestSupport;

class TestLiveReload : public ControllerTest
{
    Q_OBJECT

private Q_SLOTS:
    void burstsAreAnnouncedOnceOver_data()
    {
        QTest::addColumn<QStringList>("saved");
        QTest::addColumn<int>("outcomes");
        QTest::addColumn<QStringList>("reloaded");
        QTest::newRow("one file") << QStringList{"a.less"} << 1 << QStringList{"a.css"};
        QTest::newRow("a partial of two") << QStringList{"_colors.less"} << 2 << QStringList{"a.css", "b.css"};
        // a.css compiles twice, and is announced once.
        QTest::newRow("a file and its partial") << QStringList{"a.less", "_colors.less"} << 3
                                                << QStringList{"a.css", "b.css"};
        QTest::newRow("failed compile") << QStringList{"broken.less"} << 1 << QStringList{};
    }

    void burstsAreAnnouncedOnceOver()
    {
        QFETCH(QStringList, saved);
        QFETCH(int, outcomes);
        QFETCH(QStringList, reloaded);

        const QMap<QString, QByteArray> contents{{"_colors.less", "@c: #123;\n"},
                                                 {"a.less", "@import '_colors';\na { color: @c; }\n"},
                                                 {"b.less", "@import '_colors';\nb { color: @c; }\n"},
                                                 {"broken.less", "c { color: @missing; }\n"},
                                                 {"last.less", "d { color: red; }\n"}};
        for (auto file = contents.begin(); file != contents.end(); ++file)
            writeFile(resolved("@/site/" + file.key()), file.key() == "broken.less" ? "c { }\n" : file.value());
        m_controller->beginValidatingPath(resolved("@/site"));
        QVERIFY(waitUntilIdle(*m_controller));
        QVERIFY(waitUntilWatched(resolved(QStringList{"@/site/a.less", "@/site/_colors.less", "@/site/last.less"})));
        m_controller->setJAutoCompileEnabled(true);
        UserDefaults::standardUserDefaults()->setInteger(0, UserDefaultsKeys::LiveReloadPort);
        m_controller->liveReload()->start(true);
        LiveReloadPage page(m_controller->liveReload()->port());
        QTRY_COMPARE(m_controller->liveReload()->pageCount(), 1);

        for (const QString &file : saved)
            writeFile(resolved("@/site/" + file), contents[file]);
        const QList<CompilerResultHolder> &log = m_controller->appModel()->compilerResultData();
        QTRY_COMPARE_WITH_TIMEOUT(log.size(), outcomes, Timeout);
        // A later save marks the end of what this burst announced.
        writeFile(resolved("@/site/last.less"), contents["last.less"]);
        QTRY_VERIFY_WITH_TIMEOUT(page.reloadedPaths().contains(resolved("@/site/last.css")), Timeout);
        QStringList announced = page.reloadedPaths();
        announced.removeLast();
        std::sort(announced.begin(), announced.end());
        QCOMPARE(announced, resolved(reloaded.replaceInStrings(QRegularExpression("^"), "@/site/")));
    }
};

QTEST_MAIN(TestLiveReload)
#include "TestLiveReload.moc"
