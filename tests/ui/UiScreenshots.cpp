// Writes pictures of the main window, filled with a small realistic project,
// into the folder given on the command line; with --dark, as a user of a dark
// colour scheme sees them, under names that start with "dark-".

#include "app/LiveReload.h"
#include "app/MainAppController.h"
#include "engine/ZRMLessCompiler.h"
#include "services/LiveReloadPage.h"
#include "support/NotificationCenter.h"
#include "support/UserDefaults.h"
#include "support/UserDefaultsKeys.h"
#include "ui/AboutWindowController.h"
#include "ui/FileOptionsDialog.h"
#include "ui/FilesArrayController.h"
#include "ui/OutputRuleDialog.h"
#include "ui/PathsArrayController.h"
#include "ui/PreferencesController.h"
#include "ui/ZRMDragOverlayWindow.h"
#include "ui/ZRMWindow.h"

#include <QApplication>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QItemSelectionModel>
#include <QMessageBox>
#include <QMimeData>
#include <QPalette>
#include <QPropertyAnimation>
#include <QStyleFactory>
#include <QTest>

#include <cstdio>

namespace {

QString home(const QString &path) { return QDir::homePath() + u'/' + path; }

QString namePrefix;

// What the reader sees in messages, rather than the throw-away home's path.
const QString ReaderHome = QStringLiteral("/home/alex");

// Set before any window exists, as a desktop's colour scheme is.
void useDarkScheme()
{
    QApplication::setStyle(QStyleFactory::create("Fusion"));
    QPalette dark;
    const QColor window(0x2d, 0x2d, 0x30), base(0x1e, 0x1e, 0x1e), text(0xe6, 0xe6, 0xe6);
    dark.setColor(QPalette::Window, window);
    dark.setColor(QPalette::WindowText, text);
    dark.setColor(QPalette::Base, base);
    dark.setColor(QPalette::AlternateBase, window);
    dark.setColor(QPalette::ToolTipBase, base);
    dark.setColor(QPalette::ToolTipText, text);
    dark.setColor(QPalette::Text, text);
    dark.setColor(QPalette::Button, window);
    dark.setColor(QPalette::ButtonText, text);
    dark.setColor(QPalette::BrightText, Qt::red);
    dark.setColor(QPalette::Link, QColor(0x6c, 0xb4, 0xff));
    dark.setColor(QPalette::Highlight, QColor(0x2f, 0x65, 0xca));
    dark.setColor(QPalette::HighlightedText, Qt::white);
    dark.setColor(QPalette::PlaceholderText, QColor(0x8c, 0x8c, 0x8c));
    for (QPalette::ColorRole role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        dark.setColor(QPalette::Disabled, role, QColor(0x7f, 0x7f, 0x7f));
    QApplication::setPalette(dark);
}

// The files exist, so that the engine watches them as it would a real project.
bool addFolder(LessModel *model, const QString &folder, const QStringList &files)
{
    QStringList paths;
    for (const QString &file : files) {
        paths << home(folder) + u'/' + file;
        if (!QDir().mkpath(QFileInfo(paths.last()).path()) || !QFile(paths.last()).open(QIODevice::WriteOnly))
            return false;
    }
    model->addNewPathToModel(home(folder), paths);
    return true;
}

// Through the engine's notifications, as a real compile reports.
void reportCompile(const QString &file, const QString &result, bool successful, qint64 secondsFromNow,
                   const QString &linkedToFile = {})
{
    using namespace ZRMLessCompilerKey;
    NotificationCenter *center = NotificationCenter::defaultCenter();
    const QDateTime time = QDateTime::currentDateTime().addSecs(secondsFromNow);
    center->post(ZRMLCStartedCompilingAFileNotification, nullptr, {{File, file}});
    center->post(successful ? ZRMLCCompiledFileSuccessfullyNotification : ZRMLCFailedToCompileFileNotification, nullptr,
                 {{Time, time}, {File, file}, {Result, result}, {Successful, successful}, {LinkedToFile, linkedToFile}});
}

bool fillProject(MainAppController &controller, ZRMWindow &window)
{
    LessModel *model = controller.appModel();
    if (!addFolder(model, "Sites/acme-shop",
                   {"less/main.less", "less/print.less", "less/components/buttons.less", "less/components/forms.less"})
        || !addFolder(model, "Sites/portfolio", {"styles/site.less", "styles/blog.less"}))
        return false;
    const auto &shopFiles = model->pathData().at(0)->lessFiles();
    shopFiles.at(0)->setCSSFileOutputPath(home("Sites/acme-shop/css"));
    shopFiles.at(1)->chooseCheckboxState(false);
    // The components are partials of main.less.
    QStringList read;
    for (int file : {0, 2, 3})
        read << shopFiles.at(file)->lessFileFullPath();
    model->recordFilesRead(read.constFirst(), read, true);
    for (QItemSelectionModel *selection :
         {window.pathsController()->selectionModel(), window.filesController()->selectionModel()})
        selection->select(selection->model()->index(0, 0), QItemSelectionModel::ClearAndSelect);

    controller.toggleAutoCompile();
    const QString main = home("Sites/acme-shop/less/main.less"), print = home("Sites/acme-shop/less/print.less");
    reportCompile(main, "Success!", true, 95);
    const QString shownPrint = ReaderHome + "/Sites/acme-shop/less/print.less";
    reportCompile(print, QStringLiteral("ParseError: Unrecognised input. Possibly missing something in %1 on line 14, "
                                        "column 5:\n13 .site-header {\n14     colour red\n15 }").arg(shownPrint), false, 143);
    reportCompile(main, "Success!", true, 171, "[Triggered by: base.less]");
    return true;
}

// Lets the widget settle, then saves its picture and prints where.
bool save(QWidget *widget, const QDir &folder, const QString &name)
{
    QTest::qWait(50);
    const QString path = folder.filePath(namePrefix + name);
    if (!widget->grab().save(path))
        return false;
    std::printf("%s\n", qUtf8Printable(path));
    return true;
}

void finish(QPropertyAnimation *fade) { fade->setCurrentTime(fade->duration()); }

// A drag held over the window, pictured, then left.
bool saveDrag(ZRMWindow *window, const QStringList &paths, const QDir &folder, const QString &name)
{
    QList<QUrl> urls;
    for (const QString &path : paths)
        urls << QUrl::fromLocalFile(home(path));
    QMimeData data;
    data.setUrls(urls);
    QDragEnterEvent enter(window->rect().center(), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QDragLeaveEvent leave;
    QApplication::sendEvent(window, &enter);
    finish(window->overlayWindow()->fadeInAnimation());
    const bool saved = save(window, folder, name);
    QApplication::sendEvent(window, &leave);
    finish(window->overlayWindow()->fadeOutAnimation());
    return saved;
}

} // namespace

int main(int argc, char *argv[])
{
    QApplication application(argc, argv);
    QStringList arguments = QApplication::arguments().mid(1);
    if (arguments.removeAll("--dark") > 0) {
        useDarkScheme();
        namePrefix = "dark-";
    }
    if (arguments.size() != 1) {
        std::fprintf(stderr, "usage: %s [--dark] OUTDIR\n", argv[0]);
        return 2;
    }
    const QDir folder(arguments.constFirst());
    MainAppController controller(nullptr);
    auto *window = new ZRMWindow(&controller);
    if (!folder.mkpath(".") || !fillProject(controller, *window))
        return 1;
    window->show();
    window->activateWindow();
    if (!QTest::qWaitForWindowActive(window))
        return 1;

    controller.setActiveTabViewIndex(0);
    bool saved = save(window, folder, "main-window-files.png");
    controller.setActiveTabViewIndex(MainAppController::CompilerLogTab);
    saved &= save(window, folder, "main-window-log.png");
    controller.setActiveTabViewIndex(0);
    controller.showSpinnerWithMessage("Refreshing Folders...");
    saved &= save(window, folder, "main-window-busy.png");
    controller.hideSpinner();
    controller.appModel()->setPathMissing(home("Sites/portfolio"), true);
    saved &= save(window, folder, "main-window-missing-folder.png");
    controller.appModel()->setPathMissing(home("Sites/portfolio"), false);

    saved &= saveDrag(window, {"Sites/portfolio"}, folder, "drag-one-folder.png");
    saved &= saveDrag(window,
                      {"Sites/acme-shop/less/main.less", "Sites/acme-shop/less/print.less", "Sites/portfolio/styles/site.less"},
                      folder, "drag-three-less-files.png");

    window->flashOverlayWithDuration(0, "thumbs.png", "Refresh Complete");
    finish(window->overlayWindow()->fadeInAnimation());
    saved &= save(window, folder, "main-window-flash.png");
    window->overlayWindow()->hide();

    window->showErrorSheet("Path Already Included",
                                        QStringLiteral("We're already watching %1").arg(home("Sites/acme-shop")));
    QTest::qWait(50);
    auto *sheet = window->findChild<QMessageBox *>();
    saved &= sheet && save(sheet, folder, "error-sheet.png");

    QList<LessHolder *> files = controller.appModel()->getAllLessHoldersAndIncludeIgnoredOnes(true).mid(0, 2);
    LessOptions mapped;
    mapped.sourceMap = LessOptions::SourceMap::File;
    mapped.globalVariables.insert("brand", "#1a73e8");
    files.constFirst()->setLessOptions(mapped);
    FileOptionsDialog options(files, controller.appModel()->watchedFolderOf(files.constFirst()), nullptr);
    options.show();
    saved &= save(&options, folder, "file-options.png");
    OutputRuleDialog rule(controller.appModel()->pathData().front().get());
    rule.show();
    saved &= save(&rule, folder, "output-rule.png");

    // What a user who changed a little might have.
    UserDefaults *defaults = UserDefaults::standardUserDefaults();
    defaults->setInteger(5, UserDefaultsKeys::RefreshInterval);
    defaults->setBool(true, UserDefaultsKeys::UpdateAtStartup);
    defaults->setBool(true, UserDefaultsKeys::ShouldCompressCSSOutput);
    defaults->setInteger(60, UserDefaultsKeys::CompileTimeLimit);
    defaults->setInteger(35729, UserDefaultsKeys::LiveReloadPort);
    defaults->setBool(true, UserDefaultsKeys::LiveReloadOnAllAddresses);
    defaults->setObject(QStringList{".*", "node_modules", "bower_components", "vendor"}, UserDefaultsKeys::SkippedFolders);
    PreferencesController preferences;
    AboutWindowController about;
    preferences.show();
    saved &= save(&preferences, folder, "preferences.png");
    about.show();
    saved &= save(&about, folder, "about.png");

    // Two pages follow the CSS; any free port, so that a running Cascader is no obstacle.
    defaults->setInteger(0, UserDefaultsKeys::LiveReloadPort);
    defaults->setBool(false, UserDefaultsKeys::LiveReloadOnAllAddresses);
    controller.liveReload()->start(true);
    const LiveReloadPage first(controller.liveReload()->port()), second(controller.liveReload()->port());
    saved &= QTest::qWaitFor([&] { return controller.liveReload()->pageCount() == 2; });
    saved &= save(window, folder, "main-window-live-reload.png");
    return saved ? 0 : 1;
}
