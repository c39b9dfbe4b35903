#pragma once

#include <QString>

#include <optional>
#include <utility>

// Names that begin with a date ("2024-05-01 notes") can show that date in
// monospaced digits, so the digits line up down the list.
class FilePaneNameDateStyler {
public:
    // The start and length of a leading date with one separator ("-", "." or "_")
    // used both times, if the name has one.
    static std::optional<std::pair<int, int>> leadingDateRange(const QString& name);
};
