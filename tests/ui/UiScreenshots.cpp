// Writes pictures of the main window, filled with a small realistic project,
// into the folder given on the command line.

#include "app/MainAppController.h"
#include "engine/ZRMLessCompiler.h"
#include "support/NotificationCenter.h"
#include "support/UserDefaults.h"
#include "support/UserDefaultsKeys.h"
#include "ui/AboutWindowController.h"
#include "ui/FilesArrayController.h"
#include "ui/PathsArrayController.h"
#include "ui/ZRMDragOverlayWindow.h"
#include "ui/PreferencesController.h"
#include "ui/ZRMWindow.h"

#include <QApplication>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QItemSelectionModel>
#include <QMessageBox>
#include <QMimeData>
#include <QPropertyAnimation>
#include <QTest>

#include <cstdio>

namespace {

const QString ErrorText = QStringLiteral(
    "ParseError: Unrecognised input. Possibly missing something in %1 on line 14, column 5:\n"
    "13 .site-header {\n14     colour red\n15 }");

QString home(const QString &path)
{
    return QDir::homePath() + u'/' + path;
}

// The files exist, so that the engine watches them as it would a real project.
bool addFolder(LessModel *model, const QString &folder, const QStringList &files)
{
    QStringList paths;
    for (const QString &file : files) {
        const QString path = home(folder) + u'/' + file;
        QFile lessFile(path);
        if (!QDir().mkpath(QFileInfo(path).path()) || !lessFile.open(QIODevice::WriteOnly))
            return false;
        paths << path;
    }
    model->addNewPathToModel(home(folder), paths);
    return true;
}

void selectRow(QItemSelectionModel *selection, int row)
{
    selection->select(selection->model()->index(row, 0), QItemSelectionModel::ClearAndSelect);
}

// Through the engine's notifications, as a real compile reports.
void reportCompile(const QString &file, const QString &result, bool successful, const QDateTime &time,
                   const QString &linkedToFile = {})
{
    using namespace ZRMLessCompilerKey;
    NotificationCenter *center = NotificationCenter::defaultCenter();
    center->post(ZRMLCStartedCompilingAFileNotification, nullptr, {{File, file}});
    center->post(successful ? ZRMLCCompiledFileSuccessfullyNotification : ZRMLCFailedToCompileFileNotification,
                 nullptr,
                 {{Time, time}, {File, file}, {Result, result}, {Successful, successful}, {LinkedToFile, linkedToFile}});
}

bool fillProject(MainAppController &controller)
{
    LessModel *model = controller.appModel();
    const bool created =
        addFolder(model, QStringLiteral("Sites/acme-shop"),
                  {QStringLiteral("less/main.less"), QStringLiteral("less/print.less"),
                   QStringLiteral("less/components/buttons.less"), QStringLiteral("less/components/forms.less")})
        && addFolder(model, QStringLiteral("Sites/portfolio"),
                     {QStringLiteral("styles/site.less"), QStringLiteral("styles/blog.less")});
    if (!created)
        return false;
    const auto &shopFiles = model->pathData().at(0)->lessFiles();
    shopFiles.at(0)->setCSSFileOutputPath(home(QStringLiteral("Sites/acme-shop/css")));
    shopFiles.at(1)->setCheckboxState(false);

    selectRow(controller.pathsController()->selectionModel(), 0);
    selectRow(controller.filesController()->selectionModel(), 0);

    const QDateTime now = QDateTime::currentDateTime();
    controller.toggleAutoCompile();
    reportCompile(home(QStringLiteral("Sites/acme-shop/less/main.less")), QStringLiteral("Success!"), true,
                  now.addSecs(95));
    const QString print = home(QStringLiteral("Sites/acme-shop/less/print.less"));
    reportCompile(print, ErrorText.arg(print), false, now.addSecs(143));
    reportCompile(home(QStringLiteral("Sites/acme-shop/less/main.less")), QStringLiteral("Success!"), true,
                  now.addSecs(171), QStringLiteral("[Triggered by: base.less]"));
    return true;
}

bool save(const QPixmap &picture, const QDir &folder, const QString &name)
{
    const QString path = folder.filePath(name);
    if (!picture.save(path))
        return false;
    std::printf("%s\n", qUtf8Printable(path));
    return true;
}

void settle()
{
    QTest::qWait(50);
}

// A drag held over the window, its fade-in run to the end.
void dragOver(ZRMWindow *window, const QStringList &paths)
{
    QList<QUrl> urls;
    for (const QString &path : paths)
        urls << QUrl::fromLocalFile(home(path));
    QMimeData data;
    data.setUrls(urls);
    QDragEnterEvent enter(window->rect().center(), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(window, &enter);
    QPropertyAnimation *fadeIn = window->overlayWindow()->fadeInAnimation();
    fadeIn->setCurrentTime(fadeIn->duration());
    settle();
}

void endDrag(ZRMWindow *window)
{
    QDragLeaveEvent leave;
    QApplication::sendEvent(window, &leave);
    QPropertyAnimation *fadeOut = window->overlayWindow()->fadeOutAnimation();
    fadeOut->setCurrentTime(fadeOut->duration());
}

} // namespace

int main(int argc, char *argv[])
{
    QApplication application(argc, argv);
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s OUTDIR\n", argv[0]);
        return 2;
    }
    const QDir folder(QString::fromLocal8Bit(argv[1]));
    if (!folder.mkpath(QStringLiteral(".")))
        return 1;

    MainAppController controller(nullptr);
    ZRMWindow *window = controller.window();
    if (!fillProject(controller))
        return 1;
    window->show();
    window->activateWindow();
    if (!QTest::qWaitForWindowActive(window))
        return 1;

    controller.setActiveTabViewIndex(0);
    settle();
    bool saved = save(window->grab(), folder, QStringLiteral("main-window-files.png"));

    controller.setActiveTabViewIndex(MainAppController::CompilerLogTab);
    settle();
    saved &= save(window->grab(), folder, QStringLiteral("main-window-log.png"));

    controller.setActiveTabViewIndex(0);
    controller.showSpinnerWithMessage(QStringLiteral("Refreshing Folders..."));
    settle();
    saved &= save(window->grab(), folder, QStringLiteral("main-window-busy.png"));
    controller.hideSpinner();

    dragOver(window, {QStringLiteral("Sites/portfolio")});
    saved &= save(window->grab(), folder, QStringLiteral("drag-one-folder.png"));
    endDrag(window);
    dragOver(window, {QStringLiteral("Sites/acme-shop/less/main.less"), QStringLiteral("Sites/acme-shop/less/print.less"),
                      QStringLiteral("Sites/portfolio/styles/site.less")});
    saved &= save(window->grab(), folder, QStringLiteral("drag-three-less-files.png"));
    endDrag(window);

    window->flashOverlayWithDuration(0, QStringLiteral("thumbs.png"), QStringLiteral("Refresh Complete"));
    QPropertyAnimation *fadeIn = window->overlayWindow()->fadeInAnimation();
    fadeIn->setCurrentTime(fadeIn->duration());
    settle();
    saved &= save(window->grab(), folder, QStringLiteral("main-window-flash.png"));

    controller.throwErrorSheetWithTitle(QStringLiteral("Path Already Included"),
                                        QStringLiteral("We're already watching %1").arg(home(QStringLiteral("Sites/acme-shop"))));
    settle();
    auto *sheet = window->findChild<QMessageBox *>();
    saved &= sheet && save(sheet->grab(), folder, QStringLiteral("error-sheet.png"));

    // What a user who changed a little might have.
    UserDefaults *defaults = UserDefaults::standardUserDefaults();
    defaults->setInteger(5, UserDefaultsKeys::RefreshInterval);
    defaults->setBool(true, UserDefaultsKeys::UpdateAtStartup);
    defaults->setBool(true, UserDefaultsKeys::ShouldCompressCSSOutput);
    PreferencesController preferences;
    preferences.show();
    settle();
    saved &= save(preferences.grab(), folder, QStringLiteral("preferences.png"));

    AboutWindowController about;
    about.show();
    settle();
    saved &= save(about.grab(), folder, QStringLiteral("about.png"));
    return saved ? 0 : 1;
}
