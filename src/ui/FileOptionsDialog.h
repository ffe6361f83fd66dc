#pragma once

#include "engine/LessOptions.h"

#include <QDialog>
#include <QList>

class LessHolder;
class PathHolder;
class ProjectFiles;
class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QPlainTextEdit;

// The compile options of the selected LESS files, several at once: a setting
// on which they differ shows as mixed and stays as each file has it unless
// the user changes it. "Save as Project Defaults" writes them to the folder's
// cascader.json.
class FileOptionsDialog : public QDialog
{
    Q_OBJECT

public:
    FileOptionsDialog(const QList<LessHolder *> &files, PathHolder *folder, ProjectFiles *projectFiles,
                      QWidget *parent = nullptr);

    // options with every setting the user changed here.
    LessOptions appliedTo(LessOptions options) const;
    void applyToFiles();

private:
    void buildForm();
    void showValuesOfFiles();
    void saveAsProjectDefaults();
    QString compilerChoiceText(bool project) const;

    QList<LessHolder *> m_files;
    PathHolder *m_folder;
    ProjectFiles *m_projectFiles;
    QComboBox *m_sourceMap;
    QCheckBox *m_autoprefix;
    QComboBox *m_math;
    QCheckBox *m_strictUnits;
    QLineEdit *m_includePaths;
    QPlainTextEdit *m_globalVariables;
    QComboBox *m_compiler;
    QLabel *m_savedNote;
    bool m_includePathsEdited = false;
    bool m_globalVariablesEdited = false;
};
