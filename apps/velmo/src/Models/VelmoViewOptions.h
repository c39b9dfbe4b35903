#pragma once

#include "Models/FileEntrySortColumn.h"

#include <QByteArray>
#include <QJsonObject>
#include <QMap>
#include <QSet>
#include <QStringList>

#include <optional>

// How every pane looks and sorts unless a folder says otherwise. A plain value:
// the application store holds one and hands out copies; a change is a new value.
//
// Stored as one JSON object whose keys are the field names. Reading is forgiving:
// a missing key, or one holding the wrong kind of value, takes the default, and
// unknown keys are ignored, so a damaged or older document never costs the user
// more than the settings it damaged.
struct VelmoViewOptions {
    bool treatPackagesAsFolders = false;
    bool alwaysShowFileExtensions = true;
    double fontSize = 12;
    bool boldFolders = false;
    bool italicizeAliases = true;
    bool dimInvisibles = true;
    bool shadowed = false;
    bool alternateRowColors = false;
    bool showVerticalGrid = false;
    bool showHorizontalGrid = false;
    bool showFileNames = true;
    bool showIconPreviews = true;
    bool showLeadingDatesAsMonospaced = false;
    double iconSize = 18;
    double thumbnailSize = 112;
    double rowSpacing = 0;
    double sidebarRowHeight = 30;
    double sidebarSectionSpacing = 8;
    // No column: each pane keeps its own sort.
    std::optional<FileEntrySortColumn> arrangeColumn;
    bool arrangeAscending = true;
    bool smartSorting = true;
    bool sortFolderAliasesWithFolders = true;
    QSet<FileEntryColumn> visibleColumns {FileEntryColumn::modified, FileEntryColumn::size, FileEntryColumn::contents};
    QMap<QString, double> columnWidths;
    QStringList columnOrder;
    bool useRelativeDates = false;
    bool calculateAllSizes = false;
    bool smartCalculateFolderSizes = true;
    bool showHoverHighlight = true;
    bool stopOptionArrowBeforeFileExtension = true;

    bool operator==(const VelmoViewOptions&) const = default;

    static VelmoViewOptions defaults() { return {}; }

    // Whether going from `other` to this changes how rows are drawn, so the
    // lists must redraw their rows (but never list their folders again).
    bool requiresRowReload(const VelmoViewOptions& other) const;

    // Never fails: anything unreadable gives the defaults, field by field.
    static VelmoViewOptions decode(const QByteArray& data);
    static VelmoViewOptions fromJson(const QJsonObject& object);
    QJsonObject toJson() const;
    QByteArray encode() const;

    // Earlier releases showed only Modified and Size by default; such a set
    // gains Contents, placed before Size.
    static VelmoViewOptions migrateLegacy(VelmoViewOptions options);
    static QStringList columnOrderWithContentsBeforeSize(const QStringList& order);

    // The ranges the settings offer; stored values outside them are pulled in,
    // so a damaged number can't make the list unusable.
    struct Range {
        double minimum;
        double maximum;
    };
    static constexpr Range fontSizeRange {9, 24};
    static constexpr Range iconSizeRange {12, 64};
    static constexpr Range thumbnailSizeRange {48, 256};
    static constexpr Range rowSpacingRange {0, 16};
    static constexpr Range sidebarRowHeightRange {20, 48};
    static constexpr Range sidebarSectionSpacingRange {0, 24};
    static constexpr Range columnWidthRange {16, 4000};
};
