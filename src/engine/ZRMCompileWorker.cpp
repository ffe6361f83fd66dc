#include "ZRMCompileWorker.h"

#include "support/Logging.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <csignal>
#include <cstdio>

#include <sys/prctl.h>
#include <unistd.h>

namespace {

// A small young generation and a collection when idle keep a warm worker
// near the size of a fresh one, at no cost to compile times.
const QStringList NodeOptions{QStringLiteral("--expose-gc"), QStringLiteral("--max-semi-space-size=4")};

// Enough of what a dying worker printed to say why it died.
constexpr qsizetype StderrTailSize = 4096;

// The kernel ends the worker when Cascader ends, however it ends.
void dieWithParent(pid_t parent)
{
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != parent)
        ::_exit(1);
}

QStringList stringsOf(const QJsonArray &array)
{
    QStringList strings;
    for (const QJsonValue &value : array)
        strings.append(value.toString());
    return strings;
}

} // namespace

ZRMCompileWorker::ZRMCompileWorker(const QString &nodeJS, const QString &script, QObject *parent)
    : QObject(parent), m_nodeJS(nodeJS), m_script(script)
{
    m_timeLimit.setSingleShot(true);
    connect(&m_timeLimit, &QTimer::timeout, this, [this] {
        fail(Failure::TimedOut, QString());
    });
    connect(&m_process, &QProcess::readyReadStandardOutput, this, &ZRMCompileWorker::readAnswers);
    connect(&m_process, &QProcess::readyReadStandardError, this, [this] {
        const QByteArray text = m_process.readAllStandardError();
        // What a plugin prints goes where ours goes; why a worker could not
        // start is said once, by whoever owns the pool.
        if (m_state != State::Starting)
            std::fwrite(text.constData(), 1, size_t(text.size()), stderr);
        m_stderrTail = (m_stderrTail + text).right(StderrTailSize);
    });
    connect(&m_process, &QProcess::finished, this, &ZRMCompileWorker::processFinished);
    connect(&m_process, &QProcess::errorOccurred, this, &ZRMCompileWorker::processErrorOccurred);
}

ZRMCompileWorker::~ZRMCompileWorker()
{
    m_process.disconnect(this);
    if (m_process.state() != QProcess::NotRunning) {
        m_process.kill();
        m_process.waitForFinished(1000);
    }
}

void ZRMCompileWorker::start()
{
    const pid_t parent = ::getpid();
    m_process.setChildProcessModifier([parent] { dieWithParent(parent); });
    m_process.start(m_nodeJS, NodeOptions + QStringList{m_script});
}

void ZRMCompileWorker::compile(const ZRMCompileJob &job, int timeLimitMs)
{
    Q_ASSERT(m_state == State::Idle);
    m_state = State::Busy;
    QJsonObject request{{QStringLiteral("id"), double(m_nextRequest)},
                        {QStringLiteral("input"), job.input},
                        {QStringLiteral("output"), job.output},
                        {QStringLiteral("compress"), job.compress}};
    job.options.addToRequest(&request, job.input);
    if (!job.lessPackage.isEmpty())
        request.insert(QStringLiteral("less"), job.lessPackage);
    m_process.write(QJsonDocument(request).toJson(QJsonDocument::Compact) + '\n');
    m_timeLimit.start(timeLimitMs);
}

void ZRMCompileWorker::retire()
{
    m_state = State::Gone;
    m_timeLimit.stop();
    m_process.closeWriteChannel();
}

qint64 ZRMCompileWorker::residentMemory() const
{
    QFile statm(QStringLiteral("/proc/%1/statm").arg(pid()));
    if (!statm.open(QIODevice::ReadOnly))
        return 0;
    const QList<QByteArray> fields = statm.readAll().split(' ');
    return fields.size() > 1 ? fields.at(1).toLongLong() * ::sysconf(_SC_PAGESIZE) : 0;
}

void ZRMCompileWorker::readAnswers()
{
    while (m_process.canReadLine())
        handleLine(m_process.readLine().trimmed());
}

void ZRMCompileWorker::handleLine(const QByteArray &line)
{
    const QJsonObject object = QJsonDocument::fromJson(line).object();
    if (object.value(QStringLiteral("ready")).toBool() && m_state == State::Starting) {
        m_state = State::Idle;
        Q_EMIT ready(this);
        return;
    }
    if (m_state != State::Busy || !object.contains(QStringLiteral("ok"))) {
        qCWarning(lcEngine, "The LESS compiler's worker said something unexpected: %s", line.constData());
        return;
    }
    if (object.value(QStringLiteral("id")).toDouble() != double(m_nextRequest))
        return;
    ++m_nextRequest;
    m_timeLimit.stop();
    m_state = State::Idle;
    Q_EMIT answered(this, {object.value(QStringLiteral("ok")).toBool(),
                           object.value(QStringLiteral("message")).toString(),
                           stringsOf(object.value(QStringLiteral("files")).toArray()),
                           object.value(QStringLiteral("warnings")).toString()});
}

void ZRMCompileWorker::processFinished(int exitCode, QProcess::ExitStatus exitStatus)
{
    if (m_state == State::Gone)
        return;
    const bool starting = m_state == State::Starting;
    fail(starting ? Failure::CouldNotStart : Failure::Crashed, exitDescription(exitCode, exitStatus, starting));
}

void ZRMCompileWorker::processErrorOccurred(QProcess::ProcessError error)
{
    if (error == QProcess::FailedToStart && m_state != State::Gone)
        fail(Failure::CouldNotStart, QStringLiteral("%1: %2").arg(m_nodeJS, m_process.errorString()));
}

void ZRMCompileWorker::fail(Failure failure, const QString &detail)
{
    m_state = State::Gone;
    m_timeLimit.stop();
    if (m_process.state() != QProcess::NotRunning)
        m_process.kill();
    Q_EMIT failed(this, failure, detail);
}

// Only what a worker printed while loading explains its end.
QString ZRMCompileWorker::exitDescription(int exitCode, QProcess::ExitStatus exitStatus, bool starting) const
{
    const QString tail = starting ? QString::fromUtf8(m_stderrTail).trimmed() : QString();
    QString description = exitStatus == QProcess::CrashExit
                              ? QStringLiteral("it was killed by signal %1").arg(exitCode)
                              : QStringLiteral("it exited with status %1").arg(exitCode);
    if (!tail.isEmpty())
        description += QStringLiteral(": ") + tail;
    return description;
}
