#pragma once

#include <QByteArray>
#include <QImage>
#include <QString>

#include <functional>

// Decodes an image for the comparison view: scaled so that its longer side is at most maxPixel
// (0 or less: full size), with its orientation tag applied. Blocking: call it on a worker
// thread. Safe from several threads at once. A null QImage means nothing could be decoded.
class ImageComparisonImageLoader {
public:
    // Decodes bytes Qt's image plugins cannot read (AVIF here); returns a null QImage when it
    // cannot either. It may ignore maxPixel: the result is scaled down afterwards.
    using FallbackDecoder = std::function<QImage(const QByteArray& data, int maxPixel)>;

    [[nodiscard]] static QImage imageAt(const QString& path, int maxPixel);
    [[nodiscard]] static QImage imageFrom(const QByteArray& data, int maxPixel);

    // Installed once at start-up by whoever links the decoder; an empty function removes it.
    // Thread-safe, but a decode already running keeps the decoder it started with.
    static void setFallbackDecoder(FallbackDecoder decoder);
};
