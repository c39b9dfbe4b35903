#pragma once

#include "FileSearch/FileSearchPhase.h"
#include "FileSearch/FileSearchResult.h"

#include <QtGlobal>

#include <vector>

// One report of a running search. Reports come in order; the results of all reports
// together are distinct by path. The last report of a search has `isFinished`.
struct FileSearchProgress {
    FileSearchPhase phase = FileSearchPhase::recursive;
    std::vector<FileSearchResult> newResults; // new since the last report
    qint64 totalResultCount = 0;              // distinct results so far
    qint64 skippedItemCount = 0;              // items the walk could not read
    bool didReachLimit = false;
    bool isFinished = false;

    bool operator==(const FileSearchProgress&) const = default;
};
