#include "ByteSearch.h"

#include "TextFolding.h"

#include <cstdint>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace {

bool isLowerLetter(unsigned char c)
{
    return c >= 'a' && c <= 'z';
}

bool equalsCaseless(const unsigned char* text, const unsigned char* lowerNeedle, std::size_t length)
{
    for (std::size_t i = 0; i < length; ++i)
        if (asciiLower(text[i]) != lowerNeedle[i]) return false;
    return true;
}

} // namespace

namespace ByteSearch {

std::size_t findCaseless(std::string_view haystack, std::string_view lowerNeedle)
{
    const auto* h = reinterpret_cast<const unsigned char*>(haystack.data());
    const auto* needle = reinterpret_cast<const unsigned char*>(lowerNeedle.data());
    const std::size_t size = haystack.size();
    const std::size_t length = lowerNeedle.size();
    if (length == 0 || length > size) return npos;
    const unsigned char first = needle[0], last = needle[length - 1];
    // Setting bit 0x20 turns an upper-case letter into its lower case and leaves the
    // lower case alone, so for a letter one compare finds both cases and nothing else.
    const unsigned char firstCase = isLowerLetter(first) ? 0x20 : 0;
    const unsigned char lastCase = isLowerLetter(last) ? 0x20 : 0;
    std::size_t i = 0;
#ifdef __SSE2__
    // Candidates are the places where both the first and the last byte match; only
    // those are compared in full.
    const __m128i firstBytes = _mm_set1_epi8(char(first)), lastBytes = _mm_set1_epi8(char(last));
    const __m128i firstCases = _mm_set1_epi8(char(firstCase)), lastCases = _mm_set1_epi8(char(lastCase));
    for (; i + length - 1 + 16 <= size; i += 16) {
        const __m128i starts = _mm_or_si128(_mm_loadu_si128(reinterpret_cast<const __m128i*>(h + i)), firstCases);
        const __m128i ends
            = _mm_or_si128(_mm_loadu_si128(reinterpret_cast<const __m128i*>(h + i + length - 1)), lastCases);
        unsigned mask = unsigned(
            _mm_movemask_epi8(_mm_and_si128(_mm_cmpeq_epi8(starts, firstBytes), _mm_cmpeq_epi8(ends, lastBytes))));
        while (mask != 0) {
            const std::size_t at = i + std::size_t(__builtin_ctz(mask));
            if (length <= 2 || equalsCaseless(h + at + 1, needle + 1, length - 2)) return at;
            mask &= mask - 1;
        }
    }
#endif
    for (; i + length <= size; ++i)
        if ((h[i] | firstCase) == first && equalsCaseless(h + i, needle, length)) return i;
    return npos;
}

std::size_t nextNonAscii(std::string_view bytes, std::size_t from)
{
    const auto* s = reinterpret_cast<const unsigned char*>(bytes.data());
    const std::size_t size = bytes.size();
    std::size_t i = from;
#ifdef __SSE2__
    for (; i + 16 <= size; i += 16) {
        const int mask = _mm_movemask_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(s + i)));
        if (mask != 0) return i + std::size_t(__builtin_ctz(unsigned(mask)));
    }
#endif
    for (; i < size; ++i)
        if (s[i] >= 0x80) return i;
    return size;
}

std::size_t nextNonAsciiOrNul(std::string_view bytes, std::size_t from)
{
    const auto* s = reinterpret_cast<const unsigned char*>(bytes.data());
    const std::size_t size = bytes.size();
    std::size_t i = from;
#ifdef __SSE2__
    const __m128i zero = _mm_setzero_si128();
    for (; i + 16 <= size; i += 16) {
        const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + i));
        const int mask = _mm_movemask_epi8(block) | _mm_movemask_epi8(_mm_cmpeq_epi8(block, zero));
        if (mask != 0) return i + std::size_t(__builtin_ctz(unsigned(mask)));
    }
#endif
    for (; i < size; ++i)
        if (s[i] >= 0x80 || s[i] == 0) return i;
    return size;
}

} // namespace ByteSearch
