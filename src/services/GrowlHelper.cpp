#include "GrowlHelper.h"

#include "engine/ZRMLessCompiler.h"
#include "support/BundleInfo.h"
#include "support/NotificationCenter.h"
#include "support/PathUtils.h"
#include "support/UserDefaults.h"
#include "support/UserDefaultsKeys.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>

#include <utility>

namespace {

constexpr QLatin1StringView NotificationsService{"org.freedesktop.Notifications"};
constexpr QLatin1StringView NotificationsPath{"/org/freedesktop/Notifications"};
constexpr QLatin1StringView NotificationsInterface{"org.freedesktop.Notifications"};
constexpr QLatin1StringView NotifyMethod{"Notify"};
constexpr QLatin1StringView GetCapabilitiesMethod{"GetCapabilities"};
constexpr QLatin1StringView ActionInvokedSignal{"ActionInvoked"};
constexpr QLatin1StringView NotificationClosedSignal{"NotificationClosed"};
constexpr QLatin1StringView BodyMarkupCapability{"body-markup"};
constexpr QLatin1StringView ActionsCapability{"actions"};
constexpr QLatin1StringView DefaultAction{"default"};
constexpr QLatin1StringView DefaultActionLabel{"Show in Cascader"};

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
constexpr QLatin1StringView BurstSuccessTitle{"%1 files compiled"};
constexpr QLatin1StringView BurstErrorTitle{"%1 of %2 failed"};
constexpr QLatin1StringView MoreFiles{" and %1 more"};
constexpr qsizetype NamedFiles = 3;

constexpr int BurstQuietMilliseconds = 300;
constexpr int BurstLimitMilliseconds = 2000;

constexpr QLatin1StringView NotifyFailures{"failures"};
constexpr QLatin1StringView NotifyNone{"none"};

QVariantMap hintsFor(const QString &name)
{
    return {{DesktopEntryHint, QString(DesktopEntry)},
            {CategoryHint,
             QString(name == GrowlNotificationName::CompileSuccess ? SuccessCategory : ErrorCategory)}};
}

// The server reads the body as markup when it says so; the summary is always plain text.
QString escapedForMarkup(const QString &text)
{
    QString escaped;
    escaped.reserve(text.size());
    for (const QChar c : text) {
        switch (c.unicode()) {
        case '&': escaped += u"&amp;"; break;
        case '<': escaped += u"&lt;"; break;
        case '>': escaped += u"&gt;"; break;
        case '"': escaped += u"&quot;"; break;
        case '\'': escaped += u"&#39;"; break;
        default: escaped += c;
        }
    }
    return escaped;
}

QString namesOf(const QStringList &files)
{
    QStringList names;
    for (const QString &file : files.first(qMin(files.size(), NamedFiles)))
        names.append(PathUtils::lastPathComponent(file));
    QString text = names.join(u", ");
    if (files.size() > NamedFiles)
        text += QString(MoreFiles).arg(files.size() - NamedFiles);
    return text;
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
    QDBusConnection bus = QDBusConnection::sessionBus();
    bus.connect(NotificationsService, NotificationsPath, NotificationsInterface, ActionInvokedSignal, this,
                SLOT(actionInvoked(uint, QString)));
    bus.connect(NotificationsService, NotificationsPath, NotificationsInterface, NotificationClosedSignal, this,
                SLOT(notificationClosed(uint, uint)));
    for (QTimer *timer : {&m_burstQuiet, &m_burstLimit}) {
        timer->setSingleShot(true);
        connect(timer, &QTimer::timeout, this, &GrowlHelper::sendBurst);
    }
    m_burstQuiet.setInterval(BurstQuietMilliseconds);
    m_burstLimit.setInterval(BurstLimitMilliseconds);
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
    const bool failed = notification.name == ZRMLCFailedToCompileFileNotification;
    if (m_jGrowlNotifications.isEmpty() || (!failed && notification.name != ZRMLCCompiledFileSuccessfullyNotification))
        return;
    const QString file = notification.userInfo.value(ZRMLessCompilerKey::File).toString();
    m_burst.removeIf([&file](const Outcome &outcome) { return outcome.file == file; });
    m_burst.append({file, notification.userInfo.value(ZRMLessCompilerKey::Result).toString(), failed});
    m_burstQuiet.start();
    if (!m_burstLimit.isActive())
        m_burstLimit.start();
}

void GrowlHelper::sendBurst()
{
    m_burstQuiet.stop();
    m_burstLimit.stop();
    const QList<Outcome> burst = std::exchange(m_burst, {});
    QStringList failedFiles;
    QStringList files;
    for (const Outcome &outcome : burst) {
        files.append(outcome.file);
        if (outcome.failed)
            failedFiles.append(outcome.file);
    }
    const QString setting =
        UserDefaults::standardUserDefaults()->objectForKey(UserDefaultsKeys::Notifications).toString();
    if (burst.isEmpty() || setting == NotifyNone || (setting == NotifyFailures && failedFiles.isEmpty()))
        return;

    if (burst.size() == 1) {
        const Outcome &outcome = burst.constFirst();
        const QString fileName = PathUtils::lastPathComponent(outcome.file);
        if (outcome.failed)
            growlAlertWithNoteName(GrowlNotificationName::CompileError,
                                   QString(ErrorDescription).arg(fileName, outcome.message), ErrorTitle, outcome.file);
        else
            growlAlertWithNoteName(GrowlNotificationName::CompileSuccess, QString(SuccessDescription).arg(fileName),
                                   SuccessTitle, outcome.file);
    } else if (failedFiles.isEmpty()) {
        growlAlertWithNoteName(GrowlNotificationName::CompileSuccess, namesOf(files),
                               QString(BurstSuccessTitle).arg(files.size()), files.constFirst());
    } else {
        growlAlertWithNoteName(GrowlNotificationName::CompileError, namesOf(failedFiles),
                               QString(BurstErrorTitle).arg(failedFiles.size()).arg(files.size()),
                               failedFiles.constFirst());
    }
}

void GrowlHelper::growlAlertWithNoteName(const QString &name, const QString &message, const QString &title,
                                         const QString &file)
{
    if (!m_jGrowlNotifications.contains(name))
        return;
    const bool activatable = m_capabilities.contains(ActionsCapability);
    QDBusMessage notify =
        QDBusMessage::createMethodCall(NotificationsService, NotificationsPath, NotificationsInterface, NotifyMethod);
    notify << QString(ApplicationName) << 0u << QString(ApplicationIcon) << title
           << (m_capabilities.contains(BodyMarkupCapability) ? escapedForMarkup(message) : message)
           << (activatable ? QStringList{DefaultAction, DefaultActionLabel} : QStringList()) << hintsFor(name)
           << ExpireTimeout;
    // Only the service that opened the gate is to show it, not one that the
    // bus would start for the call if that service has just left.
    notify.setAutoStartService(false);
    if (!activatable) {
        // Nothing in the reply is of use, so none is awaited.
        QDBusConnection::sessionBus().send(notify);
        return;
    }
    auto *watcher = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(notify), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, file](QDBusPendingCallWatcher *call) {
        const QDBusPendingReply<uint> reply = *call;
        if (reply.isValid())
            m_activationFiles.insert(reply.value(), file);
        call->deleteLater();
    });
}

void GrowlHelper::actionInvoked(uint id, const QString &actionKey)
{
    if (actionKey == DefaultAction && m_activationFiles.contains(id))
        Q_EMIT notificationActivated(m_activationFiles.value(id));
}

void GrowlHelper::notificationClosed(uint id, uint)
{
    m_activationFiles.remove(id);
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

// The gate opens once the service has told what it can show; a service that
// cannot tell gets plain notifications without actions.
void GrowlHelper::notificationServiceAppeared()
{
    const QDBusMessage getCapabilities = QDBusMessage::createMethodCall(NotificationsService, NotificationsPath,
                                                                       NotificationsInterface, GetCapabilitiesMethod);
    auto *watcher = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(getCapabilities), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher *call) {
        const QDBusPendingReply<QStringList> reply = *call;
        m_capabilities = reply.isValid() ? reply.value() : QStringList();
        m_jGrowlNotifications = {GrowlNotificationName::CompileSuccess, GrowlNotificationName::CompileError};
        call->deleteLater();
    });
}

void GrowlHelper::notificationServiceVanished()
{
    m_jGrowlNotifications.clear();
    m_capabilities.clear();
    m_activationFiles.clear();
    m_burst.clear();
}
