#pragma once

#include <QString>
#include <QStringView>

#include <optional>

// What a search compares the query with. Stored by its raw text ("name", "content",
// "nameAndContent").
enum class FileSearchTarget { name, content, nameAndContent };

namespace FileSearchTargets {

QString rawValue(FileSearchTarget target);
std::optional<FileSearchTarget> fromRawValue(QStringView text);
// The label of the target's control: "Name", "Content", "Name + Content".
QString label(FileSearchTarget target);

inline bool includesName(FileSearchTarget target)
{
    return target == FileSearchTarget::name || target == FileSearchTarget::nameAndContent;
}
inline bool includesContent(FileSearchTarget target)
{
    return target == FileSearchTarget::content || target == FileSearchTarget::nameAndContent;
}

} // namespace FileSearchTargets
