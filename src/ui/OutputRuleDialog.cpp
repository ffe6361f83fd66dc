#include "OutputRuleDialog.h"

#include "model/PathHolder.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>

namespace {

const QString DefaultCSSFolder = QStringLiteral("../css");
const QString DefaultReplaced = QStringLiteral("less");
const QString DefaultReplacement = QStringLiteral("css");

} // namespace

OutputRuleDialog::OutputRuleDialog(PathHolder *folder, QWidget *parent) : QDialog(parent), m_folder(folder)
{
    setWindowTitle(tr("CSS Output of %1").arg(folder->userSelectedLastPathComponent()));
    m_beside = new QRadioButton(tr("Beside each LESS file"), this);
    m_intoFolder = new QRadioButton(tr("Into the folder"), this);
    m_replace = new QRadioButton(tr("Where the folder"), this);
    m_folderPath = new QLineEdit(DefaultCSSFolder, this);
    m_folderPath->setToolTip(tr("Relative to each LESS file's folder, or a full path"));
    m_replaceWhat = new QLineEdit(DefaultReplaced, this);
    m_replaceWith = new QLineEdit(DefaultReplacement, this);
    m_applyToExisting = new QCheckBox(tr("Also move the CSS of the files already in this folder"), this);

    auto *grid = new QGridLayout;
    grid->addWidget(new QLabel(tr("New files in this folder put their CSS:"), this), 0, 0, 1, 4);
    grid->addWidget(m_beside, 1, 0, 1, 4);
    grid->addWidget(m_intoFolder, 2, 0);
    grid->addWidget(m_folderPath, 2, 1, 1, 3);
    grid->addWidget(m_replace, 3, 0);
    grid->addWidget(m_replaceWhat, 3, 1);
    grid->addWidget(new QLabel(tr("is replaced by"), this), 3, 2);
    grid->addWidget(m_replaceWith, 3, 3);
    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto *layout = new QVBoxLayout(this);
    layout->addLayout(grid);
    layout->addWidget(m_applyToExisting);
    layout->addWidget(buttons);

    for (QRadioButton *choice : {m_beside, m_intoFolder, m_replace})
        connect(choice, &QRadioButton::toggled, this, &OutputRuleDialog::updateInputs);
    showRule(folder->effectiveOutputRule());
}

void OutputRuleDialog::showRule(const OutputRule &rule)
{
    switch (rule.kind) {
    case OutputRule::Kind::Folder:
        m_folderPath->setText(rule.folder);
        m_intoFolder->setChecked(true);
        break;
    case OutputRule::Kind::ReplaceComponent:
        m_replaceWhat->setText(rule.replace);
        m_replaceWith->setText(rule.with);
        m_replace->setChecked(true);
        break;
    case OutputRule::Kind::BesideFile:
        m_beside->setChecked(true);
        break;
    }
    updateInputs();
}

void OutputRuleDialog::updateInputs()
{
    m_folderPath->setEnabled(m_intoFolder->isChecked());
    m_replaceWhat->setEnabled(m_replace->isChecked());
    m_replaceWith->setEnabled(m_replace->isChecked());
}

OutputRule OutputRuleDialog::chosenRule() const
{
    if (m_intoFolder->isChecked() && !m_folderPath->text().trimmed().isEmpty())
        return OutputRule::intoFolder(m_folderPath->text().trimmed());
    const QString replace = m_replaceWhat->text().trimmed();
    const QString with = m_replaceWith->text().trimmed();
    if (m_replace->isChecked() && OutputRule::isFolderName(replace) && OutputRule::isFolderName(with))
        return OutputRule::replacingComponent(replace, with);
    return {};
}

void OutputRuleDialog::apply()
{
    m_folder->setOutputRule(chosenRule());
    if (m_applyToExisting->isChecked())
        m_folder->applyOutputRuleToEveryFile();
}
