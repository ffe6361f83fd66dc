#pragma once

#include <QObject>
#include <QPointer>
#include <QString>
#include <QVariantMap>

#include <functional>

struct Notification
{
    QString name;
    QPointer<QObject> sender;
    QVariantMap userInfo;
};
Q_DECLARE_METATYPE(Notification)

// A named-notification hub: whoever posts does not know who listens.
// Handlers run on the thread that posts, as the workflows expect.
class NotificationCenter : public QObject
{
    Q_OBJECT

public:
    using Handler = std::function<void(const Notification &)>;

    // The application's own notifications (compiler events).
    static NotificationCenter *defaultCenter();
    // Desktop-level notifications (file watcher events nobody else handles).
    static NotificationCenter *workspaceCenter();

    void post(const QString &name, QObject *sender, const QVariantMap &userInfo = {});

    // Calls handler for every notification whose name is in names (any name when
    // names is empty), until observer is destroyed or removeObserver is called.
    void addObserver(QObject *observer, const QStringList &names, Handler handler);
    void removeObserver(QObject *observer);

Q_SIGNALS:
    void posted(const Notification &notification);
};
