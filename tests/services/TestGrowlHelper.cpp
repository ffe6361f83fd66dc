#include "engine/ZRMLessCompiler.h"
#include "services/GrowlHelper.h"
#include "support/NotificationCenter.h"
#include "support/UserDefaults.h"
#include "support/UserDefaultsKeys.h"

#include <QDBusConnection>
#include <QProcess>
#include <QRegularExpression>
#include <QSignalSpy>
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

static void postBurst(const QStringList &compiled, const QStringList &failed)
{
    for (const QString &file : compiled)
        postCompiled(ZRMLCCompiledFileSuccessfullyNotification, file);
    for (const QString &file : failed)
        postCompiled(ZRMLCFailedToCompileFileNotification, file, "missing semicolon");
}

static QStringList lessFiles(const QString &prefix, int count)
{
    QStringList files;
    for (int i = 1; i <= count; ++i)
        files.append(QString("/site/%1%2.less").arg(prefix).arg(i));
    return files;
}

// Longer than the quiet time that ends a burst.
constexpr int BurstSent = 600;

// A real dunst on a virtual display, printing every notification it receives.
class Dunst
{
public:
    static bool isAvailable()
    {
        return !QStandardPaths::findExecutable("Xvfb").isEmpty() && !QStandardPaths::findExecutable("dunst").isEmpty();
    }

    ~Dunst()
    {
        for (QProcess *process : {&dunst, &xvfb}) {
            process->terminate();
            process->waitForFinished();
        }
    }

    bool start(const QByteArray &settings)
    {
        xvfb.start("Xvfb", {"-displayfd", "1", "-nolisten", "tcp"});
        if (!xvfb.waitForReadyRead(10000) || !config.open() || !config.write("[global]\n" + settings + '\n')
            || !config.flush())
            return false;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("DISPLAY", ':' + QString::fromLatin1(xvfb.readLine().trimmed()));
        dunst.setProcessEnvironment(environment);
        dunst.start("dunst", {"-print", "-config", config.fileName()});
        return dunst.waitForStarted();
    }

    const QByteArray &printed() { return m_printed += dunst.readAllStandardOutput(); }

    QProcess xvfb;
    QProcess dunst;

private:
    QTemporaryFile config;
    QByteArray m_printed;
};

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

    void cleanup() { UserDefaults::standardUserDefaults()->removeObjectForKey(UserDefaultsKeys::Notifications); }

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
        QTest::newRow("error, placeholders taken literally, no markup")
            << QString(ZRMLCFailedToCompileFileNotification) << "/site/%1 100%.less" << "missing `}` %1 %2 %@ <a>"
            << call("Compiler Error", "Failed to compile %1 100%.less. \n \n Message: \n missing `}` %1 %2 %@ <a>",
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
        QTest::qWait(BurstSent);
        postCompiled(ZRMLCCompiledFileSuccessfullyNotification, "/flush.less");
        QTRY_VERIFY(!server->calls.isEmpty() && server->calls.constLast().at(4) == "Successfully compiled flush.less.");
        server->calls.removeLast();
        QCOMPARE(server->calls, call.isEmpty() ? QList<QVariantList>() : QList<QVariantList>{call});
        server.reset();
        QTRY_VERIFY(m_helper->jGrowlNotifications().isEmpty());
    }

    void steadyStreamStillNotifies()
    {
        NotificationServer server;
        QTRY_VERIFY(!m_helper->jGrowlNotifications().isEmpty());
        for (const QString &file : lessFiles("f", 14)) {
            postBurst({file}, {});
            QTest::qWait(200);
        }
        QVERIFY(!server.calls.isEmpty());
    }

    // Each expected notification is known by a piece of what dunst printed
    // for it; a marker sent last shows that nothing else came.
    void reachesDunst_data()
    {
        QTest::addColumn<QByteArray>("settings");
        QTest::addColumn<QString>("preference");
        QTest::addColumn<QStringList>("compiled");
        QTest::addColumn<QStringList>("failed");
        QTest::addColumn<QByteArrayList>("expected");

        QTest::newRow("markup, tags in the name")
            << QByteArray("markup = full") << "all" << QStringList{"/site/a<b>c.less"} << QStringList()
            << QByteArrayList{"formatted: '<b>Compiler Success</b>\nSuccessfully compiled a&lt;b&gt;c.less.'"};
        QTest::newRow("markup, ampersand in the name")
            << QByteArray("markup = full") << "all" << QStringList() << QStringList{"/site/bad&<err>.less"}
            << QByteArrayList{"formatted: '<b>Compiler Error</b>\nFailed to compile bad&amp;&lt;err&gt;.less."};
        // Without markup the text received is the text shown. (dunst's own
        // plain mode still trips over '<', so the name has none.)
        QTest::newRow("plain, ampersand in the name")
            << QByteArray() << "all" << QStringList() << QStringList{"/site/bad&err.less"}
            << QByteArrayList{"body: 'Failed to compile bad&err.less."};
        QTest::newRow("12 compiled") << QByteArray() << "all" << lessFiles("f", 12) << QStringList()
                                     << QByteArrayList{"summary: '12 files compiled'"};
        QTest::newRow("5 of 12 failed")
            << QByteArray() << "all" << lessFiles("f", 7) << lessFiles("e", 5)
            << QByteArrayList{"summary: '5 of 12 failed'\n\tbody: 'e1.less, e2.less, e3.less and 2 more'"};
        QTest::newRow("failures, none failed")
            << QByteArray() << "failures" << lessFiles("f", 3) << QStringList() << QByteArrayList();
        QTest::newRow("failures, one failed") << QByteArray() << "failures" << lessFiles("f", 2) << lessFiles("e", 1)
                                              << QByteArrayList{"summary: '1 of 3 failed'\n\tbody: 'e1.less'"};
        QTest::newRow("none") << QByteArray() << "none" << QStringList() << lessFiles("e", 1) << QByteArrayList();
    }

    void reachesDunst()
    {
        QFETCH(QByteArray, settings);
        QFETCH(QString, preference);
        QFETCH(QStringList, compiled);
        QFETCH(QStringList, failed);
        QFETCH(QByteArrayList, expected);
        if (!Dunst::isAvailable())
            QSKIP("Needs Xvfb and dunst (Debian packages xvfb and dunst).");

        Dunst dunst;
        QVERIFY(dunst.start(settings));
        QTRY_VERIFY_WITH_TIMEOUT(!m_helper->jGrowlNotifications().isEmpty(), 20000);
        UserDefaults::standardUserDefaults()->setObject(preference, UserDefaultsKeys::Notifications);
        postBurst(compiled, failed);
        QTest::qWait(BurstSent);
        UserDefaults::standardUserDefaults()->setObject("all", UserDefaultsKeys::Notifications);
        postBurst({"/site/marker.less"}, {});
        QTRY_VERIFY(dunst.printed().contains("Successfully compiled marker.less."));

        const QByteArray &printed = dunst.printed();
        QVERIFY2(printed.count("summary: ") == expected.size() + 1, printed.constData());
        for (const QByteArray &notification : expected)
            QVERIFY2(printed.contains(notification), printed.constData());
        QVERIFY(printed.contains("desktop_entry: 'cascader'"));
        const QByteArray errors = dunst.dunst.readAllStandardError();
        QVERIFY2(!errors.contains("markup"), errors.constData());
    }

    void activatingNotification_data()
    {
        QTest::addColumn<QStringList>("compiled");
        QTest::addColumn<QStringList>("failed");
        QTest::addColumn<QString>("activated");

        QTest::newRow("one file") << QStringList{"/site/a.less"} << QStringList() << "/site/a.less";
        QTest::newRow("first failed") << lessFiles("f", 2) << lessFiles("e", 2) << "/site/e1.less";
    }

    void activatingNotification()
    {
        QFETCH(QStringList, compiled);
        QFETCH(QStringList, failed);
        QFETCH(QString, activated);
        if (!Dunst::isAvailable() || QStandardPaths::findExecutable("dunstctl").isEmpty())
            QSKIP("Needs Xvfb and dunst (Debian packages xvfb and dunst).");

        Dunst dunst;
        QVERIFY(dunst.start({}));
        QTRY_VERIFY_WITH_TIMEOUT(!m_helper->jGrowlNotifications().isEmpty(), 20000);
        QSignalSpy spy(m_helper.get(), &GrowlHelper::notificationActivated);
        postBurst(compiled, failed);
        QTRY_VERIFY(dunst.printed().contains("\"default\": \"Show in Cascader\""));
        // dunst may show the notification a moment after printing it: ask again
        // until it is activated, giving each request time to arrive.
        QTRY_VERIFY(!spy.isEmpty() || (QProcess::execute("dunstctl", {"action", "0"}), spy.wait(1000)));
        QCOMPARE(spy.first(), QVariantList{activated});
    }
};

QTEST_GUILESS_MAIN(TestGrowlHelper)
#include "TestGrowlHelper.moc"
