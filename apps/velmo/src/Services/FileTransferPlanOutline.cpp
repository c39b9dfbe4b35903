#include "Services/FileTransferPlanOutline.h"

#include "PathKit/FilePaths.h"

#include <algorithm>

FileTransferPlanOutline::FileTransferPlanOutline(const FileTransferPlan& plan, std::vector<struct stat> folders)
    : sourceURL(plan.sourceURL)
    , destinationURL(plan.destinationURL)
    , folders(std::move(folders))
{
    isDirectory.reserve(plan.entries.size());
    for (size_t index = 0; index < plan.entries.size(); ++index) {
        const FileTransferEntry& entry = plan.entries[index];
        isDirectory.push_back(entry.isDirectory);
        if (index == 0) continue;
        relativePaths.append(FilePaths::toNative(entry.sourceURL.mid(plan.sourceURL.size() + 1)));
        relativePaths.append('\0');
    }
}

FileTransferPlan FileTransferPlanOutline::reversed() const
{
    FileTransferPlan plan{destinationURL, sourceURL, {}};
    plan.entries.reserve(isDirectory.size());
    const char* relative = relativePaths.constData();
    for (size_t index = 0; index < isDirectory.size(); ++index) {
        if (index == 0) {
            plan.entries.push_back({destinationURL, sourceURL, isDirectory[0]});
            continue;
        }
        const QString path = FilePaths::fromNative(QByteArray(relative));
        relative += qstrlen(relative) + 1;
        plan.entries.push_back({FilePaths::appending(destinationURL, path), FilePaths::appending(sourceURL, path),
                                isDirectory[index]});
    }
    return plan;
}

std::vector<std::pair<QString, struct stat>> FileTransferPlanOutline::originalFolders() const
{
    std::vector<std::pair<QString, struct stat>> result;
    const FileTransferPlan back = reversed();
    size_t folder = 0;
    for (const FileTransferEntry& entry : back.entries)
        if (entry.isDirectory && folder < folders.size()) result.emplace_back(entry.destinationURL, folders[folder++]);
    std::reverse(result.begin(), result.end());
    return result;
}
