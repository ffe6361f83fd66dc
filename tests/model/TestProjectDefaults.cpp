#include "model/ProjectDefaults.h"

#include <QTest>

Q_DECLARE_METATYPE(OutputRule)

class TestProjectDefaults : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void outputRuleTargets_data()
    {
        QTest::addColumn<OutputRule>("rule");
        QTest::addColumn<QString>("lessFile");
        QTest::addColumn<QString>("expected"); // empty: beside the file

        const QString top = QStringLiteral("/w/site");
        const OutputRule lessToCss = OutputRule::replacingComponent("less", "css");
        QTest::newRow("beside") << OutputRule() << top + "/less/a.less" << QString();
        QTest::newRow("folder relative to the file") << OutputRule::intoFolder("../css") << top + "/less/a.less"
                                                     << top + "/css/a.css";
        QTest::newRow("absolute folder") << OutputRule::intoFolder("/srv/www") << top + "/x/b.less" << "/srv/www/b.css";
        QTest::newRow("component replaced, deeper folders kept") << lessToCss << top + "/less/admin/c.less"
                                                                 << top + "/css/admin/c.css";
        QTest::newRow("every matching component") << lessToCss << top + "/less/x/less/d.less" << top + "/css/x/css/d.css";
        QTest::newRow("no such component") << lessToCss << top + "/styles/e.less" << QString();
        QTest::newRow("only below the watched folder") << lessToCss << "/w/less/site2/f.less" << QString();
        QTest::newRow("a name only containing it") << lessToCss << top + "/lessons/g.less" << QString();
    }
    void outputRuleTargets()
    {
        QFETCH(OutputRule, rule);
        QFETCH(QString, lessFile);
        QFETCH(QString, expected);
        QCOMPARE(rule.targetFor(lessFile, QStringLiteral("/w/site")), expected);
        QString error;
        QCOMPARE(OutputRule::fromVariantMap(rule.toVariantMap(), &error), rule);
        QVERIFY(error.isEmpty());
    }

    void parsing_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<QString>("error");

        QTest::newRow("everything") << QByteArray(R"({"output": {"folder": "../css"}, "compress": true,
            "options": {"sourceMap": "inline", "autoprefix": true, "math": "parens", "strictUnits": true,
                        "includePaths": ["vendor"], "globalVariables": {"brand": "red"}, "lessCompiler": "project"},
            "entryFiles": ["less/main.less"]})") << QString();
        QTest::newRow("empty object") << QByteArray("{}") << QString();
        QTest::newRow("missing comma") << QByteArray("{\n  \"compress\": true\n  \"output\": {}\n}")
                                       << "line 3, column 4: ";
        QTest::newRow("position counts characters") << QByteArray("{\"é\": 1,\n\"ü\": [1,, 2]}") << "line 2, column 10: ";
        QTest::newRow("a list") << QByteArray("[]") << "line 1, column 1: not a JSON object";
        QTest::newRow("unknown source map") << QByteArray(R"({"options": {"sourceMap": "yes"}})")
                                            << "\"sourceMap\" must be \"none\", \"file\" or \"inline\"";
        QTest::newRow("unknown math") << QByteArray(R"({"options": {"math": "loose"}})") << "\"math\" must be one of ";
        QTest::newRow("variable not text") << QByteArray(R"({"options": {"globalVariables": {"a": 1}}})")
                                           << "\"globalVariables\" must hold strings";
        QTest::newRow("replacement of a path") << QByteArray(R"({"output": {"replace": "a/b", "with": "css"}})")
                                               << "\"replace\" and \"with\" must each be one folder name";
        QTest::newRow("compress as text") << QByteArray(R"({"compress": "yes"})") << "\"compress\" must be true or false";
    }
    void parsing()
    {
        QFETCH(QByteArray, json);
        QFETCH(QString, error);
        const ProjectDefaults::Reading reading = ProjectDefaults::parse(json);
        QVERIFY2(reading.error.startsWith(error) && reading.error.isEmpty() == error.isEmpty(), qPrintable(reading.error));
        QCOMPARE(reading.defaults.has_value(), error.isEmpty());
        if (reading.defaults) // what is written reads back the same
            QCOMPARE(ProjectDefaults::parse(reading.defaults->toJson()).defaults, reading.defaults);
    }
};

QTEST_GUILESS_MAIN(TestProjectDefaults)
#include "TestProjectDefaults.moc"
