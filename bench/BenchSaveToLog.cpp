// From saving a one-rule LESS file to its line in the log of
// `cascader --headless`, next to running lessc on the same file by hand.
#include "support/Resources.h"
#include "BenchStatistics.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>

namespace {

constexpr int Rounds = 15;
constexpr int TimeoutMs = 60000;
const QString EnginesFolder = QStringLiteral("engines/bin");

bool save(const QString &path, int round)
{
    QFile file(path);
    const QByteArray rule = "a { color: #" + QByteArray::number(0x100000 + round, 16) + "; }\n";
    return file.open(QIODevice::WriteOnly) && file.write(rule) == rule.size();
}


// Reads Cascader's output until a line names the file, or gives up.
bool waitForLogLine(QProcess &cascader, const QByteArray &file, int timeoutMs)
{
    QElapsedTimer waited;
    waited.start();
    while (!waited.hasExpired(timeoutMs)) {
        while (cascader.canReadLine()) {
            if (cascader.readLine().contains(file))
                return true;
        }
        cascader.waitForReadyRead(100);
    }
    return false;
}

QProcessEnvironment sandboxEnvironment(const QTemporaryDir &sandbox)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const char *name : {"HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_RUNTIME_DIR"}) {
        const QString folder = sandbox.filePath(QString::fromLatin1(name));
        QDir().mkpath(folder);
        environment.insert(QString::fromLatin1(name), folder);
    }
    QFile::setPermissions(sandbox.filePath(QStringLiteral("XDG_RUNTIME_DIR")),
                          QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    return environment;
}

QList<double> saveToLogMilliseconds(const QTemporaryDir &sandbox, const QString &lessFile)
{
    QProcess cascader;
    cascader.setProcessEnvironment(sandboxEnvironment(sandbox));
    cascader.start(QCoreApplication::applicationDirPath() + QStringLiteral("/cascader"),
                   {QStringLiteral("--headless"), QFileInfo(lessFile).path()});
    const QByteArray name = QFileInfo(lessFile).fileName().toUtf8();
    // The file is watched some time after the start.
    int round = 0;
    while (!waitForLogLine(cascader, name, 500)) {
        if (!save(lessFile, round++) || round > TimeoutMs / 500)
            return {};
    }
    QList<double> samples;
    for (int sample = 0; sample < Rounds; ++sample) {
        QElapsedTimer timer;
        timer.start();
        if (!save(lessFile, round++) || !waitForLogLine(cascader, name, TimeoutMs))
            return {};
        samples << timer.nsecsElapsed() / 1e6;
    }
    cascader.terminate();
    cascader.waitForFinished();
    return samples;
}

QList<double> lesscByHandMilliseconds(const QString &lessFile)
{
    const QString node = Resources::pathForResource(QStringLiteral("node"), {}, EnginesFolder);
    const QString lessc = Resources::pathForResource(QStringLiteral("lessc"), {}, EnginesFolder);
    const QString cssFile = QFileInfo(lessFile).path() + QStringLiteral("/by-hand.css");
    QList<double> samples;
    for (int sample = 0; sample < Rounds; ++sample) {
        QElapsedTimer timer;
        timer.start();
        QProcess process;
        process.start(node, {lessc, lessFile, cssFile, QStringLiteral("--no-color")});
        process.waitForFinished(-1);
        samples << timer.nsecsElapsed() / 1e6;
    }
    return samples;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    QTemporaryDir sandbox;
    const QString lessFile = sandbox.filePath(QStringLiteral("HOME/site/style.less"));
    if (!QDir().mkpath(QFileInfo(lessFile).path()) || !save(lessFile, 0))
        return 1;

    const QList<double> saveToLog = saveToLogMilliseconds(sandbox, lessFile);
    if (saveToLog.isEmpty()) {
        std::fputs("Cascader did not log the compiles.\n", stderr);
        return 1;
    }
    const double cascaderMedian = median(saveToLog);
    const double byHandMedian = median(lesscByHandMilliseconds(lessFile));
    std::printf("Median of %d saves of a one-rule LESS file:\n", Rounds);
    std::printf("  save to log line in cascader --headless: %.1f ms\n", cascaderMedian);
    std::printf("  lessc run by hand: %.1f ms\n", byHandMedian);
    std::printf("  ratio %.2f\n", cascaderMedian / byHandMedian);
    return 0;
}
