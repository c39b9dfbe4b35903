#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>

// Folds text so that a comparison ignores case, diacritics and width: each character is
// decomposed for compatibility (NFKD: full-width letters become ASCII, ligatures split),
// case-folded in full ("ß" becomes "ss"), and its combining marks dropped. Folded text
// is UTF-8; a byte that is not part of valid UTF-8 input becomes 0xFF, which no folded
// text holds otherwise, so it matches nothing and breaks no match apart from itself.
//
// ASCII folds to lower case without a lookup; other characters go through ICU once
// each and are cached. One folder per thread.
class TextFolder {
public:
    static constexpr char kInvalidByte = char(0xFF);

    void foldUtf8(std::string_view text, std::string& out);
    void foldUtf16(std::u16string_view text, std::string& out);
    std::string foldUtf8(std::string_view text)
    {
        std::string out;
        foldUtf8(text, out);
        return out;
    }

private:
    const std::string& foldCodePoint(char32_t code);

    std::unordered_map<char32_t, std::string> cache_;
};

namespace Utf8 {

// Length of the valid UTF-8 sequence at `s` (at most `left` bytes) with its code point,
// or 0 when it is not valid (overlong forms and encoded surrogates included).
int sequenceLength(const unsigned char* s, std::size_t left, char32_t& code);
void append(char32_t code, std::string& out);
// Valid UTF-8 without a NUL byte: what the search takes for text.
bool isCleanText(std::string_view bytes);

} // namespace Utf8

inline unsigned char asciiLower(unsigned char c)
{
    return c >= 'A' && c <= 'Z' ? c | 0x20 : c;
}
