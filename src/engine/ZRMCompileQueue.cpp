#include "ZRMCompileQueue.h"

#include <algorithm>

namespace {

// Past this many remembered requests the old ones are dropped.
constexpr qsizetype RememberedRequests = 1024;

QString keyOf(const ZRMCompileJob &job)
{
    return job.input + u'\n' + job.output;
}

} // namespace

bool ZRMCompileQueue::add(const ZRMCompileJob &job, qint64 nowMs, qint64 delayMs)
{
    const QString key = keyOf(job);
    const auto lastAsked = m_lastAsked.constFind(key);
    const bool repeated = lastAsked != m_lastAsked.cend() && nowMs - *lastAsked < RepeatWindowMs;
    qint64 readyAtMs = nowMs + std::max(delayMs, repeated ? RepeatWindowMs : 0);
    if (m_lastAsked.size() >= RememberedRequests)
        forgetOldRequests(nowMs);
    m_lastAsked.insert(key, nowMs);

    const auto same = std::find_if(m_waiting.begin(), m_waiting.end(), [&job](const Waiting &waiting) {
        return waiting.job.input == job.input && waiting.job.output == job.output;
    });
    const bool merged = same != m_waiting.end();
    if (merged) {
        readyAtMs = std::max(readyAtMs, same->readyAtMs);
        m_waiting.erase(same);
    }
    m_waiting.append({job, readyAtMs});
    return !merged;
}

void ZRMCompileQueue::forgetOldRequests(qint64 nowMs)
{
    m_lastAsked.removeIf([nowMs](const auto &asked) { return nowMs - asked.value() >= RepeatWindowMs; });
}

void ZRMCompileQueue::retry(const ZRMCompileJob &job)
{
    m_busyOutputs.remove(job.output);
    m_waiting.prepend({job, 0});
}

std::optional<ZRMCompileJob> ZRMCompileQueue::takeNext(qint64 nowMs)
{
    for (auto waiting = m_waiting.begin(); waiting != m_waiting.end(); ++waiting) {
        if (waiting->readyAtMs > nowMs || m_busyOutputs.contains(waiting->job.output))
            continue;
        ZRMCompileJob job = waiting->job;
        m_waiting.erase(waiting);
        m_busyOutputs.insert(job.output);
        return job;
    }
    return std::nullopt;
}

void ZRMCompileQueue::outputWritten(const QString &output)
{
    m_busyOutputs.remove(output);
}

qint64 ZRMCompileQueue::nextReadyAtMs() const
{
    qint64 earliest = -1;
    for (const Waiting &waiting : m_waiting) {
        if (!m_busyOutputs.contains(waiting.job.output) && (earliest < 0 || waiting.readyAtMs < earliest))
            earliest = waiting.readyAtMs;
    }
    return earliest;
}

QList<ZRMCompileJob> ZRMCompileQueue::takeAll()
{
    QList<ZRMCompileJob> jobs;
    for (const Waiting &waiting : std::as_const(m_waiting))
        jobs.append(waiting.job);
    m_waiting.clear();
    return jobs;
}
