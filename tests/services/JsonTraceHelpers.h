#pragma once

#include "services/JSON/SBJsonError.h"

#include <QStringList>

// The descriptions of a trace, innermost first.
inline QStringList traceDescriptions(const QList<SBJsonError> &trace)
{
    QStringList descriptions;
    for (const SBJsonError &error : trace)
        descriptions << error.localizedDescription();
    return descriptions;
}

// Each error of a trace must wrap the one before it, and carry the domain.
inline bool traceIsChained(const QList<SBJsonError> &trace)
{
    for (qsizetype i = 0; i < trace.size(); ++i) {
        const SBJsonError *underlying = trace.at(i).underlyingError();
        const bool wrapsPrevious = i == 0 ? underlying == nullptr
                                          : underlying && *underlying == trace.at(i - 1);
        if (!wrapsPrevious || trace.at(i).domain() != SBJsonError::errorDomain)
            return false;
    }
    return true;
}
