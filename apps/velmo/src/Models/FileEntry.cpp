#include "Models/FileEntry.h"

std::optional<QString> FileEntry::dropDestinationDirectoryURL() const
{
    if (resolvedURL && (isAlias || isSymbolicLink) && resolvedIsDirectory && !resolvedIsPackage) return resolvedURL;
    if (isDirectory && !isPackage) return url;
    return std::nullopt;
}

std::optional<QString> FileEntry::folderTarget() const
{
    if (isDirectory && !isPackage) return url;
    if (resolvedURL && resolvedIsDirectory && !resolvedIsPackage) return resolvedURL;
    return std::nullopt;
}

std::optional<QString> FileEntry::sizeMapURL() const
{
    if (isDirectory && !isPackage) return url;
    if (resolvedURL && (isAlias || isSymbolicLink) && resolvedIsDirectory && !resolvedIsPackage) return resolvedURL;
    return std::nullopt;
}
