#pragma once

#include "Models/PaneID.h"
#include "State/FilePaneStore.h"

#include <QObject>

#include <memory>
#include <optional>

// The two panes of a browser tab, and which of them is active or shown full width.
class BrowserPanes : public QObject {
    Q_OBJECT

public:
    BrowserPanes(std::unique_ptr<FilePaneStore> left, std::unique_ptr<FilePaneStore> right, QObject* parent = nullptr);

    FilePaneStore* leftPane() const { return left_.get(); }
    FilePaneStore* rightPane() const { return right_.get(); }
    FilePaneStore* pane(PaneID id) const { return id == PaneID::left ? left_.get() : right_.get(); }
    PaneID activePaneID() const { return activePaneID_; }
    FilePaneStore* activePane() const { return pane(activePaneID_); }
    std::optional<PaneID> expandedPaneID() const { return expandedPaneID_; }

    void setActivePaneID(PaneID id);
    void setExpandedPaneID(std::optional<PaneID> id);
    void toggleExpansion(PaneID id);

signals:
    void activePaneChanged();
    void expandedPaneChanged();

private:
    std::unique_ptr<FilePaneStore> left_;
    std::unique_ptr<FilePaneStore> right_;
    PaneID activePaneID_ = PaneID::left;
    std::optional<PaneID> expandedPaneID_;
};
