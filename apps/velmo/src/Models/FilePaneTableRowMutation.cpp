#include "Models/FilePaneTableRowMutation.h"

std::optional<FilePaneTableRowMutation>
FilePaneTableRowMutation::singleContiguousChange(const std::vector<FilePaneRow>& before,
                                                 const std::vector<FilePaneRow>& after)
{
    if (before.size() == after.size()) return std::nullopt;
    const bool removal = before.size() > after.size();
    const std::vector<FilePaneRow>& longer = removal ? before : after;
    const std::vector<FilePaneRow>& shorter = removal ? after : before;
    std::size_t prefix = 0;
    while (prefix < shorter.size() && longer[prefix] == shorter[prefix]) ++prefix;
    // The suffix may not reach into the prefix; what lies between must then be the
    // whole difference, which holds exactly when the two ends cover the shorter list.
    std::size_t suffix = 0;
    while (suffix < shorter.size() - prefix
           && longer[longer.size() - 1 - suffix] == shorter[shorter.size() - 1 - suffix])
        ++suffix;
    if (prefix + suffix != shorter.size()) return std::nullopt;
    return FilePaneTableRowMutation {removal ? Kind::removal : Kind::insertion, int(prefix),
                                     int(longer.size() - shorter.size())};
}
