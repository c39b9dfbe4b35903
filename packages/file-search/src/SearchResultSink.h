#pragma once

#include "FileSearch/FileSearchProviding.h"

#include <atomic>
#include <mutex>
#include <string>
#include <unordered_set>

// Where both passes of one search put what they find: it drops paths seen before,
// batches results into reports of 25, counts, and ends the search at its limit with a
// last report. Safe to call from several threads; reports go out one at a time, in
// order, under its lock.
class SearchResultSink {
public:
    SearchResultSink(std::optional<qint64> limit, const FileSearchProviding::ReportFunction& report);

    // `nativePath` is the result's path as bytes, the key of the seen set.
    void add(FileSearchPhase phase, std::string nativePath, FileSearchResult result);
    void addSkipped() { skipped_.fetch_add(1, std::memory_order_relaxed); }

    // Sends what is batched, even nothing: a pass's closing report, or the last one.
    void flush(FileSearchPhase phase, bool isFinished);

    // Set once the limit has been reached and its last report sent.
    bool hasEnded() const { return ended_.load(std::memory_order_relaxed); }

private:
    void send(FileSearchPhase phase, bool didReachLimit, bool isFinished);

    const std::optional<qint64> limit_;
    const FileSearchProviding::ReportFunction& report_;
    std::mutex mutex_;
    std::unordered_set<std::string> seen_;
    std::vector<FileSearchResult> batch_;
    qint64 total_ = 0;
    std::atomic<qint64> skipped_ = 0;
    std::atomic<bool> ended_ = false;
};
