// velmo-search: runs one file search as the search tab does and prints how many items it
// found and how many it could not read.
//
//   velmo-search [--name|--content|--both] [--walk-only] [--list] [-t THREADS] [--limit N]
//                [--db DATABASE] FOLDER QUERY
//     --name      match names (default); --content: text contents; --both: either
//     --walk-only no file index, only the walk
//     --list      also print each result's path, one a line
//     -t N        walking threads (default 2)
//     --db FILE   the index database (default: the locate tool's own)
#include "FileSearch/FileNameSearchService.h"

#include <PathKit/FilePaths.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

int usage()
{
    std::fprintf(stderr, "usage: velmo-search [--name|--content|--both] [--walk-only] [--list] [-t THREADS] "
                         "[--limit N] [--db DATABASE] FOLDER QUERY\n");
    return 2;
}

} // namespace

int main(int argc, char** argv)
{
    FileSearchRequest request;
    FileNameSearchService::Configuration configuration;
    bool list = false;
    int i = 1;
    for (; i < argc && argv[i][0] == '-'; ++i) {
        const char* option = argv[i];
        const bool hasValue = i + 1 < argc;
        if (!std::strcmp(option, "--name")) request.target = FileSearchTarget::name;
        else if (!std::strcmp(option, "--content")) request.target = FileSearchTarget::content;
        else if (!std::strcmp(option, "--both")) request.target = FileSearchTarget::nameAndContent;
        else if (!std::strcmp(option, "--walk-only")) configuration.locateProgram.clear();
        else if (!std::strcmp(option, "--list")) list = true;
        else if (!std::strcmp(option, "-t") && hasValue) configuration.walkThreads = std::atoi(argv[++i]);
        else if (!std::strcmp(option, "--limit") && hasValue) request.limit = std::atoll(argv[++i]);
        else if (!std::strcmp(option, "--db") && hasValue) configuration.locateDatabase = QString::fromLocal8Bit(argv[++i]);
        else return usage();
    }
    if (argc - i != 2 || configuration.walkThreads < 1) return usage();
    request.folderURL = FilePaths::fromNative(argv[i], qsizetype(std::strlen(argv[i])));
    request.query = QString::fromLocal8Bit(argv[i + 1]);

    qint64 indexed = 0, total = 0, skipped = 0;
    const FileNameSearchService service(configuration);
    const auto outcome = service.searchResults(request, {}, [&](FileSearchProgress progress) {
        if (progress.phase == FileSearchPhase::indexed) indexed += qint64(progress.newResults.size());
        total = progress.totalResultCount;
        skipped = progress.skippedItemCount;
        if (list)
            for (const FileSearchResult& result : progress.newResults)
                std::printf("%s\n", FilePaths::toNative(result.url).constData());
    });
    if (!outcome) {
        std::fprintf(stderr, "%s\n", qPrintable(outcome.error().errorDescription()));
        return 1;
    }
    std::printf("results=%lld indexed=%lld skipped=%lld\n", static_cast<long long>(total),
                static_cast<long long>(indexed), static_cast<long long>(skipped));
    return 0;
}
