#include "AppTestSupport.h"

#include <QDirIterator>
#include <QElapsedTimer>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocalSocket>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <csignal>
#include <sys/stat.h>

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

// LocalSocketPeer run as nobody: another user of this machine.
struct OtherUser
{
    explicit OtherUser(const QStringList &arguments)
    {
        process.start(QStringLiteral("runuser"),
                      QStringList{"-u", "nobody", "--", QStringLiteral(LOCAL_SOCKET_PEER)} + arguments);
    }
    // runuser passes the signal on to the program it runs.
    ~OtherUser()
    {
        process.terminate();
        process.waitForFinished();
    }
    QByteArray output() { return printed += process.readAllStandardOutput(); }

    QProcess process;
    QByteArray printed;
};

bool isListening(const QString &socketPath)
{
    QLocalSocket socket;
    socket.connectToServer(socketPath);
    return socket.waitForConnected(Timeout);
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
    void init()
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

    // Bootstrap 3.4.1: of its 71 files only bootstrap.less and theme.less compile
    // on their own (partials only inside the files that import them), and a save two imports deep reaches bootstrap.css once.
    void bootstrapImportTree()
    {
        const QString fixture = QDir::cleanPath(QFINDTESTDATA("../fixtures/node_modules/bootstrap/less"));
        QVERIFY2(!fixture.isEmpty(), "Bootstrap is missing: run scripts/setup");
        const QString less = home() + "/bootstrap/less";
        QVERIFY(QDir().mkpath(home() + "/bootstrap"));
        QCOMPARE(QProcess::execute(QStringLiteral("cp"), {"-r", fixture, less}), 0);
        Cascader compileAll(m_environment, {QStringLiteral("--compile-all"), less});
        QVERIFY(compileAll.exitedWith(0));
        QStringList css;
        QDirIterator written(less, {"*.css"}, QDir::Files, QDirIterator::Subdirectories);
        while (written.hasNext())
            css << written.next().mid(less.size() + 1);
        css.sort();
        QCOMPARE(css, (QStringList{"bootstrap.css", "theme.css"}));

        Cascader headless(m_environment, {QStringLiteral("--headless")});
        QVERIFY(headless.saveUntilPrinted(less + "/theme.less", readFile(less + "/theme.less"),
                                          logLine("~/bootstrap/less/theme.less", "Success!")));
        const QString buttons = less + "/mixins/buttons.less";
        writeFile(buttons, readFile(buttons) + "// saved\n");
        const QString triggered = QStringLiteral("Success!  [Triggered by: buttons.less]");
        QTRY_VERIFY_WITH_TIMEOUT(headless.printed(logLine("~/bootstrap/less/bootstrap.less", triggered))
                                     && headless.printed(logLine("~/bootstrap/less/theme.less", triggered)),
                                 Timeout);
        QTest::qWait(1000);
        QCOMPARE(QString::fromUtf8(headless.output + headless.process.readAllStandardOutput()).count("bootstrap.less"), 1);
    }

    // Compiling all does not depend on auto-compile. A failing file fails the run
    // and later lines of its message are indented;
    // a name that is not UTF-8 is reported with its folder, a newline in a name
    // is escaped, and every line printed is a log line or the continuation of one.
    void compileAllReportsEveryFile()
    {
        const QString names = home() + "/names";
        QVERIFY(QDir().mkpath(names));
        writeFileNamed(QFile::encodeName(names) + "/bad\xff.less", "a { b: c; }\n");
        writeFile(names + "/new\nline.less", "a { b: c; }\n");
        writeFile(names + "/b.less", "a {\n  color: @missing;\n}\n");
        Cascader cascader(m_environment, {"--compile-all", "--auto-compile=off", names});
        QVERIFY(cascader.exitedWith(1));

        QVERIFY(QFileInfo::exists(names + "/new\nline.css"));
        QVERIFY(cascader.printed(logLine(R"(~/names/new\nline.less)", "Success!")));
        QVERIFY2(cascader.printed("^\\d\\d:\\d\\d:\\d\\d  ~/names/b\\.less  .*@missing.*\\n    \\S"),
                 cascader.output.constData());
        const QString report = logLine("~/names", "Cascader cannot compile these LESS files: their names, or the names "
                                                  "of their folders, are not valid UTF-8. Rename them to compile them:");
        QVERIFY2(cascader.printed(report.chopped(1) + "\n    " + QRegularExpression::escape(R"(bad\xFF.less)") + "$"),
                 cascader.output.constData());
        // A compile error is also given as FILE:LINE:COLUMN: for editors and CI.
        QVERIFY(cascader.printed("^" + QRegularExpression::escape(names) + "/b\\.less:2:10: NameError: variable @missing is undefined$"));
        const QRegularExpression logLineStart(QStringLiteral("^(\\d\\d:\\d\\d:\\d\\d  |    |/.*:\\d+:\\d+: )"));
        for (const QString &line : QString::fromUtf8(cascader.output).split(u'\n', Qt::SkipEmptyParts))
            QVERIFY2(logLineStart.match(line).hasMatch(), qPrintable(line));
        QVERIFY(!cascader.process.readAllStandardError().contains("does not exist"));
    }

    // A CI job gets the project file's output, entry files and the project's
    // own less (3, which divides), and this run's source maps and prefixes;
    // in the window those options are refused.
    void optionsOfOneRun()
    {
        const QString site = home() + "/shop";
        const QString less3 = QDir::cleanPath(QFINDTESTDATA("../fixtures/node_modules/less3"));
        QVERIFY2(!less3.isEmpty(), "less 3 is missing: run scripts/setup");
        QVERIFY(QDir().mkpath(site + "/node_modules") && QFile::link(less3, site + "/node_modules/less"));
        writeFile(site + "/less/main.less", ".a { display: flex; width: 10px / 2; }\n");
        writeFile(site + "/less/other.less", ".b { color: red; }\n");
        writeFile(site + "/.browserslistrc", "safari 5\n");
        writeFile(site + "/cascader.json", R"({"output": {"folder": "../css"}, "entryFiles": ["less/main.less"],
                                               "options": {"lessCompiler": "project"}})");
        QVERIFY(QDir().mkpath(site + "/css"));
        Cascader cascader(m_environment, {"--compile-all", "--source-map=inline", "--autoprefix", site});
        QVERIFY2(cascader.exitedWith(0), cascader.output.constData());
        const QByteArray css = readFile(site + "/css/main.css");
        QVERIFY2(css.contains("display: -webkit-box;") && css.contains("width: 5px;")
                     && css.contains("sourceMappingURL=data:application/json;base64,"),
                 css.constData());
        QVERIFY(!QFileInfo::exists(site + "/css/other.css") && !QFileInfo::exists(site + "/css/main.css.map"));

        Cascader window(m_environment, {"--source-map", site});
        QVERIFY(window.exitedWith(2));
    }

    // --json: one object a line with each outcome's fields; --quiet: errors
    // only; --headless says what it watches; without a display the window
    // points at --headless.
    void outputForMachinesAndTerminals()
    {
        const QString site = home() + "/json";
        writeFile(site + "/ok.less", ".m() { a: b; }\n.x { .m; }\n");
        writeFile(site + "/bad.less", "a { color: @missing; }\n");
        Cascader json(m_environment, {"--compile-all", "--json", site});
        QVERIFY(json.exitedWith(1));
        QHash<QString, QJsonObject> outcomes;
        for (const QByteArray &line : json.process.readAllStandardOutput().split('\n')) {
            QJsonParseError error;
            const QJsonObject outcome = QJsonDocument::fromJson(line, &error).object();
            QVERIFY2(line.isEmpty() || error.error == QJsonParseError::NoError, line.constData());
            outcomes.insert(outcome.value("file").toString(), outcome);
        }
        const QJsonObject ok = outcomes.value(site + "/ok.less"), bad = outcomes.value(site + "/bad.less");
        QVERIFY(ok.value("ok").toBool() && ok.value("warnings").toString().startsWith("DEPRECATED WARNING"));
        QCOMPARE(ok.value("css").toString(), site + "/ok.css");
        QVERIFY(!bad.value("ok").toBool() && bad.value("message").toString().contains("@missing"));
        QVERIFY(bad.value("milliseconds").isDouble() && bad.value("triggeredBy").isNull()
                && !bad.value("time").toString().isEmpty());

        Cascader quiet(m_environment, {"--compile-all", "--quiet", site});
        QVERIFY(quiet.exitedWith(1));
        QVERIFY(quiet.printed("^" + QRegularExpression::escape(site) + "/bad\\.less:1:12: "));
        QVERIFY(!quiet.printed("ok\\.less"));

        Cascader headless(m_environment, {"--headless", site});
        QVERIFY(QTest::qWaitFor([&] { return headless.printed("^Watching 2 LESS files in 1 folder$"); }, Timeout));

        QProcessEnvironment noDisplay = m_environment;
        for (const char *variable : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"})
            noDisplay.remove(QLatin1String(variable));
        Cascader window(noDisplay, {});
        QVERIFY(window.exitedWith(1));
        QVERIFY(window.process.readAllStandardError().contains("cascader --headless"));
    }

    void secondStartHandsItsPathsToTheFirst_data()
    {
        QTest::addColumn<QString>("runtimeFolder"); // "@" is the sandbox
        QTest::addColumn<int>("runtimeFolderMode");
        QTest::addColumn<bool>("socketInRuntimeFolder");

        QTest::newRow("runtime folder") << "@/runtime" << 0700 << true;
        QTest::newRow("runtime folder open to others") << "@/runtime" << 0755 << false;
        QTest::newRow("runtime folder is a file") << "@/runtime-file" << 0600 << false;
        QTest::newRow("no runtime folder") << QString() << 0 << false;
    }

    // Whatever the runtime folder, a squatter at the name Cascader once used in
    // the temporary folder never hears from it; a crashed run's socket is
    // replaced without a word. The folder handed over has a newline in its name.
    void secondStartHandsItsPathsToTheFirst()
    {
        QFETCH(QString, runtimeFolder);
        QFETCH(int, runtimeFolderMode);
        QFETCH(bool, socketInRuntimeFolder);
        if (::geteuid() != 0)
            QSKIP("Playing another user takes root.");

        const QString shared = useSharedTemporaryFolder();
        runtimeFolder.replace(u'@', m_sandbox->path());
        if (!runtimeFolder.isEmpty()) {
            if (!QFileInfo::exists(runtimeFolder))
                writeFile(runtimeFolder, {});
            m_environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), runtimeFolder);
            ::chmod(QFile::encodeName(runtimeFolder).constData(), mode_t(runtimeFolderMode));
        }
        const QString socket = (socketInRuntimeFolder ? runtimeFolder : ownSocketFolder()) + "/cascader.socket";
        OtherUser squatter({"listen", QStringLiteral("%1/cascader-%2.socket").arg(shared).arg(::geteuid())});
        QTRY_VERIFY_WITH_TIMEOUT(squatter.output().contains("listening"), Timeout);
        {
            // Killed, as by kill -9, when it goes out of scope.
            Cascader crashed(m_environment, {QStringLiteral("--headless")});
            QTRY_VERIFY_WITH_TIMEOUT(isListening(socket), Timeout);
        }

        const QString site = home() + "/my\nsite";
        QVERIFY(QDir().rename(home() + "/site", site));
        Cascader first(m_environment, {QStringLiteral("--headless")});
        QTRY_VERIFY_WITH_TIMEOUT(isListening(socket), Timeout);
        Cascader second(m_environment, {site, QStringLiteral("/")});
        QVERIFY(second.exitedWith(0));

        QByteArray error;
        QTRY_VERIFY_WITH_TIMEOUT((error += first.process.readAllStandardError()).contains("Select a More Specific"),
                                 Timeout);
        QVERIFY(first.saveUntilPrinted(site + "/less/main.less", "body { color: red; }\n",
                                       logLine(R"(~/my\nsite/less/main.less)", "Success!")));
        first.process.terminate();
        QVERIFY(first.exitedWith(0));
        QVERIFY2(!error.contains("socket"), error.constData());
        QCOMPARE(squatter.output(), QByteArray("listening\n"));
    }

    void foreignSocketFolderIsRefused_data()
    {
        QTest::addColumn<bool>("ownedByOtherUser");
        QTest::addColumn<QString>("reason");
        QTest::newRow("another user's folder") << true << "it belongs to another user";
        QTest::newRow("own folder open to others") << false << "other users may enter it";
    }

    // The start runs on its own, says why, and never talks to the squatter inside.
    void foreignSocketFolderIsRefused()
    {
        QFETCH(bool, ownedByOtherUser);
        QFETCH(QString, reason);
        if (::geteuid() != 0)
            QSKIP("Playing another user takes root.");

        useSharedTemporaryFolder();
        const QString folder = ownSocketFolder();
        if (ownedByOtherUser)
            QCOMPARE(QProcess::execute("runuser", {"-u", "nobody", "--", "mkdir", "-m", "777", folder}), 0);
        else
            QVERIFY(QDir().mkdir(folder) && ::chmod(QFile::encodeName(folder).constData(), 0777) == 0);
        OtherUser squatter({"listen", folder + "/cascader.socket"});
        QTRY_VERIFY_WITH_TIMEOUT(squatter.output().contains("listening"), Timeout);

        Cascader cascader(m_environment, {QStringLiteral("--headless"), home() + "/site"});
        QVERIFY(cascader.saveUntilPrinted(home() + "/site/less/main.less", "body { color: red; }\n",
                                          logLine("~/site/less/main.less", "Success!")));
        const QString error = QString::fromUtf8(cascader.process.readAllStandardError());
        QVERIFY2(error.contains(QStringLiteral("Cascader cannot use %1 to find its other starts: %2.").arg(folder, reason)),
                 qPrintable(error));
        QCOMPARE(squatter.output(), QByteArray("listening\n"));
    }

    // Should the socket be reachable, another user's requests still go unheard.
    void otherUsersAreNotHeard()
    {
        if (::geteuid() != 0)
            QSKIP("Playing another user takes root.");

        useSharedTemporaryFolder();
        const QString socket = ownSocketFolder() + "/cascader.socket";
        Cascader cascader(m_environment, {QStringLiteral("--headless")});
        QTRY_VERIFY_WITH_TIMEOUT(isListening(socket), Timeout);
        QVERIFY(::chmod(QFile::encodeName(ownSocketFolder()).constData(), 0711) == 0);
        QVERIFY(::chmod(QFile::encodeName(socket).constData(), 0777) == 0);

        OtherUser intruder({"send", socket, "open " + home() + "/site\nreopen\n"});
        QVERIFY(intruder.process.waitForFinished(Timeout));
        QCOMPARE(intruder.output(), QByteArray());
        QByteArray error;
        QTRY_VERIFY_WITH_TIMEOUT((error += cascader.process.readAllStandardError())
                                     .contains("Ignored a connection to " + socket.toUtf8() + " from user 65534."),
                                 Timeout);
    }

    // A Node that dies at once: Cascader says so once, on standard error and in
    // the log, however often files are saved, and keeps running.
    void brokenCompilerIsSaidOnce()
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
        QVERIFY(cascader.printed("^\\d\\d:\\d\\d:\\d\\d  LESS compiler  We could not start"));
        QCOMPARE(QString::fromUtf8(cascader.output).count(said), 1);
        cascader.process.terminate();
        QVERIFY(cascader.exitedWith(0));
    }

    void pathsThatCannotBeUsed_data()
    {
        QTest::addColumn<QStringList>("arguments"); // "~" is the home folder
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("said"); // on standard error, among its lines
        QTest::addColumn<int>("lines");

        const QString compileAll = QStringLiteral("--compile-all"), headless = QStringLiteral("--headless");
        QTest::newRow("a mistyped path") << QStringList{compileAll, "~/sight"} << 2 << "~/sight: no such file or folder" << 2;
        QTest::newRow("a text file") << QStringList{compileAll, "~/notes.txt"} << 2 << "~/notes.txt: not a LESS file" << 2;
        QTest::newRow("a folder without LESS files") << QStringList{headless, "~/empty"} << 2
                                                     << "~/empty: no LESS files in this folder" << 2;
        QTest::newRow("a good one among bad ones") << QStringList{compileAll, "~/sight", "~/site"} << 0
                                                   << "~/sight: no such file or folder" << 1;
        QTest::newRow("nothing to compile") << QStringList{compileAll} << 2 << "nothing to compile" << 1;
    }

    // Each path that cannot be used gets one line; nothing usable ends the run at once.
    void pathsThatCannotBeUsed()
    {
        QFETCH(QStringList, arguments);
        QFETCH(int, exitCode);
        QFETCH(QString, said);
        QFETCH(int, lines);

        writeFile(home() + "/notes.txt", "not LESS\n");
        QVERIFY(QDir(home()).mkpath(QStringLiteral("empty/sub")));
        arguments.replaceInStrings(QRegularExpression(QStringLiteral("^~")), home());
        Cascader cascader(m_environment, arguments);
        QVERIFY(cascader.exitedWith(exitCode));
        const QString error = QString::fromUtf8(cascader.process.readAllStandardError());
        QCOMPARE(error.count(QRegularExpression(QStringLiteral("^cascader: .*\n"), QRegularExpression::MultilineOption)), lines);
        QCOMPARE(error.count(u'\n'), lines);
        QVERIFY2(error.contains(said.replace(u'~', home())), qPrintable(error));
    }

    void noWorkerOutlivesCascader_data()
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

    // However Cascader ends, during a burst of compiles, its workers end with it;
    // each quitting signal saves what changed a moment before.
    void noWorkerOutlivesCascader()
    {
        QFETCH(int, signal);
        QFETCH(bool, stuck);

        for (int index = 0; index < 50; ++index)
            writeFile(home() + QStringLiteral("/site/less/extra%1.less").arg(index), "@import 'main';\n");
        writeFile(home() + "/other/a.less", "a { color: red; }\n");
        Cascader cascader(m_environment, {signal ? QStringLiteral("--headless") : QStringLiteral("--compile-all"),
                                          home() + "/site"});
        if (signal) {
            QVERIFY(cascader.saveUntilPrinted(home() + "/site/less/main.less", "body { color: red; }\n",
                                              logLine("~/site/less/extra0.less", "Success!  [Triggered by: main.less]")));
            QVERIFY(!workersOf(home()).isEmpty());
            // A folder a one-shot compiles and hands over a moment before the
            // signal, sooner than the write that follows each change.
            Cascader second(m_environment, {QStringLiteral("--compile-all"), home() + "/other"});
            QVERIFY(second.exitedWith(0));
            QVERIFY(second.printed(logLine("~/other/a.less", "Success!")));
            QVERIFY(cascader.saveUntilPrinted(home() + "/other/a.less", "a { color: blue; }\n",
                                              logLine("~/other/a.less", "Success!")));
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
        // Every signal but SIGKILL is a normal quit, which saves the project.
        if (signal == SIGKILL || signal == 0)
            return;
        QCOMPARE(cascader.process.exitStatus(), QProcess::NormalExit);
        Cascader next(m_environment, {QStringLiteral("--compile-all")});
        QVERIFY(next.exitedWith(0));
        QVERIFY(next.printed(logLine("~/site/less/extra0.less", "Success!")));
        QVERIFY(next.printed(logLine("~/other/a.less", "Success!")));
    }

private:
    QString home() const { return m_sandbox->filePath(QStringLiteral("home")); }
    // Where another user can create names first, as in /tmp; there is no runtime folder.
    QString useSharedTemporaryFolder()
    {
        m_shared = std::make_unique<QTemporaryDir>(QStringLiteral("/tmp/cascader-shared-XXXXXX"));
        ::chmod(QFile::encodeName(m_shared->path()).constData(), 01777);
        m_environment.insert(QStringLiteral("TMPDIR"), m_shared->path());
        m_environment.remove(QStringLiteral("XDG_RUNTIME_DIR"));
        return m_shared->path();
    }
    QString ownSocketFolder() const { return m_shared->filePath(QStringLiteral("cascader-%1").arg(::geteuid())); }

    QProcessEnvironment m_environment;
    std::unique_ptr<QTemporaryDir> m_sandbox;
    std::unique_ptr<QTemporaryDir> m_shared;
};

QTEST_GUILESS_MAIN(TestAppCommandLine)
#include "TestAppCommandLine.moc"
