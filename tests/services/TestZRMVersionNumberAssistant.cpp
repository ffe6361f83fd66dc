#include "services/ZRMVersionNumberAssistant.h"

#include <QTest>

class TestZRMVersionNumberAssistant : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void compareVersionString_data()
    {
        QTest::addColumn<QString>("version");
        QTest::addColumn<QString>("toVersion");
        QTest::addColumn<QString>("compareResult");
        QTest::addColumn<QString>("newer"); // only for differentVersions

        const QString different = "differentVersions";
        QTest::newRow("numeric, not textual") << "1.2.3" << "1.2.10" << different << "1.2.10";
        QTest::newRow("more components win") << "1.0" << "1.0.0" << different << "1.0.0";
        QTest::newRow("more components win, first") << "2.0" << "2" << different << "2.0";
        QTest::newRow("leading zeros") << "1.02" << "1.2" << "sameVersion" << "";
        QTest::newRow("empty is zero") << "" << "0" << "sameVersion" << "";
        QTest::newRow("negative component") << "1.-1" << "1.0" << different << "1.0";
        QTest::newRow("digits end at a non-digit") << "1.2-3" << "1.2" << "sameVersion" << "";
        QTest::newRow("leading spaces skipped, kept in result") << " 1. 3" << "1.2" << different << " 1. 3";
        QTest::newRow("clamped to max") << "4294967296" << "2147483647" << "sameVersion" << "";
        QTest::newRow("clamped, then next") << "2147483648.1" << "99999999999.0" << different << "2147483648.1";
        QTest::newRow("letter") << "1.2b" << "1.2" << "error" << "";
        QTest::newRow("letter in second") << "1.2" << "1.2 Beta" << "error" << "";
        QTest::newRow("letter outside the BMP") << u"1.\U0001D400"_qs << "1" << "error" << "";
        QTest::newRow("combining mark") << u"1.2\u0301"_qs << "1.2" << "error" << "";
    }

    void compareVersionString()
    {
        QFETCH(QString, version);
        QFETCH(QString, toVersion);
        QFETCH(QString, compareResult);
        QFETCH(QString, newer);

        const bool different = compareResult == "differentVersions";
        const QVariant null = QVariant::fromValue(nullptr);
        const QVariantMap expected{{"compareResult", compareResult},
                                   {"newerVersion", different ? QVariant(newer) : null},
                                   {"olderVersion", different ? QVariant(newer == version ? toVersion : version) : null}};
        QCOMPARE(ZRMVersionNumberAssistant::compareVersionString(version, toVersion), expected);
    }
};

QTEST_GUILESS_MAIN(TestZRMVersionNumberAssistant)
#include "TestZRMVersionNumberAssistant.moc"
