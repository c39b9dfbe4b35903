#pragma once

#include "Views/FilePaneTableView.h"

#include <QPointer>
#include <QWidget>

class BreadcrumbBar;
class FilePaneCommands;
class FilePaneStore;

class FilePaneTableModel;
class PaneStatusBar;
class QLabel;
class SidePreviewContainer;
class QLineEdit;
class QStackedWidget;
class QTableView;
class QToolButton;
class VelmoStore;

// One pane on screen: navigation buttons and the path, the name filter, the list
// (or the reason it can't be shown), the status line and the pane's toast.
//
// The list keeps each folder's scroll position in the store's scroll memory when
// the folder is left, and puts it back when the store asks (Back, Forward, Up);
// other navigations start at the top. The Name column takes the width the other
// columns leave.
class FilePaneView : public QWidget {
    Q_OBJECT

public:
    FilePaneView(VelmoStore* app, FilePaneStore* store, QWidget* parent = nullptr);

    FilePaneStore* store() const { return store_; }
    FilePaneTableView* table() const { return table_; }
    FilePaneCommands* commands() const { return commands_; }
    FilePaneTableModel* model() const { return model_; }
    void focusList();
    void focusFilter();

signals:
    // Tab in the list: the user wants the other pane.
    void otherPaneRequested();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void buildLayout();
    void connectStore();
    void updateLoadState();
    // The list, or the other pane's file shown large in its place.
    void updateSidePreview();
    void updateHistoryButtons();
    void updateSortIndicator();
    void updateToast();
    void pushSelectionToView();
    void pullSelectionFromView();
    void openCurrentRow();
    void leaveShownFolder();
    void settleScrollAfterNavigation();
    void revealPendingRow();
    void placeToast();
    void applyColumnWidths();
    void fitNameColumn();
    void keepUserColumnWidth(int section, int oldSize, int newSize);
    void keepUserColumnOrder();
    void showColumnsMenu(const QPoint& at);
    void showContextMenu(const QPoint& at);
    // Asks the store about the triangles of the rows on show, once per turn of the event loop.
    void scheduleVisibleRowProbes();
    void probeVisibleRows();
    bool toggleDisclosureAt(const QPoint& at);

    QPointer<VelmoStore> app_;
    QPointer<FilePaneStore> store_;
    FilePaneTableModel* model_;
    QToolButton* backButton_;
    QToolButton* forwardButton_;
    QToolButton* upButton_;
    BreadcrumbBar* breadcrumbs_;
    QLabel* loadingLabel_;
    QLineEdit* filterField_;
    QStackedWidget* stack_;
    FilePaneTableView* table_;
    FilePaneCommands* commands_;
    QLabel* failureLabel_;
    SidePreviewContainer* preview_ = nullptr;
    QLabel* toastLabel_;
    PaneStatusBar* statusBar_;
    bool syncingSelection_ = false;
    bool applyingColumnWidths_ = false;
    bool restoringColumnOrder_ = false;
    bool columnOrderPending_ = false;
    // The folder whose rows the list shows, and whether its scroll position is
    // still to be settled once the navigation's commit is complete.
    QString shownFolder_;
    bool scrollToSettle_ = false;
    bool probesScheduled_ = false;
};
