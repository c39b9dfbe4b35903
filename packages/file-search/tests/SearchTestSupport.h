#pragma once

#include "FileSearch/FileNameSearchService.h"

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <functional>
#include <ostream>
#include <vector>

inline void PrintTo(const QString& text, std::ostream* out) { *out << '"' << text.toStdString() << '"'; }

// A throw-away folder filled by bytes, so that any name works; removed whatever its modes.
class SearchTestTree {
public:
    SearchTestTree();
    ~SearchTestTree();
    QString path() const { return dir_.path(); }
    QString operator/(const QString& relative) const { return path() + u'/' + relative; }
    // `relative` as raw bytes; parent folders are made.
    QByteArray native(const QByteArray& relative) const;
    void file(const QByteArray& relative, const QByteArray& content = "x") const;
    void folder(const QByteArray& relative, int mode = 0755) const;

private:
    QTemporaryDir dir_;
};

// Everything one search reported, and how it ended.
struct SearchRun {
    std::expected<FileSearchOutcome, FileNameSearchError> outcome = FileSearchOutcome::finished;
    std::vector<FileSearchProgress> reports;

    std::vector<FileSearchResult> results() const;
    // The paths relative to `root` of the results (of one phase), sorted.
    QStringList relativePaths(const QString& root, std::optional<FileSearchPhase> phase = std::nullopt) const;
};

SearchRun runSearch(const FileNameSearchService& service, const FileSearchRequest& request,
                    std::stop_token stop = {}, const std::function<void(const FileSearchProgress&)>& onReport = {});

// A service that walks only, with `threads` threads.
FileNameSearchService walkingService(int threads = 2);

// Runs `body` in a forked child whose user is "nobody", so that modes hold when the
// tests run as root; its exit status (0 when every check passed).
int runAsNobody(const std::function<bool()>& body);
