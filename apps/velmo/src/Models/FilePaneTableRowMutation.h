#pragma once

#include "Models/FilePaneRow.h"

#include <optional>

// How a list of rows became another, when the change is one run of rows added or
// taken away (a folder unfolding or folding, an item removed): the table then
// inserts or removes that run alone. Anything else has no such answer.
struct FilePaneTableRowMutation {
    enum class Kind { insertion, removal };
    Kind kind;
    int first = 0;
    int count = 0;

    bool operator==(const FilePaneTableRowMutation&) const = default;

    static std::optional<FilePaneTableRowMutation> singleContiguousChange(const std::vector<FilePaneRow>& before,
                                                                           const std::vector<FilePaneRow>& after);
};
