#pragma once

#include "Models/FileActivityItem.h"

#include <QHash>
#include <QMainWindow>
#include <QPointer>
#include <QUuid>

class BrowserTabView;
class FilePaneView;
class SearchView;
class SizeMapView;
class QStackedWidget;
class QTabBar;
class VelmoStore;

// The one window: the tab strip over the active tab's content.
class MainWindow : public QMainWindow {
    Q_OBJECT

public:
    explicit MainWindow(VelmoStore* store, QWidget* parent = nullptr);

    QTabBar* tabBar() const { return tabBar_; }
    BrowserTabView* activeBrowserView() const;
    FilePaneView* activePaneView() const;
    SizeMapView* activeSizeMapView() const;
    SearchView* activeSearchView() const;
    // Closes without asking: running operations are stopped first (a signal to end).
    void closeStoppingOperations();

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void buildCommands();
    void syncTabs();
    void syncActiveTab();
    void updateTitles();
    QWidget* contentFor(const QUuid& id);
    // Copies, moves, trash and undo under way (loads are not counted).
    std::vector<FileActivityItem> runningOperations() const;
    void stopOperationsThenClose();

    QPointer<VelmoStore> store_;
    QTabBar* tabBar_;
    QStackedWidget* content_;
    QHash<QUuid, QWidget*> contentByTab_;
    bool syncing_ = false;
    bool closingAfterOperations_ = false;
};
