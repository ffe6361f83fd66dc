#include "UserDefaults.h"

#include "BundleInfo.h"

#include <QMutexLocker>

UserDefaults::UserDefaults()
    : m_settings(QSettings::IniFormat, QSettings::UserScope, BundleInfo::ApplicationName,
                 BundleInfo::ApplicationName)
{
}

UserDefaults *UserDefaults::standardUserDefaults()
{
    static auto *defaults = new UserDefaults;
    return defaults;
}

void UserDefaults::registerDefaults(const QVariantMap &defaults)
{
    QStringList keys;
    {
        QMutexLocker locker(&m_mutex);
        for (auto it = defaults.cbegin(); it != defaults.cend(); ++it) {
            m_registeredDefaults.insert(it.key(), it.value());
            keys << it.key();
        }
    }
    for (const QString &key : keys)
        Q_EMIT valueChanged(key);
}

QVariant UserDefaults::objectForKey(const QString &key) const
{
    QMutexLocker locker(&m_mutex);
    return m_settings.contains(key) ? m_settings.value(key) : m_registeredDefaults.value(key);
}

bool UserDefaults::boolForKey(const QString &key) const
{
    const QVariant value = objectForKey(key);
    return value.isValid() && value.toBool();
}

int UserDefaults::integerForKey(const QString &key) const
{
    return objectForKey(key).toInt();
}

void UserDefaults::setObject(const QVariant &value, const QString &key)
{
    {
        QMutexLocker locker(&m_mutex);
        m_settings.setValue(key, value);
    }
    Q_EMIT valueChanged(key);
}

void UserDefaults::removeObjectForKey(const QString &key)
{
    {
        QMutexLocker locker(&m_mutex);
        m_settings.remove(key);
    }
    Q_EMIT valueChanged(key);
}

void UserDefaults::synchronize()
{
    QMutexLocker locker(&m_mutex);
    m_settings.sync();
}
