#pragma once

#include "Models/FileEntry.h"

#include <QStringList>

#include <optional>

// What a drop on a pane means, decided away from the widgets: where it goes and
// whether it copies, moves or links.
namespace FileDropPolicy {

enum class Operation { copy, move, link };

// What the drag source allows (Qt's drop actions, as flags).
struct AllowedOperations {
    bool copy = false;
    bool move = false;
    bool link = false;
};

// The keys held at the drop, in Linux desktop terms: Ctrl copies, Shift moves,
// Ctrl+Shift links.
struct Modifiers {
    bool control = false;
    bool shift = false;
};

// A folder row receives the drop (a link to a folder too, a package never);
// anything else, including the space between rows, drops into the pane's folder.
QString dropTargetURL(const FileEntry* entry, const QString& paneFolderURL);

// The operation, or nothing when the drop should be refused.
// `transferableCount` is how many dragged items may go into the destination at
// all (never a folder into itself). A drag from another program never moves.
std::optional<Operation> fileTransferOperation(bool isInternal, qsizetype transferableCount, AllowedOperations allowed,
                                               Modifiers modifiers);

} // namespace FileDropPolicy
