#pragma once

#include <QDialog>
#include <QLatin1StringView>

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QSlider;
class QSpinBox;

// The preferences window. Every control edits its user default at once and
// shows the stored value whenever the window opens.
class PreferencesController : public QDialog
{
    Q_OBJECT
    Q_PROPERTY(QString jRefreshLabelString READ jRefreshLabelString NOTIFY jRefreshLabelStringChanged)

public:
    // The refresh interval, in minutes, that means never.
    static constexpr int NeverRefreshInterval = 20;
    // The entries of the app-mode box, in the order of UIMode false, true.
    enum AppMode { WindowMode, TrayMode };

    explicit PreferencesController(QWidget *parent = nullptr);

    QString jRefreshLabelString() const { return m_jRefreshLabelString; }
    // Reads the refresh interval from the user defaults into the label.
    void setAutoRefreshLabel();

    QCheckBox *autoUpdateButton() const { return m_autoUpdateButton; }
    QCheckBox *bringToFrontButton() const { return m_bringToFrontButton; }
    QCheckBox *compressCSSButton() const { return m_compressCSSButton; }
    QCheckBox *autoSetCSSPathsButton() const { return m_autoSetCSSPathsButton; }
    QSlider *refreshSlider() const { return m_refreshSlider; }
    QLabel *refreshLabel() const { return m_refreshLabel; }
    QComboBox *appModePopUpButton() const { return m_appModePopUpButton; }
    QLineEdit *skippedFoldersField() const { return m_skippedFoldersField; }
    QCheckBox *allAddressesButton() const { return m_allAddressesButton; }
    QLabel *allAddressesWarning() const { return m_allAddressesWarning; }

Q_SIGNALS:
    void jRefreshLabelStringChanged(const QString &label);

protected:
    void showEvent(QShowEvent *event) override;

private:
    QCheckBox *createCheckBox(const QString &text, QLatin1StringView key);
    QSpinBox *createSpinBox(QLatin1StringView key, int minimum, int maximum);
    QWidget *buildGeneralSection();
    QWidget *buildCompilingSection();
    QWidget *buildRefreshSection();
    QWidget *buildAppModeSection();
    QWidget *buildLiveReloadSection();
    void alignRowLabels();
    void showUserDefaults();
    void storeSkippedFolders();

    QString m_jRefreshLabelString;
    QCheckBox *m_autoUpdateButton = nullptr;
    QCheckBox *m_bringToFrontButton = nullptr;
    QCheckBox *m_compressCSSButton = nullptr;
    QCheckBox *m_autoSetCSSPathsButton = nullptr;
    QSlider *m_refreshSlider = nullptr;
    QLabel *m_refreshLabel = nullptr;
    QComboBox *m_appModePopUpButton = nullptr;
    QLineEdit *m_skippedFoldersField = nullptr;
    QComboBox *m_notificationsPopUpButton = nullptr;
    QLineEdit *m_editorField = nullptr;
    QCheckBox *m_allAddressesButton = nullptr;
    QLabel *m_allAddressesWarning = nullptr;
};
