#include "CSSOutputPaths.h"

#include "MainAppController.h"
#include "support/PathUtils.h"

#include <QFileInfo>

using namespace PathUtils;

namespace {

const QString SettingCSSPathsMessage = QStringLiteral("Setting CSS Paths...");
const QString CSSFolderName = QStringLiteral("css");

} // namespace

struct CSSOutputPaths::CSSTarget
{
    QString lessFile;
    QString targetCSSFile;
};

struct CSSOutputPaths::CSSFolderMove
{
    qsizetype fileIndex;
    QString lessFile;
    QString cssFolder;
};

CSSOutputPaths::CSSOutputPaths(MainAppController *controller) : QObject(controller), m_controller(controller) {}

void CSSOutputPaths::beginAutoSettingCSSPaths()
{
    m_controller->showSpinnerWithMessage(SettingCSSPathsMessage);
    QList<CSSTarget> targets;
    for (const LessHolder *file : m_controller->appModel()->getAllLessHoldersAndIncludeIgnoredOnes(true))
        targets << CSSTarget{file->lessFileFullPath(), file->targetCSSFileFullPath()};
    m_controller->runInBackground(
        this, [targets] { return asynchronouslyAutoSetCSSPaths(targets); },
        [this](const QList<CSSFolderMove> &moves) {
            moveCSSTargets(moves);
            m_controller->hideSpinner();
        });
}

// Only targets still at their default place (beside the LESS file, same base
// name) move into the css folder beside the LESS file's folder; a target the
// user chose, or one already moved, no longer matches.
QList<CSSOutputPaths::CSSFolderMove> CSSOutputPaths::asynchronouslyAutoSetCSSPaths(const QList<CSSTarget> &targets)
{
    QList<CSSFolderMove> moves;
    for (qsizetype index = 0; index < targets.size(); ++index) {
        const CSSTarget &target = targets.at(index);
        const QString cssFolder = appendingPathComponent(
            deletingLastPathComponent(deletingLastPathComponent(target.lessFile)), CSSFolderName);
        const bool atDefaultPlace = deletingPathExtension(target.lessFile)
                                        .compare(deletingPathExtension(target.targetCSSFile),
                                                 Qt::CaseInsensitive)
                                    == 0;
        if (atDefaultPlace && QFileInfo(cssFolder).isDir())
            moves << CSSFolderMove{index, target.lessFile, cssFolder};
    }
    return moves;
}

// The records are found again by position; one whose file changed meanwhile is left alone.
void CSSOutputPaths::moveCSSTargets(const QList<CSSFolderMove> &moves)
{
    const QList<LessHolder *> files = m_controller->appModel()->getAllLessHoldersAndIncludeIgnoredOnes(true);
    for (const CSSFolderMove &move : moves) {
        if (move.fileIndex < files.size() && files.at(move.fileIndex)->lessFileFullPath() == move.lessFile)
            files.at(move.fileIndex)->setCSSFileOutputFolder(move.cssFolder);
    }
}
