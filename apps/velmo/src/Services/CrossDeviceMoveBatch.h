#pragma once

#include "Models/FileTransferModels.h"
#include "Services/FileItemOperations.h"

#include <QSet>

#include <vector>

// Moves that had to copy (another file system) wait here with their sources
// intact until their copies are durable. A flush makes every waiting copy's data
// durable (fdatasync), then the entries of every folder the batch touched
// (fsync), and only then removes the sources. Flushing per batch instead of per
// file keeps moves of many small files fast: one flush per file measured some
// 30 times slower than writing them.
class CrossDeviceMoveBatch {
public:
    using Result = FileItemOperations::Result;

    explicit CrossDeviceMoveBatch(FileItemOperations& items) : items(items) {}

    // A copy of `source` now at `destination`; `type` is its S_IFMT bits.
    void add(const QString& source, const QString& destination, mode_t type, qint64 size);
    // A folder made on the destination side: its entry in its parent must be
    // durable before sources inside it go.
    void addFolder(const QString& path);
    bool isEmpty() const { return waiting.empty(); }
    // Enough waits to be worth a flush.
    bool isDue() const;

    // Makes the copies durable and removes their sources, appending each done
    // move to `moved`. On failure the moves not yet done keep waiting, sources
    // intact.
    Result flush(std::vector<FileMoveResult>& moved);
    // Takes back the copies still waiting; their sources are where they were.
    void discard();

private:
    struct Waiting {
        FileMoveResult move;
        bool isRegularFile = false;
    };

    FileItemOperations& items;
    std::vector<Waiting> waiting;
    QSet<QString> touchedFolders;
    qint64 waitingBytes = 0;
};
