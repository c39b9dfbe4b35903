#pragma once

#include "FileSearch/FileSearchProviding.h"

#include <QString>

#include <string>
#include <vector>

// Finds the items below a folder whose name, text content or both hold the query, ignoring
// case, diacritics and width ("résumé" finds "RESUME.txt"). Two passes feed one series of
// reports, batched by 25 and deduplicated by path:
//
// 1. The file index, for names only, where it covers the folder ("/", the home folder or
//    below it): `plocate -0 -i -b` as a child process, its answer kept to paths below the
//    folder whose names match as the walk would match them, and to items that still exist.
//    Any trouble with the index (no tool, no database, the tool failing) just leaves the
//    work to the walk. There is no index of file contents, so a content search walks.
// 2. The walk: getdents64 on two threads, hidden items included, links never followed,
//    pseudo file systems (proc, sysfs, ...) never entered and automount points never
//    triggered. A folder it cannot read counts as skipped and the walk goes on. Contents
//    are read only from regular files of at most 5,242,880 bytes whose type is text
//    (see TextTypes.h), opened without blocking; binary content never matches.
//
// Holds no state between searches; one service may run several at once.
class FileNameSearchService final : public FileSearchProviding {
public:
    struct Configuration {
        // The index tool, by path or found on PATH; empty: no index is used.
        QString locateProgram = QStringLiteral("plocate");
        // The index's database; empty: the tool's own default.
        QString locateDatabase;
        QString defaultLocateDatabase = QStringLiteral("/var/lib/plocate/plocate.db");
        // The folder whose subtree the index is trusted for; empty: the user's home.
        QString homeFolder;
        int walkThreads = 2;
    };

    static constexpr qint64 kBatchSize = 25;
    static constexpr qint64 kMaximumContentBytes = 5'242'880;

    FileNameSearchService();
    explicit FileNameSearchService(Configuration configuration);

    std::expected<FileSearchOutcome, FileNameSearchError>
    searchResults(const FileSearchRequest& request, std::stop_token stop, const ReportFunction& report) const override;

    // Whether a search of `folder` asks the index first: the tool and its database are
    // there and the folder is "/", the home folder or below it.
    bool shouldUseIndexedSearch(const QString& folder) const;

private:
    // The index tool's command line for `query`, when the index covers `folder`.
    std::optional<std::vector<std::string>> indexCommand(const QString& folder, const QString& query) const;

    Configuration configuration_;
};
