#include "GrowlHelper.h"

#include "engine/ZRMLessCompiler.h"
#include "support/BundleInfo.h"
#include "support/NotificationCenter.h"
#include "support/PathUtils.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>

namespace {

constexpr QLatin1StringView NotificationsService{"org.freedesktop.Notifications"};
constexpr QLatin1StringView NotificationsPath{"/org/freedesktop/Notifications"};
constexpr QLatin1StringView NotificationsInterface{"org.freedesktop.Notifications"};
constexpr QLatin1StringView NotifyMethod{"Notify"};

constexpr QLatin1StringView BusService{"org.freedesktop.DBus"};
constexpr QLatin1StringView BusPath{"/org/freedesktop/DBus"};
constexpr QLatin1StringView BusInterface{"org.freedesktop.DBus"};
constexpr QLatin1StringView NameHasOwnerMethod{"NameHasOwner"};

constexpr QLatin1StringView ApplicationName = BundleInfo::ApplicationName;
constexpr QLatin1StringView ApplicationIcon{"cascader"};
constexpr QLatin1StringView DesktopEntry{"cascader"};
constexpr QLatin1StringView DesktopEntryHint{"desktop-entry"};
constexpr QLatin1StringView CategoryHint{"category"};
constexpr QLatin1StringView SuccessCategory{"transfer.complete"};
constexpr QLatin1StringView ErrorCategory{"transfer.error"};
// How long the notification stays is the server's choice.
constexpr int ExpireTimeout = -1;

constexpr QLatin1StringView SuccessTitle{"Compiler Success"};
constexpr QLatin1StringView ErrorTitle{"Compiler Error"};
constexpr QLatin1StringView SuccessDescription{"Successfully compiled %1."};
constexpr QLatin1StringView ErrorDescription{"Failed to compile %1. \n \n Message: \n %2"};

QVariantMap hintsFor(const QString &name)
{
    return {{DesktopEntryHint, QString(DesktopEntry)},
            {CategoryHint,
             QString(name == GrowlNotificationName::CompileSuccess ? SuccessCategory : ErrorCategory)}};
}

} // namespace

GrowlHelper::GrowlHelper(QObject *parent)
    : QObject(parent)
    , m_serviceWatcher(NotificationsService, QDBusConnection::sessionBus(),
                       QDBusServiceWatcher::WatchForRegistration | QDBusServiceWatcher::WatchForUnregistration)
{
    connect(&m_serviceWatcher, &QDBusServiceWatcher::serviceRegistered, this,
            &GrowlHelper::notificationServiceAppeared);
    connect(&m_serviceWatcher, &QDBusServiceWatcher::serviceUnregistered, this,
            &GrowlHelper::notificationServiceVanished);
    // The watcher is in place before the question reaches the bus, so a
    // service that appears in between is not missed.
    checkForNotificationService();
    registerForCompilerNotifications();
}

QStringList GrowlHelper::jGrowlNotifications() const
{
    return m_jGrowlNotifications;
}

void GrowlHelper::registerForCompilerNotifications()
{
    NotificationCenter::defaultCenter()->addObserver(
        this, {ZRMLCCompiledFileSuccessfullyNotification, ZRMLCFailedToCompileFileNotification},
        [this](const Notification &notification) { handleZRMCompilerNotification(notification); });
}

void GrowlHelper::handleZRMCompilerNotification(const Notification &notification)
{
    const QString fileName =
        PathUtils::lastPathComponent(notification.userInfo.value(ZRMLessCompilerKey::File).toString());
    if (notification.name == ZRMLCCompiledFileSuccessfullyNotification) {
        growlAlertWithNoteName(GrowlNotificationName::CompileSuccess, QString(SuccessDescription).arg(fileName),
                               SuccessTitle);
    } else if (notification.name == ZRMLCFailedToCompileFileNotification) {
        const QString message = notification.userInfo.value(ZRMLessCompilerKey::Result).toString();
        growlAlertWithNoteName(GrowlNotificationName::CompileError,
                               QString(ErrorDescription).arg(fileName, message), ErrorTitle);
    }
}

void GrowlHelper::growlAlertWithNoteName(const QString &name, const QString &message, const QString &title)
{
    if (!m_jGrowlNotifications.contains(name))
        return;
    QDBusMessage notify =
        QDBusMessage::createMethodCall(NotificationsService, NotificationsPath, NotificationsInterface, NotifyMethod);
    notify << QString(ApplicationName) << 0u << QString(ApplicationIcon) << title << message << QStringList()
           << hintsFor(name) << ExpireTimeout;
    // Only the service that opened the gate is to show it, not one that the
    // bus would start for the call if that service has just left.
    notify.setAutoStartService(false);
    // Nothing in the reply is of use, so none is awaited.
    QDBusConnection::sessionBus().send(notify);
}

void GrowlHelper::checkForNotificationService()
{
    QDBusMessage nameHasOwner =
        QDBusMessage::createMethodCall(BusService, BusPath, BusInterface, NameHasOwnerMethod);
    nameHasOwner << QString(NotificationsService);
    auto *watcher = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(nameHasOwner), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher *call) {
        const QDBusPendingReply<bool> reply = *call;
        if (reply.isValid() && reply.value())
            notificationServiceAppeared();
        call->deleteLater();
    });
}

void GrowlHelper::notificationServiceAppeared()
{
    m_jGrowlNotifications = {GrowlNotificationName::CompileSuccess, GrowlNotificationName::CompileError};
}

void GrowlHelper::notificationServiceVanished()
{
    m_jGrowlNotifications.clear();
}
