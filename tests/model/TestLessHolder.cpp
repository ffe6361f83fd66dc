#include "model/LessHolder.h"

#include <QDir>
#include <QSignalSpy>
#include <QTest>

using Field = LessHolder::Field;

namespace {

QString home(const QString &rest)
{
    return QDir::homePath() + rest;
}

QString tilde(QString path)
{
    return path.replace(QDir::homePath(), QStringLiteral("~"));
}

QString subtitleOf(const LessHolder &file)
{
    return file.valuesForTableViewCell().value(QStringLiteral("subtitleString")).toString();
}

} // namespace

class TestLessHolder : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void construction_data();
    void construction();
    void chosenTargetAndClearing_data();
    void chosenTargetAndClearing();
};

void TestLessHolder::construction_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("folder");
    QTest::addColumn<QString>("fullPath");
    QTest::addColumn<QString>("abbreviated");
    QTest::addColumn<QString>("defaultTarget");

    QTest::newRow("subfolder") << "/Users/ann/site/less/a.less" << "/Users/ann/site"
                               << "/Users/ann/site/less/a.less" << "/less/a.less"
                               << "/Users/ann/site/less/a.css";
    QTest::newRow("prefix ignoring case") << "/Users/ann/site/a.less" << "/users/ann/SITE"
                                          << "/Users/ann/site/a.less" << "/a.less" << "/Users/ann/site/a.css";
    QTest::newRow("folder with trailing slash") << "/Users/ann/site/a.less" << "/Users/ann/site/"
                                                << "/Users/ann/site/a.less" << "a.less"
                                                << "/Users/ann/site/a.css";
    QTest::newRow("file with tilde") << "~/site/a.min.less" << home("/site") << home("/site/a.min.less")
                                     << "/a.min.less" << home("/site/a.min.css");
    QTest::newRow("folder with tilde") << home("/site/a.less") << "~/site" << home("/site/a.less")
                                       << home("/site/a.less") << home("/site/a.css");
}

void TestLessHolder::construction()
{
    QFETCH(QString, file);
    QFETCH(QString, folder);
    QFETCH(QString, fullPath);
    QFETCH(QString, abbreviated);
    QFETCH(QString, defaultTarget);

    const LessHolder holder(file, folder, true);
    QCOMPARE(holder.memberOfWatchedFolder(), folder);
    QCOMPARE(holder.lessFileFullPath(), fullPath);
    QCOMPARE(holder.lessFileTildePath(), tilde(fullPath));
    QCOMPARE(holder.lessFilename(), fullPath.section(u'/', -1));
    QCOMPARE(holder.targetCSSFileFullPath(), defaultTarget);
    QCOMPARE(holder.targetCSSFileTildePath() + holder.targetCSSFilename(), QString());
    QVERIFY(holder.checkboxState() && holder.shouldCompressCSSOutput());
    const QVariantMap row{{"titleString", abbreviated}, {"subtitleString", "Output: "}};
    QCOMPARE(holder.valuesForTableViewCell(), row);
}

void TestLessHolder::chosenTargetAndClearing_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("folder");
    QTest::addColumn<QString>("argument");
    QTest::addColumn<QString>("target");
    QTest::addColumn<QString>("subtitle");

    const QString site = home("/site");
    const QString file = home("/site/less/a.less");
    const QString annFile = QStringLiteral("/Users/ann/site/less/a.less");
    const QString annSite = QStringLiteral("/Users/ann/site");
    QTest::newRow("folder") << file << site << home("/site/css") << home("/site/css/a.css") << "Output: /css";
    QTest::newRow("folder with tilde") << file << site << "~/site/css" << home("/site/css/a.css")
                                       << "Output: /css";
    QTest::newRow("css file") << file << site << home("/site/css/main.css") << home("/site/css/main.css")
                              << "Output: /css";
    QTest::newRow("dotted folder is a file") << file << site << home("/site/build.out")
                                             << home("/site/build.out") << "Output: /";
    QTest::newRow("own folder, other name") << file << site << home("/site/less/b.css")
                                            << home("/site/less/b.css") << "Output: ";
    QTest::newRow("own folder ignoring case") << file << site << home("/site/LESS")
                                              << home("/site/LESS/a.css")
                                              << "Output: ";
    QTest::newRow("watched folder, file") << file << site << home("/site/x.css") << home("/site/x.css")
                                          << "Output: /";
    QTest::newRow("watched folder, bare") << file << site << site << home("/site/a.css") << "Output: ";
    QTest::newRow("outside, shorter than folder") << annFile << annSite << "/tmp/o/a.css" << "/tmp/o/a.css"
                                                  << "Output: /tmp/o";
    QTest::newRow("outside, longer than folder") << annFile << annSite << "/var/tmp/far/away/out/"
                                                 << "/var/tmp/far/away/out/a.css"
                                                 << "Output: /var/tmp/far/away/out/";
    QTest::newRow("lone tilde") << home("/site/deep/er/a.less") << home("/site/deep/er") << home("/a.css")
                                << home("/a.css") << "Output: ~";
}

void TestLessHolder::chosenTargetAndClearing()
{
    QFETCH(QString, file);
    QFETCH(QString, folder);
    QFETCH(QString, argument);
    QFETCH(QString, target);
    QFETCH(QString, subtitle);

    LessHolder holder(file, folder, false);
    const QString defaultTarget = holder.targetCSSFileFullPath();
    holder.setCSSFileOutputPath(argument);
    QCOMPARE(holder.targetCSSFileFullPath(), target);
    QCOMPARE(holder.targetCSSFileTildePath(), tilde(target));
    QCOMPARE(holder.targetCSSFilename(), target.section(u'/', -1));
    QCOMPARE(subtitleOf(holder), subtitle);
    QCOMPARE(holder.targetCSSFileAbbreviatedPath(), subtitle.mid(QStringLiteral("Output: ").size()));

    QSignalSpy changes(&holder, &LessHolder::changed);
    holder.clearCSSFileOutputPath();
    QCOMPARE(holder.targetCSSFileFullPath(), defaultTarget);
    QCOMPARE(holder.targetCSSFileTildePath() + holder.targetCSSFileAbbreviatedPath()
                 + holder.targetCSSFilename(), QString());
    QCOMPARE(subtitleOf(holder), QStringLiteral("Output: "));
    QList<QVariant> announced;
    for (const QList<QVariant> &change : changes)
        announced << change.at(0);
    QCOMPARE(announced, (QList<QVariant>{QVariant::fromValue(Field::TargetCSSFileFullPath),
                                         QVariant::fromValue(Field::TargetCSSFileTildePath),
                                         QVariant::fromValue(Field::TargetCSSFileAbbreviatedPath),
                                         QVariant::fromValue(Field::TargetCSSFilename),
                                         QVariant::fromValue(Field::ValuesForTableViewCell)}));
}

QTEST_GUILESS_MAIN(TestLessHolder)
#include "TestLessHolder.moc"
