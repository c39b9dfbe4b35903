#include "Models/FolderScrollMemory.h"

#include "PathKit/FilePaths.h"

#include <algorithm>

void FolderScrollMemory::remember(double offset, const QString& url, const QString& displayedURL)
{
    const QString path = FilePaths::standardized(url);
    offsetsByFolder.insert(path, std::max(offset, 0.0));
    if (path == FilePaths::standardized(displayedURL)) restorationRequests.insert(path);
}

double FolderScrollMemory::consumeRestorationOffset(const QString& url)
{
    const QString path = FilePaths::standardized(url);
    if (!restorationRequests.remove(path)) return 0;
    return offsetsByFolder.value(path, 0);
}
