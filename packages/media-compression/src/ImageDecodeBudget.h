#pragma once

#include <QtGlobal>

// The most decoded pixel memory one image may take: 512 MiB, 128 megapixels at 4 bytes,
// so a 108-megapixel phone photograph still opens at full size. The queue runs two images
// at once, and an encoder needs about as much again, so a batch stays near 2 GiB at worst.
// Without this, a small compressed file that declares 30,000 x 30,000 pixels would ask
// for 3.6 GB; such an image fails with a decode error instead, unless its format can be
// decoded at a reduced size (JPEG) and a reduced size was asked for.
namespace ImageDecodeBudget {
inline constexpr qint64 maxBytes = qint64(512) * 1024 * 1024;
inline constexpr qint64 maxPixels = maxBytes / 4;
// Encoded files larger than this are not read into memory (AVIF is decoded from memory).
inline constexpr qint64 maxEncodedFileBytes = qint64(256) * 1024 * 1024;
} // namespace ImageDecodeBudget
