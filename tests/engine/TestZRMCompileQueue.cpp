#include "engine/ZRMCompileQueue.h"

#include <QTest>

// A script of queue operations, one a word, on a clock that starts at 0:
// "@7" sets the clock to 7 ms, "+a" asks for a compile of a.less to a.css,
// "+a~5" one that waits 5 ms, "+a>x" one that writes x.css, "!a" retries a,
// "-x" marks x.css written, "?" takes every compile due; the taken inputs are
// what the test compares.
class TestZRMCompileQueue : public QObject
{
    Q_OBJECT

    static ZRMCompileJob job(const QString &word)
    {
        const QString name = word.section(u'~', 0, 0).section(u'>', 0, 0);
        const QString output = word.contains(u'>') ? word.section(u'>', 1).section(u'~', 0, 0) : name;
        return {name + ".less", output + ".css", false, {}, {}, 0, {}};
    }

private Q_SLOTS:
    void coalescing_data()
    {
        QTest::addColumn<QString>("script");
        QTest::addColumn<QString>("taken");
        QTest::addColumn<int>("added"); // compiles that were new, not merged

        const QString window = QString::number(ZRMCompileQueue::RepeatWindowMs);
        QTest::newRow("a save compiles at once") << "+a ?" << "a" << 1;
        QTest::newRow("a burst of saves compiles once, when it ends")
            << "+a +a @3 +a ? @" + window + " ? @" + QString::number(ZRMCompileQueue::RepeatWindowMs + 3) + " ?"
            << "a" << 1;
        QTest::newRow("saves during a compile: one more, with the last")
            << "+a ? @1 +a @2 +a -a ? @40 ?" << "a a" << 2;
        QTest::newRow("saves further apart compile each time") << "+a ? -a @50 +a ? -a @99 +a ?" << "a a a" << 3;
        QTest::newRow("different files keep their order") << "+a +b +c ?" << "a b c" << 3;
        QTest::newRow("one asked for again moves behind the others") << "+m~5 +a +b +m~5 @30 ?" << "a b m" << 3;
        QTest::newRow("nothing runs before it is due") << "+m~5 +a ? @4 ? @5 ?" << "a m" << 2;
        QTest::newRow("merging keeps the later due time") << "+m~9 +m~2 @5 ? @9 ? @" + window + " ?" << "m" << 1;
        QTest::newRow("two inputs, one output, never at once") << "+a>x +b>x ? -x ?" << "a b" << 2;
        QTest::newRow("a retry goes first and writes again") << "+a +b ? !a ?" << "a b a" << 2;
        QTest::newRow("a waiting output does not hold back others") << "+a ? +a +b @30 ?" << "a b" << 3;
    }

    void coalescing()
    {
        QFETCH(QString, script);
        QFETCH(QString, taken);
        QFETCH(int, added);

        ZRMCompileQueue queue;
        QStringList takenInputs;
        int newCompiles = 0;
        qint64 now = 0;
        for (const QString &step : script.split(u' ')) {
            const QString argument = step.mid(1);
            switch (step.front().toLatin1()) {
            case '@':
                now = argument.toLongLong();
                break;
            case '+':
                newCompiles += queue.add(job(argument), now, argument.section(u'~', 1).toLongLong()) ? 1 : 0;
                break;
            case '!':
                queue.retry(job(argument));
                break;
            case '-':
                queue.outputWritten(argument + ".css");
                break;
            case '?':
                while (const std::optional<ZRMCompileJob> next = queue.takeNext(now))
                    takenInputs << next->input.chopped(5);
                break;
            }
        }
        QCOMPARE(takenInputs.join(u' '), taken);
        QCOMPARE(newCompiles, added);
    }

    // The pool sleeps until the earliest compile it could start.
    void nextReadyAt()
    {
        ZRMCompileQueue queue;
        QCOMPARE(queue.nextReadyAtMs(), -1);
        queue.add(job("a"), 0);
        queue.takeNext(0);
        queue.add(job("a"), 50, 3);
        queue.add(job("b"), 50, 8);
        QCOMPARE(queue.nextReadyAtMs(), 58);
        queue.outputWritten("a.css");
        QCOMPARE(queue.nextReadyAtMs(), 53);
        QCOMPARE(queue.takeAll().size(), 2);
        QVERIFY(queue.isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestZRMCompileQueue)
#include "TestZRMCompileQueue.moc"
