#include "ImagePixelation.h"

#include <QColorSpace>

#include <algorithm>

std::expected<QImage, ImageProcessorError> pixelatedForExtremeLowQuality(const QImage& image, int quality)
{
    const int q = std::clamp(quality, 1, 10);
    const double factor = double(q - 1) / 9.0 * 0.22 + 0.04;
    const int smallWidth = std::max(1, static_cast<int>(image.width() * factor));
    const int smallHeight = std::max(1, static_cast<int>(image.height() * factor));

    // 8-bit premultiplied, keeping the image's colour space (sRGB when it has none).
    QImage source = image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    if (source.isNull()) return std::unexpected(ImageProcessorError::failedToCreateContext());
    if (!source.colorSpace().isValid()) source.setColorSpace(QColorSpace::SRgb);

    const QImage small = source.scaled(smallWidth, smallHeight, Qt::IgnoreAspectRatio, Qt::FastTransformation);
    if (small.isNull()) return std::unexpected(ImageProcessorError::failedToCreateContext());
    QImage blocks = small.scaled(image.width(), image.height(), Qt::IgnoreAspectRatio, Qt::FastTransformation);
    if (blocks.isNull()) return std::unexpected(ImageProcessorError::failedToDecodeImage());
    return blocks;
}
