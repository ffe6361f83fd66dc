#include "NotificationCenter.h"

NotificationCenter *NotificationCenter::defaultCenter()
{
    static auto *center = new NotificationCenter;
    return center;
}

NotificationCenter *NotificationCenter::workspaceCenter()
{
    static auto *center = new NotificationCenter;
    return center;
}

void NotificationCenter::post(const QString &name, QObject *sender, const QVariantMap &userInfo)
{
    Q_EMIT posted(Notification{name, sender, userInfo});
}

void NotificationCenter::addObserver(QObject *observer, const QStringList &names, Handler handler)
{
    connect(this, &NotificationCenter::posted, observer,
            [names, handler = std::move(handler)](const Notification &notification) {
                if (names.isEmpty() || names.contains(notification.name))
                    handler(notification);
            },
            Qt::DirectConnection);
}

void NotificationCenter::removeObserver(QObject *observer)
{
    disconnect(this, nullptr, observer, nullptr);
}
