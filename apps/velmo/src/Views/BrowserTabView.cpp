#include "Views/BrowserTabView.h"

#include "State/BrowserPanes.h"
#include "Views/FilePaneView.h"

#include <QHBoxLayout>
#include <QSplitter>

BrowserTabView::BrowserTabView(VelmoStore* app, BrowserPanes* panes, QWidget* parent) : QWidget(parent), panes_(panes)
{
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    splitter_ = new QSplitter(Qt::Horizontal, this);
    left_ = new FilePaneView(app, panes->leftPane(), splitter_);
    right_ = new FilePaneView(app, panes->rightPane(), splitter_);
    left_->setObjectName(QStringLiteral("leftPane"));
    right_->setObjectName(QStringLiteral("rightPane"));
    splitter_->addWidget(left_);
    splitter_->addWidget(right_);
    splitter_->setChildrenCollapsible(false);
    // Two equal halves, whatever each pane shows first.
    splitter_->setStretchFactor(0, 1);
    splitter_->setStretchFactor(1, 1);
    splitter_->setSizes({1000, 1000});
    layout->addWidget(splitter_);
    connect(left_, &FilePaneView::otherPaneRequested, right_, &FilePaneView::focusList);
    connect(right_, &FilePaneView::otherPaneRequested, left_, &FilePaneView::focusList);
    connect(panes, &BrowserPanes::activePaneChanged, this, &BrowserTabView::updateActiveMarks);
    connect(panes, &BrowserPanes::expandedPaneChanged, this, &BrowserTabView::updateExpansion);
    updateActiveMarks();
    updateExpansion();
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
