#pragma once

#include <QStringList>

// The PATHs given on the command line, sorted into those Cascader can add (a
// folder with LESS files beneath it, or a LESS file) and one line for each of
// the others saying what is wrong with it.
class CommandLinePaths
{
public:
    explicit CommandLinePaths(const QStringList &paths);

    QStringList usable() const { return m_usable; }
    QStringList problems() const { return m_problems; }
    // Paths were given and none of them can be added.
    bool nothingUsable() const { return !m_problems.isEmpty() && m_usable.isEmpty(); }

private:
    QString problemWith(const QString &path) const;

    QStringList m_usable;
    QStringList m_problems;
};
