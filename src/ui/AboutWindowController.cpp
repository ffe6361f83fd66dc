#include "AboutWindowController.h"

#include "ApplicationIcon.h"
#include "support/BundleInfo.h"

#include <QDesktopServices>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QStyle>
#include <QVBoxLayout>

const QUrl AboutWindowController::AppWebsite(QStringLiteral("https://cascader.app/"));
const QUrl AboutWindowController::LessWebsite(QStringLiteral("https://lesscss.org/"));

namespace {

const QString WindowTitle = QStringLiteral("About Cascader");
const QString AppName = BundleInfo::ApplicationName;
const QString VersionFormat = QStringLiteral("Version %1 (%2)");
const QString Tagline = QStringLiteral("Compiles your LESS into CSS each time you save it.");
const QString AppWebsiteText = QStringLiteral("Cascader Website");
const QString LessWebsiteText = QStringLiteral("LESS Website");

constexpr int IconSize = 128;
constexpr qreal NameFontScale = 1.8;
constexpr int Margin = 28;

QLabel *createCenteredLabel(const QString &text, QWidget *parent)
{
    auto *label = new QLabel(text, parent);
    label->setAlignment(Qt::AlignCenter);
    return label;
}

} // namespace

AboutWindowController::AboutWindowController(QWidget *parent)
    : QDialog(parent),
      m_versionString(VersionFormat.arg(BundleInfo::value(BundleInfo::CFBundleShortVersionString),
                                        BundleInfo::value(BundleInfo::ZRMBuildNumber)))
{
    setWindowTitle(WindowTitle);

    auto *icon = createCenteredLabel({}, this);
    icon->setPixmap(ApplicationIcon::pixmap(IconSize, devicePixelRatio()));

    QLabel *name = createCenteredLabel(AppName, this);
    QFont nameFont = name->font();
    nameFont.setPointSizeF(nameFont.pointSizeF() * NameFontScale);
    nameFont.setBold(true);
    name->setFont(nameFont);

    m_versionLabel = createCenteredLabel(m_versionString, this);
    m_versionLabel->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_versionLabel->setForegroundRole(QPalette::PlaceholderText);
    QLabel *tagline = createCenteredLabel(Tagline, this);

    m_appWebsiteButton = createLinkButton(AppWebsiteText, &AboutWindowController::openAppWebsite);
    m_lessWebsiteButton = createLinkButton(LessWebsiteText, &AboutWindowController::openLessWebsite);
    auto *buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(m_appWebsiteButton);
    buttons->addWidget(m_lessWebsiteButton);
    buttons->addStretch();

    const int spacing = style()->pixelMetric(QStyle::PM_LayoutVerticalSpacing);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(Margin, Margin, Margin, Margin);
    layout->setSpacing(spacing);
    layout->addWidget(icon);
    layout->addSpacing(spacing);
    layout->addWidget(name);
    layout->addWidget(m_versionLabel);
    layout->addSpacing(spacing);
    layout->addWidget(tagline);
    layout->addSpacing(spacing * 2);
    layout->addLayout(buttons);
    layout->setSizeConstraint(QLayout::SetFixedSize);
}

void AboutWindowController::openAppWebsite()
{
    QDesktopServices::openUrl(AppWebsite);
}

void AboutWindowController::openLessWebsite()
{
    QDesktopServices::openUrl(LessWebsite);
}

QPushButton *AboutWindowController::createLinkButton(const QString &text, void (AboutWindowController::*open)())
{
    auto *button = new QPushButton(text, this);
    button->setAutoDefault(false);
    connect(button, &QPushButton::clicked, this, open);
    return button;
}
