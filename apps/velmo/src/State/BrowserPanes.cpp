#include "State/BrowserPanes.h"

BrowserPanes::BrowserPanes(std::unique_ptr<FilePaneStore> left, std::unique_ptr<FilePaneStore> right, QObject* parent)
    : QObject(parent), left_(std::move(left)), right_(std::move(right))
{
}

void BrowserPanes::setActivePaneID(PaneID id)
{
    if (activePaneID_ == id) return;
    activePaneID_ = id;
    emit activePaneChanged();
}

void BrowserPanes::setExpandedPaneID(std::optional<PaneID> id)
{
    if (expandedPaneID_ == id) return;
    expandedPaneID_ = id;
    emit expandedPaneChanged();
}

void BrowserPanes::toggleExpansion(PaneID id)
{
    setActivePaneID(id);
    setExpandedPaneID(expandedPaneID_ == id ? std::nullopt : std::optional<PaneID>(id));
}
