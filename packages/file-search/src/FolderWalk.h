#pragma once

#include "FileSearch/FileSearchTarget.h"

#include <stop_token>
#include <string>

class QueryMatcher;
class SearchResultSink;

// The walk pass: every item below a folder, on a few threads sharing one queue of
// folders, tested by name and, where the name did not match, by content.
//
// Folders are read with getdents64; the type the file system gives with each name
// spares a stat for nearly every item. Only folders are stat'ed (one statx each, to
// keep out of pseudo file systems without triggering an automount), and items whose
// type the file system doesn't give. Links are never followed. A folder that can't be
// opened or read adds one to the skipped count; one that vanished since it was seen
// adds nothing. Contents are read only from regular files, opened non-blocking and
// without following links, and checked again on the descriptor, so a pipe or device
// swapped in is never read.
class FolderWalk {
public:
    enum class End { finished, limited, cancelled, unreadableFolder };

    FolderWalk(const QueryMatcher& matcher, FileSearchTarget target, SearchResultSink& sink, std::stop_token stop,
               int threads);

    // `folder` is native and standard; it is opened as given, a link to a folder followed.
    End run(const std::string& folder);

private:
    const QueryMatcher& matcher_;
    const FileSearchTarget target_;
    SearchResultSink& sink_;
    std::stop_token stop_;
    const int threads_;
};
