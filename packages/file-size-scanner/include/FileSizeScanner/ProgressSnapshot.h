#pragma once

#include <QString>

#include <optional>

struct ProgressSnapshot {
    int itemsScanned = 0;
    int directoriesScanned = 0;
    int filesScanned = 0;
    int unreadableCount = 0;
    std::optional<QString> currentURL {};
    // Bytes allocated to what has been listed so far, counted at each name, as the totals are.
    qint64 allocatedSizeSoFar = 0;

    bool operator==(const ProgressSnapshot&) const = default;
};
