#include "MarkupKit/MarkupRendering.h"

#include <QPainter>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <mutex>
#include <numbers>

namespace {

using namespace MarkupGeometry;

double lengthOf(QPointF v) { return std::hypot(v.x(), v.y()); }

QColor withAlpha(QColor color, double alpha)
{
    if (alpha < 1) color.setAlphaF(float(color.alphaF() * alpha));
    return color;
}

QFont textFont(double pixelSize)
{
    QFont font;
    font.setPixelSize(std::max(1, int(std::lround(pixelSize))));
    font.setWeight(QFont::Medium);
    return font;
}

} // namespace

void MarkupAnnotationRenderer::draw(QPainter& painter, const MarkupAnnotation& a, const QRectF& rect,
                                    const QImage* source, double strokeAlpha)
{
    const double side = std::min(rect.width(), rect.height());
    const double lineWidth = side > 1 ? std::max(1.0, side * a.normalizedLineWidth) : a.normalizedLineWidth;
    const QColor stroke = withAlpha(a.strokeColor, strokeAlpha);
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    switch (a.shape.kind) {
    case MarkupShape::Kind::rectangle:
    case MarkupShape::Kind::ellipse: {
        QPainterPath path;
        const QRectF r = denormalizedRect(a.shape.rect, rect);
        if (a.shape.kind == MarkupShape::Kind::rectangle) path.addRect(r);
        else path.addEllipse(r);
        if (a.fillColor.alphaF() > 0.001) painter.fillPath(path, a.fillColor);
        painter.strokePath(path, QPen(stroke, lineWidth, Qt::SolidLine, Qt::SquareCap, Qt::MiterJoin));
        break;
    }
    case MarkupShape::Kind::blur:
        if (source) MarkupBlurRenderer::drawBlurredRegion(painter, *source, a.shape.rect, rect);
        break;
    case MarkupShape::Kind::arrow:
    case MarkupShape::Kind::curvedArrow: {
        std::vector<QPointF> anchors;
        for (QPointF p : a.shape.anchors) anchors.push_back(denormalizedPoint(p, rect));
        MarkupArrowRenderer::draw(painter, denormalizedPoint(a.shape.start, rect), denormalizedPoint(a.shape.end, rect),
                                  anchors, lineWidth, a.arrowHeadScale, a.arrowHeadWidthScale, a.arrowheadStyle, stroke,
                                  false);
        break;
    }
    case MarkupShape::Kind::pen: {
        if (a.shape.points.empty()) break;
        QPainterPath path(denormalizedPoint(a.shape.points[0], rect));
        for (std::size_t i = 1; i < a.shape.points.size(); ++i) path.lineTo(denormalizedPoint(a.shape.points[i], rect));
        painter.strokePath(path, QPen(stroke, lineWidth, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        break;
    }
    case MarkupShape::Kind::text: {
        if (a.shape.text.isEmpty()) break;
        painter.setFont(textFont(a.shape.fontSize * side));
        painter.setPen(stroke);
        const QPointF origin = denormalizedPoint(a.shape.origin, rect);
        const QRectF measured = painter.fontMetrics().boundingRect(QRect(0, 0, 1 << 24, 1 << 24),
                                                                    Qt::AlignLeft | Qt::AlignTop, a.shape.text);
        painter.drawText(QRectF(origin, measured.size()), Qt::AlignLeft | Qt::AlignTop, a.shape.text);
        break;
    }
    }
    painter.restore();
}

// ---- arrows

namespace {

using MarkupArrowRenderer::CubicSegment;

QPointF at(const CubicSegment& s, double t)
{
    const double u = 1 - t;
    return u * u * u * s.start + 3 * u * u * t * s.control1 + 3 * u * t * t * s.control2 + t * t * t * s.end;
}

std::vector<double> chordLengths(const CubicSegment& s)
{
    std::vector<double> chords;
    QPointF previous = s.start;
    for (int i = 1; i <= 48; ++i) {
        const QPointF p = at(s, i / 48.0);
        chords.push_back(lengthOf(p - previous));
        previous = p;
    }
    return chords;
}

double approximateLength(const CubicSegment& s)
{
    double total = 0;
    for (double c : chordLengths(s)) total += c;
    return total;
}

// The segment's two halves at t, by de Casteljau.
std::pair<CubicSegment, CubicSegment> split(const CubicSegment& s, double t)
{
    const QPointF a = s.start + (s.control1 - s.start) * t, b = s.control1 + (s.control2 - s.control1) * t,
                  c = s.control2 + (s.end - s.control2) * t;
    const QPointF d = a + (b - a) * t, e = b + (c - b) * t;
    const QPointF f = d + (e - d) * t;
    return {{s.start, a, d, f}, {f, e, c, s.end}};
}

// The segment and parameter at an arc length from the start.
std::pair<std::size_t, double> trimPosition(const std::vector<CubicSegment>& segments, double distance)
{
    double walked = 0;
    for (std::size_t i = 0; i < segments.size(); ++i) {
        const auto chords = chordLengths(segments[i]);
        for (std::size_t k = 0; k < chords.size(); ++k) {
            if (walked + chords[k] >= distance) {
                const double within = chords[k] > 0 ? (distance - walked) / chords[k] : 0;
                return {i, (double(k) + within) / 48.0};
            }
            walked += chords[k];
        }
    }
    return {segments.size() - 1, 1.0};
}

QPointF pointAlongShaft(const std::vector<QPointF>& points, double arcLength, bool fromEnd)
{
    std::vector<QPointF> walk = points;
    if (fromEnd) std::reverse(walk.begin(), walk.end());
    double left = arcLength;
    for (std::size_t i = 0; i + 1 < walk.size(); ++i) {
        const double piece = lengthOf(walk[i + 1] - walk[i]);
        if (piece >= left && piece > 0) return walk[i] + (walk[i + 1] - walk[i]) * (left / piece);
        left -= piece;
    }
    return walk.back();
}

struct Head {
    QPointF tip, left, right;
    bool degenerate() const
    {
        const QPointF u = left - tip, v = right - tip;
        return std::abs(u.x() * v.y() - u.y() * v.x()) < 0.0001;
    }
};

Head headAt(QPointF tip, double angle, double headLength, double halfAngle)
{
    const double halfWidth = headLength * std::tan(halfAngle);
    const QPointF direction(std::cos(angle), std::sin(angle));
    const QPointF base = tip - headLength * direction;
    const QPointF normal(-direction.y(), direction.x());
    return {tip, base + halfWidth * normal, base - halfWidth * normal};
}

// The same winding for every head, so two heads in one path both fill.
QPolygonF triangle(const Head& head)
{
    QPointF left = head.left, right = head.right;
    const QPointF u = left - head.tip, v = right - head.tip;
    if (u.x() * v.y() - u.y() * v.x() < 0) std::swap(left, right);
    return QPolygonF({head.tip, left, right});
}

} // namespace

std::vector<CubicSegment> MarkupArrowRenderer::cubicSegments(const std::vector<QPointF>& points)
{
    std::vector<CubicSegment> segments;
    for (std::size_t i = 0; i + 1 < points.size(); ++i) {
        const auto [c1, c2] = arrowCubicControlPoints(points, i);
        segments.push_back({points[i], c1, c2, points[i + 1]});
    }
    return segments;
}

std::vector<CubicSegment> MarkupArrowRenderer::trim(const std::vector<CubicSegment>& segments, double fromStart,
                                                    double fromEnd)
{
    if (segments.empty()) return {};
    double total = 0;
    for (const auto& s : segments) total += approximateLength(s);
    if (fromStart + fromEnd >= total) return {};
    std::vector<CubicSegment> out = segments;
    if (fromEnd > 0) {
        const auto [index, t] = trimPosition(out, total - fromEnd);
        out.resize(index + 1);
        out.back() = split(out.back(), t).first;
    }
    if (fromStart > 0) {
        const auto [index, t] = trimPosition(out, fromStart);
        out.erase(out.begin(), out.begin() + long(index));
        out.front() = split(out.front(), t).second;
    }
    return out;
}

std::optional<double> MarkupArrowRenderer::headAngle(bool atEnd, const std::vector<QPointF>& points, double headLength)
{
    if (points.size() < 2) return std::nullopt;
    const auto segments = cubicSegments(points);
    const QPointF tangent = atEnd ? segments.back().end - segments.back().control2
                                  : segments.front().start - segments.front().control1;
    if (lengthOf(tangent) <= 0.0001) return std::nullopt;
    const double tangentAngle = std::atan2(tangent.y(), tangent.x());
    if (points.size() == 2 || headLength <= 0.5) return tangentAngle;
    const auto sampled = sampledArrowPathPoints(points);
    const QPointF tip = atEnd ? points.back() : points.front();
    const QPointF along = pointAlongShaft(sampled, headLength, atEnd);
    const QPointF chord = tip - along;
    if (lengthOf(chord) <= 0.5) return tangentAngle;
    const double chordAngle = std::atan2(chord.y(), chord.x());
    const double difference = std::atan2(std::sin(chordAngle - tangentAngle), std::cos(chordAngle - tangentAngle));
    return std::abs(difference) <= 1.3089969389957472 ? chordAngle : tangentAngle;
}

void MarkupArrowRenderer::draw(QPainter& painter, QPointF from, QPointF to, const std::vector<QPointF>& anchors,
                               double lineWidth, double headScale, double headWidthScale,
                               MarkupArrowheadStyle headStyle, const QColor& color, bool dashed)
{
    QPen pen(color, lineWidth, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
    if (dashed) pen.setDashPattern({8 / std::max(lineWidth, 1.0), 4 / std::max(lineWidth, 1.0)});
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    const double length = lengthOf(to - from);
    if (length <= 0.0001) {
        painter.setPen(pen);
        painter.drawLine(from, to);
        painter.restore();
        return;
    }
    std::vector<QPointF> points {from};
    points.insert(points.end(), anchors.begin(), anchors.end());
    points.push_back(to);
    const double headLength = std::min(length * 0.6, lineWidth * headScale);
    const auto angleAt = [&](bool atEnd) {
        if (auto angle = headAngle(atEnd, points, headLength)) return *angle;
        const QPointF chord = atEnd ? to - from : from - to;
        return std::atan2(chord.y(), chord.x());
    };
    const double halfAngle = std::max(0.12, std::min(headWidthScale * 0.4487989505128276, 1.0471975511965976));
    std::vector<Head> heads;
    double trimStart = 0, trimEnd = 0;
    if (headStyle != MarkupArrowheadStyle::none) {
        const Head end = headAt(to, angleAt(true), headLength, halfAngle);
        if (!end.degenerate()) {
            heads.push_back(end);
            trimEnd = headLength;
        }
    }
    if (headStyle == MarkupArrowheadStyle::both) {
        const Head start = headAt(from, angleAt(false), headLength, halfAngle);
        if (!start.degenerate()) {
            heads.push_back(start);
            trimStart = headLength;
        }
    }
    const auto shaft = trim(cubicSegments(points), trimStart, trimEnd);
    if (!shaft.empty()) {
        QPainterPath path(shaft.front().start);
        for (const auto& s : shaft) path.cubicTo(s.control1, s.control2, s.end);
        painter.strokePath(path, pen);
    }
    if (!heads.empty()) {
        // The shaft ends where a head begins, so a translucent colour does not
        // show the two on top of each other (but for the round cap's half width).
        QPainterPath fill;
        for (const Head& head : heads) {
            fill.addPolygon(triangle(head));
            fill.closeSubpath();
        }
        painter.fillPath(fill, color);
    }
    painter.restore();
}

// ---- blur

int MarkupBlurRenderer::radius(QSize size)
{
    const double oneHundredth = std::min(size.width(), size.height()) * 0.01;
    return int(std::lround(std::max(8.0, std::min(oneHundredth, 32.0))));
}

namespace {

// A box blur of width 2r + 1 along rows (or columns), edges extended.
void boxPass(std::vector<std::uint32_t>& pixels, int width, int height, int r, bool alongRows)
{
    const int length = alongRows ? width : height, lines = alongRows ? height : width;
    const int window = 2 * r + 1;
    std::vector<std::uint32_t> line(static_cast<std::size_t>(length));
    for (int l = 0; l < lines; ++l) {
        auto index = [&](int i) { return alongRows ? std::size_t(l) * width + i : std::size_t(i) * width + l; };
        for (int i = 0; i < length; ++i) line[std::size_t(i)] = pixels[index(i)];
        auto get = [&](int i) { return line[std::size_t(std::clamp(i, 0, length - 1))]; };
        std::uint32_t sum[4] = {0, 0, 0, 0};
        for (int i = -r; i <= r; ++i) {
            const std::uint32_t p = get(i);
            for (int c = 0; c < 4; ++c) sum[c] += (p >> (8 * c)) & 0xff;
        }
        for (int i = 0; i < length; ++i) {
            std::uint32_t out = 0;
            for (int c = 0; c < 4; ++c) out |= ((sum[c] + std::uint32_t(window / 2)) / std::uint32_t(window)) << (8 * c);
            pixels[index(i)] = out;
            const std::uint32_t in = get(i + r + 1), gone = get(i - r);
            for (int c = 0; c < 4; ++c) sum[c] += ((in >> (8 * c)) & 0xff) - ((gone >> (8 * c)) & 0xff);
        }
    }
}

} // namespace

QImage MarkupBlurRenderer::gaussianBlur(const QImage& image, int radius)
{
    QImage work = image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    const int width = work.width(), height = work.height();
    if (width == 0 || height == 0 || radius <= 0) return work;
    std::vector<std::uint32_t> pixels(std::size_t(width) * height);
    for (int y = 0; y < height; ++y)
        std::copy_n(reinterpret_cast<const std::uint32_t*>(work.constScanLine(y)), width, pixels.data() + std::size_t(y) * width);
    // Three boxes whose widths add up to a Gaussian of deviation `radius`.
    const double sigma = radius;
    const int ideal = int(std::floor(std::sqrt(12 * sigma * sigma / 3 + 1)));
    const int lower = ideal % 2 == 0 ? ideal - 1 : ideal, upper = lower + 2;
    const int lowerCount = int(std::lround((12 * sigma * sigma - 3.0 * lower * lower - 12.0 * lower - 9) / (-4.0 * lower - 4)));
    for (int pass = 0; pass < 3; ++pass) {
        const int boxRadius = ((pass < lowerCount ? lower : upper) - 1) / 2;
        boxPass(pixels, width, height, boxRadius, true);
        boxPass(pixels, width, height, boxRadius, false);
    }
    for (int y = 0; y < height; ++y)
        std::copy_n(pixels.data() + std::size_t(y) * width, width, reinterpret_cast<std::uint32_t*>(work.scanLine(y)));
    return work;
}

QImage MarkupBlurRenderer::blurredRegion(const QImage& image, const QRectF& normalizedRect)
{
    const QRect bounds = image.rect();
    const QRect region = denormalizedRect(normalizedRect, QRectF(bounds)).toAlignedRect() & bounds;
    if (region.width() <= 1 || region.height() <= 1) return {};
    const int r = radius(image.size());
    const QRect padded = region.adjusted(-2 * r, -2 * r, 2 * r, 2 * r) & bounds;
    const QImage blurred = gaussianBlur(image.copy(padded), r);
    return blurred.copy(region.translated(-padded.topLeft()));
}

namespace {

// The canvas redraws every blur on every frame of a drag: each region is blurred at a
// radius of two pixels on a copy shrunk to match (it looks the same at screen size), and the
// last few are kept for as long as the picture and the rectangle stay the same.
QImage quickBlurredRegion(const QImage& image, const QRect& region)
{
    const int r = MarkupBlurRenderer::radius(image.size());
    const QRect padded = region.adjusted(-2 * r, -2 * r, 2 * r, 2 * r) & image.rect();
    const int shrink = std::max(1, r / 2);
    const QSize small(std::max(1, padded.width() / shrink), std::max(1, padded.height() / shrink));
    const QImage blurred = MarkupBlurRenderer::gaussianBlur(
        image.copy(padded).scaled(small, Qt::IgnoreAspectRatio, Qt::SmoothTransformation), std::max(1, r / shrink));
    return blurred.scaled(padded.size(), Qt::IgnoreAspectRatio, Qt::SmoothTransformation)
        .copy(region.translated(-padded.topLeft()));
}

struct CachedBlur {
    qint64 imageKey;
    QRect region;
    QImage blurred;
};

} // namespace

void MarkupBlurRenderer::drawBlurredRegion(QPainter& painter, const QImage& image, const QRectF& normalizedRect,
                                           const QRectF& rect)
{
    if (normalizedRect.width() <= 0 || normalizedRect.height() <= 0 || image.isNull()) return;
    const QRect region = denormalizedRect(normalizedRect, QRectF(image.rect())).toAlignedRect() & image.rect();
    if (region.width() <= 1 || region.height() <= 1) return;
    static std::mutex lock;
    static std::vector<CachedBlur> cache;
    QImage blurred;
    {
        const std::lock_guard guard(lock);
        for (const CachedBlur& entry : cache)
            if (entry.imageKey == image.cacheKey() && entry.region == region) blurred = entry.blurred;
    }
    if (blurred.isNull()) {
        blurred = quickBlurredRegion(image, region);
        const std::lock_guard guard(lock);
        if (cache.size() >= 16) cache.erase(cache.begin());
        cache.push_back({image.cacheKey(), region, blurred});
    }
    // Drawn at the pixels it came from, so nothing around it shows through.
    const QRectF target(rect.x() + region.x() * rect.width() / image.width(),
                        rect.y() + region.y() * rect.height() / image.height(),
                        region.width() * rect.width() / image.width(), region.height() * rect.height() / image.height());
    painter.drawImage(target, blurred);
}

QImage MarkupFlattener::flatten(const std::vector<MarkupAnnotation>& annotations, const QImage& source)
{
    if (source.isNull()) return {};
    QImage out(source.size(), QImage::Format_ARGB32_Premultiplied);
    if (out.isNull()) return {};
    out.setDevicePixelRatio(1);
    out.fill(Qt::transparent);
    QPainter painter(&out);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawImage(QRect(QPoint(0, 0), source.size()), source);
    const QRectF whole(QPointF(0, 0), QSizeF(source.size()));
    for (const MarkupAnnotation& annotation : annotations) {
        // A blur samples the picture as drawn so far.
        if (annotation.shape.kind == MarkupShape::Kind::blur) {
            const QImage region = MarkupBlurRenderer::blurredRegion(out, annotation.shape.rect);
            if (!region.isNull()) {
                const QRect pixels = denormalizedRect(annotation.shape.rect, whole).toAlignedRect() & out.rect();
                painter.drawImage(pixels.topLeft(), region);
            }
            continue;
        }
        MarkupAnnotationRenderer::draw(painter, annotation, whole, nullptr);
    }
    painter.end();
    return out;
}
