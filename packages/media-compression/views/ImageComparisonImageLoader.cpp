#include "MediaCompressionViews/ImageComparisonImageLoader.h"

#include <QBuffer>
#include <QFile>
#include <QImageReader>

#include <memory>
#include <mutex>

namespace {

std::mutex decoderMutex;
std::shared_ptr<const ImageComparisonImageLoader::FallbackDecoder> fallbackDecoder;

std::shared_ptr<const ImageComparisonImageLoader::FallbackDecoder> currentFallbackDecoder()
{
    const std::lock_guard lock(decoderMutex);
    return fallbackDecoder;
}

QImage fittedInto(QImage image, int maxPixel)
{
    if (image.isNull() || maxPixel <= 0 || std::max(image.width(), image.height()) <= maxPixel)
        return image;
    return image.scaled(maxPixel, maxPixel, Qt::KeepAspectRatio, Qt::SmoothTransformation);
}

QImage readWithQt(QIODevice* device, int maxPixel)
{
    QImageReader reader(device);
    reader.setAutoTransform(true);
    const QSize size = reader.size();
    // Decoders that can scale while decoding (JPEG) skip most of the work for a preview.
    if (maxPixel > 0 && size.isValid() && std::max(size.width(), size.height()) > maxPixel)
        reader.setScaledSize(size.scaled(maxPixel, maxPixel, Qt::KeepAspectRatio).expandedTo(QSize(1, 1)));
    return reader.read();
}

QImage readWithFallback(const QByteArray& data, int maxPixel)
{
    const auto decoder = currentFallbackDecoder();
    if (!decoder || !*decoder || data.isEmpty())
        return {};
    return fittedInto((*decoder)(data, maxPixel), maxPixel);
}

} // namespace

QImage ImageComparisonImageLoader::imageAt(const QString& path, int maxPixel)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    if (QImage image = fittedInto(readWithQt(&file, maxPixel), maxPixel); !image.isNull())
        return image;
    if (!file.seek(0))
        return {};
    return readWithFallback(file.readAll(), maxPixel);
}

QImage ImageComparisonImageLoader::imageFrom(const QByteArray& data, int maxPixel)
{
    QBuffer buffer;
    buffer.setData(data);
    if (!buffer.open(QIODevice::ReadOnly))
        return {};
    if (QImage image = fittedInto(readWithQt(&buffer, maxPixel), maxPixel); !image.isNull())
        return image;
    return readWithFallback(data, maxPixel);
}

void ImageComparisonImageLoader::setFallbackDecoder(FallbackDecoder decoder)
{
    auto installed = decoder ? std::make_shared<const FallbackDecoder>(std::move(decoder)) : nullptr;
    const std::lock_guard lock(decoderMutex);
    fallbackDecoder = std::move(installed);
}
