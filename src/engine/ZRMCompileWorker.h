#pragma once

#include <QObject>
#include <QProcess>
#include <QStringList>
#include <QTimer>

// One long-lived Node process with less loaded, which compiles one file at a
// time. It talks JSON, one object a line: a "ready" line once less is loaded,
// then an answer for each request, in order. A second request may wait in the
// pipe while the first compiles, so that the worker never waits for us.
class ZRMCompileWorker : public QObject
{
    Q_OBJECT

public:
    enum class State { Starting, Idle, Busy, Gone };
    static constexpr int PipelineDepth = 2;
    enum class Failure { CouldNotStart, Crashed, TimedOut };

    struct Answer
    {
        bool ok = false;
        QString message;
        QStringList files;
    };

    ZRMCompileWorker(const QString &nodeJS, const QString &script, QObject *parent = nullptr);
    ~ZRMCompileWorker() override;

    void start();
    // Only while it can take more. A compile still running timeLimitMs after it
    // started kills the worker.
    void compile(const QString &input, const QString &output, bool compress, int timeLimitMs);
    bool canTakeMore() const;
    qsizetype compilesInFlight() const { return m_inFlight; }
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
    quint64 m_nextAnswer = 1;
    qsizetype m_inFlight = 0;
    int m_timeLimitMs = 0;
    QByteArray m_stderrTail;
};
