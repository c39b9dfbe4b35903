#pragma once

#include <QString>

#include <string>
#include <string_view>

class TextFolder;

// The query, folded once (TextFolding.h), and the tests of a name and of a file's
// bytes against it. An empty query matches nothing. The matcher is shared by the
// walking threads; each brings its own folder and scratch space.
class QueryMatcher {
public:
    explicit QueryMatcher(const QString& query);

    bool isEmpty() const { return folded_.empty(); }

    // Whether `bytes` begin with a UTF-16 byte-order mark, either way round.
    static bool startsWithUtf16Mark(std::string_view bytes);

    // `name` is raw bytes. ASCII names, nearly all of them, are only lower-cased.
    bool nameMatches(std::string_view name, TextFolder& folder, std::string& scratch) const;

    // `bytes` is a whole file. UTF-8 text is searched raw for an ASCII query, and only
    // the stretches around characters that are not ASCII are decoded and folded: a match
    // that no raw compare finds must involve one of them, and holds at most as many
    // ASCII bytes on either side as the query is long. Text with a UTF-16 byte-order mark
    // is decoded whole. Content that is neither valid UTF-8 without NUL bytes nor UTF-16
    // never matches.
    bool contentMatches(std::string_view bytes, TextFolder& folder, std::string& scratch) const;

private:
    bool utf8Matches(std::string_view bytes, TextFolder& folder, std::string& scratch) const;
    bool utf16Matches(std::string_view bytes, bool bigEndian, TextFolder& folder, std::string& scratch) const;

    std::string folded_;
    bool isAscii_ = true;
};
