#include "FileSearch/FileNameSearchError.h"
#include "FileSearch/FileSearchPhase.h"
#include "FileSearch/FileSearchResult.h"
#include "FileSearch/FileSearchTarget.h"

#include "PathKit/FilePaths.h"

namespace FileSearchTargets {

QString rawValue(FileSearchTarget target)
{
    switch (target) {
    case FileSearchTarget::name: return QStringLiteral("name");
    case FileSearchTarget::content: return QStringLiteral("content");
    case FileSearchTarget::nameAndContent: return QStringLiteral("nameAndContent");
    }
    return {};
}

std::optional<FileSearchTarget> fromRawValue(QStringView text)
{
    for (auto target : {FileSearchTarget::name, FileSearchTarget::content, FileSearchTarget::nameAndContent})
        if (text == rawValue(target)) return target;
    return std::nullopt;
}

QString label(FileSearchTarget target)
{
    switch (target) {
    case FileSearchTarget::name: return QStringLiteral("Name");
    case FileSearchTarget::content: return QStringLiteral("Content");
    case FileSearchTarget::nameAndContent: return QStringLiteral("Name + Content");
    }
    return {};
}

} // namespace FileSearchTargets

QString FileSearchPhases::rawValue(FileSearchPhase phase)
{
    return phase == FileSearchPhase::indexed ? QStringLiteral("indexed") : QStringLiteral("recursive");
}

FileSearchResult FileSearchResult::make(const QString& standardPath, bool isDirectory, std::optional<QString> kind)
{
    return {standardPath, standardPath, FilePaths::lastComponent(standardPath), FilePaths::parent(standardPath),
            isDirectory, std::move(kind)};
}

QString FileNameSearchError::errorDescription() const
{
    if (kind == Kind::indexedSearchFailed) return QStringLiteral("Cannot search the file index for %1.").arg(url);
    return QStringLiteral("Cannot search %1.").arg(url);
}
