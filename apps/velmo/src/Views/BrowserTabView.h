#pragma once

#include <QWidget>

class BrowserPanes;
class FilePaneView;
class VelmoStore;
class QSplitter;
class SidebarView;

// A browser tab's content: the sidebar, then the two panes side by side.
class BrowserTabView : public QWidget {
    Q_OBJECT

public:
    BrowserTabView(VelmoStore* app, BrowserPanes* panes, QWidget* parent = nullptr);

    FilePaneView* paneView(int index) const { return index == 0 ? left_ : right_; }
    FilePaneView* activePaneView() const;
    SidebarView* sidebar() const { return sidebar_; }

private:
    void updateActiveMarks();
    void updateExpansion();
    void updateSidebar();

    VelmoStore* app_;
    BrowserPanes* panes_;
    QSplitter* splitter_;
    SidebarView* sidebar_;
    FilePaneView* left_;
    FilePaneView* right_;
};
