#include "CompilerLogPrinter.h"

#include "model/LessModel.h"
#include "support/PathUtils.h"

#include <cstdio>

namespace {

const QString TimeFormat = QStringLiteral("HH:mm:ss");
const QString Separator = QStringLiteral("  ");
const QString ContinuationIndent = QStringLiteral("    ");

// A newline in a file name would look like the start of a further line.
QString formattedEntry(const CompilerResultHolder &entry)
{
    const QStringList lines = entry.result().plainText().split(u'\n');
    QString text = entry.time().toString(TimeFormat) + Separator + PathUtils::printablePath(entry.file())
                   + Separator + lines.constFirst() + u'\n';
    for (qsizetype index = 1; index < lines.size(); ++index)
        text += ContinuationIndent + lines.at(index) + u'\n';
    return text;
}

} // namespace

CompilerLogPrinter::CompilerLogPrinter(const LessModel *model, QObject *parent)
    : QObject(parent), m_model(model)
{
    connect(model, &LessModel::compilerResultsInserted, this, &CompilerLogPrinter::printEntries);
}

// Flushed at once, so that whoever reads the output sees each entry as it happens.
void CompilerLogPrinter::printEntries(int first, int last) const
{
    for (int row = first; row <= last; ++row)
        std::fputs(qUtf8Printable(formattedEntry(m_model->compilerResultData().at(row))), stdout);
    std::fflush(stdout);
}
