#pragma once

#include <stop_token>
#include <string>
#include <vector>

class QueryMatcher;
class SearchResultSink;

// The index pass for names: runs the locate tool, reads its NUL-separated paths in
// blocks of 64 KiB (so memory does not grow with the answer) and hands the ones that
// belong to the search to the sink as `indexed` results. The tool is ended on a stop
// and at the limit.
namespace IndexedNameSearch {

enum class End { finished, limited, cancelled, failed };

// `command` is the tool with its options, the query last. `folder` is the searched
// folder's native path: only paths strictly below it count, whose names match as the
// walk would match them (the tool's case folding is not the search's), and that still
// exist (an index is only as fresh as its last update).
End run(const std::vector<std::string>& command, const std::string& folder, const QueryMatcher& matcher,
        SearchResultSink& sink, std::stop_token stop);

} // namespace IndexedNameSearch
