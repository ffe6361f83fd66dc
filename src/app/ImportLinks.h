#pragma once

#include <QObject>

#include <functional>

class MainAppController;
struct Notification;

// Keeps the project's import graph current: scans the files' imports when
// folders are added or refreshed, and takes the compiler's own list of the
// files each compile read.
class ImportLinks : public QObject
{
    Q_OBJECT

public:
    explicit ImportLinks(MainAppController *controller);
    ~ImportLinks() override;

    // With the spinner.
    void refreshImportLinks();
    // Scans off the GUI thread, stores what it found, then calls then.
    void linkImportedFiles(std::function<void()> then);

private:
    void recordCompile(const Notification &notification);

    MainAppController *m_controller;
};
