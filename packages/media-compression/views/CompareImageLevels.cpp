#include "CompareImageLevels.h"

#include <algorithm>
#include <cstdint>

namespace {

constexpr int smallestLevelSide = 256;

QImage::Format paintFormat(const QImage& image)
{
    return image.hasAlphaChannel() ? QImage::Format_ARGB32_Premultiplied : QImage::Format_RGB32;
}

// Averages each 2 x 2 block of a premultiplied 32-bit image; an odd last row or column is dropped,
// which shifts the level by at most half a source pixel.
QImage halved(const QImage& source)
{
    const int width = source.width() / 2;
    const int height = source.height() / 2;
    QImage result(width, height, source.format());
    if (result.isNull())
        return result;
    for (int y = 0; y < height; ++y) {
        const auto* upper = reinterpret_cast<const std::uint32_t*>(source.constScanLine(2 * y));
        const auto* lower = reinterpret_cast<const std::uint32_t*>(source.constScanLine(2 * y + 1));
        auto* out = reinterpret_cast<std::uint32_t*>(result.scanLine(y));
        for (int x = 0; x < width; ++x) {
            const std::uint32_t a = upper[2 * x], b = upper[2 * x + 1], c = lower[2 * x], d = lower[2 * x + 1];
            // Two channels at a time: each sum of four 8-bit values fits in the 16 bits between them.
            const std::uint32_t evenSum = (a & 0x00ff00ffU) + (b & 0x00ff00ffU) + (c & 0x00ff00ffU)
                                          + (d & 0x00ff00ffU) + 0x00020002U;
            const std::uint32_t oddSum = ((a >> 8) & 0x00ff00ffU) + ((b >> 8) & 0x00ff00ffU)
                                         + ((c >> 8) & 0x00ff00ffU) + ((d >> 8) & 0x00ff00ffU) + 0x00020002U;
            out[x] = ((evenSum >> 2) & 0x00ff00ffU) | (((oddSum >> 2) & 0x00ff00ffU) << 8);
        }
    }
    return result;
}

} // namespace

CompareImageLevels CompareImageLevels::build(const QImage& image)
{
    CompareImageLevels levels;
    if (image.isNull())
        return levels;
    QImage level = image.convertToFormat(paintFormat(image));
    if (level.isNull())
        return levels;
    levels.m_levels.push_back(level);
    while (std::min(level.width(), level.height()) >= 2
           && std::max(level.width(), level.height()) / 2 >= smallestLevelSide) {
        level = halved(level);
        if (level.isNull())
            break;
        levels.m_levels.push_back(level);
    }
    return levels;
}

CompareImageLevels CompareImageLevels::unprepared(const QImage& image)
{
    CompareImageLevels levels;
    if (!image.isNull())
        levels.m_levels.push_back(image);
    return levels;
}

CompareImageLevels::Source CompareImageLevels::sourceFor(double scale, const QRectF& fullSizeRect) const
{
    if (m_levels.empty())
        return {};
    const double fullWidth = m_levels.front().width();
    std::size_t chosen = 0;
    for (std::size_t index = 1; index < m_levels.size(); ++index) {
        if (m_levels[index].width() / fullWidth < scale)
            break;
        chosen = index;
    }
    const QImage& level = m_levels[chosen];
    const double factorX = level.width() / fullWidth;
    const double factorY = level.height() / double(m_levels.front().height());
    const QRectF rect(fullSizeRect.x() * factorX, fullSizeRect.y() * factorY,
                      fullSizeRect.width() * factorX, fullSizeRect.height() * factorY);
    return {&level, rect.intersected(QRectF(QPointF(0, 0), QSizeF(level.size())))};
}
