#include "Models/FileDropPolicy.h"

#include "PathKit/FilePaths.h"

namespace FileDropPolicy {

QString dropTargetURL(const FileEntry* entry, const QString& paneFolderURL)
{
    if (entry)
        if (auto destination = entry->dropDestinationDirectoryURL()) return FilePaths::standardized(*destination);
    return FilePaths::standardized(paneFolderURL);
}

std::optional<Operation> fileTransferOperation(bool isInternal, qsizetype transferableCount, AllowedOperations allowed,
                                               Modifiers modifiers)
{
    if (transferableCount == 0) return std::nullopt;
    if (!allowed.copy && !allowed.link && !allowed.move) return std::nullopt;
    if (modifiers.control && modifiers.shift) {
        if (isInternal || allowed.link) return Operation::link;
        return std::nullopt;
    }
    if (!isInternal) {
        if (allowed.copy) return Operation::copy;
        return std::nullopt;
    }
    if (modifiers.control && allowed.copy) return Operation::copy;
    if (allowed.move) return Operation::move;
    if (allowed.copy) return Operation::copy;
    return std::nullopt;
}

} // namespace FileDropPolicy
