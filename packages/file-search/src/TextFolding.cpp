#include "TextFolding.h"

#include "ByteSearch.h"

#include <unicode/uchar.h>
#include <unicode/unorm2.h>
#include <unicode/ustring.h>
#include <unicode/utf16.h>

namespace {

bool isContinuation(unsigned char c)
{
    return (c & 0xC0) == 0x80;
}

bool isMark(UChar32 code)
{
    return (U_GET_GC_MASK(code) & U_GC_M_MASK) != 0;
}

} // namespace

namespace Utf8 {

int sequenceLength(const unsigned char* s, std::size_t left, char32_t& code)
{
    const unsigned char c = s[0];
    if (c < 0x80) {
        code = c;
        return 1;
    }
    if (c >= 0xC2 && c <= 0xDF && left >= 2 && isContinuation(s[1])) {
        code = char32_t((c & 0x1F) << 6 | (s[1] & 0x3F));
        return 2;
    }
    if (c >= 0xE0 && c <= 0xEF && left >= 3 && isContinuation(s[1]) && isContinuation(s[2])) {
        code = char32_t((c & 0x0F) << 12 | (s[1] & 0x3F) << 6 | (s[2] & 0x3F));
        return code < 0x800 || (code >= 0xD800 && code <= 0xDFFF) ? 0 : 3;
    }
    if (c >= 0xF0 && c <= 0xF4 && left >= 4 && isContinuation(s[1]) && isContinuation(s[2]) && isContinuation(s[3])) {
        code = char32_t((c & 0x07) << 18 | (s[1] & 0x3F) << 12 | (s[2] & 0x3F) << 6 | (s[3] & 0x3F));
        return code < 0x10000 || code > 0x10FFFF ? 0 : 4;
    }
    return 0;
}

void append(char32_t code, std::string& out)
{
    if (code < 0x80) {
        out += char(code);
    } else if (code < 0x800) {
        out += char(0xC0 | code >> 6);
        out += char(0x80 | (code & 0x3F));
    } else if (code < 0x10000) {
        out += char(0xE0 | code >> 12);
        out += char(0x80 | (code >> 6 & 0x3F));
        out += char(0x80 | (code & 0x3F));
    } else {
        out += char(0xF0 | code >> 18);
        out += char(0x80 | (code >> 12 & 0x3F));
        out += char(0x80 | (code >> 6 & 0x3F));
        out += char(0x80 | (code & 0x3F));
    }
}

bool isCleanText(std::string_view bytes)
{
    const auto* s = reinterpret_cast<const unsigned char*>(bytes.data());
    const std::size_t n = bytes.size();
    std::size_t i = 0;
    while (i < n) {
        i = ByteSearch::nextNonAsciiOrNul(bytes, i);
        if (i >= n) return true;
        char32_t code = 0;
        const int length = s[i] == 0 ? 0 : sequenceLength(s + i, n - i, code);
        if (length == 0) return false;
        i += std::size_t(length);
    }
    return true;
}

} // namespace Utf8

void TextFolder::foldUtf8(std::string_view text, std::string& out)
{
    const auto* s = reinterpret_cast<const unsigned char*>(text.data());
    const std::size_t n = text.size();
    out.reserve(out.size() + n);
    for (std::size_t i = 0; i < n;) {
        if (s[i] < 0x80) {
            out += char(asciiLower(s[i++]));
            continue;
        }
        char32_t code = 0;
        const int length = Utf8::sequenceLength(s + i, n - i, code);
        if (length == 0) {
            out += kInvalidByte;
            ++i;
            continue;
        }
        out += foldCodePoint(code);
        i += std::size_t(length);
    }
}

void TextFolder::foldUtf16(std::u16string_view text, std::string& out)
{
    out.reserve(out.size() + text.size());
    for (std::size_t i = 0; i < text.size();) {
        const char16_t unit = text[i];
        if (unit < 0x80) {
            out += char(asciiLower(static_cast<unsigned char>(unit)));
            ++i;
            continue;
        }
        UChar32 code = 0;
        U16_NEXT(text.data(), i, text.size(), code);
        if (U_IS_SURROGATE(code)) out += kInvalidByte; // a lone half of a pair
        else out += foldCodePoint(char32_t(code));
    }
}

const std::string& TextFolder::foldCodePoint(char32_t code)
{
    auto found = cache_.find(code);
    if (found != cache_.end()) return found->second;

    std::string folded;
    UErrorCode status = U_ZERO_ERROR;
    const UNormalizer2* nfkd = unorm2_getNFKDInstance(&status);
    UChar single[2];
    int32_t singleLength = 0;
    U16_APPEND_UNSAFE(single, singleLength, UChar32(code));
    // The longest compatibility decomposition is 18 units; full case folding at most
    // triples it, and decomposing the folded text again (it can hold precomposed
    // letters) stays well inside these buffers.
    UChar decomposed[64], caseFolded[192], result[576];
    const int32_t decomposedLength = unorm2_normalize(nfkd, single, singleLength, decomposed, 64, &status);
    const int32_t caseFoldedLength
        = u_strFoldCase(caseFolded, 192, decomposed, decomposedLength, U_FOLD_CASE_DEFAULT, &status);
    const int32_t resultLength = unorm2_normalize(nfkd, caseFolded, caseFoldedLength, result, 576, &status);
    if (U_FAILURE(status)) {
        Utf8::append(code, folded);
    } else {
        for (int32_t i = 0; i < resultLength;) {
            UChar32 part = 0;
            U16_NEXT(result, i, resultLength, part);
            if (!isMark(part)) Utf8::append(char32_t(part), folded);
        }
    }
    return cache_.emplace(code, std::move(folded)).first->second;
}
