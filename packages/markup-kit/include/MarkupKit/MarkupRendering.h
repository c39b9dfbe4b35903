#pragma once

#include "MarkupKit/MarkupModel.h"

#include <QImage>
#include <QPainterPath>

class QPainter;

// One drawing code for the live canvas and the full-resolution output: only the
// target rectangle differs.
namespace MarkupAnnotationRenderer {
// Draws `annotation` over the image shown in `rect`. A blur samples `source`, the
// image as drawn so far in the coordinates of `rect` (nothing is drawn without one).
void draw(QPainter& painter, const MarkupAnnotation& annotation, const QRectF& rect, const QImage* source,
          double strokeAlpha = 1);
} // namespace MarkupAnnotationRenderer

namespace MarkupArrowRenderer {
struct CubicSegment {
    QPointF start, control1, control2, end;
};
void draw(QPainter& painter, QPointF from, QPointF to, const std::vector<QPointF>& anchors, double lineWidth,
          double headScale, double headWidthScale, MarkupArrowheadStyle headStyle, const QColor& color, bool dashed);
// The direction a head points in at the end (or start) of the path; none for a path
// too short to have one.
std::optional<double> headAngle(bool atEnd, const std::vector<QPointF>& points, double headLength);
std::vector<CubicSegment> cubicSegments(const std::vector<QPointF>& points);
std::vector<CubicSegment> trim(const std::vector<CubicSegment>& segments, double fromStart, double fromEnd);
} // namespace MarkupArrowRenderer

namespace MarkupBlurRenderer {
// The blur radius for an image: 1% of its smaller side, within 8..32 pixels.
int radius(QSize imageSize);
// The region of `image` (normalised rect) blurred; null when it is under 2 pixels.
QImage blurredRegion(const QImage& image, const QRectF& normalizedRect);
// Gaussian blur of `image` (ARGB32 premultiplied), three box passes each way.
QImage gaussianBlur(const QImage& image, int radius);
// For the canvas: `image` is the picture as shown in `rect`; a quicker blur of the same
// look, kept while the picture and the region stay the same.
void drawBlurredRegion(QPainter& painter, const QImage& image, const QRectF& normalizedRect, const QRectF& rect);
} // namespace MarkupBlurRenderer

namespace MarkupFlattener {
// The source at its own pixel size with every annotation drawn on it in list order:
// a blur late in the list also blurs what was drawn before it. Null on failure.
QImage flatten(const std::vector<MarkupAnnotation>& annotations, const QImage& source);
} // namespace MarkupFlattener
