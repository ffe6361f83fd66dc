#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QStringList>
#include <QUrl>

// Stands in for the desktop's file manager on the test's private session bus
// and records what it was asked to show; also records the folders opened
// when no file manager answers.
class FakeFileManager : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.FileManager1")

public:
    // Without a service, only the fallback is recorded.
    enum class Presence { OnTheBus, Absent };

    explicit FakeFileManager(Presence presence);
    ~FakeFileManager() override;

    QList<QStringList> shownItems;
    QList<QUrl> openedUrls;

public Q_SLOTS:
    void ShowItems(const QStringList &uris, const QString &startupId);
    void openUrl(const QUrl &url);

private:
    QDBusConnection m_connection;
};
