#pragma once

#include <QString>
#include <QUuid>

#include <cstdint>

namespace SizeMapDetail {

// The upper-case "XXXXXXXX-XXXX-..." form that segment ids and colours are derived from.
inline QString uuidText(const QUuid& id)
{
    return id.toString(QUuid::WithoutBraces).toUpper();
}

// 64-bit FNV-1a of the text's UTF-8 bytes, folded to [0, 1) in steps of 1/10,000.
inline double unitOfBytes(const QByteArray& bytes)
{
    std::uint64_t hash = 0xcbf29ce484222325ULL;
    for (char byte : bytes) {
        hash ^= static_cast<unsigned char>(byte);
        hash *= 0x100000001b3ULL;
    }
    return double(hash % 10000) / 10000.0;
}

// What an empty text hashes to, so that it is not simply 0.
inline constexpr double emptyTextUnit = 0.6037;

} // namespace SizeMapDetail
