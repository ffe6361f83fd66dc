#pragma once

#include "ZRMCompileJob.h"

#include <QObject>
#include <QProcess>
#include <QStringList>
#include <QTimer>

// One long-lived Node process with less loaded, which compiles one file at a
// time. It talks JSON, one object a line: a "ready" line once less is loaded,
// then an answer for each request.
class ZRMCompileWorker : public QObject
{
    Q_OBJECT

public:
    enum class State { Starting, Idle, Busy, Gone };
    enum class Failure { CouldNotStart, Crashed, TimedOut };

    struct Answer
    {
        bool ok = false;
        QString message;
        QStringList files;
        QString warnings;
    };

    ZRMCompileWorker(const QString &nodeJS, const QString &script, QObject *parent = nullptr);
    ~ZRMCompileWorker() override;

    void start();
    // Only when idle. A compile still running after timeLimitMs kills the worker.
    void compile(const ZRMCompileJob &job, int timeLimitMs);
    // Lets the worker finish and exit on its own.
    void retire();

    State state() const { return m_state; }
    qint64 pid() const { return m_process.processId(); }
    // Resident memory in bytes, 0 when unknown.
    qint64 residentMemory() const;

Q_SIGNALS:
    void ready(ZRMCompileWorker *worker);
    void answered(ZRMCompileWorker *worker, const ZRMCompileWorker::Answer &answer);
    // The worker is gone and will not answer; detail says why, in words.
    void failed(ZRMCompileWorker *worker, ZRMCompileWorker::Failure failure, const QString &detail);

private:
    void readAnswers();
    void handleLine(const QByteArray &line);
    void processFinished(int exitCode, QProcess::ExitStatus exitStatus);
    void processErrorOccurred(QProcess::ProcessError error);
    void fail(Failure failure, const QString &detail);
    QString exitDescription(int exitCode, QProcess::ExitStatus exitStatus, bool starting) const;

    QString m_nodeJS;
    QString m_script;
    QProcess m_process;
    QTimer m_timeLimit;
    State m_state = State::Starting;
    quint64 m_nextRequest = 1;
    QByteArray m_stderrTail;
};
