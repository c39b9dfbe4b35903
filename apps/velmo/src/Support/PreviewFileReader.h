#pragma once

#include <QByteArray>
#include <QImage>
#include <QSize>
#include <QString>

#include <expected>

// Reads what a preview shows, on a worker thread. Only regular files are read (a
// FIFO or a device named .pdf is never opened for reading, so nothing waits on a
// writer), and only up to a limit, so a huge file fails clearly instead of filling
// memory.
namespace PreviewFileReader {

inline constexpr qint64 kMaximumBytes = qint64(1) << 30;

// Whether `path` is a regular file that can be opened, without reading it.
std::expected<void, QString> checkRegularFile(const QString& path);

std::expected<QByteArray, QString> readRegularFile(const QString& path, qint64 maximumBytes = kMaximumBytes);

// The image in `bytes`, decoded at most `maximumSide` pixels on its longer side and
// turned upright as its orientation says. A decoder that can shrink while decoding
// (JPEG) does so, so a 100-megapixel photograph never exists at full size here.
struct DecodedImage {
    QImage image;       // at most `maximumSide` on its longer side, turned upright
    QSize originalSize; // the picture's own size, upright
};
std::expected<DecodedImage, QString> decodeImage(const QByteArray& bytes, int maximumSide);

} // namespace PreviewFileReader
