#include "Services/FileTransferPlanner.h"

#include "Models/FileDestinationNamer.h"
#include "PathKit/FilePaths.h"
#include "Services/FileTransferErrorClassifier.h"

#include <QCollator>

#include <algorithm>
#include <cerrno>

#include <dirent.h>

struct FileTransferPlanner::Walk {
    std::vector<FileTransferEntry>& entries;
    QStringList& skippedURLs;
    FileTransferPlanOptions options;
    std::stop_token stop;
    QCollator collator;
};

namespace {

QCollator standardCollator()
{
    // Names sort as the file lists show them: digits by value, case ignored. The
    // C locale collates by code point only, so it falls back to English rules.
    QLocale locale;
    if (locale.language() == QLocale::C) locale = QLocale(QLocale::English, QLocale::UnitedStates);
    QCollator collator(locale);
    collator.setNumericMode(true);
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    return collator;
}

FileTransferError systemError(int code, const QString& path)
{
    return FileTransferSystemError{code, path};
}

} // namespace

std::expected<FileTransferPlanBatch, FileTransferError> FileTransferPlanner::planBatch(
    const QStringList& sources, const QString& destinationDirectoryURL, FileTransferPlanOptions options,
    std::stop_token stop) const
{
    FileTransferPlanBatch batch;
    QSet<QString> reserved;
    const QString directory = FilePaths::standardized(destinationDirectoryURL);
    for (const QString& source : sources) {
        if (stop.stop_requested()) return std::unexpected(FileTransferStopped{});
        const QString standardSource = FilePaths::standardized(source);
        const QString destination = nextAvailableDestinationURL(standardSource, directory, reserved);
        std::vector<FileTransferEntry> entries;
        const auto collected = collectEntries(standardSource, destination, entries, batch.skippedURLs, options, stop);
        if (!collected) {
            // A source that is gone (deleted after it was cut or dragged) is
            // skipped and named; the others still go.
            const auto* missing = std::get_if<FileTransferSystemError>(&collected.error());
            const bool vanished = missing && missing->code == ENOENT && missing->path == standardSource;
            if (!vanished
                && (!options.skipPermissionDeniedItems
                    || !FileTransferErrorClassifier::isPermissionDenied(collected.error())))
                return std::unexpected(collected.error());
            batch.skippedURLs.append(standardSource);
            continue;
        }
        if (!*collected) continue;
        reserved.insert(destination);
        batch.plans.push_back({standardSource, destination, std::move(entries)});
    }
    return batch;
}

QString FileTransferPlanner::nextAvailableDestinationURL(const QString& source, const QString& directory,
                                                         const QSet<QString>& reservedDestinationPaths) const
{
    const QString name = FilePaths::lastComponent(source);
    for (qint64 number = 1;; ++number) {
        const QString candidate = FilePaths::standardized(
            FilePaths::appending(directory, number == 1 ? name : FileDestinationNamer::numberedName(name, number)));
        if (!reservedDestinationPaths.contains(candidate) && !exists(candidate)) return candidate;
    }
}

std::expected<bool, FileTransferError> FileTransferPlanner::collectEntries(
    const QString& sourceURL, const QString& destinationURL, std::vector<FileTransferEntry>& entries,
    QStringList& skippedURLs, FileTransferPlanOptions options, std::stop_token stop) const
{
    Walk walk{entries, skippedURLs, options, std::move(stop), standardCollator()};
    return collect(walk, FilePaths::standardized(sourceURL), destinationURL, DT_UNKNOWN);
}

std::expected<bool, FileTransferError> FileTransferPlanner::collect(Walk& walk, const QString& sourceURL,
                                                                    const QString& destinationURL,
                                                                    unsigned char knownType) const
{
    if (walk.stop.stop_requested()) return std::unexpected(FileTransferStopped{});
    // The listing already told the type of a child; only the top level and
    // file systems that do not say need a status read.
    unsigned char type = knownType;
    if (type == DT_UNKNOWN) {
        const auto status = calls.linkStatus(FilePaths::toNative(sourceURL));
        if (!status) return std::unexpected(systemError(status.error(), sourceURL));
        type = IFTODT(status->st_mode);
    }
    if (type == DT_DIR) return collectFolder(walk, sourceURL, destinationURL);
    if (walk.options.skipUnsupportedSpecialFiles && type != DT_REG && type != DT_LNK) {
        walk.skippedURLs.append(sourceURL);
        return false;
    }
    walk.entries.push_back({sourceURL, destinationURL, false});
    return true;
}

std::expected<bool, FileTransferError> FileTransferPlanner::collectFolder(Walk& walk, const QString& sourceURL,
                                                                          const QString& destinationURL) const
{
    const bool skipsDenied = walk.options.skipPermissionDeniedItems;
    auto listed = calls.listDirectory(FilePaths::toNative(sourceURL));
    if (!listed) {
        if (!skipsDenied || !FileTransferErrorClassifier::isPermissionDenied(listed.error()))
            return std::unexpected(systemError(listed.error(), sourceURL));
        walk.skippedURLs.append(sourceURL);
        return false;
    }

    std::vector<QString> names;
    std::vector<QCollatorSortKey> keys;
    std::vector<size_t> order;
    names.reserve(listed->size());
    keys.reserve(listed->size());
    for (const auto& child : *listed) {
        order.push_back(names.size());
        names.push_back(FilePaths::fromNative(child.name));
        keys.push_back(walk.collator.sortKey(names.back()));
    }
    std::stable_sort(order.begin(), order.end(), [&](size_t a, size_t b) { return keys[a].compare(keys[b]) < 0; });

    walk.entries.push_back({sourceURL, destinationURL, true});
    for (size_t index : order) {
        const QString childSource = FilePaths::appending(sourceURL, names[index]);
        const auto collected = collect(walk, childSource, FilePaths::appending(destinationURL, names[index]),
                                       (*listed)[index].type);
        if (!collected) {
            if (!skipsDenied || !FileTransferErrorClassifier::isPermissionDenied(collected.error()))
                return collected;
            walk.skippedURLs.append(childSource);
        }
    }
    return true;
}

bool FileTransferPlanner::exists(const QString& path) const
{
    return calls.status(FilePaths::toNative(path)).has_value();
}
