#pragma once

#include "Models/FileEntrySortColumn.h"
#include "Models/PaneID.h"

#include <QByteArray>
#include <QJsonObject>
#include <QStringList>

#include <optional>
#include <variant>
#include <vector>

// Which tabs were open and where each pane stood: one JSON document, rebuilt on
// the next start. Decoding is strict about what is there (a value of the wrong
// type makes the whole document unreadable, which then counts as no document)
// and lenient about what is missing where a default exists.
struct VelmoSessionState {
    struct BrowserTab {
        QString leftPath;
        QString rightPath;
        PaneID activePane = PaneID::left;
        VelmoFileViewMode leftViewMode = VelmoFileViewMode::list;
        VelmoFileViewMode rightViewMode = VelmoFileViewMode::list;
        FileEntrySortColumn leftSortColumn = FileEntrySortColumn::name;
        bool leftSortAscending = true;
        FileEntrySortColumn rightSortColumn = FileEntrySortColumn::name;
        bool rightSortAscending = true;
        bool operator==(const BrowserTab&) const = default;
    };
    struct SearchTab {
        QString folderPath;
        QString query;
        std::optional<qint64> originBrowserTabIndex;
        bool operator==(const SearchTab&) const = default;
    };
    // A size map comes back holding its folder, and scans only when asked.
    struct SizeMapTab {
        QString folderPath;
        std::optional<qint64> originBrowserTabIndex;
        bool operator==(const SizeMapTab&) const = default;
    };
    // Image and PDF compression: the settings document is kept as it was read,
    // so a session stays whole whatever this build knows of it.
    struct CompressionTab {
        QStringList sourcePaths;
        QJsonObject settings;
        std::optional<qint64> originBrowserTabIndex;
        bool operator==(const CompressionTab&) const = default;
    };
    struct ImageCompressionTab : CompressionTab {
        bool operator==(const ImageCompressionTab&) const = default;
    };
    struct PDFCompressionTab : CompressionTab {
        bool operator==(const PDFCompressionTab&) const = default;
    };
    using Tab = std::variant<BrowserTab, SearchTab, SizeMapTab, ImageCompressionTab, PDFCompressionTab>;

    std::vector<Tab> tabs;
    qint64 activeTabIndex = 0;

    bool operator==(const VelmoSessionState&) const = default;

    // Nothing when the bytes are not a session document.
    static std::optional<VelmoSessionState> decode(const QByteArray& bytes);
    QByteArray encode() const;
};
