#include "StyledText.h"

StyledText::StyledText(const QString &text, RgbaColor color, double pointSize, bool bold)
{
    append(text, color, pointSize, bold);
}

StyledText &StyledText::append(const QString &text, RgbaColor color, double pointSize, bool bold)
{
    m_runs.append(Run{text, color, pointSize, bold});
    return *this;
}

QString StyledText::plainText() const
{
    QString text;
    for (const Run &run : m_runs)
        text += run.text;
    return text;
}
