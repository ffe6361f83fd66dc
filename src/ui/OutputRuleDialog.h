#pragma once

#include "model/OutputRule.h"

#include <QDialog>

class PathHolder;
class QCheckBox;
class QLineEdit;
class QRadioButton;

// Where the CSS of a watched folder's files goes: beside each file, into a
// folder relative to it, or where a folder name of its path is replaced.
// The rule applies to files found from now on, and to the folder's files
// now when the user asks.
class OutputRuleDialog : public QDialog
{
    Q_OBJECT

public:
    explicit OutputRuleDialog(PathHolder *folder, QWidget *parent = nullptr);

    OutputRule chosenRule() const;
    // Sets the folder's rule, and moves its files' CSS when asked to.
    void apply();

private:
    void showRule(const OutputRule &rule);
    void updateInputs();

    PathHolder *m_folder;
    QRadioButton *m_beside;
    QRadioButton *m_intoFolder;
    QRadioButton *m_replace;
    QLineEdit *m_folderPath;
    QLineEdit *m_replaceWhat;
    QLineEdit *m_replaceWith;
    QCheckBox *m_applyToExisting;
};
