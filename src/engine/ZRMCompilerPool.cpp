#include "ZRMCompilerPool.h"

#include "support/Logging.h"

#include <QThread>

#include <algorithm>

namespace {

const QString TimedOutMessage = QStringLiteral("Compile timed out after %1 s");
const QString LostTwiceMessage = QStringLiteral(
    "The LESS compiler stopped while compiling this file, twice (%1).");
const QString CouldNotStartMessage = QStringLiteral("The LESS compiler could not start: %1");
// A worker that could not start while others run is tried again after this long.
constexpr int RestartDelayMs = 1000;

} // namespace

ZRMCompilerPool::ZRMCompilerPool(QObject *parent) : QObject(parent), m_size(defaultSize())
{
    m_clock.start();
    m_dueTimer.setSingleShot(true);
    connect(&m_dueTimer, &QTimer::timeout, this, &ZRMCompilerPool::dispatch);
}

ZRMCompilerPool::~ZRMCompilerPool()
{
    qDeleteAll(m_workers);
}

int ZRMCompilerPool::defaultSize()
{
    return std::clamp(QThread::idealThreadCount(), 1, MaximumDefaultSize);
}

void ZRMCompilerPool::startWorkers(const QString &nodeJS, const QString &script)
{
    m_nodeJS = nodeJS;
    m_script = script;
    m_broken = false;
    while (!m_workers.isEmpty())
        removeWorker(m_workers.constLast());
    startWorkersAgain();
}

// Bounded: a worker that cannot start at all takes the others with it.
void ZRMCompilerPool::startWorkersAgain()
{
    for (qsizetype count = m_workers.size(); count < m_size; ++count)
        startWorker();
}

void ZRMCompilerPool::setSize(int size)
{
    m_size = std::max(1, size);
    if (m_nodeJS.isEmpty() || m_broken)
        return;
    startWorkersAgain();
    // The newest go first; busy workers leave when their compile is done.
    const QList<ZRMCompileWorker *> workers = m_workers;
    for (auto worker = workers.crbegin(); worker != workers.crend() && hasTooManyWorkers(); ++worker) {
        if ((*worker)->state() != ZRMCompileWorker::State::Busy)
            removeWorker(*worker);
    }
}

void ZRMCompilerPool::setTimeLimit(int seconds)
{
    m_timeLimitSeconds = seconds > 0 ? seconds : DefaultTimeLimitSeconds;
}

void ZRMCompilerPool::setMemoryLimit(qint64 megabytes)
{
    m_memoryLimitBytes = (megabytes > 0 ? megabytes : DefaultMemoryLimitMB) << 20;
}

bool ZRMCompilerPool::compile(const ZRMCompileJob &job, int delayMs)
{
    const bool added = m_queue.add(job, m_clock.elapsed(), delayMs);
    dispatch();
    return added;
}

QList<qint64> ZRMCompilerPool::workerProcessIds() const
{
    QList<qint64> ids;
    for (const ZRMCompileWorker *worker : m_workers)
        ids.append(worker->pid());
    return ids;
}

void ZRMCompilerPool::startWorker()
{
    auto *worker = new ZRMCompileWorker(m_nodeJS, m_script, this);
    connect(worker, &ZRMCompileWorker::ready, this, &ZRMCompilerPool::workerReady);
    connect(worker, &ZRMCompileWorker::answered, this, &ZRMCompilerPool::workerAnswered);
    connect(worker, &ZRMCompileWorker::failed, this, &ZRMCompilerPool::workerFailed);
    m_workers.append(worker);
    worker->start();
}

// Called from the worker's own signals, so it is deleted later.
void ZRMCompilerPool::removeWorker(ZRMCompileWorker *worker)
{
    m_workers.removeOne(worker);
    worker->disconnect(this);
    worker->retire();
    worker->deleteLater();
}

void ZRMCompilerPool::workerReady(ZRMCompileWorker *)
{
    if (m_broken) {
        m_broken = false;
        Q_EMIT working();
    }
    dispatch();
}

void ZRMCompilerPool::workerAnswered(ZRMCompileWorker *worker, const ZRMCompileWorker::Answer &answer)
{
    const ZRMCompileJob job = m_running.take(worker);
    m_queue.outputWritten(job.output);
    if (hasTooManyWorkers()) {
        removeWorker(worker);
    } else if (worker->residentMemory() > m_memoryLimitBytes) {
        qCInfo(lcEngine, "A LESS compiler worker grew past %lld MB and is replaced.", m_memoryLimitBytes >> 20);
        removeWorker(worker);
        startWorker();
    }
    finish(job, answer.ok, answer.message, answer.files, answer.warnings);
    dispatch();
}

void ZRMCompilerPool::workerFailed(ZRMCompileWorker *worker, ZRMCompileWorker::Failure failure,
                                   const QString &detail)
{
    const bool wasRunning = m_running.contains(worker);
    const ZRMCompileJob job = m_running.take(worker);
    removeWorker(worker);
    if (failure == ZRMCompileWorker::Failure::CouldNotStart && !anyWorkerStarted()) {
        becomeBroken(detail);
        return;
    }
    if (failure == ZRMCompileWorker::Failure::CouldNotStart)
        QTimer::singleShot(RestartDelayMs, this, [this] {
            if (!m_broken && m_workers.size() < m_size)
                startWorker();
        });
    else
        startWorker();
    if (wasRunning)
        jobLost(job, failure, detail);
    dispatch();
}

void ZRMCompilerPool::jobLost(ZRMCompileJob job, ZRMCompileWorker::Failure failure, const QString &detail)
{
    if (failure == ZRMCompileWorker::Failure::TimedOut) {
        m_queue.outputWritten(job.output);
        finish(job, false, TimedOutMessage.arg(m_timeLimitSeconds));
    } else if (job.attempts < 2) {
        qCWarning(lcEngine, "The LESS compiler stopped while compiling %s (%s); trying once more.",
                  qUtf8Printable(job.input), qUtf8Printable(detail));
        m_queue.retry(job);
    } else {
        m_queue.outputWritten(job.output);
        finish(job, false, LostTwiceMessage.arg(detail));
    }
}

// What waits, and what a dying worker ran, fails with the reason; the owner
// says so once.
void ZRMCompilerPool::becomeBroken(const QString &detail)
{
    while (!m_workers.isEmpty())
        removeWorker(m_workers.constLast());
    const QList<ZRMCompileJob> running = m_running.values();
    m_running.clear();
    const QString reason = CouldNotStartMessage.arg(detail);
    if (!m_broken) {
        m_broken = true;
        Q_EMIT broken(reason);
    }
    for (const ZRMCompileJob &job : running + m_queue.takeAll()) {
        m_queue.outputWritten(job.output);
        finish(job, false, reason);
    }
}

void ZRMCompilerPool::dispatch()
{
    const qint64 now = m_clock.elapsed();
    for (ZRMCompileWorker *worker : std::as_const(m_workers)) {
        if (worker->state() != ZRMCompileWorker::State::Idle || m_running.contains(worker))
            continue;
        std::optional<ZRMCompileJob> job = m_queue.takeNext(now);
        if (!job)
            break;
        job->started = QDateTime::currentDateTime();
        ++job->attempts;
        m_running.insert(worker, *job);
        worker->compile(*job, m_timeLimitSeconds * 1000);
    }
    const qint64 due = m_queue.nextReadyAtMs();
    if (due > now)
        m_dueTimer.start(int(due - now));
}

void ZRMCompilerPool::finish(const ZRMCompileJob &job, bool ok, const QString &message, const QStringList &filesRead,
                             const QString &warnings)
{
    Q_EMIT finished(job, ok, message, filesRead, warnings);
}

bool ZRMCompilerPool::hasTooManyWorkers() const
{
    return m_workers.size() > m_size;
}

bool ZRMCompilerPool::anyWorkerStarted() const
{
    return std::any_of(m_workers.cbegin(), m_workers.cend(), [](const ZRMCompileWorker *worker) {
        return worker->state() == ZRMCompileWorker::State::Idle || worker->state() == ZRMCompileWorker::State::Busy;
    });
}
