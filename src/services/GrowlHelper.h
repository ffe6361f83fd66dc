#pragma once

#include <QDBusServiceWatcher>
#include <QLatin1StringView>
#include <QObject>
#include <QStringList>

struct Notification;

// The desktop notifications this application declares.
namespace GrowlNotificationName {

inline constexpr QLatin1StringView CompileSuccess{"compileSuccess"};
inline constexpr QLatin1StringView CompileError{"compileError"};

} // namespace GrowlNotificationName

// GrowlHelper: the desktop-notification bridge; Growl is not involved.
// Turns the compiler engine's successes and failures into desktop
// notifications (org.freedesktop.Notifications on the session bus). Nothing is
// sent while no notification service is on the bus; sending starts when one
// appears. Never blocks: every bus call is asynchronous. Use it on the GUI thread.
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
    void handleZRMCompilerNotification(const Notification &notification);
    // Sends only names in jGrowlNotifications.
    void growlAlertWithNoteName(const QString &name, const QString &message, const QString &title);

private:
    void checkForNotificationService();
    void notificationServiceAppeared();
    void notificationServiceVanished();

    QDBusServiceWatcher m_serviceWatcher;
    QStringList m_jGrowlNotifications;
};
