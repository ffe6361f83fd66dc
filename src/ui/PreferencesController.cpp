#include "PreferencesController.h"

#include "engine/ZRMCompilerPool.h"
#include "support/UserDefaults.h"
#include "support/UserDefaultsKeys.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalBlocker>
#include <QSlider>
#include <QSpinBox>
#include <QStyle>
#include <QVBoxLayout>

#include <algorithm>

namespace {

const QString WindowTitle = QStringLiteral("Cascader Preferences");
const QString GeneralTitle = QStringLiteral("General");
const QString CompilingTitle = QStringLiteral("Compiling");
const QString RefreshTitle = QStringLiteral("Folder Refresh");
const QString AppModeTitle = QStringLiteral("Start-up");
const QString AutoUpdateText = QStringLiteral("Check for updates at start-up");
const QString BringToFrontText = QStringLiteral("Bring Cascader to the front when a compile fails");
const QString ShowLogOnFailureText = QStringLiteral("Show the log when a compile fails");
const QString NotificationsText = QStringLiteral("Notify of:");
// The preference's values, in the order the menu lists them.
const QStringList NotificationChoices{QStringLiteral("all"), QStringLiteral("failures"), QStringLiteral("none")};
const QStringList NotificationLabels{QStringLiteral("Every compile"), QStringLiteral("Failed compiles"),
                                     QStringLiteral("Nothing")};
const QString EditorText = QStringLiteral("Open files with:");
const QString EditorPlaceholder = QStringLiteral("$VISUAL or $EDITOR, else the desktop's choice");
const QString EditorNote = QStringLiteral("A command: %f stands for the file, %l for the line.");
const QString CompressCSSText = QStringLiteral("Compress the CSS of newly added files");
const QString AutoSetCSSPathsText =
    QStringLiteral("Write CSS into the \u201Ccss\u201D folder beside a LESS folder, when there is one");
const QString WorkersText = QStringLiteral("Compiler processes:");
const QString AutomaticWorkersText = QStringLiteral("One per core (%1)");
const QString TimeLimitText = QStringLiteral("Stop a compile after:");
const QString SecondsSuffix = QStringLiteral(" s");
const QString RefreshText = QStringLiteral("Refresh watched folders:");
const QString NeverRefreshLabel = QStringLiteral("never");
const QString RefreshEveryMinuteLabel = QStringLiteral("every %1 minute");
const QString RefreshEveryMinutesLabel = QStringLiteral("every %1 minutes");
const QString SkippedFoldersText = QStringLiteral("Skip folders named:");
const QString SkippedFoldersNote = QStringLiteral("Neither scanned nor watched. * and ? match any text.");
const QString SkippedFoldersSeparator = QStringLiteral(", ");
const QString AppModeText = QStringLiteral("Show Cascader as:");
const QString WindowModeText = QStringLiteral("A window");
const QString TrayModeText = QStringLiteral("An icon in the system tray");
const QString AppModeNote = QStringLiteral("Takes effect at the next start.");
const QString LiveReloadTitle = QStringLiteral("Live Reload");
const QString LiveReloadText = QStringLiteral("Put each new CSS into the browser pages that use it");
const QString LiveReloadNote = QStringLiteral(
    "Add <script src=\"http://localhost:35729/livereload.js\"></script> to your pages (with the port\n"
    "below), or use a LiveReload browser extension.");
const QString LiveReloadPortText = QStringLiteral("Port:");
const QString AllAddressesText = QStringLiteral("Listen on every network address, not only on this computer");
const QString AllAddressesWarning =
    QStringLiteral("Anyone on the network can connect, and learn the paths of your CSS files.");

constexpr int MaximumWorkers = 16;
constexpr int MaximumPort = 65535;
constexpr int MinimumTimeLimit = 5;
constexpr int MaximumTimeLimit = 3600;
constexpr int MinimumRefreshInterval = 1;
constexpr int RefreshPageStep = 5;
constexpr int RefreshSliderWidth = 220;
constexpr int SectionIndent = 16;
constexpr qreal NoteFontScale = 0.9;
// Readable on light and dark backgrounds alike.
const QColor WarningColor(0xd0, 0x40, 0x10);

QLabel *createSectionTitle(const QString &text, QWidget *parent)
{
    auto *title = new QLabel(text, parent);
    QFont font = title->font();
    font.setBold(true);
    title->setFont(font);
    return title;
}

// A smaller grey line under a control.
QLabel *createNote(const QString &text, QWidget *parent)
{
    auto *note = new QLabel(text, parent);
    QFont font = note->font();
    font.setPointSizeF(font.pointSizeF() * NoteFontScale);
    note->setFont(font);
    note->setForegroundRole(QPalette::PlaceholderText);
    return note;
}

// "build, , cache " holds two names.
QStringList skippedFoldersIn(const QString &text)
{
    QStringList names = text.split(u',');
    for (QString &name : names)
        name = name.trimmed();
    names.removeAll(QString());
    return names;
}

// A bold title over its controls, which are indented under it.
QWidget *createSection(const QString &title, QLayout *controls, QWidget *parent)
{
    auto *section = new QWidget(parent);
    auto *layout = new QVBoxLayout(section);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(createSectionTitle(title, section));
    controls->setContentsMargins(SectionIndent, 0, 0, 0);
    layout->addLayout(controls);
    return section;
}

} // namespace

PreferencesController::PreferencesController(QWidget *parent) : QDialog(parent)
{
    setWindowTitle(WindowTitle);

    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::close);

    auto *layout = new QVBoxLayout(this);
    const int sectionSpacing = style()->pixelMetric(QStyle::PM_LayoutVerticalSpacing) * 3;
    layout->setSpacing(sectionSpacing);
    layout->addWidget(buildGeneralSection());
    layout->addWidget(buildCompilingSection());
    layout->addWidget(buildRefreshSection());
    layout->addWidget(buildAppModeSection());
    layout->addWidget(buildLiveReloadSection());
    layout->addWidget(buttons);
    layout->setSizeConstraint(QLayout::SetFixedSize);
    alignRowLabels();

    showUserDefaults();
}

// The label reads the stored value, so it also shows what another window wrote.
void PreferencesController::setAutoRefreshLabel()
{
    const int minutes = UserDefaults::standardUserDefaults()->integerForKey(UserDefaultsKeys::RefreshInterval);
    if (minutes == NeverRefreshInterval)
        m_jRefreshLabelString = NeverRefreshLabel;
    else if (minutes == 1)
        m_jRefreshLabelString = RefreshEveryMinuteLabel.arg(minutes);
    else
        m_jRefreshLabelString = RefreshEveryMinutesLabel.arg(minutes);
    m_refreshLabel->setText(m_jRefreshLabelString);
    Q_EMIT jRefreshLabelStringChanged(m_jRefreshLabelString);
}

void PreferencesController::showEvent(QShowEvent *event)
{
    showUserDefaults();
    QDialog::showEvent(event);
}

// Named after its key, so that one loop can show every check box.
QCheckBox *PreferencesController::createCheckBox(const QString &text, QLatin1StringView key)
{
    auto *checkBox = new QCheckBox(text, this);
    checkBox->setObjectName(key);
    connect(checkBox, &QCheckBox::toggled, this,
            [key](bool checked) { UserDefaults::standardUserDefaults()->setBool(checked, key); });
    return checkBox;
}

// Named after its key, like the check boxes.
QSpinBox *PreferencesController::createSpinBox(QLatin1StringView key, int minimum, int maximum)
{
    auto *spinBox = new QSpinBox(this);
    spinBox->setObjectName(key);
    spinBox->setRange(minimum, maximum);
    connect(spinBox, &QSpinBox::valueChanged, this,
            [key](int value) { UserDefaults::standardUserDefaults()->setInteger(value, key); });
    return spinBox;
}

QWidget *PreferencesController::buildGeneralSection()
{
    m_autoUpdateButton = createCheckBox(AutoUpdateText, UserDefaultsKeys::UpdateAtStartup);
    m_bringToFrontButton = createCheckBox(BringToFrontText, UserDefaultsKeys::BringAppToFrontOnError);
    m_notificationsPopUpButton = new QComboBox(this);
    m_notificationsPopUpButton->addItems(NotificationLabels);
    connect(m_notificationsPopUpButton, &QComboBox::currentIndexChanged, this, [](int choice) {
        UserDefaults::standardUserDefaults()->setObject(NotificationChoices.value(choice), UserDefaultsKeys::Notifications);
    });
    m_editorField = new QLineEdit(this);
    m_editorField->setPlaceholderText(EditorPlaceholder);
    connect(m_editorField, &QLineEdit::editingFinished, this, [this] {
        UserDefaults::standardUserDefaults()->setObject(m_editorField->text().trimmed(), UserDefaultsKeys::EditorCommand);
    });

    auto *controls = new QGridLayout;
    int row = 0;
    for (QCheckBox *checkBox : {m_autoUpdateButton, m_bringToFrontButton,
                                createCheckBox(ShowLogOnFailureText, UserDefaultsKeys::ShowLogOnFailure)})
        controls->addWidget(checkBox, row++, 0, 1, 2);
    for (const auto &[text, field] : {std::pair<QString, QWidget *>{NotificationsText, m_notificationsPopUpButton},
                                      {EditorText, m_editorField}}) {
        auto *label = new QLabel(text, this);
        label->setBuddy(field);
        controls->addWidget(label, row, 0);
        controls->addWidget(field, row++, 1, field == m_editorField ? Qt::Alignment() : Qt::AlignLeading);
    }
    controls->addWidget(createNote(EditorNote, this), row, 1);
    controls->setColumnStretch(1, 1);
    return createSection(GeneralTitle, controls, this);
}

QWidget *PreferencesController::buildCompilingSection()
{
    m_compressCSSButton = createCheckBox(CompressCSSText, UserDefaultsKeys::ShouldCompressCSSOutput);
    m_autoSetCSSPathsButton = createCheckBox(AutoSetCSSPathsText, UserDefaultsKeys::AutoSetCustomCSSPaths);
    QSpinBox *workers = createSpinBox(UserDefaultsKeys::CompilerWorkers, 0, MaximumWorkers);
    workers->setSpecialValueText(AutomaticWorkersText.arg(ZRMCompilerPool::defaultSize()));
    QSpinBox *timeLimit = createSpinBox(UserDefaultsKeys::CompileTimeLimit, MinimumTimeLimit, MaximumTimeLimit);
    timeLimit->setSuffix(SecondsSuffix);

    auto *controls = new QGridLayout;
    controls->addWidget(m_compressCSSButton, 0, 0, 1, 2);
    controls->addWidget(m_autoSetCSSPathsButton, 1, 0, 1, 2);
    int row = 2;
    for (const auto &[text, spinBox] : {std::pair{WorkersText, workers}, {TimeLimitText, timeLimit}}) {
        auto *label = new QLabel(text, this);
        label->setBuddy(spinBox);
        controls->addWidget(label, row, 0);
        controls->addWidget(spinBox, row++, 1, Qt::AlignLeading);
    }
    controls->setColumnStretch(1, 1);
    return createSection(CompilingTitle, controls, this);
}

QWidget *PreferencesController::buildRefreshSection()
{
    m_refreshSlider = new QSlider(Qt::Horizontal, this);
    m_refreshSlider->setRange(MinimumRefreshInterval, NeverRefreshInterval);
    m_refreshSlider->setPageStep(RefreshPageStep);
    m_refreshSlider->setTickPosition(QSlider::TicksBelow);
    m_refreshSlider->setTickInterval(1);
    m_refreshSlider->setMinimumWidth(RefreshSliderWidth);
    m_refreshLabel = new QLabel(this);
    // Room for the longest label, so the slider does not jump while it moves.
    m_refreshLabel->setMinimumWidth(
        m_refreshLabel->fontMetrics().horizontalAdvance(RefreshEveryMinutesLabel.arg(NeverRefreshInterval - 1)));
    connect(m_refreshSlider, &QSlider::valueChanged, this, [this](int minutes) {
        UserDefaults::standardUserDefaults()->setInteger(minutes, UserDefaultsKeys::RefreshInterval);
        setAutoRefreshLabel();
    });

    m_skippedFoldersField = new QLineEdit(this);
    connect(m_skippedFoldersField, &QLineEdit::editingFinished, this, &PreferencesController::storeSkippedFolders);

    auto *text = new QLabel(RefreshText, this);
    text->setBuddy(m_refreshSlider);
    auto *skippedText = new QLabel(SkippedFoldersText, this);
    skippedText->setBuddy(m_skippedFoldersField);
    auto *controls = new QGridLayout;
    controls->addWidget(text, 0, 0);
    controls->addWidget(m_refreshSlider, 0, 1);
    controls->addWidget(m_refreshLabel, 0, 2);
    controls->addWidget(skippedText, 1, 0);
    controls->addWidget(m_skippedFoldersField, 1, 1, 1, 2);
    controls->addWidget(createNote(SkippedFoldersNote, this), 2, 1, 1, 2);
    controls->setColumnStretch(1, 1);
    return createSection(RefreshTitle, controls, this);
}

QWidget *PreferencesController::buildAppModeSection()
{
    m_appModePopUpButton = new QComboBox(this);
    m_appModePopUpButton->insertItem(WindowMode, WindowModeText);
    m_appModePopUpButton->insertItem(TrayMode, TrayModeText);
    connect(m_appModePopUpButton, &QComboBox::currentIndexChanged, this, [](int mode) {
        UserDefaults::standardUserDefaults()->setBool(mode == TrayMode, UserDefaultsKeys::UIMode);
    });

    auto *text = new QLabel(AppModeText, this);
    text->setBuddy(m_appModePopUpButton);
    auto *controls = new QGridLayout;
    controls->addWidget(text, 0, 0);
    controls->addWidget(m_appModePopUpButton, 0, 1, Qt::AlignLeading);
    controls->addWidget(createNote(AppModeNote, this), 1, 1);
    controls->setColumnStretch(1, 1);
    return createSection(AppModeTitle, controls, this);
}

QWidget *PreferencesController::buildLiveReloadSection()
{
    QSpinBox *port = createSpinBox(UserDefaultsKeys::LiveReloadPort, 1, MaximumPort);
    // Only the finished number: the server moves at each change.
    port->setKeyboardTracking(false);
    m_allAddressesButton = createCheckBox(AllAddressesText, UserDefaultsKeys::LiveReloadOnAllAddresses);
    m_allAddressesWarning = createNote(AllAddressesWarning, this);
    QPalette warning = m_allAddressesWarning->palette();
    warning.setColor(QPalette::WindowText, WarningColor);
    m_allAddressesWarning->setPalette(warning);
    m_allAddressesWarning->setForegroundRole(QPalette::WindowText);
    connect(m_allAddressesButton, &QCheckBox::toggled, m_allAddressesWarning, &QLabel::setVisible);

    QLabel *note = createNote(LiveReloadNote, this);
    note->setTextFormat(Qt::PlainText);
    note->setTextInteractionFlags(Qt::TextSelectableByMouse);

    auto *text = new QLabel(LiveReloadPortText, this);
    text->setBuddy(port);
    auto *controls = new QGridLayout;
    controls->addWidget(createCheckBox(LiveReloadText, UserDefaultsKeys::LiveReloadEnabled), 0, 0, 1, 2);
    controls->addWidget(note, 1, 0, 1, 2);
    controls->addWidget(text, 2, 0);
    controls->addWidget(port, 2, 1, Qt::AlignLeading);
    controls->addWidget(m_allAddressesButton, 3, 0, 1, 2);
    controls->addWidget(m_allAddressesWarning, 4, 0, 1, 2);
    controls->setColumnStretch(1, 1);
    return createSection(LiveReloadTitle, controls, this);
}

// The labels in front of the slider and the box, one above the other, are
// made as wide as each other so that the controls line up.
void PreferencesController::alignRowLabels()
{
    QList<QLabel *> rowLabels;
    int width = 0;
    for (QLabel *label : findChildren<QLabel *>()) {
        if (!label->buddy())
            continue;
        rowLabels << label;
        width = std::max(width, label->sizeHint().width());
    }
    for (QLabel *label : rowLabels)
        label->setMinimumWidth(width);
}

// Showing a value must not write it back.
void PreferencesController::showUserDefaults()
{
    const UserDefaults *defaults = UserDefaults::standardUserDefaults();
    for (QCheckBox *checkBox : findChildren<QCheckBox *>()) {
        const QSignalBlocker blocker(checkBox);
        checkBox->setChecked(defaults->boolForKey(checkBox->objectName()));
    }
    for (QSpinBox *spinBox : findChildren<QSpinBox *>()) {
        const QSignalBlocker blocker(spinBox);
        spinBox->setValue(defaults->integerForKey(spinBox->objectName()));
    }
    {
        const QSignalBlocker blocker(m_refreshSlider);
        m_refreshSlider->setValue(defaults->integerForKey(UserDefaultsKeys::RefreshInterval));
    }
    {
        const QSignalBlocker blocker(m_appModePopUpButton);
        m_appModePopUpButton->setCurrentIndex(defaults->boolForKey(UserDefaultsKeys::UIMode) ? TrayMode
                                                                                              : WindowMode);
    }
    {
        const QSignalBlocker blocker(m_notificationsPopUpButton);
        m_notificationsPopUpButton->setCurrentIndex(std::max<qsizetype>(
            0, NotificationChoices.indexOf(defaults->objectForKey(UserDefaultsKeys::Notifications).toString())));
    }
    m_editorField->setText(defaults->objectForKey(UserDefaultsKeys::EditorCommand).toString());
    m_allAddressesWarning->setVisible(m_allAddressesButton->isChecked());
    m_skippedFoldersField->setText(
        defaults->objectForKey(UserDefaultsKeys::SkippedFolders).toStringList().join(SkippedFoldersSeparator));
    setAutoRefreshLabel();
}

// An unchanged list is not written, so that the registered one stays in force.
void PreferencesController::storeSkippedFolders()
{
    UserDefaults *defaults = UserDefaults::standardUserDefaults();
    const QStringList names = skippedFoldersIn(m_skippedFoldersField->text());
    m_skippedFoldersField->setText(names.join(SkippedFoldersSeparator));
    if (names != defaults->objectForKey(UserDefaultsKeys::SkippedFolders).toStringList())
        defaults->setObject(names, UserDefaultsKeys::SkippedFolders);
}
