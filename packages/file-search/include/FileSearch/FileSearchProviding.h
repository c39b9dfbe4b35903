#pragma once

#include "FileSearch/FileNameSearchError.h"
#include "FileSearch/FileSearchProgress.h"
#include "FileSearch/FileSearchTarget.h"

#include <expected>
#include <functional>
#include <optional>
#include <stop_token>

struct FileSearchRequest {
    QString query;
    FileSearchTarget target = FileSearchTarget::name;
    QString folderURL;
    std::optional<qint64> limit; // at most this many results, when given

    bool operator==(const FileSearchRequest&) const = default;
};

// How a search ended when it did not fail. A search that reached its limit has finished.
enum class FileSearchOutcome { finished, cancelled };

// Runs searches. Blocking: call it off the main thread.
class FileSearchProviding {
public:
    // Called with each report, in order and never two at once, on a thread of the search
    // (not always the caller's). It should hand the report on and return quickly: the
    // search waits for it.
    using ReportFunction = std::function<void(FileSearchProgress)>;

    virtual ~FileSearchProviding() = default;

    // A stop ends the search soon (any tool it started is ended too) with `cancelled`
    // and no final report.
    virtual std::expected<FileSearchOutcome, FileNameSearchError>
    searchResults(const FileSearchRequest& request, std::stop_token stop, const ReportFunction& report) const = 0;
};
