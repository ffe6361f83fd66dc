#pragma once

#include <QList>
#include <QObject>

class MainAppController;

// Automatic CSS folders: a LESS file whose CSS still goes beside it gets the
// "css" folder next to its own folder as its target, where that folder exists.
class CSSOutputPaths : public QObject
{
    Q_OBJECT

public:
    explicit CSSOutputPaths(MainAppController *controller);

    void beginAutoSettingCSSPaths();

private:
    struct CSSTarget;
    struct CSSFolderMove;

    static QList<CSSFolderMove> asynchronouslyAutoSetCSSPaths(const QList<CSSTarget> &targets);
    void moveCSSTargets(const QList<CSSFolderMove> &moves);

    MainAppController *m_controller;
};
