#include "CompileErrorLocation.h"

#include <QRegularExpression>

QString CompileErrorLocation::annotation() const
{
    return QStringLiteral("%1:%2:%3: %4").arg(file).arg(line).arg(column).arg(message);
}

CompileErrorLocation CompileErrorLocation::parse(const QString &errorText)
{
    static const QRegularExpression place(
        QStringLiteral("^(.*) in (.+) on line (\\d+), column (\\d+):$"), QRegularExpression::MultilineOption);
    const QRegularExpressionMatch match = place.match(errorText);
    if (!match.hasMatch())
        return {};
    return {match.captured(2), match.captured(3).toInt(), match.captured(4).toInt(), match.captured(1)};
}
