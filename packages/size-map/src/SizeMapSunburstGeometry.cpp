#include "SizeMap/SizeMapSunburstGeometry.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace {

using Kind = SizeMapSunburstSegment::Kind;

// The hairline of background left between neighbouring rings; shadows sit closer.
double radialGap(Kind kind)
{
    return kind == Kind::terminalShadow ? 0.15 : 0.28;
}

} // namespace

SizeMapSunburstGeometry::SizeMapSunburstGeometry(const QRectF& area, const QList<SizeMapSunburstSegment>& segments)
    : center_(area.center())
{
    side_ = std::max(std::min(area.width() * 0.86, area.height() * 0.83), 360.0);
    outerRadius_ = std::max(side_ / 2 - 18, 96.0);
    innerRadius_ = std::max((side_ / 2 - 18) * 0.18, 54.0);
    double outermost = 1;
    for (const auto& segment : segments) outermost = std::max(outermost, segment.radialEnd);
    ringWidth_ = std::max((outerRadius_ - innerRadius_) / outermost, 13.0);
}

SizeMapSunburstGeometry::Arc SizeMapSunburstGeometry::arc(const SizeMapSunburstSegment& segment) const
{
    const double gap = radialGap(segment.kind);
    const double inset =
        std::max(std::min(segment.angularInsetDegrees, (segment.endDegrees - segment.startDegrees) * 0.42), 0.0);
    return {.innerRadius = std::max(segment.radialStart * ringWidth_ + innerRadius_ + gap, innerRadius_),
            .outerRadius = segment.radialEnd * ringWidth_ + innerRadius_ - gap,
            .startDegrees = segment.startDegrees + inset,
            .endDegrees = segment.endDegrees - inset};
}

QPainterPath SizeMapSunburstGeometry::path(const SizeMapSunburstSegment& segment) const
{
    // Degrees clockwise from twelve o'clock become Qt's, which run counter-clockwise from
    // three o'clock on the screen.
    const Arc a = arc(segment);
    const auto square = [this](double radius) {
        return QRectF(center_.x() - radius, center_.y() - radius, 2 * radius, 2 * radius);
    };
    const double qtStart = 90 - a.startDegrees;
    const double sweep = a.endDegrees - a.startDegrees;
    QPainterPath shape;
    shape.arcMoveTo(square(a.outerRadius), qtStart);
    shape.arcTo(square(a.outerRadius), qtStart, -sweep);
    shape.arcTo(square(a.innerRadius), qtStart - sweep, sweep);
    shape.closeSubpath();
    return shape;
}

std::optional<qsizetype> SizeMapSunburstGeometry::hitTest(const QList<SizeMapSunburstSegment>& segments,
                                                          QPointF viewPoint, HitPurpose purpose) const
{
    const double dx = viewPoint.x() - center_.x();
    const double dy = viewPoint.y() - center_.y();
    const double distance = std::hypot(dx, dy);
    double angle = std::fmod(std::atan2(dy, dx) * 180 / std::numbers::pi + 90, 360.0);
    if (angle < 0) angle += 360;
    for (qsizetype i = segments.size() - 1; i >= 0; --i) {
        const auto& segment = segments[i];
        if (purpose == HitPurpose::click && !segment.backingNodeID) continue;
        if (distance < std::max(segment.radialStart * ringWidth_ + innerRadius_, innerRadius_)) continue;
        if (distance >= segment.radialEnd * ringWidth_ + innerRadius_) continue;
        const bool inArc = segment.endDegrees <= 360
            ? angle >= segment.startDegrees && angle <= segment.endDegrees
            : angle >= segment.startDegrees || angle <= segment.endDegrees - 360;
        if (inArc) return i;
    }
    return std::nullopt;
}

double SizeMapSunburstGeometry::fillOpacity(Kind kind, bool highlighted)
{
    switch (kind) {
    case Kind::focusedLeaf: return highlighted ? 0.78 : 0.7;
    case Kind::terminalShadow: return 0.7;
    case Kind::node:
    case Kind::terminalCap:
    case Kind::aggregatedOther: break;
    }
    return highlighted ? 1 : 0.96;
}

SizeMapSunburstGeometry::Stroke SizeMapSunburstGeometry::hairlineStroke()
{
    return {QColor::fromRgbF(0.11f, 0.13f, 0.16f, 0.46f), 0.36};
}

SizeMapSunburstGeometry::Stroke SizeMapSunburstGeometry::selectionStroke()
{
    return {QColor::fromRgbF(1, 1, 1, 0.62f), 1.05};
}

SizeMapSunburstGeometry::Stroke SizeMapSunburstGeometry::hoverStroke()
{
    return {QColor::fromRgbF(1, 1, 1, 0.4f), 0.72};
}
