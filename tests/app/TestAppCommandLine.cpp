#include "AppTestSupport.h"

#include <QElapsedTimer>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <csignal>

using namespace AppTestSupport;

namespace {

// One cascader process with its output gathered as it comes.
struct Cascader
{
    Cascader(const QProcessEnvironment &environment, const QStringList &arguments)
    {
        process.setProcessEnvironment(environment);
        process.start(QStringLiteral(CASCADER_EXECUTABLE), arguments);
    }
    ~Cascader()
    {
        process.kill();
        process.waitForFinished();
    }
    bool hasExited() const { return process.state() == QProcess::NotRunning; }
    bool exitedWith(int code)
    {
        return QTest::qWaitFor([this] { return hasExited(); }, Timeout)
            && process.exitStatus() == QProcess::NormalExit && process.exitCode() == code;
    }
    bool printed(const QString &pattern)
    {
        output += process.readAllStandardOutput();
        const QRegularExpression expression(pattern, QRegularExpression::MultilineOption);
        return expression.match(QString::fromUtf8(output)).hasMatch();
    }
    // Files are watched some time after the start: saves until one is compiled.
    bool saveUntilPrinted(const QString &file, const QByteArray &content, const QString &pattern)
    {
        QElapsedTimer sinceSave;
        return QTest::qWaitFor([&] {
            if (!sinceSave.isValid() || sinceSave.hasExpired(1000))
                writeFile(file, content), sinceSave.start();
            return printed(pattern);
        }, Timeout);
    }

    QProcess process;
    QByteArray output;
};

// Cascader's compile workers for this home folder, as the system has them.
QList<qint64> workersOf(const QString &home)
{
    QList<qint64> workers;
    const QByteArray homeVariable = "HOME=" + QFile::encodeName(home) + '\0';
    for (const QString &entry : QDir(QStringLiteral("/proc")).entryList(QDir::Dirs)) {
        const QString process = "/proc/" + entry;
        if (entry.toLongLong() > 0 && readFile(process + "/cmdline").contains("compile-worker.js")
            && readFile(process + "/environ").contains(homeVariable)
            && readFile(process + "/stat").split(' ').value(2) != "Z")
            workers << entry.toLongLong();
    }
    return workers;
}

// "HH:MM:SS  file  result"
QString logLine(const QString &file, const QString &result)
{
    return QStringLiteral("^\\d\\d:\\d\\d:\\d\\d  %1  %2$")
        .arg(QRegularExpression::escape(file), QRegularExpression::escape(result));
}

} // namespace

class TestAppCommandLine : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void headlessRunCompilesAndKeepsTheProject();
    void compileAllFailsWhenAFileDoes();
    void secondStartHandsItsPathsToTheFirst();
    void brokenCompilerIsSaidOnce();
    void noWorkerOutlivesCascader_data();
    void noWorkerOutlivesCascader();

private:
    QString home() const { return m_sandbox->filePath(QStringLiteral("home")); }
    QProcessEnvironment m_environment;
    std::unique_ptr<QTemporaryDir> m_sandbox;
};

void TestAppCommandLine::init()
{
    m_sandbox = std::make_unique<QTemporaryDir>();
    m_environment = QProcessEnvironment::systemEnvironment();
    for (const auto &[variable, folder] : {std::pair{"HOME", "home"}, {"XDG_CONFIG_HOME", "config"},
                                           {"XDG_DATA_HOME", "data"}, {"XDG_RUNTIME_DIR", "runtime"}}) {
        QVERIFY(QDir(m_sandbox->path()).mkpath(QLatin1String(folder)));
        m_environment.insert(QLatin1String(variable), m_sandbox->filePath(QLatin1String(folder)));
    }
    QFile::setPermissions(m_sandbox->filePath("runtime"), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    writeFile(home() + "/site/less/variables.less", "@c: #123;\n");
    writeFile(home() + "/site/less/main.less", "@import 'variables';\nbody { color: @c; }\n");
}

void TestAppCommandLine::headlessRunCompilesAndKeepsTheProject()
{
    {
        Cascader cascader(m_environment, {QStringLiteral("--headless"), home() + "/site"});
        QVERIFY(cascader.saveUntilPrinted(home() + "/site/less/variables.less", "@c: #456;\n",
                                          logLine("~/site/less/main.less",
                                                  "Success!  [Triggered by: variables.less]")));
        QTRY_VERIFY_WITH_TIMEOUT(cascader.printed(logLine("~/site/less/variables.less", "Success!")), Timeout);
        QVERIFY(readFile(home() + "/site/less/main.css").contains("color: #456"));
        cascader.process.terminate();
        QVERIFY(cascader.exitedWith(0));
    }
    // The next start finds the project again.
    Cascader restarted(m_environment, {QStringLiteral("--compile-all")});
    QVERIFY(restarted.exitedWith(0));
    QVERIFY(restarted.printed(logLine("~/site/less/main.less", "Success!")));
    QVERIFY(restarted.printed(logLine("~/site/less/variables.less", "Success!")));
}

// Compiling all does not depend on auto-compile; later lines of a message are indented.
void TestAppCommandLine::compileAllFailsWhenAFileDoes()
{
    writeFile(home() + "/project/a.less", "a { color: blue; }\n");
    writeFile(home() + "/project/b.less", "a {\n  color: @missing;\n}\n");
    Cascader cascader(m_environment, {"--compile-all", "--auto-compile=off", home() + "/project"});
    QVERIFY(cascader.exitedWith(1));
    QVERIFY(cascader.printed(logLine("~/project/a.less", "Success!")));
    QVERIFY2(cascader.printed("^\\d\\d:\\d\\d:\\d\\d  ~/project/b\\.less  .*@missing.*\\n    \\S"),
             cascader.output.constData());
}

void TestAppCommandLine::secondStartHandsItsPathsToTheFirst()
{
    Cascader first(m_environment, {QStringLiteral("--headless")});
    QTRY_VERIFY_WITH_TIMEOUT(QFileInfo::exists(m_sandbox->filePath("runtime/cascader.socket")), Timeout);
    Cascader second(m_environment, {home() + "/site", QStringLiteral("/")});
    QVERIFY(second.exitedWith(0));

    QByteArray error;
    QTRY_VERIFY_WITH_TIMEOUT((error += first.process.readAllStandardError()).contains("Select a More Specific"),
                             Timeout);
    QVERIFY(first.saveUntilPrinted(home() + "/site/less/main.less", "body { color: red; }\n",
                                   logLine("~/site/less/main.less", "Success!")));
    first.process.terminate();
    QVERIFY(first.exitedWith(0));
}

// A Node that dies at once: Cascader says so once, on standard error and in
// the log, however often files are saved, and keeps running.
void TestAppCommandLine::brokenCompilerIsSaidOnce()
{
    const QDir resources(QFileInfo(QStringLiteral(CASCADER_EXECUTABLE)).dir().filePath("../share/cascader"));
    const QString broken = m_sandbox->filePath(QStringLiteral("broken resources"));
    QVERIFY(QDir().mkpath(broken + "/engines/bin"));
    for (const QString &entry : resources.entryList({"*.json", "icons", "images"}))
        QVERIFY(QFile::link(resources.filePath(entry), broken + u'/' + entry));
    writeFile(broken + "/engines/bin/compile-worker.js", "");
    writeFile(broken + "/engines/bin/node", "#!/bin/sh\necho \"Error: Cannot find module 'less'\" >&2\nexit 1\n");
    QFile::setPermissions(broken + "/engines/bin/node", QFile::ReadOwner | QFile::ExeOwner);
    m_environment.insert(QStringLiteral("CASCADER_RESOURCES"), broken);

    Cascader cascader(m_environment, {QStringLiteral("--headless"), home() + "/site"});
    const QString said = "Cannot find module 'less'";
    QByteArray error;
    QTRY_VERIFY_WITH_TIMEOUT((error += cascader.process.readAllStandardError()).contains(said.toUtf8()), Timeout);
    for (int save = 0; save < 3; ++save) {
        writeFile(home() + "/site/less/main.less", "body { color: red; }\n");
        QTest::qWait(300);
    }
    error += cascader.process.readAllStandardError();
    QCOMPARE(QString::fromUtf8(error).count("Compiler Error: "), 1);
    QVERIFY(cascader.printed("^\\d\\d:\\d\\d:\\d\\d  LESS compiler  We could not initialize"));
    QCOMPARE(QString::fromUtf8(cascader.output).count(said), 1);
    cascader.process.terminate();
    QVERIFY(cascader.exitedWith(0));
}

void TestAppCommandLine::noWorkerOutlivesCascader_data()
{
    QTest::addColumn<int>("signal"); // 0: --compile-all ends on its own
    QTest::addColumn<bool>("stuck"); // a worker is in a compile that never ends

    QTest::newRow("SIGTERM") << SIGTERM << false;
    QTest::newRow("SIGINT") << SIGINT << false;
    QTest::newRow("SIGHUP") << SIGHUP << false;
    QTest::newRow("kill -9") << SIGKILL << false;
    QTest::newRow("kill -9 while a compile never ends") << SIGKILL << true;
    QTest::newRow("--compile-all ends") << 0 << false;
}

// However Cascader ends, during a burst of compiles, its workers end with it.
void TestAppCommandLine::noWorkerOutlivesCascader()
{
    QFETCH(int, signal);
    QFETCH(bool, stuck);

    for (int index = 0; index < 50; ++index)
        writeFile(home() + QStringLiteral("/site/less/extra%1.less").arg(index), "@import 'main';\n");
    Cascader cascader(m_environment, {signal ? QStringLiteral("--headless") : QStringLiteral("--compile-all"),
                                      home() + "/site"});
    if (signal) {
        QVERIFY(cascader.saveUntilPrinted(home() + "/site/less/main.less", "body { color: red; }\n",
                                          logLine("~/site/less/main.less", "Success!")));
        QVERIFY(!workersOf(home()).isEmpty());
        if (stuck) {
            const QString started = home() + "/started";
            writeFile(home() + "/site/less/loop.js",
                      "require('fs').writeFileSync('" + QFile::encodeName(started) + "', '');\nwhile (true) {}\n");
            writeFile(home() + "/site/less/main.less", "@plugin 'loop';\n");
            QTRY_VERIFY_WITH_TIMEOUT(QFileInfo::exists(started), Timeout);
        }
        writeFile(home() + "/site/less/variables.less", "@c: #456;\n");
        QVERIFY(::kill(pid_t(cascader.process.processId()), signal) == 0);
    }
    QTRY_VERIFY_WITH_TIMEOUT(cascader.hasExited(), Timeout);
    QTRY_COMPARE_WITH_TIMEOUT(workersOf(home()), QList<qint64>(), Timeout);
}

QTEST_GUILESS_MAIN(TestAppCommandLine)
#include "TestAppCommandLine.moc"
