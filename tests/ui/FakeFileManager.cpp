#include "FakeFileManager.h"

#include <QDesktopServices>
#include <QTest>

namespace {

const QString ServiceName = QStringLiteral("org.freedesktop.FileManager1");
const QString ObjectPath = QStringLiteral("/org/freedesktop/FileManager1");
const QString ConnectionName = QStringLiteral("fake-file-manager");
const QString FileScheme = QStringLiteral("file");

} // namespace

// A connection of its own, so that calls travel over the bus like real ones.
FakeFileManager::FakeFileManager(Presence presence)
    : m_connection(QDBusConnection::connectToBus(QDBusConnection::SessionBus, ConnectionName))
{
    QDesktopServices::setUrlHandler(FileScheme, this, "openUrl");
    if (presence == Presence::Absent)
        return;
    QVERIFY(m_connection.registerObject(ObjectPath, this, QDBusConnection::ExportAllSlots));
    QVERIFY(m_connection.registerService(ServiceName));
}

FakeFileManager::~FakeFileManager()
{
    QDesktopServices::unsetUrlHandler(FileScheme);
    m_connection.unregisterService(ServiceName);
    m_connection.unregisterObject(ObjectPath);
    QDBusConnection::disconnectFromBus(ConnectionName);
}

void FakeFileManager::ShowItems(const QStringList &uris, const QString &)
{
    shownItems << uris;
}

void FakeFileManager::openUrl(const QUrl &url)
{
    openedUrls << url;
}
