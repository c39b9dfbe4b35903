#pragma once

#include <QColor>
#include <QPointF>
#include <QRectF>
#include <QString>
#include <QVariant>

#include <functional>
#include <optional>
#include <vector>

// Annotations over an image. Every coordinate is normalised to the image rectangle
// (0..1 from its origin), and a line width is a fraction of the rectangle's smaller
// side, so an annotation keeps its place and relative size at any zoom and in the
// full-resolution output.

enum class MarkupTool { rectangle, ellipse, blur, arrow, pen, text };
enum class MarkupArrowheadStyle { none, end, both };

QString title(MarkupTool tool);
QString title(MarkupArrowheadStyle style);

struct MarkupShape {
    enum class Kind { rectangle, ellipse, blur, arrow, curvedArrow, pen, text };
    Kind kind = Kind::rectangle;
    QRectF rect;                  // rectangle, ellipse, blur
    QPointF start, end;           // arrow, curvedArrow
    std::vector<QPointF> anchors; // curvedArrow: the points between start and end
    std::vector<QPointF> points;  // pen
    QPointF origin;               // text
    QString text;
    double fontSize = 0;          // text, normalised

    static MarkupShape rectShape(Kind kind, const QRectF& rect);
    static MarkupShape arrow(QPointF start, QPointF end, std::vector<QPointF> anchors = {});
    static MarkupShape pen(std::vector<QPointF> points);
    static MarkupShape textShape(QPointF origin, QString text, double fontSize);

    bool isRect() const { return kind == Kind::rectangle || kind == Kind::ellipse || kind == Kind::blur; }
    bool isArrow() const { return kind == Kind::arrow || kind == Kind::curvedArrow; }
    // Start, anchors, end for arrows; empty otherwise.
    std::vector<QPointF> arrowPathPoints() const;
    // Ends of an arrow, an empty list of anchors gives a straight arrow.
    MarkupShape withEndpoints(QPointF newStart, QPointF newEnd) const;
    MarkupShape withArrowAnchors(std::vector<QPointF> newAnchors) const;
    // Index 0 is the start, the last index the end, others an anchor.
    MarkupShape withArrowAnchor(QPointF point, std::size_t index) const;
    bool operator==(const MarkupShape&) const = default;
};

struct MarkupAnnotation {
    MarkupShape shape;
    QColor strokeColor = QColor(255, 59, 48);
    QColor fillColor = Qt::transparent;
    double normalizedLineWidth = 0.005;
    double arrowHeadScale = 5;      // head length as a multiple of the line width
    double arrowHeadWidthScale = 1; // multiplies the head's half angle
    MarkupArrowheadStyle arrowheadStyle = MarkupArrowheadStyle::end;

    QRectF normalizedBounds() const;
    // The text's size as a share of the image, measured at a large size; at least 0.01.
    static QSizeF normalizedTextSize(const QString& text, double normalizedFontSize);
    bool operator==(const MarkupAnnotation&) const = default;
};

enum class MarkupHandle { topLeft, topRight, bottomLeft, bottomRight };
QPointF point(MarkupHandle handle, const QRectF& rect);
// The first handle whose corner lies within `hitRadius` (a square) of the point.
std::optional<MarkupHandle> handleAt(QPointF point, const QRectF& rect, double hitRadius);

namespace MarkupGeometry {
QPointF normalizedPoint(QPointF point, const QRectF& in);
QRectF normalizedRect(const QRectF& rect, const QRectF& in);
QPointF denormalizedPoint(QPointF point, const QRectF& in);
QRectF denormalizedRect(const QRectF& rect, const QRectF& in);
QPointF clampPoint(QPointF point, const QRectF& to);
QRectF rect(QPointF a, QPointF b);
double clamp(double value, double minimum, double maximum);
// Wider or taller to `minimum`, pushed back inside `bounds`.
QRectF expandedToMinimumSize(const QRectF& rect, double minimum, const QRectF& bounds);
// The Bezier controls of the segment points[i] -> points[i + 1] of a Catmull-Rom curve.
std::pair<QPointF, QPointF> arrowCubicControlPoints(const std::vector<QPointF>& points, std::size_t i);
std::vector<QPointF> sampledArrowPathPoints(const std::vector<QPointF>& points, int samplesPerSegment = 24);
double distanceFromPointToSegment(QPointF point, QPointF start, QPointF end);
double distanceFromPointToPath(QPointF point, const std::vector<QPointF>& path);
// Where a new anchor goes: the index in the arrow's path points to insert before.
std::size_t insertionIndexOnArrowPath(QPointF point, const std::vector<QPointF>& points);
} // namespace MarkupGeometry

struct MarkupToolDefaults {
    MarkupTool tool = MarkupTool::rectangle;
    QColor strokeColor = QColor(255, 59, 48);
    QColor fillColor = Qt::transparent;
    double textFontSize = 24;
    double arrowLineWidth = 4.5;
    double arrowHeadScale = 5;
    double arrowHeadWidthScale = 1;
    MarkupArrowheadStyle arrowheadStyle = MarkupArrowheadStyle::end;
    bool operator==(const MarkupToolDefaults&) const = default;
};

// Where the tool defaults are kept: the host's settings, or memory in tests.
struct MarkupKeyValueStore {
    std::function<std::optional<QVariant>(const QString&)> value;
    std::function<void(const QString&, const QVariant&)> setValue;
    std::function<void(const QString&)> remove;
    static MarkupKeyValueStore inMemory();
};

// Keys "<prefix>.tool" ...; a missing or unreadable value takes its default on its own.
class MarkupToolDefaultsStore {
public:
    explicit MarkupToolDefaultsStore(MarkupKeyValueStore store, QString keyPrefix = QStringLiteral("markup.defaults"));
    MarkupToolDefaults load() const;
    void save(const MarkupToolDefaults& defaults);
    void reset();
    // "r,g,b,a" in sRGB, each "%.6f"; anything but four numbers is the fallback.
    static QString colorText(const QColor& color);
    static QColor color(const QString& text, const QColor& fallback);

private:
    QString key(const char* name) const;
    MarkupKeyValueStore store_;
    QString prefix_;
};
