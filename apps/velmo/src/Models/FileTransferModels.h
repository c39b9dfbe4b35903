#pragma once

#include <QString>
#include <QStringList>
#include <QUuid>

#include <optional>
#include <variant>
#include <vector>

// Value records of a copy, move or link: what a pane shows while it runs, how a
// transfer is planned, what it reports back and how it fails.

// Selects wording and the flow that started a transfer. pasteCopy runs through the
// copy path; pasteMove and undoMove through the move path.
enum class FileTransferKind { copy, link, move, pasteCopy, pasteMove, undoMove };

struct FileTransferProgress {
    qint64 completedItemCount = 0;
    qint64 totalItemCount = 0;
    std::optional<QString> currentItemName;

    bool operator==(const FileTransferProgress&) const = default;
};

// What a pane shows while a transfer runs. `id` identifies the run: late callbacks
// are checked against it.
struct FileTransferActivity {
    QUuid id;
    FileTransferKind kind = FileTransferKind::copy;
    qint64 sourceItemCount = 0;
    QString destinationURL;
    FileTransferProgress progress;
    bool isCancelling = false;

    bool operator==(const FileTransferActivity&) const = default;

    // A fresh run: a new id, progress at 0 of `sourceItemCount`, not cancelling.
    static FileTransferActivity started(FileTransferKind kind, qint64 sourceItemCount, const QString& destinationURL);

    QString title() const;
    // "3 of 10 - name.txt - Cancelling...": the count, then the item, then the stop.
    QString detail() const;
};

struct FileMoveResult {
    QString sourceURL;
    QString destinationURL;

    bool operator==(const FileMoveResult&) const = default;
};

// The user stopped a copy or move that has finished items worth keeping.
struct FileTransferCancellation {
    struct Copied {
        QStringList destinationURLs;
        bool operator==(const Copied&) const = default;
    };
    struct Moved {
        std::vector<FileMoveResult> moves;
        bool operator==(const Moved&) const = default;
    };

    std::variant<Copied, Moved> reason;

    bool operator==(const FileTransferCancellation&) const = default;

    static FileTransferCancellation copied(QStringList destinationURLs) { return {Copied{std::move(destinationURLs)}}; }
    static FileTransferCancellation moved(std::vector<FileMoveResult> moves) { return {Moved{std::move(moves)}}; }

    // Where the kept items are now, in the order they finished.
    QStringList completedURLs() const;
};

// A platform call that failed: its errno and the path it was about.
struct FileTransferSystemError {
    int code = 0;
    QString path;

    bool operator==(const FileTransferSystemError&) const = default;
};

// The user stopped work that keeps nothing: planning, or a link batch.
struct FileTransferStopped {
    bool operator==(const FileTransferStopped&) const = default;
};

using FileTransferError = std::variant<FileTransferSystemError, FileTransferStopped, FileTransferCancellation>;

// One file-system object of a plan.
struct FileTransferEntry {
    QString sourceURL;
    QString destinationURL;
    bool isDirectory = false;

    bool operator==(const FileTransferEntry&) const = default;
};

// One top-level source expanded: parents stand before their children and the
// first entry is the source itself.
struct FileTransferPlan {
    QString sourceURL;
    QString destinationURL;
    std::vector<FileTransferEntry> entries;

    bool operator==(const FileTransferPlan&) const = default;
};

struct FileTransferPlanBatch {
    std::vector<FileTransferPlan> plans;
    QStringList skippedURLs;

    bool operator==(const FileTransferPlanBatch&) const = default;
};

// What one carried-out plan reports.
struct FileTransferPlanResult {
    qint64 completedEntryCount = 0;
    std::optional<QString> createdDestinationURL;
    QStringList skippedURLs;

    bool operator==(const FileTransferPlanResult&) const = default;
};

struct FileCopyResult {
    QStringList createdURLs;
    QStringList skippedURLs;

    bool operator==(const FileCopyResult&) const = default;
};

struct FileLinkResult {
    QStringList createdURLs;
    QStringList skippedURLs;

    bool operator==(const FileLinkResult&) const = default;
};

struct FileMoveBatchResult {
    std::vector<FileMoveResult> moves;
    QStringList skippedURLs;

    bool operator==(const FileMoveBatchResult&) const = default;
};
