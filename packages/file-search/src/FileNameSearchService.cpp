#include "FileSearch/FileNameSearchService.h"

#include "FolderWalk.h"
#include "IndexedNameSearch.h"
#include "QueryMatcher.h"
#include "SearchResultSink.h"

#include "PathKit/FilePaths.h"

#include <QDir>

#include <sys/stat.h>
#include <unistd.h>

namespace {

bool isFolder(const QByteArray& native)
{
    struct stat status {};
    return ::stat(native.constData(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool isRegularFile(const QByteArray& native)
{
    struct stat status {};
    return ::stat(native.constData(), &status) == 0 && S_ISREG(status.st_mode);
}

// The program's path: as given when it holds a "/", else the first on PATH.
std::optional<QByteArray> resolveProgram(const QString& program)
{
    if (program.isEmpty()) return std::nullopt;
    const QByteArray native = FilePaths::toNative(program);
    if (native.contains('/')) return ::access(native.constData(), X_OK) == 0 ? std::optional(native) : std::nullopt;
    const QByteArray path = qgetenv("PATH");
    for (const QByteArray& folder : path.split(':')) {
        if (folder.isEmpty()) continue;
        const QByteArray candidate = folder + '/' + native;
        if (::access(candidate.constData(), X_OK) == 0 && isRegularFile(candidate)) return candidate;
    }
    return std::nullopt;
}

FileNameSearchError unreadable(const QString& folder)
{
    return FileNameSearchError::unreadableFolder(folder);
}

} // namespace

FileNameSearchService::FileNameSearchService() : FileNameSearchService(Configuration {}) { }

FileNameSearchService::FileNameSearchService(Configuration configuration) : configuration_(std::move(configuration))
{
    if (configuration_.homeFolder.isEmpty()) configuration_.homeFolder = QDir::homePath();
    configuration_.homeFolder = FilePaths::standardized(configuration_.homeFolder);
}

bool FileNameSearchService::shouldUseIndexedSearch(const QString& folder) const
{
    return indexCommand(folder, {}).has_value();
}

std::optional<std::vector<std::string>> FileNameSearchService::indexCommand(const QString& folder,
                                                                            const QString& query) const
{
    const QString path = FilePaths::standardized(folder);
    const QString& home = configuration_.homeFolder;
    const bool covered = path == u"/" || path == home || path.startsWith(home + u'/');
    const auto program = covered ? resolveProgram(configuration_.locateProgram) : std::nullopt;
    if (!program) return std::nullopt;
    // The database is usually readable only to the tool (set-group-ID), so being there
    // is what can be checked; any other trouble makes the tool fail, which is harmless.
    const QString& database = configuration_.locateDatabase.isEmpty() ? configuration_.defaultLocateDatabase
                                                                       : configuration_.locateDatabase;
    if (!isRegularFile(FilePaths::toNative(database))) return std::nullopt;
    std::vector<std::string> command {program->toStdString()};
    if (!configuration_.locateDatabase.isEmpty())
        command.insert(command.end(), {"-d", FilePaths::toNative(configuration_.locateDatabase).toStdString()});
    // "--": a query that starts with "-" is still a query.
    command.insert(command.end(), {"-0", "-i", "-b", "--", query.toStdString()});
    return command;
}

std::expected<FileSearchOutcome, FileNameSearchError>
FileNameSearchService::searchResults(const FileSearchRequest& request, std::stop_token stop,
                                     const ReportFunction& report) const
{
    const QString folder = FilePaths::standardized(request.folderURL);
    const QByteArray native = FilePaths::toNative(folder);
    if (!isFolder(native)) return std::unexpected(unreadable(folder));

    const QueryMatcher matcher(request.query);
    SearchResultSink sink(request.limit, report);
    if (matcher.isEmpty()) {
        // Nothing holds an empty text: there is nothing to look for.
        sink.flush(FileSearchPhase::recursive, true);
        return FileSearchOutcome::finished;
    }

    const std::string nativeFolder = native.toStdString();
    const auto command = FileSearchTargets::includesName(request.target) ? indexCommand(folder, request.query)
                                                                         : std::nullopt;
    if (command) {
        switch (IndexedNameSearch::run(*command, nativeFolder, matcher, sink, stop)) {
        case IndexedNameSearch::End::limited: return FileSearchOutcome::finished;
        case IndexedNameSearch::End::cancelled: return FileSearchOutcome::cancelled;
        case IndexedNameSearch::End::finished:
        case IndexedNameSearch::End::failed: break; // the walk runs as if nothing had happened
        }
    }
    // No index of contents is assumed on Linux: a content pass would fail at once, and its
    // failure, like every index failure, only leaves the work to the walk.

    if (!isFolder(native)) return std::unexpected(unreadable(folder));
    FolderWalk walk(matcher, request.target, sink, stop, configuration_.walkThreads);
    switch (walk.run(nativeFolder)) {
    case FolderWalk::End::unreadableFolder: return std::unexpected(unreadable(folder));
    case FolderWalk::End::cancelled: return FileSearchOutcome::cancelled;
    case FolderWalk::End::limited: return FileSearchOutcome::finished;
    case FolderWalk::End::finished: break;
    }
    sink.flush(FileSearchPhase::recursive, true);
    return FileSearchOutcome::finished;
}
