#pragma once

#include <QDialog>
#include <QUrl>

class QLabel;
class QPushButton;

// The about window: icon, name and version, and the way to the product's
// and the LESS language's web sites.
class AboutWindowController : public QDialog
{
    Q_OBJECT
    Q_PROPERTY(QString versionString READ versionString CONSTANT)

public:
    static const QUrl AppWebsite;
    static const QUrl LessWebsite;

    explicit AboutWindowController(QWidget *parent = nullptr);

    // "Version 1.0 (406)": the marketing version and the build.
    QString versionString() const { return m_versionString; }

    void openAppWebsite();
    void openLessWebsite();

    QLabel *versionLabel() const { return m_versionLabel; }
    QPushButton *appWebsiteButton() const { return m_appWebsiteButton; }
    QPushButton *lessWebsiteButton() const { return m_lessWebsiteButton; }

private:
    QPushButton *createLinkButton(const QString &text, void (AboutWindowController::*open)());

    QString m_versionString;
    QLabel *m_versionLabel = nullptr;
    QPushButton *m_appWebsiteButton = nullptr;
    QPushButton *m_lessWebsiteButton = nullptr;
};
