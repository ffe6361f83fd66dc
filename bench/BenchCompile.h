#pragma once

// What the compile benchmarks share: the in-process engine with settings of
// the benchmark's own, plain Node with less as the reference, the real
// executable in a home of its own, memory readings and the printed figures.
#include "engine/ZRMLessCompiler.h"
#include "engine/ZRMLessCompilerDelegate.h"
#include "support/NotificationCenter.h"
#include "support/Resources.h"
#include "BenchStatistics.h"

#include <QCoreApplication>
#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>
#include <QTimer>

#include <cstdio>
#include <cstdlib>
#include <functional>

namespace Bench {

constexpr int TimeoutMs = 180000;
const QString EnginesFolder = QStringLiteral("engines/bin");
const QString BootstrapLessFolder = QStringLiteral(BENCH_BOOTSTRAP_LESS_DIR);

// A benchmark that cannot do what it measures has no figure to print.
[[noreturn]] inline void fail(const QString &why)
{
    std::fprintf(stderr, "%s\n", qUtf8Printable(why));
    std::exit(1);
}

// Truncates and writes in place, as a plain editor save does.
inline void save(const QString &path, const QByteArray &content)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        fail(QStringLiteral("cannot write %1").arg(path));
}

// A colour of its own for each save, so that each CSS written shows which
// save it comes from.
inline QByteArray colorOfSave(int save)
{
    return "#" + QByteArray::number(0x100000 + save, 16);
}

inline QByteArray contentsOf(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        fail(QStringLiteral("cannot read %1").arg(path));
    return file.readAll();
}

inline void copyFolder(const QString &from, const QString &to)
{
    QDirIterator entries(from, QDir::Files, QDirIterator::Subdirectories);
    while (entries.hasNext()) {
        const QString source = entries.next();
        const QString target = to + source.mid(from.size());
        if (!QDir().mkpath(QFileInfo(target).path()) || !QFile::copy(source, target))
            fail(QStringLiteral("cannot copy %1 (run scripts/setup for the fixtures)").arg(source));
    }
}

// Bootstrap's less/ folder, copied into folder/less.
inline QString copyOfBootstrap(const QTemporaryDir &folder)
{
    const QString copy = folder.filePath(QStringLiteral("less"));
    copyFolder(BootstrapLessFolder, copy);
    return copy;
}

inline QString engineFile(const QString &name)
{
    const QString path = Resources::pathForResource(name, {}, EnginesFolder);
    if (path.isEmpty())
        fail(QStringLiteral("%1 is missing from %2").arg(name, Resources::folder() + u'/' + EnginesFolder));
    return path;
}

inline QString nodeJS()
{
    return engineFile(QStringLiteral("node"));
}

inline QString lessc()
{
    return engineFile(QStringLiteral("lessc"));
}

// The folder of the less package that lessc belongs to (lessc is its bin/lessc).
inline QString lessPackage()
{
    QDir bin = QFileInfo(QFileInfo(lessc()).canonicalFilePath()).dir();
    bin.cdUp();
    return bin.path();
}

inline QStringList referenceArguments(const QString &mode, const QStringList &files = {})
{
    return QStringList{QStringLiteral(BENCH_SOURCE_DIR "/less-reference.js"), lessPackage(), mode} + files;
}

// From the start of a fresh process to its exit, in milliseconds; its output is
// kept in output when asked for.
inline double timedRun(const QString &program, const QStringList &arguments, int *exitCode = nullptr,
                       const QProcessEnvironment &environment = QProcessEnvironment::systemEnvironment(),
                       QByteArray *output = nullptr)
{
    QProcess process;
    process.setProcessEnvironment(environment);
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    if (!output)
        process.setStandardOutputFile(QProcess::nullDevice());
    QElapsedTimer timer;
    timer.start();
    process.start(program, arguments);
    if (!process.waitForFinished(TimeoutMs) || process.exitStatus() != QProcess::NormalExit)
        fail(QStringLiteral("%1 did not finish").arg(program));
    const double milliseconds = timer.nsecsElapsed() / 1e6;
    if (exitCode)
        *exitCode = process.exitCode();
    if (output)
        *output = process.readAllStandardOutput();
    return milliseconds;
}

inline double lesscByHand(const QString &input, const QString &output)
{
    int exitCode = 0;
    const double milliseconds = timedRun(nodeJS(), {lessc(), input, output, QStringLiteral("--no-color")}, &exitCode);
    if (exitCode != 0)
        fail(QStringLiteral("lessc failed on %1").arg(input));
    return milliseconds;
}

// One Node process that keeps less loaded; each answer is the time the work
// took inside Node.
class WarmNode
{
public:
    WarmNode()
    {
        m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_process.start(nodeJS(), referenceArguments(QStringLiteral("serve")));
        if (!m_process.waitForStarted())
            fail(QStringLiteral("cannot start the reference Node process"));
    }
    ~WarmNode()
    {
        m_process.closeWriteChannel();
        m_process.waitForFinished();
    }

    qint64 pid() const { return m_process.processId(); }
    // less.render of the file, nothing written.
    double render(const QString &file) { return ask(QStringLiteral("render"), file); }
    // The files listed in listFile, one after another, each into its .css.
    double compileListed(const QString &listFile) { return ask(QStringLiteral("compile"), listFile); }

private:
    double ask(const QString &operation, const QString &path)
    {
        m_process.write(QJsonDocument(QJsonObject{{operation, path}}).toJson(QJsonDocument::Compact) + '\n');
        while (!m_process.canReadLine()) {
            if (!m_process.waitForReadyRead(TimeoutMs))
                fail(QStringLiteral("the reference Node process did not answer"));
        }
        const QJsonObject answer = QJsonDocument::fromJson(m_process.readLine()).object();
        if (answer.value(QStringLiteral("failed")).toInt() != 0)
            fail(QStringLiteral("plain less failed to compile %1").arg(path));
        return answer.value(QStringLiteral("ms")).toDouble();
    }

    QProcess m_process;
};

// VmRSS of a process, in MB; 0 when it is gone.
inline double residentMB(qint64 pid)
{
    QFile status(QStringLiteral("/proc/%1/status").arg(pid));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').constFirst().toDouble() / 1024;
    }
    return 0;
}

// What an idle Node process that has loaded less keeps resident.
inline double idleNodeResidentMB()
{
    QProcess node;
    node.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    node.start(nodeJS(), referenceArguments(QStringLiteral("idle")));
    while (!node.canReadLine()) {
        if (!node.waitForReadyRead(TimeoutMs))
            fail(QStringLiteral("the idle Node process did not load less"));
    }
    // Whatever less set going at load has run by then.
    QThread::msleep(500);
    const double megabytes = residentMB(node.processId());
    node.closeWriteChannel();
    node.waitForFinished();
    return megabytes;
}

inline QList<qint64> childProcessIds(qint64 pid)
{
    QList<qint64> children;
    QDirIterator threads(QStringLiteral("/proc/%1/task").arg(pid), QDir::Dirs | QDir::NoDotAndDotDot);
    while (threads.hasNext()) {
        QFile file(threads.next() + QStringLiteral("/children"));
        if (!file.open(QIODevice::ReadOnly))
            continue;
        for (const QByteArray &child : file.readAll().split(' ')) {
            if (!child.trimmed().isEmpty())
                children << child.trimmed().toLongLong();
        }
    }
    return children;
}

// The real executable with a home, configuration, data and runtime folder
// of its own, so that neither the user's project nor a running Cascader
// is touched.
class Home
{
public:
    Home()
    {
        m_environment = QProcessEnvironment::systemEnvironment();
        for (const char *name : {"HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_RUNTIME_DIR"}) {
            const QString folder = path(QString::fromLatin1(name));
            QDir().mkpath(folder);
            m_environment.insert(QString::fromLatin1(name), folder);
        }
        QFile::setPermissions(path(QStringLiteral("XDG_RUNTIME_DIR")),
                              QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }

    QString path(const QString &name) const { return m_folder.filePath(name); }
    QProcessEnvironment environment() const { return m_environment; }

private:
    QTemporaryDir m_folder;
    QProcessEnvironment m_environment;
};

inline QString cascaderPath()
{
    return QCoreApplication::applicationDirPath() + QStringLiteral("/cascader");
}

// cascader --headless watching folder, ended when this ends.
class HeadlessCascader
{
public:
    HeadlessCascader(const Home &home, const QString &folder)
    {
        m_process.setProcessEnvironment(home.environment());
        m_process.setReadChannel(QProcess::StandardOutput);
        m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_process.start(cascaderPath(), {QStringLiteral("--headless"), folder});
        if (!m_process.waitForStarted())
            fail(QStringLiteral("cannot start %1").arg(cascaderPath()));
    }
    ~HeadlessCascader()
    {
        m_process.terminate();
        m_process.waitForFinished();
    }

    qint64 pid() const { return m_process.processId(); }

    // Reads the log until a line holds text; false after timeoutMs.
    bool waitForLogLine(const QByteArray &text, int timeoutMs)
    {
        QElapsedTimer waited;
        waited.start();
        while (!waited.hasExpired(timeoutMs)) {
            while (m_process.canReadLine()) {
                if (m_process.readLine().contains(text))
                    return true;
            }
            m_process.waitForReadyRead(50);
        }
        return false;
    }

private:
    QProcess m_process;
};

// The in-process engine compiling with this benchmark's settings; every
// compile it starts and finishes is noted with the time of its notification.
class Engine : public ZRMLessCompilerDelegate
{
public:
    struct Timing
    {
        // From the action to the first compile queued, and to the last CSS written.
        double queuedMs = 0;
        double writtenMs = 0;
    };

    Engine() : m_engine(ZRMLessCompiler::sharedLessCompiler())
    {
        if (m_engine->pathToNodeJS().isEmpty() || m_engine->pathToCompiler().isEmpty())
            fail(QStringLiteral("the engine found no node or no compile worker in %1")
                     .arg(Resources::folder() + u'/' + EnginesFolder));
        m_engine->setCompilerDelegate(this);
        NotificationCenter::defaultCenter()->addObserver(
            &m_observer,
            {ZRMLCStartedCompilingAFileNotification, ZRMLCCompiledFileSuccessfullyNotification,
             ZRMLCFailedToCompileFileNotification, ZRMLCFailedToFindCompilerEngineNotification},
            [this](const Notification &notification) { note(notification); });
    }
    ~Engine() override { m_engine->setCompilerDelegate(nullptr); }

    ZRMLessCompiler *operator->() const { return m_engine; }

    void setAutoCompiled(const QString &file, const QString &output)
    {
        m_settings[file] = {{ZRMCompilingSettingsKey::ShouldAutoCompile, true},
                            {ZRMCompilingSettingsKey::OutputPath, output},
                            {ZRMCompilingSettingsKey::ShouldCompressOutput, false}};
    }
    // A partial: not compiled itself, but its importers are after a save.
    void setImporters(const QString &file, const QStringList &importers)
    {
        m_settings[file] = {{ZRMCompilingSettingsKey::LinkedFilesToCompile, importers}};
    }

    QVariantMap compilingSettingsForLESSFileAtPath(const QString &path) override { return m_settings.value(path); }

    // Runs action (a save, a compile request) and waits until compiles
    // compiles have written their CSS, then a moment more, so that a compile
    // the action should not have caused shows in extraCompiles().
    Timing measure(const std::function<void()> &action, int compiles)
    {
        constexpr int QuietMs = 50;
        m_started = m_written = 0;
        m_firstStartedNs = m_lastWrittenNs = -1;
        m_expected = compiles;
        m_clock.start();
        action();
        if (!runUntil([this] { return m_written >= m_expected; }, TimeoutMs))
            fail(QStringLiteral("%1 of %2 compiles written in time").arg(m_written).arg(compiles));
        const Timing timing{m_firstStartedNs / 1e6, m_lastWrittenNs / 1e6};
        runUntil([] { return false; }, QuietMs);
        m_extraCompiles += m_written - compiles;
        return timing;
    }
    int extraCompiles() const { return m_extraCompiles; }
    // Lets the event loop run, for workers to start.
    void settle(int ms)
    {
        runUntil([] { return false; }, ms);
    }

private:
    void note(const Notification &notification)
    {
        if (notification.name == ZRMLCStartedCompilingAFileNotification) {
            if (m_started++ == 0)
                m_firstStartedNs = m_clock.nsecsElapsed();
        } else if (notification.name == ZRMLCCompiledFileSuccessfullyNotification) {
            if (++m_written == m_expected)
                m_lastWrittenNs = m_clock.nsecsElapsed();
        } else {
            fail(QStringLiteral("the engine failed: %1 %2")
                     .arg(notification.userInfo.value(ZRMLessCompilerKey::File).toString(),
                          notification.userInfo.value(ZRMLessCompilerKey::Result).toString()));
        }
        if (m_loop)
            m_loop->quit();
    }

    // Runs the event loop until done() holds, looked at after each notification.
    bool runUntil(const std::function<bool()> &done, int timeoutMs)
    {
        QEventLoop loop;
        QTimer deadline;
        deadline.setSingleShot(true);
        QObject::connect(&deadline, &QTimer::timeout, &loop, &QEventLoop::quit);
        deadline.start(timeoutMs);
        m_loop = &loop;
        while (!done() && deadline.isActive())
            loop.exec();
        m_loop = nullptr;
        return done();
    }

    ZRMLessCompiler *m_engine;
    QObject m_observer;
    QHash<QString, QVariantMap> m_settings;
    QElapsedTimer m_clock;
    QEventLoop *m_loop = nullptr;
    int m_expected = 0;
    int m_started = 0;
    int m_written = 0;
    qint64 m_firstStartedNs = -1;
    qint64 m_lastWrittenNs = -1;
    int m_extraCompiles = 0;
};

struct Reference
{
    QString name;
    double value;
};

// A figure, each reference beside it with the figure's ratio to it, and
// whether the target, if it has one, is met.
inline void report(const QString &figure, double value, const QString &unit, const QList<Reference> &references,
                   const QString &target, bool met)
{
    std::printf("%s: %.2f %s\n", qUtf8Printable(figure), value, qUtf8Printable(unit));
    for (const Reference &reference : references)
        std::printf("    %s: %.2f %s, ratio %.3f\n", qUtf8Printable(reference.name), reference.value,
                    qUtf8Printable(unit), value / reference.value);
    if (!target.isEmpty())
        std::printf("    target %s: %s\n", qUtf8Printable(target), met ? "met" : "NOT met");
    std::fflush(stdout);
}

} // namespace Bench
