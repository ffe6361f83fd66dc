#include "AppTestSupport.h"

#include <QElapsedTimer>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <memory>

using namespace AppTestSupport;

namespace {

// One cascader process with its output gathered as it comes.
class Cascader
{
public:
    Cascader(const QProcessEnvironment &environment, const QStringList &arguments)
    {
        m_process.setProcessEnvironment(environment);
        m_process.start(QStringLiteral(CASCADER_EXECUTABLE), arguments);
    }
    ~Cascader()
    {
        if (m_process.state() != QProcess::NotRunning) {
            m_process.kill();
            m_process.waitForFinished();
        }
    }

    QProcess &process() { return m_process; }
    bool hasExited() const { return m_process.state() == QProcess::NotRunning; }
    QString standardOutput()
    {
        m_output += m_process.readAllStandardOutput();
        return QString::fromUtf8(m_output);
    }
    QString standardError()
    {
        m_error += m_process.readAllStandardError();
        return QString::fromUtf8(m_error);
    }
    bool printed(const QString &pattern)
    {
        const QRegularExpression expression(pattern, QRegularExpression::MultilineOption);
        return expression.match(standardOutput()).hasMatch();
    }

private:
    QProcess m_process;
    QByteArray m_output;
    QByteArray m_error;
};

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

private:
    QString home() const { return m_sandbox->filePath(QStringLiteral("home")); }
    QProcessEnvironment environment() const;
    void writeSite();
    // Files are watched some time after the start: saves until one is compiled.
    bool saveUntilPrinted(Cascader &cascader, const QString &file, const QByteArray &content,
                          const QString &pattern);

    std::unique_ptr<QTemporaryDir> m_sandbox;
};

void TestAppCommandLine::init()
{
    m_sandbox = std::make_unique<QTemporaryDir>();
    for (const char *folder : {"home", "config", "data", "runtime"})
        QVERIFY(QDir(m_sandbox->path()).mkpath(QLatin1String(folder)));
    QFile::setPermissions(m_sandbox->filePath(QStringLiteral("runtime")),
                          QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

QProcessEnvironment TestAppCommandLine::environment() const
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("HOME"), home());
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), m_sandbox->filePath(QStringLiteral("config")));
    environment.insert(QStringLiteral("XDG_DATA_HOME"), m_sandbox->filePath(QStringLiteral("data")));
    environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), m_sandbox->filePath(QStringLiteral("runtime")));
    return environment;
}

void TestAppCommandLine::writeSite()
{
    writeFile(home() + "/site/less/variables.less", "@c: #123;\n");
    writeFile(home() + "/site/less/main.less", "@import 'variables';\nbody { color: @c; }\n");
}

bool TestAppCommandLine::saveUntilPrinted(Cascader &cascader, const QString &file, const QByteArray &content,
                                          const QString &pattern)
{
    QElapsedTimer sinceSave;
    return QTest::qWaitFor(
        [&] {
            if (!sinceSave.isValid() || sinceSave.hasExpired(1000)) {
                writeFile(file, content);
                sinceSave.start();
            }
            return cascader.printed(pattern);
        },
        Timeout);
}

void TestAppCommandLine::headlessRunCompilesAndKeepsTheProject()
{
    writeSite();
    {
        Cascader cascader(environment(), {QStringLiteral("--headless"), home() + "/site"});
        const QString importerLine =
            logLine("~/site/less/main.less", "Success!  [Triggered by: variables.less]");
        const QString variables = home() + "/site/less/variables.less";
        QVERIFY(saveUntilPrinted(cascader, variables, "@c: #456;\n", importerLine));
        // Parallel compiles end in any order.
        const QString savedFileLine = logLine("~/site/less/variables.less", "Success!");
        QTRY_VERIFY_WITH_TIMEOUT(cascader.printed(savedFileLine), Timeout);
        QVERIFY(readFile(home() + "/site/less/main.css").contains("color: #456"));

        cascader.process().terminate();
        QTRY_VERIFY_WITH_TIMEOUT(cascader.hasExited(), Timeout);
        QCOMPARE(cascader.process().exitStatus(), QProcess::NormalExit);
        QCOMPARE(cascader.process().exitCode(), 0);
    }
    const QString dataFile = m_sandbox->filePath(QStringLiteral("data/Cascader app/lessDataFile.lessData"));
    QVERIFY(readFile(dataFile).contains((home() + "/site/less/main.less").toUtf8()));

    // The next start finds the project again.
    Cascader restarted(environment(), {QStringLiteral("--compile-all")});
    QTRY_VERIFY_WITH_TIMEOUT(restarted.hasExited(), Timeout);
    QCOMPARE(restarted.process().exitCode(), 0);
    QVERIFY(restarted.printed(logLine("~/site/less/main.less", "Success!")));
    QVERIFY(restarted.printed(logLine("~/site/less/variables.less", "Success!")));
}

// Auto-compile is off for the run: compiling all does not depend on it. The
// compiler's message spans several lines; the later ones are indented.
void TestAppCommandLine::compileAllFailsWhenAFileDoes()
{
    writeFile(home() + "/project/a.less", "a { color: blue; }\n");
    writeFile(home() + "/project/b.less", "a {\n  color: @missing;\n}\n");
    Cascader cascader(environment(), {QStringLiteral("--compile-all"), QStringLiteral("--auto-compile=off"),
                                      home() + "/project"});
    QTRY_VERIFY_WITH_TIMEOUT(cascader.hasExited(), Timeout);
    QCOMPARE(cascader.process().exitCode(), 1);
    QVERIFY(cascader.printed(logLine("~/project/a.less", "Success!")));
    const QString failure =
        QStringLiteral("^\\d\\d:\\d\\d:\\d\\d  ~/project/b\\.less  .*@missing.*\\n    \\S");
    QVERIFY2(cascader.printed(failure), qPrintable(cascader.standardOutput()));
}

void TestAppCommandLine::secondStartHandsItsPathsToTheFirst()
{
    writeSite();
    Cascader first(environment(), {QStringLiteral("--headless")});
    const QString socket = m_sandbox->filePath(QStringLiteral("runtime/cascader.socket"));
    QTRY_VERIFY_WITH_TIMEOUT(QFileInfo::exists(socket), Timeout);

    Cascader second(environment(), {home() + "/site", QStringLiteral("/")});
    QTRY_VERIFY_WITH_TIMEOUT(second.hasExited(), Timeout);
    QCOMPARE(second.process().exitCode(), 0);

    const QString tooBroad = QStringLiteral("Select a More Specific Path: We search every folder");
    QTRY_VERIFY_WITH_TIMEOUT(first.standardError().contains(tooBroad), Timeout);
    QVERIFY(saveUntilPrinted(first, home() + "/site/less/main.less", "body { color: red; }\n",
                             logLine("~/site/less/main.less", "Success!")));
    first.process().terminate();
    QTRY_VERIFY_WITH_TIMEOUT(first.hasExited(), Timeout);
    QCOMPARE(first.process().exitCode(), 0);
}

QTEST_GUILESS_MAIN(TestAppCommandLine)
#include "TestAppCommandLine.moc"
