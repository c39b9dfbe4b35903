#include "Views/BrowserTabView.h"

#include "State/BrowserPanes.h"
#include "State/VelmoStore.h"
#include "Views/FilePaneView.h"
#include "Views/SidebarView.h"

#include <QHBoxLayout>
#include <QSplitter>

#include <cstdlib>

BrowserTabView::BrowserTabView(VelmoStore* app, BrowserPanes* panes, QWidget* parent) : QWidget(parent), app_(app), panes_(panes)
{
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    splitter_ = new QSplitter(Qt::Horizontal, this);
    sidebar_ = new SidebarView(app, panes, splitter_);
    sidebar_->setMinimumWidth(160);
    sidebar_->setMaximumWidth(360);
    left_ = new FilePaneView(app, panes->leftPane(), splitter_);
    right_ = new FilePaneView(app, panes->rightPane(), splitter_);
    left_->setObjectName(QStringLiteral("leftPane"));
    right_->setObjectName(QStringLiteral("rightPane"));
    splitter_->addWidget(sidebar_);
    splitter_->addWidget(left_);
    splitter_->addWidget(right_);
    splitter_->setChildrenCollapsible(false);
    // The sidebar keeps its width; the panes share the rest in two equal halves,
    // whatever each shows first.
    splitter_->setStretchFactor(0, 0);
    splitter_->setStretchFactor(1, 1);
    splitter_->setStretchFactor(2, 1);
    splitter_->setSizes({int(app->sidebarWidth()), 1000, 1000});
    layout->addWidget(splitter_);
    connect(left_, &FilePaneView::otherPaneRequested, right_, &FilePaneView::focusList);
    connect(right_, &FilePaneView::otherPaneRequested, left_, &FilePaneView::focusList);
    connect(panes, &BrowserPanes::activePaneChanged, this, &BrowserTabView::updateActiveMarks);
    connect(panes, &BrowserPanes::expandedPaneChanged, this, &BrowserTabView::updateExpansion);
    // A drag of the sidebar's edge is remembered; other tabs follow the store.
    connect(splitter_, &QSplitter::splitterMoved, this, [this](int, int handle) {
        if (handle == 1 && sidebar_->isVisible()) app_->updateSidebarWidth(sidebar_->width(), true);
    });
    connect(app, &VelmoStore::sidebarChanged, this, &BrowserTabView::updateSidebar);
    updateActiveMarks();
    updateExpansion();
    updateSidebar();
}

FilePaneView* BrowserTabView::activePaneView() const
{
    return panes_->activePaneID() == PaneID::left ? left_ : right_;
}

void BrowserTabView::updateActiveMarks()
{
    // The active pane's frame is drawn in the highlight colour.
    const QString active = QStringLiteral("FilePaneView#%1 { border-top: 2px solid palette(highlight); }");
    left_->setStyleSheet(panes_->activePaneID() == PaneID::left ? active.arg(left_->objectName()) : QString());
    right_->setStyleSheet(panes_->activePaneID() == PaneID::right ? active.arg(right_->objectName()) : QString());
    left_->setProperty("active", panes_->activePaneID() == PaneID::left);
    right_->setProperty("active", panes_->activePaneID() == PaneID::right);
}

void BrowserTabView::updateExpansion()
{
    const auto expanded = panes_->expandedPaneID();
    left_->setVisible(!expanded || *expanded == PaneID::left);
    right_->setVisible(!expanded || *expanded == PaneID::right);
}

void BrowserTabView::updateSidebar()
{
    sidebar_->setVisible(app_->isSidebarVisible());
    const int width = int(app_->sidebarWidth());
    QList<int> sizes = splitter_->sizes();
    if (!app_->isSidebarVisible() || std::abs(sizes[0] - width) < 1) return;
    // The panes give up or take what the sidebar changes, half each.
    const int change = width - sizes[0];
    sizes[0] = width;
    sizes[1] -= change / 2;
    sizes[2] -= change - change / 2;
    splitter_->setSizes(sizes);
}
