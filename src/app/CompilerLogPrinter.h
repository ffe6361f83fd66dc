#pragma once

#include <QObject>

class LessModel;

// Prints each compiler-log entry to standard output as it is added: the time,
// the file and the result on one line, two blanks apart, and any further
// lines of the result indented by four blanks. Control characters in the file
// name are escaped.
class CompilerLogPrinter : public QObject
{
    Q_OBJECT

public:
    explicit CompilerLogPrinter(const LessModel *model, QObject *parent = nullptr);

private:
    void printEntries(int first, int last) const;

    const LessModel *m_model;
};
