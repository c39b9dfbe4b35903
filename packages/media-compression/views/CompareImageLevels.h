#pragma once

#include <QImage>
#include <QRectF>

#include <vector>

// One image prepared for fast drawing: level 0 in a 32-bit format the raster painter blits
// without conversion, each further level half the size of the one before (2 x 2 box average),
// down to about the size of a small view. Built on a worker thread, then read-only.
class CompareImageLevels {
public:
    CompareImageLevels() = default;
    // Prepares `image` in full. Costs one conversion and a third more memory; call off the
    // main thread for large images.
    [[nodiscard]] static CompareImageLevels build(const QImage& image);
    // The raw image as it is, until the built levels arrive: correct, only slower to draw.
    [[nodiscard]] static CompareImageLevels unprepared(const QImage& image);

    [[nodiscard]] bool isNull() const { return m_levels.empty(); }
    [[nodiscard]] QSize size() const { return m_levels.empty() ? QSize() : m_levels.front().size(); }
    [[nodiscard]] int levelCount() const { return int(m_levels.size()); }
    [[nodiscard]] bool isOpaque() const { return !m_levels.empty() && !m_levels.front().hasAlphaChannel(); }

    // The smallest level that still has at least `scale` of the full size's pixels per pixel,
    // and the source rectangle (given in full-size pixels) converted into it.
    struct Source {
        const QImage* image = nullptr;
        QRectF rect;
    };
    [[nodiscard]] Source sourceFor(double scale, const QRectF& fullSizeRect) const;

private:
    std::vector<QImage> m_levels;
};
