#pragma once

#include <QHash>
#include <QString>

#include <optional>

// A folder row's size in the list: being walked (with the bytes so far, once a
// file was counted), finished, given up because the automatic budget ran out,
// or failed because the folder could not be read.
struct FolderSizeState {
    enum class Kind { calculating, calculated, skipped, failed };

    Kind kind = Kind::calculating;
    std::optional<qint64> bytes;

    static FolderSizeState calculating(std::optional<qint64> bytesSoFar = std::nullopt) { return {Kind::calculating, bytesSoFar}; }
    static FolderSizeState calculated(qint64 bytes) { return {Kind::calculated, bytes}; }
    static FolderSizeState skipped() { return {Kind::skipped, std::nullopt}; }
    static FolderSizeState failed() { return {Kind::failed, std::nullopt}; }

    bool isCalculating() const { return kind == Kind::calculating; }
    // The size a sort may use: only a finished walk has one.
    std::optional<qint64> finishedBytes() const { return kind == Kind::calculated ? bytes : std::nullopt; }
    bool operator==(const FolderSizeState&) const = default;
};

// What a folder holds directly: files (links and packages included) and folders.
struct FolderContentCount {
    qint64 fileCount = 0;
    qint64 folderCount = 0;
    qint64 total() const { return fileCount + folderCount; }
    bool operator==(const FolderContentCount&) const = default;
};

struct FolderContentCountState {
    enum class Kind { calculating, calculated, failed };

    Kind kind = Kind::calculating;
    FolderContentCount count;

    static FolderContentCountState calculating() { return {Kind::calculating, {}}; }
    static FolderContentCountState calculated(FolderContentCount count) { return {Kind::calculated, count}; }
    static FolderContentCountState failed() { return {Kind::failed, {}}; }

    bool isCalculating() const { return kind == Kind::calculating; }
    std::optional<qint64> finishedTotal() const
    {
        return kind == Kind::calculated ? std::optional<qint64>(count.total()) : std::nullopt;
    }
    bool operator==(const FolderContentCountState&) const = default;
};

// Per entry id.
using FolderSizeStates = QHash<QString, FolderSizeState>;
using FolderContentCountStates = QHash<QString, FolderContentCountState>;

// The states a load worked out before its commit, so a folder sorted by size or
// contents comes up once, in its final order.
struct PrefetchedFolderStates {
    FolderSizeStates sizes;
    FolderContentCountStates counts;
};
