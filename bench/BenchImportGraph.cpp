// Finding what a save recompiles in a generated project of 10,000 files:
// 500 chains of 20 imports each, every chain ending in one shared file.
// Saving the end of one chain returns 20 files; saving the shared file
// returns all 10,000. Each is timed against the 1 ms budget, and the cost
// per returned file of both is compared to show that it grows linearly.
#include "model/ImportGraph.h"
#include "BenchStatistics.h"

#include <QElapsedTimer>

#include <cstdio>

namespace {

constexpr int Chains = 500;
constexpr int ChainLength = 20;
constexpr int Rounds = 51;
constexpr double BudgetMs = 1.0;
constexpr double LinearityLimit = 2.0;

QString file(int chain, int depth)
{
    return QStringLiteral("/project/chain-%1/level-%2.less").arg(chain).arg(depth);
}

const QString SharedFile = QStringLiteral("/project/shared/variables.less");

ImportGraph generatedGraph()
{
    ImportGraph graph;
    for (int chain = 0; chain < Chains; ++chain) {
        for (int depth = 0; depth + 1 < ChainLength; ++depth)
            graph.setImports(file(chain, depth), {file(chain, depth + 1)});
        graph.setImports(file(chain, ChainLength - 1), {SharedFile});
    }
    return graph;
}

// The median time in milliseconds and the number of files returned.
std::pair<double, qsizetype> timeDependents(const ImportGraph &graph, const QString &saved)
{
    QList<qint64> times;
    qsizetype returned = 0;
    for (int round = 0; round < Rounds; ++round) {
        QElapsedTimer timer;
        timer.start();
        returned = graph.dependentsOf(saved).size();
        times << timer.nsecsElapsed();
    }
    return {medianInMilliseconds(times), returned};
}

} // namespace

int main()
{
    const ImportGraph graph = generatedGraph();
    const auto [chainMs, chainFiles] = timeDependents(graph, file(0, ChainLength - 1));
    const auto [sharedMs, sharedFiles] = timeDependents(graph, SharedFile);
    std::printf("save at the end of a chain: %.4f ms for %lld files (%.2fx the %.0f ms budget)\n", chainMs,
                qlonglong(chainFiles), chainMs / BudgetMs, BudgetMs);
    std::printf("save of the shared file:    %.4f ms for %lld files (%.2fx the %.0f ms budget)\n", sharedMs,
                qlonglong(sharedFiles), sharedMs / BudgetMs, BudgetMs);
    const double perFileSmall = chainMs / double(chainFiles);
    const double perFileLarge = sharedMs / double(sharedFiles);
    const double linearity = perFileLarge / perFileSmall;
    std::printf("cost per returned file: %.2f us for %lld files, %.2f us for %lld (ratio %.2f, linear when at most %.1f)\n",
                perFileSmall * 1000, qlonglong(chainFiles), perFileLarge * 1000, qlonglong(sharedFiles), linearity,
                LinearityLimit);
    const bool met = sharedMs <= BudgetMs && chainMs <= BudgetMs && linearity <= LinearityLimit;
    std::printf("target %s\n", met ? "met" : "NOT met");
    return 0;
}
