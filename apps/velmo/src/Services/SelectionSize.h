#pragma once

#include "Models/FolderSizeState.h"

#include <QString>

#include <expected>
#include <functional>
#include <optional>
#include <stop_token>

class MonotonicClock;

// The light walker behind folder sizes: the apparent bytes (st_size) of the
// regular files below a folder, and how many there are. Hidden files and the
// insides of packages count; symbolic links count nothing and are never
// followed; an item that can't be read is left out; pseudo file systems (proc,
// sysfs, ...) are never entered and automount points never triggered. The walk
// is iterative, one folder open at a time, so no tree is too deep for it.
// Blocking: call it off the main thread.
namespace SelectionSize {

// Where the automatic path stops: after this many items below the folder
// (folders count too), or after this long on `clock`.
struct Budget {
    qint64 maxScannedItemCount = 500;
    std::optional<quint64> maxDurationNanoseconds = 200'000'000;
    bool operator==(const Budget&) const = default;
};

struct Progress {
    qint64 totalBytes = 0;
    qint64 scannedItemCount = 0; // regular files counted
    bool operator==(const Progress&) const = default;
};

enum class Limit { none, items, time };

struct BudgetedResult {
    Progress progress;
    Limit exceeded = Limit::none; // which limit ended the walk early, if one did
    bool budgetExceeded() const { return exceeded != Limit::none; }
};

// Called on the walking thread: at the first file, then after every 32 more.
using ProgressCallback = std::function<void(const Progress&)>;

// The folder's errno when it can't be opened at all. A stop ends the walk at
// the next item with what it has; the caller drops that.
std::expected<BudgetedResult, int> totalProgress(const QString& folder, const std::optional<Budget>& budget,
                                                 const MonotonicClock& clock, std::stop_token stop = {},
                                                 const ProgressCallback& progress = {});

// The files and folders directly inside `folder` (a link counts as a file,
// whatever it points to); hidden names, by a leading dot or the folder's
// ".hidden" file, only when asked. The errno when the folder can't be listed.
std::expected<FolderContentCount, int> contentCount(const QString& folder, bool includingHiddenFiles,
                                                    std::stop_token stop = {});

} // namespace SelectionSize
