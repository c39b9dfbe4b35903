#pragma once

#include "Models/FilePaneRow.h"
#include "Models/PaneID.h"

#include <QUuid>

#include <optional>
#include <vector>

// What the other pane of a browser tab can show large instead of its listing.
enum class SidePreviewKind { pdf, image, video };
QString rawValue(SidePreviewKind kind);

// One file in one pane of one tab.
struct SidePreviewSelection {
    QUuid tabID;
    PaneID sourcePaneID = PaneID::left;
    QString entryID;
    bool operator==(const SidePreviewSelection&) const = default;
};

struct SidePreview {
    SidePreviewKind kind = SidePreviewKind::pdf;
    SidePreviewSelection selection;
    PaneID sourcePaneID = PaneID::left;
    PaneID targetPaneID = PaneID::right;
    QString url;
    QString fileName;
    bool operator==(const SidePreview&) const = default;
};
using PDFSidePreview = SidePreview;
using ImageSidePreview = SidePreview;
using VideoSidePreview = SidePreview;

// Shown or hidden by hand, for one selection only.
struct SidePreviewManualOverride {
    SidePreviewSelection selection;
    bool isVisible = false;
    bool operator==(const SidePreviewManualOverride&) const = default;
};

// The images and videos of the source pane, in row order, under an image or video preview.
struct MediaFilmstripPreview {
    PaneID sourcePaneID = PaneID::left;
    FileEntryList entries;
    QString selectedEntryID;
};
