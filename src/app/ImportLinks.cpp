#include "ImportLinks.h"

#include "MainAppController.h"
#include "engine/ZRMLessCompiler.h"
#include "support/NotificationCenter.h"

namespace {

const QString LinkingImportedFilesMessage = QStringLiteral("Linking Imported Files");

} // namespace

ImportLinks::ImportLinks(MainAppController *controller) : QObject(controller), m_controller(controller)
{
    NotificationCenter::defaultCenter()->addObserver(
        this, {ZRMLCCompiledFileSuccessfullyNotification, ZRMLCFailedToCompileFileNotification},
        [this](const Notification &notification) { recordCompile(notification); });
}

ImportLinks::~ImportLinks()
{
    NotificationCenter::defaultCenter()->removeObserver(this);
}

void ImportLinks::refreshImportLinks()
{
    m_controller->showSpinnerWithMessage(LinkingImportedFilesMessage);
    linkImportedFiles([this] { m_controller->hideSpinner(); });
}

void ImportLinks::linkImportedFiles(std::function<void()> then)
{
    m_controller->runInBackground(
        this,
        [snapshot = m_controller->appModel()->fileLinkSnapshot()] { return LessModel::computeFileLinks(snapshot); },
        [this, then = std::move(then)](const LessModel::FileLinks &links) {
            m_controller->appModel()->applyFileLinks(links);
            then();
        });
}

void ImportLinks::recordCompile(const Notification &notification)
{
    using namespace ZRMLessCompilerKey;
    m_controller->appModel()->recordFilesRead(notification.userInfo.value(File).toString(),
                                              notification.userInfo.value(FilesRead).toStringList(),
                                              notification.userInfo.value(Successful).toBool());
}
