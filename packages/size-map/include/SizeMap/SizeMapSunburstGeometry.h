#pragma once

#include "SizeMap/SizeMapSunburstSegment.h"

#include <QColor>
#include <QList>
#include <QPainterPath>
#include <QRectF>

// Where the segments go in a view: radii from the view's size and the outermost ring,
// the drawn shape of a segment, and which segment lies under a point. A value, cheap to
// make for every paint and safe to use on any thread.
class SizeMapSunburstGeometry {
public:
    // `area` is the chart's square of the view (its centre is the chart's centre);
    // `segments` only decides how many rings the radius is shared by.
    SizeMapSunburstGeometry(const QRectF& area, const QList<SizeMapSunburstSegment>& segments);

    QPointF center() const { return center_; }
    double canvasSide() const { return side_; }
    double outerRadius() const { return outerRadius_; }
    double innerRadius() const { return innerRadius_; }
    double ringWidth() const { return ringWidth_; }
    double centerButtonSide() const { return innerRadius_ * 1.86; }

    // A segment as drawn: radii with the hairline gap between rings, degrees clockwise
    // from twelve o'clock with the angular inset applied.
    struct Arc {
        double innerRadius = 0;
        double outerRadius = 0;
        double startDegrees = 0;
        double endDegrees = 0;
        bool operator==(const Arc&) const = default;
    };
    Arc arc(const SizeMapSunburstSegment& segment) const;
    // The closed shape to fill: outer arc forward, inner arc back.
    QPainterPath path(const SizeMapSunburstSegment& segment) const;

    // Clicks go to drawn nodes only; hovering also finds the aggregate and shadows.
    enum class HitPurpose { click, hover };
    // Index of the segment under `viewPoint`; later (outer) segments win.
    std::optional<qsizetype> hitTest(const QList<SizeMapSunburstSegment>& segments, QPointF viewPoint,
                                     HitPurpose purpose) const;

    // Fill opacity for a segment's kind; `highlighted` when hovered or selected.
    static double fillOpacity(SizeMapSunburstSegment::Kind kind, bool highlighted);

    // Strokes: a dark hairline round every segment, a white outline on the active one.
    struct Stroke {
        QColor color;
        double width = 0;
    };
    static Stroke hairlineStroke();
    static Stroke selectionStroke();
    static Stroke hoverStroke();

private:
    QPointF center_;
    double side_ = 0;
    double outerRadius_ = 0;
    double innerRadius_ = 0;
    double ringWidth_ = 0;
};
