#include "QueryMatcher.h"

#include "ByteSearch.h"
#include "TextFolding.h"

#include <algorithm>

namespace {

std::size_t endOfNonAscii(std::string_view bytes, std::size_t from)
{
    while (from < bytes.size() && static_cast<unsigned char>(bytes[from]) >= 0x80) ++from;
    return from;
}

} // namespace

QueryMatcher::QueryMatcher(const QString& query)
{
    TextFolder folder;
    const QByteArray utf8 = query.toUtf8();
    folder.foldUtf8(std::string_view(utf8.constData(), std::size_t(utf8.size())), folded_);
    isAscii_ = std::all_of(folded_.begin(), folded_.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

bool QueryMatcher::nameMatches(std::string_view name, TextFolder& folder, std::string& scratch) const
{
    if (folded_.empty()) return false;
    scratch.resize(name.size());
    unsigned char seen = 0;
    for (std::size_t i = 0; i < name.size(); ++i) {
        const auto c = static_cast<unsigned char>(name[i]);
        seen |= c;
        scratch[i] = char(asciiLower(c));
    }
    if ((seen & 0x80) == 0) return isAscii_ && scratch.find(folded_) != std::string::npos;
    scratch.clear();
    folder.foldUtf8(name, scratch);
    return scratch.find(folded_) != std::string::npos;
}

bool QueryMatcher::startsWithUtf16Mark(std::string_view bytes)
{
    if (bytes.size() < 2) return false;
    const auto b0 = static_cast<unsigned char>(bytes[0]), b1 = static_cast<unsigned char>(bytes[1]);
    return (b0 == 0xFF && b1 == 0xFE) || (b0 == 0xFE && b1 == 0xFF);
}

bool QueryMatcher::contentMatches(std::string_view bytes, TextFolder& folder, std::string& scratch) const
{
    if (folded_.empty()) return false;
    if (startsWithUtf16Mark(bytes))
        return utf16Matches(bytes.substr(2), static_cast<unsigned char>(bytes[0]) == 0xFE, folder, scratch);
    return utf8Matches(bytes, folder, scratch);
}

bool QueryMatcher::utf8Matches(std::string_view bytes, TextFolder& folder, std::string& scratch) const
{
    if (isAscii_ && ByteSearch::findCaseless(bytes, folded_) != ByteSearch::npos) return Utf8::isCleanText(bytes);
    const std::size_t reach = folded_.size();
    const std::size_t size = bytes.size();
    for (std::size_t next = ByteSearch::nextNonAscii(bytes, 0); next < size;) {
        const std::size_t start = next;
        std::size_t end = endOfNonAscii(bytes, start);
        // Stretches closer than the query's length can belong to one match.
        for (next = ByteSearch::nextNonAscii(bytes, end); next < size && next - end <= reach;
             next = ByteSearch::nextNonAscii(bytes, end))
            end = endOfNonAscii(bytes, next);
        const std::size_t from = start > reach ? start - reach : 0;
        const std::size_t to = std::min(size, end + reach);
        scratch.clear();
        folder.foldUtf8(bytes.substr(from, to - from), scratch);
        if (scratch.find(folded_) != std::string::npos) return Utf8::isCleanText(bytes);
    }
    return false;
}

bool QueryMatcher::utf16Matches(std::string_view bytes, bool bigEndian, TextFolder& folder, std::string& scratch) const
{
    if (bytes.size() % 2 != 0) return false;
    std::u16string units(bytes.size() / 2, u'\0');
    const auto* s = reinterpret_cast<const unsigned char*>(bytes.data());
    for (std::size_t i = 0; i < units.size(); ++i)
        units[i] = bigEndian ? char16_t(s[2 * i] << 8 | s[2 * i + 1]) : char16_t(s[2 * i + 1] << 8 | s[2 * i]);
    scratch.clear();
    folder.foldUtf16(units, scratch);
    return scratch.find(folded_) != std::string::npos;
}
