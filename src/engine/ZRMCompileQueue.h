#pragma once

#include "ZRMCompileJob.h"

#include <QHash>
#include <QList>
#include <QSet>

#include <optional>

// The compiles waiting for a worker. A compile asked for again while it waits
// is not added twice but moves to the back, and one asked for again within
// RepeatWindowMs waits until the asking stops: a burst of saves compiles a file
// once or twice, the last time with its last content, and an importer several
// saved files share compiles once, after them. A compile waits while its
// output is being written, so no CSS file is ever written by two compiles at
// once.
class ZRMCompileQueue
{
public:
    static constexpr qint64 RepeatWindowMs = 20;

    // Asked at nowMs (a monotonic clock), to start no sooner than delayMs
    // later. False when the compile merged into one that was already waiting.
    bool add(const ZRMCompileJob &job, qint64 nowMs, qint64 delayMs = 0);
    // A compile to run again at once, ahead of the others.
    void retry(const ZRMCompileJob &job);

    // The first compile due at nowMs whose output is free; its output is then busy.
    std::optional<ZRMCompileJob> takeNext(qint64 nowMs);
    void outputWritten(const QString &output);

    bool isEmpty() const { return m_waiting.isEmpty(); }
    // The earliest time a waiting compile with a free output becomes due, or -1.
    qint64 nextReadyAtMs() const;
    // Empties the queue and returns what was in it.
    QList<ZRMCompileJob> takeAll();

private:
    struct Waiting
    {
        ZRMCompileJob job;
        qint64 readyAtMs;
    };

    void forgetOldRequests(qint64 nowMs);

    QList<Waiting> m_waiting;
    QSet<QString> m_busyOutputs;
    // When each compile was last asked for, while that matters.
    QHash<QString, qint64> m_lastAsked;
};
