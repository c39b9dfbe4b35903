#pragma once

#include <QWidget>

class BrowserPanes;
class FilePaneView;
class VelmoStore;
class QSplitter;

// A browser tab's content: the two panes side by side.
class BrowserTabView : public QWidget {
    Q_OBJECT

public:
    BrowserTabView(VelmoStore* app, BrowserPanes* panes, QWidget* parent = nullptr);

    FilePaneView* paneView(int index) const { return index == 0 ? left_ : right_; }
    FilePaneView* activePaneView() const;

private:
    void updateActiveMarks();
    void updateExpansion();

    BrowserPanes* panes_;
    QSplitter* splitter_;
    FilePaneView* left_;
    FilePaneView* right_;
};
