#pragma once

#include <cstddef>
#include <string_view>

// The byte scans behind content search, sixteen bytes at a time where the processor
// offers it. Content is read raw: most text is ASCII, and only where it isn't does the
// search need to decode and fold.
namespace ByteSearch {

constexpr std::size_t npos = std::string_view::npos;

// Where `lowerNeedle` (lower-case ASCII, not empty) first occurs in `haystack` with ASCII
// letters compared without case, or npos.
std::size_t findCaseless(std::string_view haystack, std::string_view lowerNeedle);
// The first byte at or after `from` that is not ASCII, or the size.
std::size_t nextNonAscii(std::string_view bytes, std::size_t from);
// The same for a byte that is not ASCII or is NUL.
std::size_t nextNonAsciiOrNul(std::string_view bytes, std::size_t from);

} // namespace ByteSearch
