#include "FileTypeNames.h"

#include "PathKit/FilePaths.h"

#include <QMimeDatabase>

namespace {

// Without a dot after the first byte a name has no extension ("Makefile", ".profile").
std::string_view extensionOf(std::string_view name)
{
    const std::size_t dot = name.rfind('.');
    return dot == std::string_view::npos || dot == 0 ? std::string_view() : name.substr(dot);
}

QMimeType typeForName(std::string_view name)
{
    return QMimeDatabase().mimeTypeForFile(FilePaths::fromNative(name.data(), qsizetype(name.size())),
                                           QMimeDatabase::MatchExtension);
}

// Dot-less names are cached whole; they are few, but without a bound a walk of a
// strange tree could fill memory with them.
constexpr std::size_t kMaximumCachedKinds = 4096;

} // namespace

void FileTypeNames::prepare()
{
    typeForName("x.txt").comment();
}

FileTypeNames::Content FileTypeNames::contentByName(std::string_view name)
{
    const std::string_view extension = extensionOf(name);
    if (extension.empty()) return Content::unknown;
    const std::string key(extension);
    if (auto found = contentByExtension_.find(key); found != contentByExtension_.end()) return found->second;
    const QMimeType type = typeForName(name);
    Content content = Content::other;
    if (type.isDefault()) content = Content::unknown;
    else if (type.inherits(QStringLiteral("text/plain")) || type.inherits(QStringLiteral("application/json"))
             || type.inherits(QStringLiteral("application/xml")))
        content = Content::text;
    contentByExtension_.emplace(key, content);
    return content;
}

QString FileTypeNames::kindByName(std::string_view name)
{
    const std::string_view extension = extensionOf(name);
    const std::string key(extension.empty() ? name : extension);
    if (auto found = kindByKey_.find(key); found != kindByKey_.end()) return found->second;
    if (kindByKey_.size() >= kMaximumCachedKinds) kindByKey_.clear();
    return kindByKey_.emplace(key, typeForName(name).comment()).first->second;
}
