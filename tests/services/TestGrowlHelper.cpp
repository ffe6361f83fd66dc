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

    std::unique_ptr<GrowlHelper> m_helper;

private Q_SLOTS:
    void init()
    {
        QTest::failOnWarning(QRegularExpression(".*"));
        m_helper = std::make_unique<GrowlHelper>();
    }

    void notifications_data()
    {
        QTest::addColumn<QString>("notification");
        QTest::addColumn<QString>("file");
        QTest::addColumn<QString>("result");
        QTest::addColumn<QVariantList>("call"); // empty: none

        const auto call = [](const QString &summary, const QString &body, const QString &category) {
            return QVariantList{"Cascader", 0u, "cascader", summary, body, QStringList(),
                                QVariantMap{{"desktop-entry", "cascader"}, {"category", category}}, -1};
        };
        QTest::newRow("success") << QString(ZRMLCCompiledFileSuccessfullyNotification) << "/site/less/style.less" << ""
                                 << call("Compiler Success", "Successfully compiled style.less.", "transfer.complete");
        QTest::newRow("error, placeholders taken literally")
            << QString(ZRMLCFailedToCompileFileNotification) << "/site/%1 100%.less" << "missing `}` %1 %2 %@"
            << call("Compiler Error", "Failed to compile %1 100%.less. \n \n Message: \n missing `}` %1 %2 %@",
                    "transfer.error");
        QTest::newRow("started") << QString(ZRMLCStartedCompilingAFileNotification) << "/site/a.less" << ""
                                 << QVariantList();
    }

    void notifications()
    {
        QFETCH(QString, notification);
        QFETCH(QString, file);
        QFETCH(QString, result);
        QFETCH(QVariantList, call);

        postCompiled(notification, file, result); // no service yet: dropped
        QTest::qWait(200);
        QVERIFY(m_helper->jGrowlNotifications().isEmpty());
        auto server = std::make_unique<NotificationServer>();
        QTRY_COMPARE(m_helper->jGrowlNotifications(), QStringList({"compileSuccess", "compileError"}));
        postCompiled(notification, file, result);
        postCompiled(ZRMLCCompiledFileSuccessfullyNotification, "/flush.less");
        QTRY_VERIFY(!server->calls.isEmpty() && server->calls.constLast().at(4) == "Successfully compiled flush.less.");
        server->calls.removeLast();
        QCOMPARE(server->calls, call.isEmpty() ? QList<QVariantList>() : QList<QVariantList>{call});
        server.reset();
        QTRY_VERIFY(m_helper->jGrowlNotifications().isEmpty());
    }

    void reachesDunst()
    {
        if (QStandardPaths::findExecutable("Xvfb").isEmpty() || QStandardPaths::findExecutable("dunst").isEmpty())
            QSKIP("Needs Xvfb and dunst (Debian packages xvfb and dunst).");

        QProcess xvfb;
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
        QTRY_VERIFY((printed += dunst.readAllStandardOutput()).contains("desktop_entry: 'cascader'"));
        QVERIFY(printed.contains("appname: 'Cascader'\n\tsummary: 'Compiler Error'\n"
                                 "\tbody: 'Failed to compile style.less. \n \n Message: \n missing semicolon'\n"));
        for (QProcess *process : {&dunst, &xvfb}) {
            process->terminate();
            QVERIFY(process->waitForFinished());
        }
    }
};

QTEST_GUILESS_MAIN(TestGrowlHelper)
#include "TestGrowlHelper.moc"
