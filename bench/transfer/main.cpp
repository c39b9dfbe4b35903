// velmo-copy [--move | --link] SOURCE... DESTINATION-FOLDER
//
// Copies (moves, links) the sources into the destination folder with Velmo's own
// transfer service, exactly as a paste would, and prints one line of outcome.
// Used by bench/copy-side-by-side.sh to time the service against cp.

#include "PathKit/FilePaths.h"
#include "Services/PosixFileTransferService.h"

#include <cstdio>
#include <cstring>

namespace {

enum class Mode { copy, move, link };

int usage()
{
    std::fprintf(stderr, "usage: velmo-copy [--move | --link] SOURCE... DESTINATION-FOLDER\n");
    return 2;
}

QString path(const char* argument)
{
    return FilePaths::standardized(FilePaths::fromNative(argument, qsizetype(std::strlen(argument))));
}

int report(const FileTransferError& error)
{
    if (const auto* system = std::get_if<FileTransferSystemError>(&error)) {
        std::fprintf(stderr, "velmo-copy: %s: %s\n", FilePaths::toNative(system->path).constData(),
                     std::strerror(system->code));
    } else {
        std::fprintf(stderr, "velmo-copy: stopped\n");
    }
    return 1;
}

int finish(qsizetype doneCount, qsizetype skippedCount, const char* verb)
{
    std::printf("%s %lld items, skipped %lld\n", verb, static_cast<long long>(doneCount),
                static_cast<long long>(skippedCount));
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    Mode mode = Mode::copy;
    int first = 1;
    if (argc > 1 && std::strcmp(argv[1], "--move") == 0) mode = Mode::move, first = 2;
    if (argc > 1 && std::strcmp(argv[1], "--link") == 0) mode = Mode::link, first = 2;
    if (argc - first < 2) return usage();

    QStringList sources;
    for (int index = first; index < argc - 1; ++index) sources.append(path(argv[index]));
    const QString destination = path(argv[argc - 1]);

    const PosixFileTransferService service;
    const std::stop_source stop;
    switch (mode) {
    case Mode::copy: {
        const auto result = service.copyItems(sources, destination, stop.get_token());
        return result ? finish(result->createdURLs.size(), result->skippedURLs.size(), "copied") : report(result.error());
    }
    case Mode::move: {
        const auto result = service.moveItems(sources, destination, stop.get_token());
        return result ? finish(qsizetype(result->moves.size()), result->skippedURLs.size(), "moved")
                      : report(result.error());
    }
    case Mode::link: {
        const auto result = service.linkItems(sources, destination, stop.get_token());
        return result ? finish(result->createdURLs.size(), result->skippedURLs.size(), "linked") : report(result.error());
    }
    }
    return usage();
}
