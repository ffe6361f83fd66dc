#include "FolderDropTarget.h"

#include "DragClassification.h"
#include "ImageResources.h"
#include "OverlayFlash.h"
#include "ZRMDragOverlayWindow.h"
#include "app/MainAppController.h"

#include <QApplication>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QMimeData>
#include <QStyle>

namespace {

const QString LessFileIconName = QStringLiteral("lessFileIcon.png");
const QString DropFolderIconName = QStringLiteral("folder");

QIcon iconFor(DragClassification::BadgeIcon icon)
{
    if (icon == DragClassification::BadgeIcon::LessFile)
        return ImageResources::icon(LessFileIconName);
    return QIcon::fromTheme(DropFolderIconName, QApplication::style()->standardIcon(QStyle::SP_DirIcon));
}

// The files and folders that a drag carries, in order.
QStringList draggedPaths(const QMimeData *data)
{
    QStringList paths;
    for (const QUrl &url : data->urls()) {
        if (url.isLocalFile())
            paths << url.toLocalFile();
    }
    return paths;
}

// What is taken is copied: the dragged folders stay where they are.
void answer(QDropEvent *event, bool taken)
{
    if (!taken) {
        event->ignore();
        return;
    }
    event->setDropAction(Qt::CopyAction);
    event->accept();
}

} // namespace

FolderDropTarget::FolderDropTarget(MainAppController *appController, OverlayFlash *overlay, QObject *parent)
    : QObject(parent),
      m_appController(appController),
      m_overlay(overlay)
{
}

void FolderDropTarget::dragEnter(QDragEnterEvent *event)
{
    const auto badge = event->mimeData()->hasUrls()
        ? DragClassification::badgeForDraggedPaths(draggedPaths(event->mimeData()))
        : std::nullopt;
    m_acceptsDrag = badge.has_value();
    if (m_acceptsDrag)
        m_overlay->overlayWindow()->showOverlayBadgeWithIcon(iconFor(badge->icon), badge->title, badge->subtitle);
    answer(event, m_acceptsDrag);
}

void FolderDropTarget::dragMove(QDragMoveEvent *event)
{
    answer(event, m_acceptsDrag);
}

void FolderDropTarget::dragLeave()
{
    m_overlay->hide();
}

// Every path goes to validation as dragged; the validation finds a file's folder.
void FolderDropTarget::drop(QDropEvent *event)
{
    m_overlay->overlayWindow()->fadeOut();
    const bool hasPaths = event->mimeData()->hasUrls();
    if (hasPaths) {
        for (const QString &path : draggedPaths(event->mimeData()))
            m_appController->beginValidatingPath(path);
    }
    answer(event, hasPaths);
}
