// The folder scan of a tree of 100,000 entries holding 2,000 LESS files,
// against find DIR -iname '*.less' on the same tree, both from a warm cache.
#include "engine/ZRMLessCompiler.h"
#include "BenchStatistics.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>

#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr int TopFolders = 20;
constexpr int SubFolders = 10;
constexpr int LeafFolders = 5;
constexpr int LessFilesPerLeaf = 2;
constexpr int TotalEntries = 100000;
constexpr int Rounds = 7;

const char *const OtherExtensions[] = {"css", "js", "png", "html", "map"};

bool touch(const QString &path)
{
    const int fd = open(QFile::encodeName(path).constData(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    return fd >= 0 && close(fd) == 0;
}

// Folders three deep; every leaf folder holds two LESS files and its share
// of other files, so that the tree has TotalEntries entries.
bool makeTree(const QString &root)
{
    const int folders = TopFolders + TopFolders * SubFolders + TopFolders * SubFolders * LeafFolders;
    const int leaves = TopFolders * SubFolders * LeafFolders;
    int otherFiles = TotalEntries - folders - leaves * LessFilesPerLeaf;
    for (int leaf = 0; leaf < leaves; ++leaf) {
        const QString folder = QStringLiteral("%1/top%2/sub%3/leaf%4")
                                   .arg(root)
                                   .arg(leaf / (SubFolders * LeafFolders))
                                   .arg(leaf / LeafFolders % SubFolders)
                                   .arg(leaf % LeafFolders);
        if (!QDir().mkpath(folder))
            return false;
        for (int i = 0; i < LessFilesPerLeaf; ++i) {
            if (!touch(QStringLiteral("%1/style%2.less").arg(folder).arg(i)))
                return false;
        }
        const int share = otherFiles / (leaves - leaf);
        for (int i = 0; i < share; ++i) {
            const char *extension = OtherExtensions[i % std::size(OtherExtensions)];
            if (!touch(QStringLiteral("%1/file%2.%3").arg(folder).arg(i).arg(QLatin1StringView(extension))))
                return false;
        }
        otherFiles -= share;
    }
    return true;
}


} // namespace

int main()
{
    QTemporaryDir folder;
    const QString root = folder.filePath(QStringLiteral("tree"));
    if (!makeTree(root))
        return 1;

    QList<qint64> scanTimes;
    QList<qint64> findTimes;
    qsizetype found = 0;
    for (int round = 0; round < Rounds; ++round) {
        QElapsedTimer timer;
        timer.start();
        QProcess find;
        find.setStandardOutputFile(QProcess::nullDevice());
        find.start(QStringLiteral("find"), {root, QStringLiteral("-iname"), QStringLiteral("*.less")});
        find.waitForFinished(-1);
        findTimes << timer.nsecsElapsed();

        timer.restart();
        found = ZRMLessCompiler::getAllLessFilesInDirectory(root).size();
        scanTimes << timer.nsecsElapsed();
    }

    const double scan = medianInMilliseconds(scanTimes);
    const double find = medianInMilliseconds(findTimes);
    std::printf("folder scan of %d entries: %.1f ms (%lld LESS files), find -iname '*.less': %.1f ms, "
                "ratio %.2f (target <= 1.5)\n",
                TotalEntries, scan, static_cast<long long>(found), find, scan / find);
    return 0;
}
