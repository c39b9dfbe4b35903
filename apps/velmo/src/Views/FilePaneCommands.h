#pragma once

#include "Models/FileDropPolicy.h"

#include <QObject>
#include <QPointer>

struct FileEntry;
class FilePaneStore;
class FilePaneTableView;
class QMenu;
class QWidget;
class VelmoStore;

// The file commands of one pane, as menus, keys and context menus call them.
// Decisions live in the store; this asks for names and opens editors.
class FilePaneCommands : public QObject {
    Q_OBJECT

public:
    FilePaneCommands(VelmoStore* app, FilePaneStore* store, FilePaneTableView* table, QWidget* dialogParent);

    void cut();
    void copy();
    void paste();
    void moveToTrash();
    void newFolder();
    void newFile();
    void rename();
    void undo();
    void selectAll();
    void copyPath();
    void reveal();
    void openInTerminal();
    void openSelection();
    void showPackageContents();
    // Sizes of every visible folder, without the automatic path's limits.
    void calculateFolderSizes();

    // Carries out a drop of files on `destinationURL` in this pane.
    void drop(const QStringList& paths, const QString& destinationURL, FileDropPolicy::Operation operation);

    bool hasSelection() const;
    bool canRename() const;

    // The menu for a right click on `entry`'s row, or on empty space (null).
    QMenu* contextMenu(const FileEntry* entry, QWidget* parent);

private:
    void createNamed(bool folder);
    std::optional<QString> askForName(const QString& title, const QString& label, const QString& proposal);

    QPointer<VelmoStore> app_;
    QPointer<FilePaneStore> store_;
    QPointer<FilePaneTableView> table_;
    QPointer<QWidget> dialogParent_;
};
