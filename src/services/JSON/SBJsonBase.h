#pragma once

#include "services/JSON/SBJsonError.h"

#include <QList>
#include <QObject>

// What the JSON reader and writer share: the error trace that says why the
// last call failed, and the limit on how deeply arrays and objects may nest.
class SBJsonBase : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QList<SBJsonError> errorTrace READ errorTrace NOTIFY errorTraceChanged)
    Q_PROPERTY(uint maxDepth READ maxDepth WRITE setMaxDepth)

public:
    static constexpr uint defaultMaxDepth = 512;

    explicit SBJsonBase(QObject *parent = nullptr);

    // Appends an error that wraps the trace's current last error.
    void addErrorWithCode(int code, const QString &description);
    void clearErrorTrace();
    // Innermost error first; empty after a successful call.
    const QList<SBJsonError> &errorTrace() const { return m_errorTrace; }

    // 0 means no limit.
    virtual uint maxDepth() const { return m_maxDepth; }
    virtual void setMaxDepth(uint maxDepth) { m_maxDepth = maxDepth; }
    // The nesting reached by the call in progress.
    uint depth() const { return m_depth; }

Q_SIGNALS:
    void errorTraceChanged();

protected:
    void resetDepth() { m_depth = 0; }
    // Enters one array or object; false (with error 7 added) when that nests
    // deeper than maxDepth.
    bool enterNesting();
    void leaveNesting() { --m_depth; }
    void replaceErrorTrace(const QList<SBJsonError> &trace);

private:
    QList<SBJsonError> m_errorTrace;
    uint m_maxDepth = defaultMaxDepth;
    uint m_depth = 0;
};
