#include "Models/RenameWordStop.h"

#include "PathKit/FilePaths.h"

#include <algorithm>

namespace RenameWordStop {

std::optional<int> stemEnd(const QString& text, const FileEntry& entry, const VelmoViewOptions& options)
{
    if (!options.stopOptionArrowBeforeFileExtension || !options.alwaysShowFileExtensions || entry.isDirectory)
        return std::nullopt;
    const qsizetype extension = FilePaths::extension(text).size();
    const qsizetype end = text.size() - extension - 1;
    if (extension == 0 || end < 1) return std::nullopt;
    return int(end);
}

std::optional<Selection> spacedSeparator(const QString& text, int position)
{
    int at = std::clamp(position, 0, int(text.size()));
    auto walk = [&](auto matches) {
        const int from = at;
        while (at > 0 && !text[at - 1].isSurrogate() && matches(text[at - 1])) --at;
        return at < from;
    };
    const auto space = [](QChar c) { return c.isSpace(); };
    const auto dash = [](QChar c) { return c == u'-' || c == QChar(0x2013) || c == QChar(0x2014); };
    if (walk(space) && walk(dash) && walk(space)) return Selection {at, std::clamp(position, 0, int(text.size()))};
    return std::nullopt;
}

std::optional<Selection> adjusted(Move move, Selection selection, Selection standard, const QString& text,
                                  const FileEntry& entry, const VelmoViewOptions& options)
{
    const auto stop = stemEnd(text, entry, options);
    if (!stop) return std::nullopt;
    const int length = int(text.size());
    const int s = std::clamp(std::min(selection.start, selection.end), 0, length);
    const int e = std::clamp(std::max(selection.start, selection.end), 0, length);
    const Selection caret {*stop, *stop};
    switch (move) {
    case Move::right:
        if (s < *stop && standard.end >= *stop) return caret;
        break;
    case Move::rightExtending:
        if (spacedSeparator(text, e) == Selection {s, e}) return Selection {e, e};
        if (s < *stop && e < *stop && standard.end > *stop) return Selection {s, *stop};
        break;
    case Move::left:
        if (*stop < e && standard.start <= *stop) return caret;
        break;
    case Move::leftExtending:
        if (s == e && standard.end == e)
            if (auto separator = spacedSeparator(text, s); separator && standard.start <= separator->start)
                return separator;
        break;
    }
    return std::nullopt;
}

} // namespace RenameWordStop
