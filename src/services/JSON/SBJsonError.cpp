#include "services/JSON/SBJsonError.h"

#include <QStringList>

SBJsonError::SBJsonError(int code, const QString &description, std::optional<SBJsonError> underlying)
    : m_domain(errorDomain)
    , m_code(code)
    , m_description(description)
{
    if (underlying)
        m_underlying = std::make_shared<const SBJsonError>(std::move(*underlying));
}

QString SBJsonError::toString() const
{
    return QStringLiteral("Error Domain=%1 Code=%2 \"%3\"").arg(m_domain).arg(m_code).arg(m_description);
}

QString SBJsonError::describeTrace(const QList<SBJsonError> &trace)
{
    QStringList errors;
    errors.reserve(trace.size());
    for (const SBJsonError &error : trace)
        errors.append(error.toString());
    return u'(' + errors.join(QStringLiteral(", ")) + u')';
}

bool operator==(const SBJsonError &a, const SBJsonError &b)
{
    const bool sameUnderlying = a.m_underlying && b.m_underlying
                                    ? *a.m_underlying == *b.m_underlying
                                    : a.m_underlying == b.m_underlying;
    return a.m_domain == b.m_domain && a.m_code == b.m_code && a.m_description == b.m_description
           && sameUnderlying;
}
