#pragma once

#include "Services/FileSystemCalls.h"

#include <QString>

#include <vector>

// What one operation made, in the order it made it, so that a failure takes back
// exactly that: files and links are unlinked and folders removed only when
// empty, last first. Anything another program put into one of those folders
// meanwhile stays, and so do the folders that hold it. Paths are kept as native
// bytes in one block, so a record of many items stays small.
class FileCreationRecord {
public:
    enum class Kind : char { item, folder };

    void add(const QString& path, Kind kind);
    void append(FileCreationRecord&& other);
    bool isEmpty() const { return items.empty(); }

    // Takes everything back; what cannot go (a folder that is not empty, an item
    // that is not there any more) stays. The record is empty afterwards.
    void undo(FileSystemCalls& calls);

private:
    struct Item {
        qsizetype end; // of the path in `paths`
        Kind kind;
    };
    QByteArray paths; // NUL-terminated native paths, one after another
    std::vector<Item> items;
};
