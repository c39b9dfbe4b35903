#pragma once

#include "State/SizeMapSession.h"

#include <QHash>
#include <QIcon>
#include <QPointer>
#include <QWidget>

class FilePaneStore;
class QHBoxLayout;
class QLabel;
class QProgressBar;
class QPushButton;
class QTreeWidget;
class SizeMapChartView;
class VelmoStore;

// A size-map tab: the path bar, the chart with the focused folder's children beside
// it, the scan's progress or summary, and Stop, Rescan, Reveal in Pane and Move to
// Trash for the selected node. What the tab shows is the session's; the buttons act
// through the session and, for files, through a browser pane's own flows.
class SizeMapView : public QWidget {
    Q_OBJECT

public:
    SizeMapView(VelmoStore* app, SizeMapSession* session, QWidget* parent = nullptr);

    SizeMapChartView* chart() const { return chart_; }
    QTreeWidget* childList() const { return list_; }

    void rescan();
    // Up one level, or at the root, select the root.
    void goUp();
    bool canTrashSelection() const;
    // Through a browser pane's own trash, so that its undo brings the item back.
    void trashSelection();

private:
    void showScanState();
    void showFocus();
    void rebuildBreadcrumbs();
    void rebuildChildList();
    void recolorChildList();
    void revealSelectionInPane(bool thenTrash);
    void trashInPane(FilePaneStore* pane);

    QPointer<VelmoStore> app_;
    QPointer<SizeMapSession> session_;
    QHBoxLayout* crumbs_;
    QLabel* status_;
    QProgressBar* progress_;
    QPushButton* stop_;
    QPushButton* rescan_;
    QPushButton* reveal_;
    QPushButton* trash_;
    SizeMapChartView* chart_;
    QTreeWidget* list_;
    QList<SizeMapBreadcrumbEntry> breadcrumbs_;
    QList<std::pair<QUuid, qint64>> listedRows_;
    QHash<QRgb, QIcon> swatches_;
};
