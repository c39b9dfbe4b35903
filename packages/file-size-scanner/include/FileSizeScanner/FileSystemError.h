#pragma once

#include <QString>

// A failed file-system call: the errno value and the path it was made on.
struct FileSystemError {
    int code = 0;
    QString path {};

    bool operator==(const FileSystemError&) const = default;
};
