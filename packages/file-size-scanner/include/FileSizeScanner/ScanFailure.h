#pragma once

#include <QString>

#include <variant>

// Why a scan produced no tree. Equal when the case and the path agree.
struct ScanFailure {
    struct RootInaccessible {
        QString url;
        bool operator==(const RootInaccessible&) const = default;
    };
    struct IoError {
        QString url;
        bool operator==(const IoError&) const = default;
    };
    struct BookmarkResolutionFailed {
        bool operator==(const BookmarkResolutionFailed&) const = default;
    };

    std::variant<RootInaccessible, IoError, BookmarkResolutionFailed> value;

    static ScanFailure rootInaccessible(const QString& url) { return {RootInaccessible {url}}; }
    static ScanFailure ioError(const QString& url) { return {IoError {url}}; }
    static ScanFailure bookmarkResolutionFailed() { return {BookmarkResolutionFailed {}}; }

    // The sentence shown to the user.
    QString message() const;

    bool operator==(const ScanFailure&) const = default;
};
