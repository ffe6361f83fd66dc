#pragma once

#include <QObject>
#include <QSet>

class MainAppController;
struct Notification;

// The --compile-all run: waits until the start-up work (loading the project,
// adding the folders given) has settled, compiles every checked file once,
// waits for the outcome of each compile it started and reports whether each
// one succeeded.
class CompileAllRun : public QObject
{
    Q_OBJECT

public:
    explicit CompileAllRun(MainAppController *controller, QObject *parent = nullptr);

    void start();

Q_SIGNALS:
    // 0 when every compile succeeded, 1 otherwise, 2 when there was nothing to compile.
    void finished(int exitCode);

private:
    enum class Phase { Settling, Compiling, Done };

    void scheduleIdleCheck();
    void checkWhetherSettled();
    void compileAll();
    void recordOutcome(const Notification &notification);
    void finish(int exitCode);

    MainAppController *m_controller;
    Phase m_phase = Phase::Settling;
    QSet<QString> m_awaitedFiles;
    bool m_failed = false;
};
