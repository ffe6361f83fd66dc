#include "model/LessHolder.h"

#include <QDir>
#include <QSignalSpy>
#include <QTest>

namespace {

QString home(const QString &rest) { return QDir::homePath() + rest; }
QString tilde(QString path) { return path.replace(QDir::homePath(), QStringLiteral("~")); }
QString subtitleOf(const LessHolder &file) { return file.valuesForTableViewCell().value("subtitleString").toString(); }

} // namespace

class TestLessHolder : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void construction_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QString>("folder");
        QTest::addColumn<QString>("fullPath");
        QTest::addColumn<QString>("abbreviated");
        QTest::addColumn<QString>("shown"); // the row's Output line: beside it, or in full outside its folder

        const QString ann = QStringLiteral("/home/ann/site");
        QTest::newRow("subfolder") << ann + "/less/a.less" << ann << ann + "/less/a.less" << "/less/a.less" << "a.css";
        QTest::newRow("folder in another case is another folder") << ann + "/a.less" << "/home/ann/SITE" << ann + "/a.less"
                                                                  << ann + "/a.less" << ann + "/a.css";
        QTest::newRow("folder whose name the file's folder extends") << ann + "2/a.less" << ann << ann + "2/a.less"
                                                                     << ann + "2/a.less" << ann + "2/a.css";
        QTest::newRow("folder with trailing slash") << ann + "/a.less" << ann + "/" << ann + "/a.less" << "a.less" << "a.css";
        QTest::newRow("file with tilde") << "~/site/a.min.less" << home("/site") << home("/site/a.min.less") << "/a.min.less" << "a.min.css";
        QTest::newRow("folder with tilde") << home("/site/a.less") << "~/site" << home("/site/a.less") << home("/site/a.less") << "a.css";
    }

    void construction()
    {
        QFETCH(QString, file);
        QFETCH(QString, folder);
        QFETCH(QString, fullPath);
        QFETCH(QString, abbreviated);
        QFETCH(QString, shown);

        const LessHolder holder(file, folder, true);
        QCOMPARE(holder.lessFileFullPath(), fullPath);
        QCOMPARE(holder.lessFileTildePath(), tilde(fullPath));
        QCOMPARE(holder.lessFilename(), fullPath.section(u'/', -1));
        QCOMPARE(holder.targetCSSFileFullPath(), fullPath.chopped(4) + "css");
        QCOMPARE(holder.targetCSSFileTildePath() + holder.targetCSSFilename(), QString());
        QVERIFY(holder.checkboxState() && holder.shouldCompressCSSOutput());
        QCOMPARE(holder.valuesForTableViewCell(),
                 (QVariantMap{{"titleString", abbreviated}, {"subtitleString", "Output: " + shown}}));
    }

    void chosenTargetAndClearing_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QString>("folder");
        QTest::addColumn<bool>("chosenFolder"); // from the folder chooser, else a path
        QTest::addColumn<QString>("argument");
        QTest::addColumn<QString>("target");
        QTest::addColumn<QString>("abbreviated");
        QTest::addColumn<QString>("shown"); // the row's Output line

        const QString site = home("/site"), file = site + "/less/a.less", ann = "/home/ann/site";
        const QString temporary = QDir::tempPath();
        QTest::newRow("folder") << file << site << true << site + "/css" << site + "/css/a.css" << "/css" << "../css/a.css";
        QTest::newRow("folder with tilde") << file << site << true << "~/site/css" << site + "/css/a.css" << "/css" << "../css/a.css";
        QTest::newRow("folder with a dot") << file << site << true << site + "/b.out" << site + "/b.out/a.css"
                                           << "/b.out" << "../b.out/a.css";
        QTest::newRow("css file") << file << site << false << site + "/css/main.css" << site + "/css/main.css"
                                  << "/css" << "../css/main.css";
        QTest::newRow("a folder on disk given as a path") << file << site << false << temporary << temporary + "/a.css"
                                                          << temporary << tilde(temporary + "/a.css");
        QTest::newRow("own folder, other name") << file << site << false << site + "/less/b.css" << site + "/less/b.css"
                                                << "" << "b.css";
        QTest::newRow("own folder ignoring case") << file << site << true << site + "/LESS" << site + "/LESS/a.css"
                                                  << "" << "../LESS/a.css";
        QTest::newRow("watched folder, bare") << file << site << true << site << site + "/a.css" << "" << "../a.css";
        QTest::newRow("outside, shorter than folder") << ann + "/less/a.less" << ann << false << "/nowhere/o/a.css"
                                                      << "/nowhere/o/a.css" << "/nowhere/o" << "/nowhere/o/a.css";
        QTest::newRow("outside, longer than folder") << ann + "/less/a.less" << ann << true << "/var/tmp/far/away/out/"
                                                     << "/var/tmp/far/away/out/a.css" << "/var/tmp/far/away/out/"
                                                     << "/var/tmp/far/away/out/a.css";
        QTest::newRow("lone tilde") << site + "/deep/er/a.less" << site + "/deep/er" << false << home("/a.css")
                                    << home("/a.css") << "~" << "~/a.css";
    }

    void chosenTargetAndClearing()
    {
        QFETCH(QString, file);
        QFETCH(QString, folder);
        QFETCH(bool, chosenFolder);
        QFETCH(QString, argument);
        QFETCH(QString, target);
        QFETCH(QString, abbreviated);
        QFETCH(QString, shown);

        LessHolder holder(file, folder, false);
        const QString defaultTarget = holder.targetCSSFileFullPath();
        chosenFolder ? holder.setCSSFileOutputFolder(argument) : holder.setCSSFileOutputPath(argument);
        QCOMPARE(holder.targetCSSFileFullPath(), target);
        QCOMPARE(holder.targetCSSFileTildePath() + " " + holder.targetCSSFilename(), tilde(target) + " " + target.section(u'/', -1));
        QCOMPARE(subtitleOf(holder), "Output: " + shown);
        QCOMPARE(holder.targetCSSFileAbbreviatedPath(), abbreviated);

        QSignalSpy changes(&holder, &LessHolder::changed);
        holder.clearCSSFileOutputPath();
        QCOMPARE(holder.targetCSSFileFullPath(), defaultTarget);
        QCOMPARE(holder.targetCSSFileTildePath() + holder.targetCSSFileAbbreviatedPath() + holder.targetCSSFilename(), QString());
        QCOMPARE(subtitleOf(holder), "Output: " + defaultTarget.section(u'/', -1));
        using enum LessHolder::Field;
        QList<QList<QVariant>> expected;
        for (LessHolder::Field field : {TargetCSSFileFullPath, TargetCSSFileTildePath, TargetCSSFileAbbreviatedPath, TargetCSSFilename,
                            ValuesForTableViewCell})
            expected.append({QVariant::fromValue(field)});
        QCOMPARE(changes, expected);
    }
};

QTEST_GUILESS_MAIN(TestLessHolder)
#include "TestLessHolder.moc"
