#include "State/FilePaneStore.h"
#include "State/VelmoStore.h"

#include "PathKit/FilePaths.h"

namespace {

constexpr std::array<SidePreviewKind, 3> kKinds {SidePreviewKind::pdf, SidePreviewKind::image, SidePreviewKind::video};

const std::array<QString, 3>& autoOpenKeys()
{
    static const std::array<QString, 3> keys {QStringLiteral("velmo.preview.autoOpenPDFSidePreview"),
                                              QStringLiteral("velmo.preview.autoOpenImageSidePreview"),
                                              QStringLiteral("velmo.preview.autoOpenVideoSidePreview")};
    return keys;
}

std::optional<QString> previewURL(const FileEntry& entry, SidePreviewKind kind)
{
    switch (kind) {
    case SidePreviewKind::pdf: return entry.pdfCompressionURL();
    case SidePreviewKind::image: return entry.imageCompressionURL();
    case SidePreviewKind::video: return entry.previewableVideoURL();
    }
    return std::nullopt;
}

std::size_t slot(SidePreviewKind kind)
{
    return std::size_t(kind);
}

} // namespace

QString rawValue(SidePreviewKind kind)
{
    switch (kind) {
    case SidePreviewKind::pdf: return QStringLiteral("pdf");
    case SidePreviewKind::image: return QStringLiteral("image");
    case SidePreviewKind::video: return QStringLiteral("video");
    }
    return {};
}

// The three keys act as one switch: any of them on turns all three on.
void VelmoStore::loadSidePreviewDefaults()
{
    bool open = false;
    for (const QString& key : autoOpenKeys())
        if ((open = dependencies_.defaults->boolValue(key, false))) break;
    autoOpen_.fill(open);
}

bool VelmoStore::previewInvertsZoomScroll() const
{
    return dependencies_.defaults->boolValue(QStringLiteral("velmo.preview.invertZoomScroll"), true);
}

void VelmoStore::setAutoOpenSidePreviews(bool open)
{
    autoOpen_.fill(open);
    for (const QString& key : autoOpenKeys()) dependencies_.defaults->setValue(key, open);
    noteSidePreviewChange();
}

std::optional<SidePreview> VelmoStore::sidePreviewCandidate(SidePreviewKind kind, PaneID source) const
{
    const WindowTab* tab = activeTab();
    BrowserPanes* panes = tab ? tab->browserPanes() : nullptr;
    if (!panes) return std::nullopt;
    const FilePaneStore* pane = panes->pane(source);
    if (pane->selectedEntryIDs().size() != 1) return std::nullopt;
    // Ids are paths: the name rules out most selections before the rows are read.
    const QString id = *pane->selectedEntryIDs().cbegin();
    const bool mayMatch = kind == SidePreviewKind::pdf     ? FileEntry::isCompressiblePDFURL(id)
                          : kind == SidePreviewKind::image ? FileEntry::isCompressibleImageURL(id)
                                                           : FileEntry::isPreviewableVideoURL(id);
    if (!mayMatch) return std::nullopt;
    const FileEntryList selected = pane->selectedEntries();
    if (selected.size() != 1) return std::nullopt;
    const auto url = previewURL(*selected.front(), kind);
    if (!url) return std::nullopt;
    return SidePreview {kind, {tab->id(), source, id}, source, otherPane(source), *url, selected.front()->name};
}

// The source is the active pane, unless that pane is the one showing the preview:
// clicking into a preview must not make it preview nothing.
std::optional<SidePreview> VelmoStore::sidePreviewCandidate(SidePreviewKind kind) const
{
    const WindowTab* tab = activeTab();
    if (!tab || !tab->browserPanes()) return std::nullopt;
    PaneID source = tab->browserPanes()->activePaneID();
    if (shownSidePreview_ && shownSidePreview_->selection.tabID == tab->id() && shownSidePreview_->targetPaneID == source)
        source = shownSidePreview_->sourcePaneID;
    return sidePreviewCandidate(kind, source);
}

std::optional<SidePreview> VelmoStore::activeSidePreview(SidePreviewKind kind) const
{
    auto candidate = sidePreviewCandidate(kind);
    if (!candidate) return std::nullopt;
    const auto override = sidePreviewOverridesByTab_[slot(kind)].constFind(candidate->selection.tabID);
    if (override != sidePreviewOverridesByTab_[slot(kind)].constEnd() && override->selection == candidate->selection)
        return override->isVisible ? candidate : std::nullopt;
    return autoOpen_[slot(kind)] ? candidate : std::nullopt;
}

std::optional<SidePreview> VelmoStore::activeSidePreview() const
{
    for (SidePreviewKind kind : kKinds)
        if (auto preview = activeSidePreview(kind)) return preview;
    return std::nullopt;
}

std::optional<PaneID> VelmoStore::activeSidePreviewPaneID() const
{
    const auto preview = activeSidePreview();
    return preview ? std::optional(preview->targetPaneID) : std::nullopt;
}

void VelmoStore::syncSidePreviewStateForCurrentSelection()
{
    const WindowTab* tab = activeTab();
    if (tab && tab->browserPanes()) {
        for (SidePreviewKind kind : kKinds) {
            const auto candidate = sidePreviewCandidate(kind);
            auto& last = lastSidePreviewSelectionsByTab_[slot(kind)];
            auto& overrides = sidePreviewOverridesByTab_[slot(kind)];
            const std::optional<SidePreviewSelection> selection
                = candidate ? std::optional(candidate->selection) : std::nullopt;
            const std::optional<SidePreviewSelection> previous
                = last.contains(tab->id()) ? std::optional(last.value(tab->id())) : std::nullopt;
            if (selection == previous) continue;
            const auto override = overrides.constFind(tab->id());
            if (override != overrides.constEnd() && (!selection || override->selection != *selection))
                overrides.remove(tab->id());
            if (selection) last.insert(tab->id(), *selection);
            else last.remove(tab->id());
        }
    }
    // Tabs that have closed take their choices with them.
    for (std::size_t k = 0; k < kKinds.size(); ++k) {
        sidePreviewOverridesByTab_[k].removeIf([this](const auto& item) { return !this->tab(item.key()); });
        lastSidePreviewSelectionsByTab_[k].removeIf([this](const auto& item) { return !this->tab(item.key()); });
    }
    noteSidePreviewChange();
}

void VelmoStore::toggleSidePreview(SidePreviewKind kind)
{
    const auto candidate = sidePreviewCandidate(kind);
    if (!candidate) return;
    const bool shown = activeSidePreview(kind).has_value();
    sidePreviewOverridesByTab_[slot(kind)].insert(candidate->selection.tabID, {candidate->selection, !shown});
    lastSidePreviewSelectionsByTab_[slot(kind)].insert(candidate->selection.tabID, candidate->selection);
    noteSidePreviewChange();
}

void VelmoStore::toggleSidePreviewForActiveSelection()
{
    for (SidePreviewKind kind : kKinds)
        if (sidePreviewCandidate(kind)) return toggleSidePreview(kind);
}

void VelmoStore::toggleSidePreview(PaneID paneID)
{
    if (const auto shown = activeSidePreview(); shown && (shown->targetPaneID == paneID || shown->sourcePaneID == paneID))
        return toggleSidePreview(shown->kind);
    for (SidePreviewKind kind : kKinds) {
        const auto candidate = sidePreviewCandidate(kind, paneID);
        if (!candidate) continue;
        sidePreviewOverridesByTab_[slot(kind)].insert(candidate->selection.tabID, {candidate->selection, true});
        lastSidePreviewSelectionsByTab_[slot(kind)].insert(candidate->selection.tabID, candidate->selection);
        activate(paneID);
        noteSidePreviewChange();
        return;
    }
}

std::optional<MediaFilmstripPreview> VelmoStore::activeMediaFilmstripPreview() const
{
    const auto preview = activeSidePreview();
    if (!preview || preview->kind == SidePreviewKind::pdf) return std::nullopt;
    const WindowTab* tab = this->tab(preview->selection.tabID);
    if (!tab || !tab->browserPanes()) return std::nullopt;
    MediaFilmstripPreview strip {preview->sourcePaneID, {}, preview->selection.entryID};
    for (const auto& entry : tab->browserPanes()->pane(preview->sourcePaneID)->visibleEntries())
        if (entry->imageCompressionURL() || entry->previewableVideoURL()) strip.entries.push_back(entry);
    return strip;
}

void VelmoStore::selectMediaFilmstripEntry(const QString& id)
{
    const auto preview = activeSidePreview();
    if (!preview) return;
    const WindowTab* tab = this->tab(preview->selection.tabID);
    if (!tab || !tab->browserPanes()) return;
    tab->browserPanes()->pane(preview->sourcePaneID)->setSelectedEntryIDs({id});
}

void VelmoStore::handleImageMarkupSaveResult(const SidePreview& preview, const std::optional<QString>& outputURL)
{
    const WindowTab* tab = this->tab(preview.selection.tabID);
    if (!tab || !tab->browserPanes()) return;
    FilePaneStore* pane = tab->browserPanes()->pane(preview.sourcePaneID);
    if (!outputURL) {
        pane->showActionToast(QStringLiteral("Could not save markup copy"), ToastMessage::Kind::error);
        return;
    }
    pane->showActionToast(QStringLiteral("Saved markup copy: ") + FilePaths::displayName(FilePaths::lastComponent(*outputURL)),
                          ToastMessage::Kind::info);
    pane->scheduleExternalDirectoryRefresh(pane->currentURL());
}

void VelmoStore::noteSidePreviewChange()
{
    auto now = activeSidePreview();
    if (now == shownSidePreview_) return;
    shownSidePreview_ = std::move(now);
    emit sidePreviewChanged();
}

std::shared_ptr<MarkupToolDefaultsStore> VelmoStore::markupDefaults() const
{
    const std::weak_ptr<DefaultsStore> defaults = dependencies_.defaults;
    return std::make_shared<MarkupToolDefaultsStore>(MarkupKeyValueStore {
        [defaults](const QString& key) -> std::optional<QVariant> {
            auto store = defaults.lock();
            return store ? store->value(key) : std::nullopt;
        },
        [defaults](const QString& key, const QVariant& value) {
            if (auto store = defaults.lock()) store->setValue(key, value);
        },
        [defaults](const QString& key) {
            if (auto store = defaults.lock()) store->remove(key);
        }});
}
