#pragma once

#include <QObject>

class MainAppController;
class OverlayFlash;
class QDragEnterEvent;
class QDragMoveEvent;
class QDropEvent;

// What the main window does with a drag: it takes folders and LESS files,
// showing over the window what a drop would add, and hands each dropped path
// to validation.
class FolderDropTarget : public QObject
{
    Q_OBJECT

public:
    FolderDropTarget(MainAppController *appController, OverlayFlash *overlay, QObject *parent);

    void dragEnter(QDragEnterEvent *event);
    void dragMove(QDragMoveEvent *event);
    void dragLeave();
    void drop(QDropEvent *event);

private:
    MainAppController *m_appController;
    OverlayFlash *m_overlay;
    bool m_acceptsDrag = false;
};
