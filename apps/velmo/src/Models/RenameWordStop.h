#pragma once

#include "Models/FileEntry.h"
#include "Models/VelmoViewOptions.h"

#include <optional>

// Word moves (Alt+Left/Right, with Shift to extend) in the rename editor that
// stop once at the dot before a file's extension, so the stem can be reworked
// word by word without eating the extension. " - " between parts of a name
// counts as one stop.
namespace RenameWordStop {

enum class Move { right, rightExtending, left, leftExtending };

struct Selection {
    int start = 0;
    int end = 0;
    bool operator==(const Selection&) const = default;
};

// Where the stem ends in `text`, when the stop applies to this entry at all.
std::optional<int> stemEnd(const QString& text, const FileEntry& entry, const VelmoViewOptions& options);

// White space, dashes (hyphen, en or em dash) and white space, ending at `position`.
std::optional<Selection> spacedSeparator(const QString& text, int position);

// The selection the move should give instead of the editor's own `standard`
// result, or none to keep that.
std::optional<Selection> adjusted(Move move, Selection selection, Selection standard, const QString& text,
                                  const FileEntry& entry, const VelmoViewOptions& options);

} // namespace RenameWordStop
