#include "MarkupKit/MarkupModel.h"

#include <QFont>
#include <QFontMetricsF>
#include <QHash>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>

QString title(MarkupTool tool)
{
    switch (tool) {
    case MarkupTool::rectangle: return QStringLiteral("Rectangle");
    case MarkupTool::ellipse: return QStringLiteral("Ellipse");
    case MarkupTool::blur: return QStringLiteral("Blur / Redact");
    case MarkupTool::arrow: return QStringLiteral("Arrow");
    case MarkupTool::pen: return QStringLiteral("Pen");
    case MarkupTool::text: return QStringLiteral("Text");
    }
    return {};
}

QString title(MarkupArrowheadStyle style)
{
    switch (style) {
    case MarkupArrowheadStyle::none: return QStringLiteral("No arrowheads");
    case MarkupArrowheadStyle::end: return QStringLiteral("One arrowhead");
    case MarkupArrowheadStyle::both: return QStringLiteral("Two arrowheads");
    }
    return {};
}

MarkupShape MarkupShape::rectShape(Kind kind, const QRectF& rect)
{
    MarkupShape shape;
    shape.kind = kind;
    shape.rect = rect;
    return shape;
}

MarkupShape MarkupShape::arrow(QPointF start, QPointF end, std::vector<QPointF> anchors)
{
    MarkupShape shape;
    shape.kind = anchors.empty() ? Kind::arrow : Kind::curvedArrow;
    shape.start = start;
    shape.end = end;
    shape.anchors = std::move(anchors);
    return shape;
}

MarkupShape MarkupShape::pen(std::vector<QPointF> points)
{
    MarkupShape shape;
    shape.kind = Kind::pen;
    shape.points = std::move(points);
    return shape;
}

MarkupShape MarkupShape::textShape(QPointF origin, QString text, double fontSize)
{
    MarkupShape shape;
    shape.kind = Kind::text;
    shape.origin = origin;
    shape.text = std::move(text);
    shape.fontSize = fontSize;
    return shape;
}

std::vector<QPointF> MarkupShape::arrowPathPoints() const
{
    if (!isArrow()) return {};
    std::vector<QPointF> path {start};
    path.insert(path.end(), anchors.begin(), anchors.end());
    path.push_back(end);
    return path;
}

MarkupShape MarkupShape::withEndpoints(QPointF newStart, QPointF newEnd) const
{
    if (!isArrow()) return *this;
    MarkupShape copy = *this;
    copy.start = newStart;
    copy.end = newEnd;
    return copy;
}

MarkupShape MarkupShape::withArrowAnchors(std::vector<QPointF> newAnchors) const
{
    if (!isArrow()) return *this;
    return arrow(start, end, std::move(newAnchors));
}

MarkupShape MarkupShape::withArrowAnchor(QPointF point, std::size_t index) const
{
    if (!isArrow()) return *this;
    if (index == 0) return withEndpoints(point, end);
    if (index == anchors.size() + 1) return withEndpoints(start, point);
    if (index > anchors.size() + 1) return *this;
    MarkupShape copy = *this;
    copy.anchors[index - 1] = point;
    return copy;
}

namespace {

QRectF boundingBox(const std::vector<QPointF>& points)
{
    if (points.empty()) return {};
    double left = points[0].x(), right = left, top = points[0].y(), bottom = top;
    for (const QPointF& p : points) {
        left = std::min(left, p.x());
        right = std::max(right, p.x());
        top = std::min(top, p.y());
        bottom = std::max(bottom, p.y());
    }
    return QRectF(QPointF(left, top), QPointF(right, bottom));
}

} // namespace

QRectF MarkupAnnotation::normalizedBounds() const
{
    switch (shape.kind) {
    case MarkupShape::Kind::rectangle:
    case MarkupShape::Kind::ellipse:
    case MarkupShape::Kind::blur: return shape.rect;
    case MarkupShape::Kind::arrow:
    case MarkupShape::Kind::curvedArrow:
        return boundingBox(MarkupGeometry::sampledArrowPathPoints(shape.arrowPathPoints()));
    case MarkupShape::Kind::pen: return boundingBox(shape.points);
    case MarkupShape::Kind::text: return QRectF(shape.origin, normalizedTextSize(shape.text, shape.fontSize));
    }
    return {};
}

QSizeF MarkupAnnotation::normalizedTextSize(const QString& text, double normalizedFontSize)
{
    if (text.isEmpty() || normalizedFontSize <= 0) return {0.01, 0.01};
    QFont font;
    font.setPixelSize(std::max(1, int(std::lround(normalizedFontSize * 1000))));
    font.setWeight(QFont::Medium);
    const QSizeF size = QFontMetricsF(font).boundingRect(QRectF(0, 0, 1e9, 1e9), Qt::AlignLeft | Qt::AlignTop, text).size();
    return {std::max(0.01, size.width() / 1000), std::max(0.01, size.height() / 1000)};
}

QPointF point(MarkupHandle handle, const QRectF& rect)
{
    switch (handle) {
    case MarkupHandle::topLeft: return rect.topLeft();
    case MarkupHandle::topRight: return rect.topRight();
    case MarkupHandle::bottomLeft: return rect.bottomLeft();
    case MarkupHandle::bottomRight: return rect.bottomRight();
    }
    return {};
}

std::optional<MarkupHandle> handleAt(QPointF p, const QRectF& rect, double hitRadius)
{
    for (MarkupHandle handle : {MarkupHandle::topLeft, MarkupHandle::topRight, MarkupHandle::bottomLeft,
                                MarkupHandle::bottomRight}) {
        const QPointF corner = point(handle, rect);
        if (std::abs(p.x() - corner.x()) <= hitRadius && std::abs(p.y() - corner.y()) <= hitRadius) return handle;
    }
    return std::nullopt;
}

namespace MarkupGeometry {

double clamp(double value, double minimum, double maximum) { return std::min(std::max(value, minimum), maximum); }

QPointF normalizedPoint(QPointF p, const QRectF& in)
{
    if (in.width() <= 0 || in.height() <= 0) return {};
    return {clamp((p.x() - in.x()) / in.width(), 0, 1), clamp((p.y() - in.y()) / in.height(), 0, 1)};
}

QRectF normalizedRect(const QRectF& r, const QRectF& in)
{
    if (in.width() <= 0 || in.height() <= 0) return {};
    return {clamp((r.x() - in.x()) / in.width(), 0, 1), clamp((r.y() - in.y()) / in.height(), 0, 1),
            clamp(r.width() / in.width(), 0, 1), clamp(r.height() / in.height(), 0, 1)};
}

QPointF denormalizedPoint(QPointF p, const QRectF& in) { return {in.x() + p.x() * in.width(), in.y() + p.y() * in.height()}; }

QRectF denormalizedRect(const QRectF& r, const QRectF& in)
{
    return {in.x() + r.x() * in.width(), in.y() + r.y() * in.height(), r.width() * in.width(), r.height() * in.height()};
}

QPointF clampPoint(QPointF p, const QRectF& to)
{
    return {clamp(p.x(), to.left(), to.right()), clamp(p.y(), to.top(), to.bottom())};
}

QRectF rect(QPointF a, QPointF b) { return QRectF(a, b).normalized(); }

QRectF expandedToMinimumSize(const QRectF& r, double minimum, const QRectF& bounds)
{
    QRectF out = r;
    if (out.width() < minimum) {
        out.setWidth(minimum);
        if (out.right() > bounds.right()) out.moveRight(bounds.right());
    }
    if (out.height() < minimum) {
        out.setHeight(minimum);
        if (out.bottom() > bounds.bottom()) out.moveBottom(bounds.bottom());
    }
    if (out.x() < bounds.x()) out.moveLeft(bounds.x());
    if (out.y() < bounds.y()) out.moveTop(bounds.y());
    return out;
}

std::pair<QPointF, QPointF> arrowCubicControlPoints(const std::vector<QPointF>& points, std::size_t i)
{
    const QPointF previous = i == 0 ? points[0] : points[i - 1];
    const QPointF next = i + 2 < points.size() ? points[i + 2] : points[i + 1];
    return {points[i] + (points[i + 1] - previous) / 6.0, points[i + 1] - (next - points[i]) / 6.0};
}

std::vector<QPointF> sampledArrowPathPoints(const std::vector<QPointF>& points, int samplesPerSegment)
{
    if (points.size() < 3) return points;
    std::vector<QPointF> out {points[0]};
    for (std::size_t i = 0; i + 1 < points.size(); ++i) {
        const auto [c1, c2] = arrowCubicControlPoints(points, i);
        const QPointF p0 = points[i], p3 = points[i + 1];
        for (int s = 1; s <= samplesPerSegment; ++s) {
            const double t = double(s) / samplesPerSegment, u = 1 - t;
            out.push_back(u * u * u * p0 + 3 * u * u * t * c1 + 3 * u * t * t * c2 + t * t * t * p3);
        }
    }
    return out;
}

double distanceFromPointToSegment(QPointF p, QPointF start, QPointF end)
{
    const QPointF d = end - start;
    const double lengthSquared = QPointF::dotProduct(d, d);
    if (lengthSquared < 2.220446049250313e-16) return std::hypot(p.x() - start.x(), p.y() - start.y());
    const double t = clamp(QPointF::dotProduct(p - start, d) / lengthSquared, 0, 1);
    const QPointF nearest = start + t * d;
    return std::hypot(p.x() - nearest.x(), p.y() - nearest.y());
}

double distanceFromPointToPath(QPointF p, const std::vector<QPointF>& path)
{
    if (path.empty()) return std::numeric_limits<double>::infinity();
    if (path.size() == 1) return std::hypot(p.x() - path[0].x(), p.y() - path[0].y());
    double best = std::numeric_limits<double>::infinity();
    for (std::size_t i = 0; i + 1 < path.size(); ++i) best = std::min(best, distanceFromPointToSegment(p, path[i], path[i + 1]));
    return best;
}

std::size_t insertionIndexOnArrowPath(QPointF p, const std::vector<QPointF>& points)
{
    // The segment of the sampled path nearest the point tells which pair of path
    // points it lies between.
    std::size_t bestSegment = 0;
    double best = std::numeric_limits<double>::infinity();
    const auto sampled = sampledArrowPathPoints(points);
    for (std::size_t i = 0; i + 1 < points.size(); ++i) {
        const std::vector<QPointF> piece = points.size() < 3
            ? std::vector<QPointF> {points[i], points[i + 1]}
            : std::vector<QPointF>(sampled.begin() + long(i * 24), sampled.begin() + long((i + 1) * 24 + 1));
        const double distance = distanceFromPointToPath(p, piece);
        if (distance < best) {
            best = distance;
            bestSegment = i;
        }
    }
    return bestSegment + 1;
}

} // namespace MarkupGeometry

MarkupKeyValueStore MarkupKeyValueStore::inMemory()
{
    auto values = std::make_shared<QHash<QString, QVariant>>();
    return {[values](const QString& key) -> std::optional<QVariant> {
                if (!values->contains(key)) return std::nullopt;
                return values->value(key);
            },
            [values](const QString& key, const QVariant& value) { values->insert(key, value); },
            [values](const QString& key) { values->remove(key); }};
}

MarkupToolDefaultsStore::MarkupToolDefaultsStore(MarkupKeyValueStore store, QString keyPrefix)
    : store_(std::move(store))
    , prefix_(std::move(keyPrefix))
{
}

QString MarkupToolDefaultsStore::key(const char* name) const { return prefix_ + u'.' + QLatin1String(name); }

QString MarkupToolDefaultsStore::colorText(const QColor& color)
{
    const QColor rgb = color.toRgb();
    return QString::asprintf("%.6f,%.6f,%.6f,%.6f", rgb.redF(), rgb.greenF(), rgb.blueF(), rgb.alphaF());
}

QColor MarkupToolDefaultsStore::color(const QString& text, const QColor& fallback)
{
    const QStringList parts = text.split(u',');
    if (parts.size() != 4) return fallback;
    double values[4];
    for (int i = 0; i < 4; ++i) {
        bool ok = false;
        values[i] = MarkupGeometry::clamp(parts[i].trimmed().toDouble(&ok), 0, 1);
        if (!ok) return fallback;
    }
    return QColor::fromRgbF(float(values[0]), float(values[1]), float(values[2]), float(values[3]));
}

MarkupToolDefaults MarkupToolDefaultsStore::load() const
{
    MarkupToolDefaults d;
    const auto read = [this](const char* name) { return store_.value ? store_.value(key(name)) : std::nullopt; };
    const auto number = [&](const char* name, double fallback, double low, double high) {
        const auto v = read(name);
        bool ok = false;
        const double n = v ? v->toDouble(&ok) : 0;
        return ok ? MarkupGeometry::clamp(n, low, high) : fallback;
    };
    const auto integer = [&](const char* name, int fallback, int high) {
        const auto v = read(name);
        bool ok = false;
        const int n = v ? v->toInt(&ok) : 0;
        return ok && n >= 0 && n <= high ? n : fallback;
    };
    d.tool = MarkupTool(integer("tool", 0, 5));
    if (const auto v = read("strokeColor")) d.strokeColor = color(v->toString(), d.strokeColor);
    if (const auto v = read("fillColor")) d.fillColor = color(v->toString(), d.fillColor);
    d.textFontSize = number("textFontSize", 24, 10, 80);
    d.arrowLineWidth = number("arrowLineWidth", 4.5, 1, 8);
    d.arrowHeadScale = number("arrowHeadScale", 5, 0, 10);
    d.arrowHeadWidthScale = number("arrowHeadWidthScale", 1, 0.45, 1.8);
    d.arrowheadStyle = MarkupArrowheadStyle(integer("arrowheadStyle", 1, 2));
    return d;
}

void MarkupToolDefaultsStore::save(const MarkupToolDefaults& d)
{
    if (!store_.setValue) return;
    store_.setValue(key("tool"), int(d.tool));
    store_.setValue(key("strokeColor"), colorText(d.strokeColor));
    store_.setValue(key("fillColor"), colorText(d.fillColor));
    store_.setValue(key("textFontSize"), d.textFontSize);
    store_.setValue(key("arrowLineWidth"), d.arrowLineWidth);
    store_.setValue(key("arrowHeadScale"), d.arrowHeadScale);
    store_.setValue(key("arrowHeadWidthScale"), d.arrowHeadWidthScale);
    store_.setValue(key("arrowheadStyle"), int(d.arrowheadStyle));
}

void MarkupToolDefaultsStore::reset()
{
    if (!store_.remove) return;
    for (const char* name : {"tool", "strokeColor", "fillColor", "textFontSize", "arrowLineWidth", "arrowHeadScale",
                             "arrowHeadWidthScale", "arrowheadStyle"})
        store_.remove(key(name));
}
