#pragma once

#include <QMutex>
#include <QObject>
#include <QSettings>
#include <QVariantMap>

// The user's preferences: values the user set (QSettings in the XDG config
// folder) over a layer of registered defaults. Safe to read from any thread.
class UserDefaults : public QObject
{
    Q_OBJECT

public:
    static UserDefaults *standardUserDefaults();

    // Registered defaults are the lowest layer; later registrations win.
    void registerDefaults(const QVariantMap &defaults);

    QVariant objectForKey(const QString &key) const;
    // A missing boolean reads as false and a missing number as 0.
    bool boolForKey(const QString &key) const;
    int integerForKey(const QString &key) const;

    void setObject(const QVariant &value, const QString &key);
    void setBool(bool value, const QString &key) { setObject(value, key); }
    void setInteger(int value, const QString &key) { setObject(value, key); }
    void removeObjectForKey(const QString &key);
    // Writes pending changes to disk now.
    void synchronize();

Q_SIGNALS:
    // Emitted on the thread that made the change.
    void valueChanged(const QString &key);

private:
    UserDefaults();

    mutable QMutex m_mutex;
    QSettings m_settings;
    QVariantMap m_registeredDefaults;
};
