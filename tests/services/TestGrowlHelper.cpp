#include "engine/ZRMLessCompiler.h"
#include "services/GrowlHelper.h"
#include "support/NotificationCenter.h"

#include <QDBusConnection>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryFile>
#include <QTest>

#include <memory>

// Stands in for the desktop's notification server, in this process.
class NotificationServer : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")

public:
    NotificationServer()
    {
        QDBusConnection::sessionBus().registerObject("/org/freedesktop/Notifications", this,
                                                     QDBusConnection::ExportScriptableSlots);
        QDBusConnection::sessionBus().registerService("org.freedesktop.Notifications");
    }
    ~NotificationServer() override
    {
        QDBusConnection::sessionBus().unregisterService("org.freedesktop.Notifications");
        QDBusConnection::sessionBus().unregisterObject("/org/freedesktop/Notifications");
    }

    QList<QVariantList> calls;

public Q_SLOTS:
    Q_SCRIPTABLE uint Notify(const QString &appName, uint replacesId, const QString &appIcon, const QString &summary,
                             const QString &body, const QStringList &actions, const QVariantMap &hints,
                             int expireTimeout)
    {
        calls.append({appName, replacesId, appIcon, summary, body, actions, hints, expireTimeout});
        return calls.size();
    }
};

static void postCompiled(const QString &name, const QString &file, const QString &result = {})
{
    NotificationCenter::defaultCenter()->post(
        name, nullptr, {{ZRMLessCompilerKey::File, file}, {ZRMLessCompilerKey::Result, result}});
}

class TestGrowlHelper : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void sendsOnlyWhileAServiceIsThere();
    void notifications_data();
    void notifications();
    void reachesDunst();

private:
    std::unique_ptr<GrowlHelper> m_helper;
};

void TestGrowlHelper::init()
{
    QTest::failOnWarning(QRegularExpression(".*"));
    m_helper = std::make_unique<GrowlHelper>();
}

void TestGrowlHelper::sendsOnlyWhileAServiceIsThere()
{
    postCompiled(ZRMLCCompiledFileSuccessfullyNotification, "/site/early.less");
    QTest::qWait(200);
    QVERIFY(m_helper->jGrowlNotifications().isEmpty());

    auto server = std::make_unique<NotificationServer>();
    QTRY_COMPARE(m_helper->jGrowlNotifications(), QStringList({"compileSuccess", "compileError"}));
    postCompiled(ZRMLCCompiledFileSuccessfullyNotification, "/site/late.less");
    QTRY_COMPARE(server->calls.size(), 1);
    QCOMPARE(server->calls.first().at(4), "Successfully compiled late.less.");

    server.reset();
    QTRY_VERIFY(m_helper->jGrowlNotifications().isEmpty());
}

void TestGrowlHelper::notifications_data()
{
    QTest::addColumn<QString>("notification");
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("result");
    // Empty: no desktop notification.
    QTest::addColumn<QVariantList>("call");

    const auto call = [](const QString &summary, const QString &body, const QString &category) {
        return QVariantList{"Cascader", 0u, "cascader", summary, body, QStringList(),
                            QVariantMap{{"desktop-entry", "cascader"}, {"category", category}}, -1};
    };
    QTest::newRow("success") << QString(ZRMLCCompiledFileSuccessfullyNotification) << "/site/less/style.less" << ""
                             << call("Compiler Success", "Successfully compiled style.less.", "transfer.complete");
    QTest::newRow("error") << QString(ZRMLCFailedToCompileFileNotification) << "/site/less/style.less"
                           << "ParseError: missing closing `}`"
                           << call("Compiler Error",
                                   "Failed to compile style.less. \n \n Message: \n ParseError: missing closing `}`",
                                   "transfer.error");
    QTest::newRow("placeholders taken literally")
        << QString(ZRMLCFailedToCompileFileNotification) << "/site/%1 100%.less" << "%1 %2 %@"
        << call("Compiler Error", "Failed to compile %1 100%.less. \n \n Message: \n %1 %2 %@", "transfer.error");
    QTest::newRow("started") << QString(ZRMLCStartedCompilingAFileNotification) << "/site/a.less" << ""
                             << QVariantList();
}

void TestGrowlHelper::notifications()
{
    QFETCH(QString, notification);
    QFETCH(QString, file);
    QFETCH(QString, result);
    QFETCH(QVariantList, call);

    NotificationServer server;
    QTRY_VERIFY(!m_helper->jGrowlNotifications().isEmpty());
    postCompiled(notification, file, result);
    // Calls arrive in order, so once this one is in, the one before is too.
    postCompiled(ZRMLCCompiledFileSuccessfullyNotification, "/flush.less");
    QTRY_VERIFY(!server.calls.isEmpty() && server.calls.constLast().at(4) == "Successfully compiled flush.less.");
    server.calls.removeLast();
    QCOMPARE(server.calls, call.isEmpty() ? QList<QVariantList>() : QList<QVariantList>{call});
}

// A real notification daemon, on an X server of its own and this test's bus.
void TestGrowlHelper::reachesDunst()
{
    if (QStandardPaths::findExecutable("Xvfb").isEmpty() || QStandardPaths::findExecutable("dunst").isEmpty())
        QSKIP("Needs Xvfb and dunst (Debian packages xvfb and dunst).");

    QProcess xvfb;
    // -displayfd picks a free display and writes its number to standard output.
    xvfb.start("Xvfb", {"-displayfd", "1", "-nolisten", "tcp"});
    QTRY_VERIFY(xvfb.canReadLine());
    QTemporaryFile config;
    QVERIFY(config.open() && config.write("[global]\n") && config.flush());
    QProcess dunst;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("DISPLAY", ':' + QString::fromLatin1(xvfb.readLine().trimmed()));
    dunst.setProcessEnvironment(environment);
    dunst.start("dunst", {"-print", "-config", config.fileName()});

    QTRY_VERIFY_WITH_TIMEOUT(!m_helper->jGrowlNotifications().isEmpty(), 20000);
    postCompiled(ZRMLCFailedToCompileFileNotification, "/site/less/style.less", "missing semicolon");
    QByteArray printed;
    QTRY_VERIFY((printed += dunst.readAllStandardOutput()).contains("desktop_entry"));
    QVERIFY(printed.contains("appname: 'Cascader'\n\tsummary: 'Compiler Error'\n"
                             "\tbody: 'Failed to compile style.less. \n \n Message: \n missing semicolon'\n"));
    QVERIFY(printed.contains("desktop_entry: 'cascader'"));
    for (QProcess *process : {&dunst, &xvfb}) {
        process->terminate();
        QVERIFY(process->waitForFinished());
    }
}

QTEST_GUILESS_MAIN(TestGrowlHelper)
#include "TestGrowlHelper.moc"
