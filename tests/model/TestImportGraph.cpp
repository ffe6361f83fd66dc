#include "model/ImportGraph.h"

#include <QTest>

class TestImportGraph : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // Each record "a: b c" says a reads b and c, replacing what a read before.
    void dependents_data()
    {
        QTest::addColumn<QStringList>("records");
        QTest::addColumn<QString>("saved");
        QTest::addColumn<QStringList>("expected");

        QTest::newRow("chain, nearest first") << QStringList{"a: b", "b: c", "c: d"} << "d" << QStringList{"c", "b", "a"};
        QTest::newRow("diamond, top once") << QStringList{"top: left right", "left: base", "right: base"} << "base"
                                           << QStringList{"left", "right", "top"};
        QTest::newRow("cycle through the saved file") << QStringList{"a: b", "b: a"} << "a" << QStringList{"b"};
        QTest::newRow("cycle above the saved file") << QStringList{"x: a", "a: b", "b: a", "c: b"} << "b"
                                                    << QStringList{"a", "c", "x"};
        QTest::newRow("imported twice") << QStringList{"a: b b"} << "b" << QStringList{"a"};
        QTest::newRow("reads itself") << QStringList{"a: a"} << "a" << QStringList{};
        QTest::newRow("import removed") << QStringList{"a: b c", "a: c"} << "b" << QStringList{};
        QTest::newRow("import added later") << QStringList{"a:", "b: c", "a: b"} << "c" << QStringList{"b", "a"};
        QTest::newRow("file not on disk yet") << QStringList{"a: missing"} << "missing" << QStringList{"a"};
        QTest::newRow("unknown file") << QStringList{"a: b"} << "z" << QStringList{};
        QTest::newRow("case is part of the name") << QStringList{"a: B"} << "b" << QStringList{};
    }

    void dependents()
    {
        QFETCH(QStringList, records);
        QFETCH(QString, saved);
        QFETCH(QStringList, expected);

        ImportGraph graph;
        for (const QString &record : records) {
            const qsizetype colon = record.indexOf(u':');
            graph.setImports(record.left(colon), record.mid(colon + 1).split(u' ', Qt::SkipEmptyParts));
        }
        QCOMPARE(graph.dependentsOf(saved), expected);
        QCOMPARE(graph.isImported(saved), !expected.isEmpty());
    }

    // A file that leaves the project reads nothing; the files that read it keep
    // their link, for when it comes back.
    void forgottenImports()
    {
        ImportGraph graph;
        graph.setImports("a", {"b"});
        graph.setImports("b", {"c"});
        graph.forgetImportsOf("b");
        QVERIFY(graph.dependentsOf("c").isEmpty());
        QVERIFY(!graph.hasImportsRecorded("b") && graph.hasImportsRecorded("a"));
        QCOMPARE(graph.dependentsOf("b"), QStringList{"a"});
        QCOMPARE(graph.allImports().keys(), QStringList{"a"});

        graph.setImports("b", {"c"});
        QCOMPARE(graph.dependentsOf("c"), (QStringList{"b", "a"}));
    }
};

QTEST_APPLESS_MAIN(TestImportGraph)
#include "TestImportGraph.moc"
