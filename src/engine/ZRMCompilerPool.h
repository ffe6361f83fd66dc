#pragma once

#include "ZRMCompileJob.h"
#include "ZRMCompileQueue.h"
#include "ZRMCompileWorker.h"

#include <QElapsedTimer>
#include <QHash>
#include <QObject>
#include <QTimer>

// The warm Node workers that compile LESS files, and the queue in front of
// them. Each compile goes to an idle worker; a worker that dies during a
// compile is replaced and the compile tried once more; one that runs past the
// time limit or grows past the memory bound is replaced.
class ZRMCompilerPool : public QObject
{
    Q_OBJECT

public:
    static constexpr int MaximumDefaultSize = 4;
    static constexpr int DefaultTimeLimitSeconds = 60;
    static constexpr qint64 DefaultMemoryLimitMB = 512;

    explicit ZRMCompilerPool(QObject *parent = nullptr);
    ~ZRMCompilerPool() override;

    // The number of cores, at most MaximumDefaultSize.
    static int defaultSize();

    // Starts size() workers running script on nodeJS, in place of any earlier ones.
    void startWorkers(const QString &nodeJS, const QString &script);
    void setSize(int size);
    int size() const { return m_size; }
    void setTimeLimit(int seconds);
    void setMemoryLimit(qint64 megabytes);

    // Queues a compile that starts no sooner than delayMs from now; false when
    // it merged into one already waiting.
    bool compile(const ZRMCompileJob &job, int delayMs = 0);
    // No worker could be started, and none has since.
    bool isBroken() const { return m_broken; }
    // Nothing waits and nothing runs: the outcome just announced was the last one due.
    bool isIdle() const { return m_running.isEmpty() && m_queue.isEmpty(); }
    // Tops the pool up to its size; a broken pool tries once more.
    void startWorkersAgain();

    QList<qint64> workerProcessIds() const;

Q_SIGNALS:
    // filesRead: what the compiler read, the input first; empty when it did not answer.
    // warnings: what the compiler warned of, whether or not the compile failed.
    void finished(const ZRMCompileJob &job, bool ok, const QString &message, const QStringList &filesRead,
                  const QString &warnings);
    // Once each time the workers stop being able to start, and once when
    // they can again.
    void broken(const QString &reason);
    void working();

private:
    void startWorker();
    void removeWorker(ZRMCompileWorker *worker);
    void workerReady(ZRMCompileWorker *worker);
    void workerAnswered(ZRMCompileWorker *worker, const ZRMCompileWorker::Answer &answer);
    void workerFailed(ZRMCompileWorker *worker, ZRMCompileWorker::Failure failure, const QString &detail);
    void jobLost(ZRMCompileJob job, ZRMCompileWorker::Failure failure, const QString &detail);
    void becomeBroken(const QString &detail);
    void dispatch();
    void finish(const ZRMCompileJob &job, bool ok, const QString &message, const QStringList &filesRead = {},
                const QString &warnings = {});
    bool hasTooManyWorkers() const;
    bool anyWorkerStarted() const;

    QString m_nodeJS;
    QString m_script;
    int m_size;
    int m_timeLimitSeconds = DefaultTimeLimitSeconds;
    qint64 m_memoryLimitBytes = DefaultMemoryLimitMB << 20;
    QList<ZRMCompileWorker *> m_workers;
    QHash<ZRMCompileWorker *, ZRMCompileJob> m_running;
    ZRMCompileQueue m_queue;
    QElapsedTimer m_clock;
    QTimer m_dueTimer;
    bool m_broken = false;
};
