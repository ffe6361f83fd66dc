#pragma once

#include <QObject>

class LessModel;
struct Notification;

// Prints the compiler log to standard output for headless runs. As text, each
// entry as it is added: the time, the file and the result on one line, two
// blanks apart, further lines of the result indented by four blanks, and
// after a compile error the place it names as "FILE:LINE:COLUMN: message", the
// form editors and CI annotate. As JSON, one object a line for each compile.
// Control characters in file names are escaped.
class CompilerLogPrinter : public QObject
{
    Q_OBJECT

public:
    struct Style
    {
        bool json = false;
        // Errors only.
        bool quiet = false;
        bool colour = false;
        // Say at start what is watched.
        bool announce = false;
    };

    CompilerLogPrinter(const LessModel *model, Style style, QObject *parent = nullptr);
    ~CompilerLogPrinter() override;

    // Colours for a terminal, unless NO_COLOR says otherwise.
    static bool colourWanted();
    // "Watching 71 LESS files in 1 folder", once the project is in.
    void announceWatching() const;

private:
    void printEntries(int first, int last) const;
    void printOutcome(const Notification &notification) const;

    const LessModel *m_model;
    Style m_style;
};
