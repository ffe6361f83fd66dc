#include "FileActions.h"
#include "engine/ZRMCompilerPool.h"
#include "support/Resources.h"

#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <memory>

namespace {

constexpr int Timeout = 60000;

struct Outcome
{
    QString input;
    bool ok;
    QString message;
};

bool processExists(qint64 pid)
{
    return ::kill(pid_t(pid), 0) == 0;
}

} // namespace

// Real workers, faults made for real: kill -9, a plugin that never ends.
class TestZRMCompilerPool : public QObject
{
    Q_OBJECT

    QString path(const QString &relative) const { return m_root->filePath(relative); }

    // A LESS file whose compile notes the worker's pid in "started", then
    // runs for the given milliseconds, or for ever when negative.
    QString slowFile(int milliseconds)
    {
        const QByteArray started = QFile::encodeName(path(QStringLiteral("started")));
        const QByteArray spin = milliseconds < 0 ? "while (true) {}\n"
                                                 : "const end = Date.now() + " + QByteArray::number(milliseconds)
                                                       + "; while (Date.now() < end) {}\n";
        FileActions::create(path(QStringLiteral("slow.js")),
                            "require('fs').appendFileSync('" + started + "', process.pid + '\\n');\n" + spin);
        const QString file = path(QStringLiteral("slow.less"));
        FileActions::create(file, "@plugin \"slow\";\na { color: red; }\n");
        return file;
    }

    QList<qint64> startedPids() const
    {
        QList<qint64> pids;
        for (const QByteArray &line : FileActions::contentOf(path(QStringLiteral("started"))).split('\n'))
            if (!line.isEmpty())
                pids.append(line.toLongLong());
        return pids;
    }

    void compile(const QString &input)
    {
        m_pool->compile({input, input.chopped(5) + ".css", false, {}, {}, 0, {}});
    }

    // A plain file compiles: the pool is sound again.
    void checkNextCompileWorks(const QString &name = QStringLiteral("plain"))
    {
        const QString plain = path(name + ".less");
        FileActions::create(plain, "b { color: blue; }\n");
        compile(plain);
        QTRY_VERIFY_WITH_TIMEOUT(outcomeFor(plain), Timeout);
        QVERIFY(outcomeFor(plain)->ok);
        QCOMPARE(FileActions::contentOf(path(name + ".css")), "b {\n  color: blue;\n}\n");
    }

    const Outcome *outcomeFor(const QString &input) const
    {
        for (const Outcome &outcome : m_outcomes)
            if (outcome.input == input)
                return &outcome;
        return nullptr;
    }

    std::unique_ptr<QTemporaryDir> m_root;
    std::unique_ptr<ZRMCompilerPool> m_pool;
    QList<Outcome> m_outcomes;

private Q_SLOTS:
    void init()
    {
        m_root = std::make_unique<QTemporaryDir>();
        m_outcomes.clear();
        m_pool = std::make_unique<ZRMCompilerPool>();
        m_pool->setSize(2);
        connect(m_pool.get(), &ZRMCompilerPool::finished, this,
                [this](const ZRMCompileJob &job, bool ok, const QString &message) {
                    m_outcomes.append({job.input, ok, message});
                });
        const QString bin = QStringLiteral("engines/bin");
        m_pool->startWorkers(Resources::pathForResource(QStringLiteral("node"), {}, bin),
                             Resources::pathForResource(QStringLiteral("compile-worker.js"), {}, bin));
    }

    void cleanup()
    {
        m_pool.reset();
        m_root.reset();
    }

    void workerLost_data()
    {
        QTest::addColumn<int>("kills"); // of the worker, kill -9, mid-compile
        QTest::addColumn<int>("timeLimit"); // seconds; 0: none, and the compile ends
        QTest::addColumn<QString>("message"); // empty: success

        QTest::newRow("killed once: tried again") << 1 << 0 << "";
        QTest::newRow("killed twice: one clear error")
            << 2 << 0 << "The LESS compiler stopped while compiling this file, twice (it was killed by signal 9).";
        QTest::newRow("never ends: costs its worker") << 0 << 1 << "Compile timed out after 1 s";
    }

    void workerLost()
    {
        QFETCH(int, kills);
        QFETCH(int, timeLimit);
        QFETCH(QString, message);

        m_pool->setTimeLimit(timeLimit);
        const QString file = slowFile(timeLimit ? -1 : 1500);
        compile(file);
        for (int kill = 1; kill <= kills; ++kill) {
            QTRY_COMPARE_WITH_TIMEOUT(startedPids().size(), kill, Timeout);
            QVERIFY(::kill(pid_t(startedPids().constLast()), SIGKILL) == 0);
        }
        QTRY_VERIFY_WITH_TIMEOUT(outcomeFor(file), Timeout);
        QCOMPARE(outcomeFor(file)->ok, message.isEmpty());
        QCOMPARE(outcomeFor(file)->message, message);
        QCOMPARE(startedPids().size(), message.isEmpty() ? kills + 1 : qMax(kills, 1));
        QTRY_VERIFY_WITH_TIMEOUT(!processExists(startedPids().constFirst()), Timeout);
        QCOMPARE(QFile::exists(path(QStringLiteral("slow.css"))), message.isEmpty());
        checkNextCompileWorks();
        QTRY_COMPARE_WITH_TIMEOUT(m_pool->workerProcessIds().size(), 2, Timeout);
    }

    // A worker past the memory bound is replaced after its compile.
    void memoryBound()
    {
        m_pool->setSize(1);
        m_pool->setMemoryLimit(1);
        QTRY_COMPARE_WITH_TIMEOUT(m_pool->workerProcessIds().size(), 1, Timeout);
        const qint64 first = m_pool->workerProcessIds().constFirst();
        checkNextCompileWorks();
        QTRY_VERIFY_WITH_TIMEOUT(!m_pool->workerProcessIds().contains(first), Timeout);
        QTRY_VERIFY_WITH_TIMEOUT(!processExists(first), Timeout);
        checkNextCompileWorks(QStringLiteral("second"));
    }

    void size()
    {
        m_pool->setSize(3);
        QCOMPARE(m_pool->workerProcessIds().size(), 3);
        const QList<qint64> pids = m_pool->workerProcessIds();
        m_pool->setSize(1);
        QCOMPARE(m_pool->workerProcessIds(), pids.mid(0, 1));
        QTRY_VERIFY_WITH_TIMEOUT(!processExists(pids.at(1)) && !processExists(pids.at(2)), Timeout);
    }
};

QTEST_GUILESS_MAIN(TestZRMCompilerPool)
#include "TestZRMCompilerPool.moc"
