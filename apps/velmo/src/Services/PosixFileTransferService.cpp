#include "Services/PosixFileTransferService.h"

#include "PathKit/FilePaths.h"
#include "Services/FileTransferPlanRunner.h"
#include "Services/FileTransferSafety.h"
#include "Services/PosixFileSystemCalls.h"

#include <cerrno>

namespace {

constexpr int kLinkNameAttempts = 100;

enum class SourcesAlreadyThere { kept, dropped };

// What every batch starts from: standard paths, and the sources split into those
// that may go into the destination and those that would land inside themselves.
struct BatchStart {
    QString destination;
    QStringList transferable;
    QStringList skipped;
};

BatchStart openBatch(const QStringList& sources, const QString& destinationURL, SourcesAlreadyThere alreadyThere)
{
    BatchStart start;
    start.destination = FilePaths::standardized(destinationURL);
    QStringList standardSources;
    for (const QString& source : sources) {
        QString standard = FilePaths::standardized(source);
        // Moving an item into the folder that holds it is no move at all.
        if (alreadyThere == SourcesAlreadyThere::dropped && FilePaths::parent(standard) == start.destination) continue;
        standardSources.append(std::move(standard));
    }
    const bool caseSensitive = FileTransferSafety::volumeSupportsCaseSensitiveNames(start.destination).value_or(false);
    FileTransferPartition partition =
        FileTransferSafety::partitionTransferableSources(standardSources, start.destination, caseSensitive);
    start.transferable = std::move(partition.transferable);
    start.skipped = std::move(partition.skipped);
    return start;
}

void report(const FileTransferProviding::ProgressHandler& progress, qint64 completed, qint64 total,
            const QString& source)
{
    if (progress) progress(FileTransferProgress{completed, total, FilePaths::lastComponent(source)});
}

bool isStop(const FileTransferError& error)
{
    return std::holds_alternative<FileTransferStopped>(error);
}

bool isCancellation(const FileTransferError& error)
{
    return std::holds_alternative<FileTransferCancellation>(error);
}

// The link's name by the numbered-name rule; a name taken after it was chosen is
// passed over, never replaced.
std::expected<QString, FileTransferError> makeLink(FileTransferPlanRunner& runner, const QString& source,
                                                   const QString& destination, const QSet<QString>& reserved)
{
    QSet<QString> taken = reserved;
    for (int attempt = 1;; ++attempt) {
        const QString link = runner.planner().nextAvailableDestinationURL(source, destination, taken);
        const auto made = runner.operations().makeLink(source, link);
        if (made) return link;
        if (made.error().code != EEXIST || attempt == kLinkNameAttempts) return std::unexpected(made.error());
        taken.insert(link);
    }
}

// Plans and runs each source in turn: several sources report progress by item,
// a single one by the entries of its tree. `runPlan(plan, reporter)` carries one
// plan out and answers its error, if any.
template <typename RunPlan>
std::optional<FileTransferError> forEachPlannedSource(const BatchStart& batch, FileTransferPlanRunner& runner,
                                                      const FileTransferPlanOptions& options, const std::stop_token& stop,
                                                      const FileTransferProviding::ProgressHandler& progress,
                                                      QStringList& skippedURLs, RunPlan runPlan)
{
    const qint64 count = batch.transferable.size();
    const bool reportsItems = count >= 2;
    for (qint64 index = 0; index < count; ++index) {
        const QString& source = batch.transferable[index];
        if (stop.stop_requested()) return FileTransferStopped{};
        if (reportsItems) report(progress, index, count, source);
        auto planned = runner.planner().planBatch({source}, batch.destination, options, stop);
        if (!planned) return planned.error();
        skippedURLs += planned->skippedURLs;
        for (FileTransferPlan& plan : planned->plans) {
            FileTransferProgressReporter reporter(reportsItems ? nullptr : &progress, qint64(plan.entries.size()));
            if (auto error = runPlan(plan, reporter)) return error;
        }
    }
    if (reportsItems) report(progress, count, count, batch.transferable.back());
    return std::nullopt;
}

} // namespace

PosixFileTransferService::PosixFileTransferService()
    : calls(std::make_shared<PosixFileSystemCalls>())
{
}

PosixFileTransferService::PosixFileTransferService(std::shared_ptr<FileSystemCalls> calls)
    : calls(std::move(calls))
{
}

std::expected<FileCopyResult, FileTransferError> PosixFileTransferService::copyItems(
    const QStringList& sources, const QString& destinationURL, std::stop_token stop,
    const ProgressHandler& progress) const
{
    const BatchStart batch = openBatch(sources, destinationURL, SourcesAlreadyThere::kept);
    FileTransferPlanRunner runner(*calls, stop);
    FileCopyResult result{{}, batch.skipped};
    FileCreationRecord made;
    // A stop keeps the finished items; any other failure takes back all that the
    // batch made, and only that.
    const auto fail = [&](FileTransferError error) {
        if (isStop(error)) return std::unexpected(FileTransferError(FileTransferCancellation::copied(result.createdURLs)));
        if (!isCancellation(error)) made.undo(*calls);
        return std::unexpected(std::move(error));
    };
    const FileTransferPlanOptions options {.skipPermissionDeniedItems = true, .skipUnsupportedSpecialFiles = true};
    const auto error = forEachPlannedSource(
        batch, runner, options, stop, progress, result.skippedURLs,
        [&](FileTransferPlan& plan, FileTransferProgressReporter& reporter) -> std::optional<FileTransferError> {
            const auto copied = runner.copyPlan(plan, 0, qint64(plan.entries.size()), reporter, made);
            if (!copied) return copied.error();
            if (copied->createdDestinationURL) result.createdURLs.append(*copied->createdDestinationURL);
            result.skippedURLs += copied->skippedURLs;
            return std::nullopt;
        });
    if (error) return fail(*error);
    return result;
}

std::expected<FileMoveBatchResult, FileTransferError> PosixFileTransferService::moveItems(
    const QStringList& sources, const QString& destinationURL, std::stop_token stop,
    const ProgressHandler& progress) const
{
    const BatchStart batch = openBatch(sources, destinationURL, SourcesAlreadyThere::dropped);
    FileTransferPlanRunner runner(*calls, stop);
    FileMoveBatchResult result{{}, batch.skipped};
    std::vector<FileTransferPlanOutline> finished;
    // A stop keeps the finished moves; any other failure puts them all back.
    const auto fail = [&](FileTransferError error) {
        if (isStop(error)) return std::unexpected(FileTransferError(FileTransferCancellation::moved(result.moves)));
        if (!isCancellation(error))
            for (auto plan = finished.crbegin(); plan != finished.crend(); ++plan) runner.moveBack(*plan);
        return std::unexpected(std::move(error));
    };
    // A move skips nothing: one item it cannot take fails the whole batch.
    const auto error = forEachPlannedSource(
        batch, runner, FileTransferPlanOptions {}, stop, progress, result.skippedURLs,
        [&](FileTransferPlan& plan, FileTransferProgressReporter& reporter) -> std::optional<FileTransferError> {
            std::optional<FileTransferPlanOutline> outline;
            const auto moved = runner.movePlan(plan, 0, qint64(plan.entries.size()), reporter, &outline);
            if (!moved) return moved.error();
            result.moves.push_back({plan.sourceURL, plan.destinationURL});
            finished.push_back(std::move(*outline));
            return std::nullopt;
        });
    if (error) return fail(*error);
    return result;
}

std::expected<FileLinkResult, FileTransferError> PosixFileTransferService::linkItems(
    const QStringList& sources, const QString& destinationURL, std::stop_token stop,
    const ProgressHandler& progress) const
{
    const BatchStart batch = openBatch(sources, destinationURL, SourcesAlreadyThere::kept);
    FileTransferPlanRunner runner(*calls, stop);
    FileLinkResult result{{}, batch.skipped};
    FileCreationRecord made;
    // Links keep nothing when they stop, on purpose: they are cheap to make again.
    const auto fail = [&](FileTransferError error) {
        made.undo(*calls);
        return std::unexpected(std::move(error));
    };
    QSet<QString> reserved;
    const qint64 count = batch.transferable.size();
    qint64 completed = 0;
    for (qint64 index = 0; index < count; ++index) {
        const QString& source = batch.transferable[index];
        if (stop.stop_requested()) return fail(FileTransferStopped{});
        report(progress, index, count, source);
        if (!runner.operations().exists(source)) {
            result.skippedURLs.append(source);
            continue;
        }
        const auto link = makeLink(runner, source, batch.destination, reserved);
        if (!link) return fail(link.error());
        reserved.insert(*link);
        made.add(*link, FileCreationRecord::Kind::item);
        result.createdURLs.append(*link);
        report(progress, ++completed, count, source);
    }
    return result;
}
