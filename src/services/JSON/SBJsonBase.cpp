#include "services/JSON/SBJsonBase.h"

SBJsonBase::SBJsonBase(QObject *parent)
    : QObject(parent)
{
}

void SBJsonBase::addErrorWithCode(int code, const QString &description)
{
    std::optional<SBJsonError> underlying;
    if (!m_errorTrace.isEmpty())
        underlying = m_errorTrace.constLast();
    m_errorTrace.append(SBJsonError(code, description, std::move(underlying)));
    Q_EMIT errorTraceChanged();
}

void SBJsonBase::clearErrorTrace()
{
    if (m_errorTrace.isEmpty())
        return;
    m_errorTrace.clear();
    Q_EMIT errorTraceChanged();
}

bool SBJsonBase::enterNesting()
{
    // Counted even without a limit: the writer indents by it.
    ++m_depth;
    if (m_maxDepth != 0 && m_depth > m_maxDepth) {
        addErrorWithCode(SBJsonError::Depth, QStringLiteral("Nested too deep"));
        return false;
    }
    return true;
}

void SBJsonBase::replaceErrorTrace(const QList<SBJsonError> &trace)
{
    m_errorTrace = trace;
    Q_EMIT errorTraceChanged();
}
