#pragma once

#include <QDBusServiceWatcher>
#include <QHash>
#include <QLatin1StringView>
#include <QObject>
#include <QStringList>
#include <QTimer>

struct Notification;

// The desktop notifications this application declares.
namespace GrowlNotificationName {

inline constexpr QLatin1StringView CompileSuccess{"compileSuccess"};
inline constexpr QLatin1StringView CompileError{"compileError"};

} // namespace GrowlNotificationName

// GrowlHelper: the desktop-notification bridge; Growl is not involved.
// Turns the compiler engine's successes and failures into desktop
// notifications (org.freedesktop.Notifications on the session bus). Outcomes
// that come close together make one notification, and the preference
// UserDefaultsKeys::Notifications ("all", "failures", "none") decides which are
// shown. Nothing is sent while no notification service is on the bus; sending
// starts when one appears. Never blocks: every bus call is asynchronous. Use it
// on the GUI thread.
class GrowlHelper : public QObject
{
    Q_OBJECT

public:
    explicit GrowlHelper(QObject *parent = nullptr);

    // The names of GrowlNotificationName once a notification service is on
    // the bus; empty while there is none.
    QStringList jGrowlNotifications() const;

    void registerForCompilerNotifications();
    // Other notifications than the engine's success and failure are ignored.
    // An outcome joins the burst being collected, where a file's later outcome
    // replaces its earlier one.
    void handleZRMCompilerNotification(const Notification &notification);
    // Sends only names in jGrowlNotifications. Activating the notification
    // reports file.
    void growlAlertWithNoteName(const QString &name, const QString &message, const QString &title,
                                const QString &file = {});

Q_SIGNALS:
    // The user activated a notification: file is its first failed file, else its first.
    void notificationActivated(const QString &file);

private Q_SLOTS:
    void actionInvoked(uint id, const QString &actionKey);
    void notificationClosed(uint id, uint reason);

private:
    struct Outcome
    {
        QString file;
        QString message;
        bool failed = false;
    };

    void sendBurst();
    void checkForNotificationService();
    void notificationServiceAppeared();
    void notificationServiceVanished();

    QDBusServiceWatcher m_serviceWatcher;
    QStringList m_jGrowlNotifications;
    QStringList m_capabilities;
    QList<Outcome> m_burst;
    // Restarted by every outcome; the limit is not, so a steady stream still notifies.
    QTimer m_burstQuiet;
    QTimer m_burstLimit;
    QHash<uint, QString> m_activationFiles;
};
