#include "ControllerTest.h"
#include "app/ProjectFiles.h"

#include <QTest>

using AppTestSupport::writeFile;

class TestProjectFiles : public ControllerTest
{
    Q_OBJECT

private Q_SLOTS:
    void newFilesTakeTheProjectsDefaults();
    void aMalformedFileIsReportedOnceAndIgnored();
    void savedDefaultsReadBackTheSame();

private:
    QStringList log() const
    {
        QStringList lines;
        for (const CompilerResultHolder &entry : m_controller->appModel()->compilerResultData())
            lines << entry.result().plainText();
        return lines;
    }
    void add(const QString &folder)
    {
        m_controller->beginValidatingPath(resolved(folder));
        QVERIFY(AppTestSupport::waitUntilIdle(*m_controller));
    }
};

void TestProjectFiles::newFilesTakeTheProjectsDefaults()
{
    writeFile(resolved("@/site/less/main.less"), ".a { color: red; }");
    writeFile(resolved("@/site/less/print.less"), ".b { color: blue; }");
    writeFile(resolved("@/site/cascader.json"), R"({
        "output": {"replace": "less", "with": "css"},
        "options": {"sourceMap": "file", "autoprefix": true},
        "entryFiles": ["less/main.less"]
    })");
    add("@/site");

    const LessHolder *main = record("@/site/less/main.less");
    const LessHolder *print = record("@/site/less/print.less");
    QVERIFY(main && print);
    QCOMPARE(main->targetCSSFileFullPath(), resolved("@/site/css/main.css"));
    QVERIFY(main->checkboxState() && !print->checkboxState());
    QCOMPARE(print->lessOptions().sourceMap, LessOptions::SourceMap::File);
    QVERIFY(print->lessOptions().autoprefix);
    QVERIFY2(log().contains(QStringLiteral("2 new files take their settings from %1/site/cascader.json")
                                .arg(m_root->path())),
             qPrintable(log().join(u'\n')));

    // The user's own rule goes first, and Reset CSS Output follows it.
    PathHolder *folder = m_controller->appModel()->watchedFolderOf(main);
    folder->setOutputRule(OutputRule::intoFolder("../public"));
    folder->resetCSSTarget(const_cast<LessHolder *>(main));
    QCOMPARE(main->targetCSSFileFullPath(), resolved("@/site/public/main.css"));
}

void TestProjectFiles::aMalformedFileIsReportedOnceAndIgnored()
{
    writeFile(resolved("@/site/a.less"), ".a {}");
    add("@/site");
    const PathHolder *folder = m_controller->appModel()->pathData().front().get();
    const QByteArray malformed = "{\n  \"options\": {\"math\": \"always\"}\n  \"compress\": true\n}\n";
    for (int write = 0; write < 2; ++write)
        writeFile(resolved("@/site/cascader.json"), malformed);
    const QString message = QStringLiteral("%1/site/cascader.json is ignored: line 3, column ").arg(m_root->path());
    const auto reports = [&] { return log().filter(message).size(); };
    QTRY_COMPARE_WITH_TIMEOUT(reports(), 1, AppTestSupport::Timeout);
    QTest::qWait(200);
    QCOMPARE(reports(), 1);
    QVERIFY(!folder->projectDefaults());

    writeFile(resolved("@/site/cascader.json"), R"({"options": {"math": "always"}, "compress": true})");
    QTRY_VERIFY_WITH_TIMEOUT(folder->projectDefaults(), AppTestSupport::Timeout);
    QCOMPARE(folder->projectDefaults()->options.math, QStringLiteral("always"));
    QCOMPARE(folder->projectDefaults()->compress, std::optional<bool>(true));
}

void TestProjectFiles::savedDefaultsReadBackTheSame()
{
    writeFile(resolved("@/site/less/main.less"), ".a {}");
    writeFile(resolved("@/site/less/_vars.less"), "@x: 1;");
    add("@/site");
    PathHolder *folder = m_controller->appModel()->pathData().front().get();
    record("@/site/less/_vars.less")->chooseCheckboxState(false);
    folder->setOutputRule(OutputRule::replacingComponent("less", "css"));
    LessOptions options;
    options.sourceMap = LessOptions::SourceMap::Inline;
    options.globalVariables.insert("brand", "#333");

    QString error;
    QVERIFY2(m_controller->projectFiles()->saveAsProjectDefaults(folder, options, true, &error), qPrintable(error));
    const ProjectDefaults::Reading reading = ProjectDefaults::readFromFolder(resolved("@/site"));
    QVERIFY2(reading.defaults, qPrintable(reading.error));
    QCOMPARE(reading.defaults->options, options);
    QCOMPARE(reading.defaults->output, OutputRule::replacingComponent("less", "css"));
    QCOMPARE(reading.defaults->entryFiles, QStringList{"less/main.less"});
    QCOMPARE(reading.defaults->compress, std::optional<bool>(true));
}

QTEST_MAIN(TestProjectFiles)
#include "TestProjectFiles.moc"
