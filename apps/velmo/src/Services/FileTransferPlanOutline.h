#pragma once

#include "Models/FileTransferModels.h"

#include <sys/stat.h>

#include <vector>

// A finished move plan, kept compactly (paths relative to the plan's top, as
// native bytes in one block) so that a failing batch can put back exactly the
// entries it moved, and nothing that another program added meanwhile, with its
// folders' original owner, mode and times.
class FileTransferPlanOutline {
public:
    // `folders` holds the status each folder entry had before the move, in plan order.
    FileTransferPlanOutline(const FileTransferPlan& plan, std::vector<struct stat> folders);

    // The plan that takes every entry back where it came from, parents first.
    FileTransferPlan reversed() const;
    // The folders' places before the move and their status then, children first.
    std::vector<std::pair<QString, struct stat>> originalFolders() const;

private:
    QString sourceURL;
    QString destinationURL;
    QByteArray relativePaths; // NUL-terminated, one per entry after the first
    std::vector<bool> isDirectory;
    std::vector<struct stat> folders;
};
