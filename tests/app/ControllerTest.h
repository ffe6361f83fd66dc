#pragma once

#include "AppTestSupport.h"
#include "app/LessClientAppDelegate.h"
#include "app/AutoCompileWatchList.h"
#include "support/UserDefaults.h"
#include "support/UserDefaultsKeys.h"

#include <QTemporaryDir>

#include <memory>

// A controller without a window over a temporary folder, for the tests of
// the controller's jobs. In paths, "@" is the test's folder and a leading "~"
// the home folder.
class ControllerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        LessClientAppDelegate registrar; // registers the defaults
    }
    void init()
    {
        m_root = std::make_unique<QTemporaryDir>();
        m_controller = std::make_unique<MainAppController>(nullptr);
    }
    void cleanup()
    {
        m_controller.reset();
        UserDefaults::standardUserDefaults()->removeObjectForKey(UserDefaultsKeys::AutoSetCustomCSSPaths);
    }

protected:
    QString resolved(QString path) const
    {
        path.replace(u'@', m_root->path());
        return path.startsWith(u'~') ? QDir::homePath() + path.mid(1) : path;
    }
    QStringList resolved(QStringList paths) const
    {
        for (QString &path : paths)
            path = resolved(path);
        return paths;
    }
    LessHolder *record(const QString &path) const
    {
        return m_controller->appModel()->getLessHolderForLessFileAtPath(resolved(path));
    }
    // The folder in the project, every file watched.
    void watch(const QString &folder)
    {
        m_controller->appModel()->addNewPathToModel(folder, ZRMLessCompiler::getAllLessFilesInDirectory(folder));
        m_controller->watchList()->refreshAutoCompileWatchList();
        QVERIFY(AppTestSupport::waitUntilWatched(m_controller->appModel()->getAllLessFilesAndIncludeIgnoredOnes(true)));
    }
    static QStringList engineWatches() { return ZRMLessCompiler::sharedLessCompiler()->watchedLessFiles(); }
    static QStringList sorted(QStringList list)
    {
        list.sort();
        return list;
    }

    std::unique_ptr<QTemporaryDir> m_root;
    std::unique_ptr<MainAppController> m_controller;
};
