#include "SearchResultSink.h"

#include "FileSearch/FileNameSearchService.h"

SearchResultSink::SearchResultSink(std::optional<qint64> limit, const FileSearchProviding::ReportFunction& report)
    : limit_(limit), report_(report)
{
}

void SearchResultSink::add(FileSearchPhase phase, std::string nativePath, FileSearchResult result)
{
    std::lock_guard lock(mutex_);
    if (ended_ || !seen_.insert(std::move(nativePath)).second) return;
    batch_.push_back(std::move(result));
    ++total_;
    if (limit_ && total_ >= *limit_) {
        send(phase, true, true);
        ended_ = true;
    } else if (qint64(batch_.size()) >= FileNameSearchService::kBatchSize) {
        send(phase, false, false);
    }
}

void SearchResultSink::flush(FileSearchPhase phase, bool isFinished)
{
    std::lock_guard lock(mutex_);
    if (!ended_) send(phase, false, isFinished);
}

void SearchResultSink::send(FileSearchPhase phase, bool didReachLimit, bool isFinished)
{
    FileSearchProgress progress;
    progress.phase = phase;
    progress.newResults = std::move(batch_);
    batch_.clear();
    progress.totalResultCount = total_;
    progress.skippedItemCount = skipped_.load(std::memory_order_relaxed);
    progress.didReachLimit = didReachLimit;
    progress.isFinished = isFinished;
    if (report_) report_(std::move(progress));
}
