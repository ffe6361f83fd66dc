#include "FileOptionsDialog.h"

#include "app/ProjectFiles.h"
#include "engine/LessPackage.h"
#include "model/PathHolder.h"
#include "support/PathUtils.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>

#include <algorithm>

namespace {

// Include paths are written as a shell's PATH is.
const QChar PathSeparator = u':';
const QString VariableSeparator = QStringLiteral(" = ");

template<typename Value>
std::optional<Value> commonValue(const QList<LessHolder *> &files, Value (*valueOf)(const LessOptions &))
{
    const Value first = valueOf(files.constFirst()->lessOptions());
    const bool same = std::all_of(files.cbegin(), files.cend(),
                                  [&](const LessHolder *file) { return valueOf(file->lessOptions()) == first; });
    return same ? std::optional<Value>(first) : std::nullopt;
}

// A combo box whose first entry, "Mixed", is there only while the files differ.
void selectOrShowMixed(QComboBox *combo, const std::optional<QVariant> &value)
{
    if (value) {
        combo->setCurrentIndex(std::max(0, combo->findData(*value)));
        return;
    }
    combo->insertItem(0, QObject::tr("Mixed"));
    combo->setCurrentIndex(0);
}

void checkOrShowMixed(QCheckBox *box, std::optional<bool> value)
{
    box->setTristate(!value);
    box->setCheckState(!value ? Qt::PartiallyChecked : *value ? Qt::Checked : Qt::Unchecked);
    QObject::connect(box, &QCheckBox::clicked, box, [box] { box->setTristate(false); });
}

QString variablesText(const QMap<QString, QString> &variables)
{
    QStringList lines;
    for (auto it = variables.cbegin(); it != variables.cend(); ++it)
        lines << it.key() + VariableSeparator + it.value();
    return lines.join(u'\n');
}

// "name = value" a line; an @ before the name is allowed, lines without = are skipped.
QMap<QString, QString> variablesOf(const QString &text)
{
    QMap<QString, QString> variables;
    for (const QString &line : text.split(u'\n')) {
        const qsizetype equals = line.indexOf(u'=');
        QString name = line.left(equals).trimmed();
        if (name.startsWith(u'@'))
            name.remove(0, 1);
        if (equals > 0 && !name.isEmpty())
            variables.insert(name, line.mid(equals + 1).trimmed());
    }
    return variables;
}

QStringList pathsOf(const QString &text)
{
    QStringList paths = text.split(PathSeparator, Qt::SkipEmptyParts);
    for (QString &path : paths)
        path = path.trimmed();
    paths.removeAll(QString());
    return paths;
}

} // namespace

FileOptionsDialog::FileOptionsDialog(const QList<LessHolder *> &files, PathHolder *folder,
                                     ProjectFiles *projectFiles, QWidget *parent)
    : QDialog(parent), m_files(files), m_folder(folder), m_projectFiles(projectFiles)
{
    setWindowTitle(files.size() == 1 ? tr("Options of %1").arg(files.constFirst()->lessFilename())
                                     : tr("Options of %n Files", nullptr, int(files.size())));
    buildForm();
    showValuesOfFiles();
}

void FileOptionsDialog::buildForm()
{
    auto *form = new QFormLayout;
    m_sourceMap = new QComboBox(this);
    m_sourceMap->addItem(tr("None"), int(LessOptions::SourceMap::None));
    m_sourceMap->addItem(tr("A .css.map file beside the CSS"), int(LessOptions::SourceMap::File));
    m_sourceMap->addItem(tr("Inline, in the CSS file"), int(LessOptions::SourceMap::Inline));
    form->addRow(tr("Source map:"), m_sourceMap);
    m_autoprefix = new QCheckBox(tr("Add vendor prefixes (autoprefixer)"), this);
    m_autoprefix->setToolTip(tr("For the browsers in the project's .browserslistrc or package.json, "
                                "else for browserslist's defaults"));
    form->addRow(QString(), m_autoprefix);
    m_math = new QComboBox(this);
    m_math->addItem(tr("The compiler's default"), QString());
    for (const QString &mode : LessOptions::mathModes())
        m_math->addItem(mode, mode);
    form->addRow(tr("Math:"), m_math);
    m_strictUnits = new QCheckBox(tr("Strict units"), this);
    form->addRow(QString(), m_strictUnits);
    m_includePaths = new QLineEdit(this);
    m_includePaths->setPlaceholderText(tr("Folders to search for imports, separated by :"));
    connect(m_includePaths, &QLineEdit::textEdited, this, [this] { m_includePathsEdited = true; });
    form->addRow(tr("Include paths:"), m_includePaths);
    m_globalVariables = new QPlainTextEdit(this);
    m_globalVariables->setPlaceholderText(tr("One a line: name = value"));
    m_globalVariables->setTabChangesFocus(true);
    m_globalVariables->setFixedHeight(m_globalVariables->fontMetrics().lineSpacing() * 5);
    connect(m_globalVariables, &QPlainTextEdit::textChanged, this, [this] { m_globalVariablesEdited = true; });
    form->addRow(tr("Global variables:"), m_globalVariables);
    m_compiler = new QComboBox(this);
    m_compiler->addItem(compilerChoiceText(false), false);
    m_compiler->addItem(compilerChoiceText(true), true);
    form->addRow(tr("Compiler:"), m_compiler);

    m_savedNote = new QLabel(this);
    m_savedNote->setWordWrap(true);
    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    QPushButton *save = buttons->addButton(tr("Save as Project Defaults"), QDialogButtonBox::ActionRole);
    save->setEnabled(m_folder && m_projectFiles);
    save->setToolTip(tr("Write these options to cascader.json at the top of the watched folder"));
    connect(save, &QPushButton::clicked, this, &FileOptionsDialog::saveAsProjectDefaults);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);

    auto *layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addWidget(m_savedNote);
    layout->addWidget(buttons);
}

QString FileOptionsDialog::compilerChoiceText(bool project) const
{
    if (!project)
        return tr("Bundled less %1").arg(LessPackage::versionAt(LessPackage::bundledFolder()));
    const LessHolder *first = m_files.constFirst();
    const QString package = LessPackage::projectFolderFor(first->lessFileFullPath(), first->memberOfWatchedFolder());
    if (package.isEmpty())
        return tr("The project's own less (none in node_modules: the bundled one compiles)");
    return tr("The project's own less %1 (%2)")
        .arg(LessPackage::versionAt(package), PathUtils::abbreviateWithTilde(package));
}

void FileOptionsDialog::showValuesOfFiles()
{
    const auto sourceMap = commonValue<int>(m_files, [](const LessOptions &o) { return int(o.sourceMap); });
    selectOrShowMixed(m_sourceMap, sourceMap ? std::optional<QVariant>(*sourceMap) : std::nullopt);
    const auto math = commonValue<QString>(m_files, [](const LessOptions &o) { return o.math; });
    selectOrShowMixed(m_math, math ? std::optional<QVariant>(*math) : std::nullopt);
    const auto projectLess = commonValue<bool>(m_files, [](const LessOptions &o) { return o.projectLess; });
    selectOrShowMixed(m_compiler, projectLess ? std::optional<QVariant>(*projectLess) : std::nullopt);
    checkOrShowMixed(m_autoprefix, commonValue<bool>(m_files, [](const LessOptions &o) { return o.autoprefix; }));
    checkOrShowMixed(m_strictUnits, commonValue<bool>(m_files, [](const LessOptions &o) { return o.strictUnits; }));

    const auto paths = commonValue<QStringList>(m_files, [](const LessOptions &o) { return o.includePaths; });
    m_includePaths->setText(paths ? paths->join(PathSeparator) : QString());
    if (!paths)
        m_includePaths->setPlaceholderText(tr("Mixed"));
    const auto variables =
        commonValue<QMap<QString, QString>>(m_files, [](const LessOptions &o) { return o.globalVariables; });
    m_globalVariables->setPlainText(variables ? variablesText(*variables) : QString());
    if (!variables)
        m_globalVariables->setPlaceholderText(tr("Mixed"));
    m_globalVariablesEdited = false;
}

LessOptions FileOptionsDialog::appliedTo(LessOptions options) const
{
    if (m_sourceMap->currentData().isValid())
        options.sourceMap = LessOptions::SourceMap(m_sourceMap->currentData().toInt());
    if (m_math->currentData().isValid())
        options.math = m_math->currentData().toString();
    if (m_compiler->currentData().isValid())
        options.projectLess = m_compiler->currentData().toBool();
    if (m_autoprefix->checkState() != Qt::PartiallyChecked)
        options.autoprefix = m_autoprefix->isChecked();
    if (m_strictUnits->checkState() != Qt::PartiallyChecked)
        options.strictUnits = m_strictUnits->isChecked();
    if (m_includePathsEdited || !m_includePaths->text().isEmpty())
        options.includePaths = pathsOf(m_includePaths->text());
    if (m_globalVariablesEdited)
        options.globalVariables = variablesOf(m_globalVariables->toPlainText());
    return options;
}

void FileOptionsDialog::applyToFiles()
{
    for (LessHolder *file : std::as_const(m_files))
        file->setLessOptions(appliedTo(file->lessOptions()));
}

void FileOptionsDialog::saveAsProjectDefaults()
{
    const LessHolder *first = m_files.constFirst();
    QString error;
    if (!m_projectFiles->saveAsProjectDefaults(m_folder, appliedTo(first->lessOptions()),
                                               first->shouldCompressCSSOutput(), &error)) {
        QMessageBox::warning(this, tr("Cannot Save the Project Defaults"), error);
        return;
    }
    m_savedNote->setText(tr("Saved to %1. Files found from now on take these options.")
                             .arg(PathUtils::abbreviateWithTilde(
                                 ProjectDefaults::pathIn(m_folder->userSelectedFullPath()))));
}
