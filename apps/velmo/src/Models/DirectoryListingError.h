#pragma once

#include <QString>

#include <variant>

// Why a folder could not be listed. The pane turns it into its failure text.
struct DirectoryListingError {
    struct AccessDenied {
        QString url;
        bool operator==(const AccessDenied&) const = default;
    };
    struct NotDirectory {
        QString url;
        bool operator==(const NotDirectory&) const = default;
    };
    struct NotFound {
        QString url;
        bool operator==(const NotFound&) const = default;
    };
    struct Unreadable {
        QString url;
        QString detail;
        bool operator==(const Unreadable&) const = default;
    };

    std::variant<AccessDenied, NotDirectory, NotFound, Unreadable> reason;

    bool operator==(const DirectoryListingError&) const = default;

    // The error for an errno from opening or reading `url`.
    static DirectoryListingError fromErrno(int error, const QString& url);
};
