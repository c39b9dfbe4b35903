#pragma once

#include <QString>

#include <optional>

struct ProgressSnapshot {
    int itemsScanned = 0;
    int directoriesScanned = 0;
    int filesScanned = 0;
    int unreadableCount = 0;
    std::optional<QString> currentURL {};

    bool operator==(const ProgressSnapshot&) const = default;
};
