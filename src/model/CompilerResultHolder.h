#pragma once

#include "support/StyledText.h"

#include <QDateTime>
#include <QString>

// One entry of the compiler log: when, which file, and the message shown.
class CompilerResultHolder
{
public:
    QDateTime time() const { return m_time; }
    void setTime(const QDateTime &time) { m_time = time; }

    QString file() const { return m_file; }
    void setFile(const QString &file) { m_file = file; }

    StyledText result() const { return m_result; }
    void setResult(const StyledText &result) { m_result = result; }

    // "less 4.9.1" for a compile's outcome, else empty.
    QString compiler() const { return m_compiler; }
    void setCompiler(const QString &compiler) { m_compiler = compiler; }

private:
    QDateTime m_time;
    QString m_file;
    StyledText m_result;
    QString m_compiler;
};
