#include "Views/SizeMapChartView.h"

#include "Support/BackgroundTask.h"
#include "Support/ByteCountFormatter.h"
#include "Support/ReleaseOffMainThread.h"

#include <SizeMap/SizeMapNodeColor.h>
#include <SizeMap/SizeMapSunburstGeometry.h>
#include <SizeMap/SizeMapSunburstLayoutService.h>

#include <QHelpEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QThreadPool>
#include <QToolTip>

namespace {

struct Layout {
    QList<SizeMapSunburstSegment> segments;
    QList<QColor> colors;
    QImage picture;
};

QRectF chartAreaFor(QSizeF size)
{
    const double side = std::min(size.width(), size.height()) - 16.0;
    return QRectF((size.width() - side) / 2.0, (size.height() - side) / 2.0, side, side);
}

// Translucent antialiased fills are most of a frame's cost. While segments move,
// each is filled with its colour already blended over the background, and without
// its hairline: the same look to the eye, at a third of the cost.
void paintSegments(QPainter& painter, QSizeF size, const QList<SizeMapSunburstSegment>& segments,
                   const QList<QColor>& colors, bool moving, const QColor& background)
{
    const SizeMapSunburstGeometry geometry(chartAreaFor(size), segments);
    const auto hairline = SizeMapSunburstGeometry::hairlineStroke();
    const QPen hairlinePen(hairline.color, hairline.width);
    for (qsizetype i = 0; i < segments.size(); ++i) {
        const double opacity = SizeMapSunburstGeometry::fillOpacity(segments[i].kind, false);
        QColor fill = colors.value(i);
        if (moving) {
            fill = QColor::fromRgbF(float(fill.redF() * opacity + background.redF() * (1 - opacity)),
                                    float(fill.greenF() * opacity + background.greenF() * (1 - opacity)),
                                    float(fill.blueF() * opacity + background.blueF() * (1 - opacity)));
            painter.fillPath(geometry.path(segments[i]), fill);
            continue;
        }
        fill.setAlphaF(float(opacity));
        const QPainterPath path = geometry.path(segments[i]);
        painter.fillPath(path, fill);
        painter.strokePath(path, hairlinePen);
    }
}

// The chart at rest, drawn once per layout and size (on a pool thread); a frame
// then copies it and draws only what is highlighted.
QImage renderPicture(const QList<SizeMapSunburstSegment>& segments, const QList<QColor>& colors, QSize size, qreal ratio)
{
    QImage picture(size * ratio, QImage::Format_ARGB32_Premultiplied);
    if (picture.isNull()) return {};
    picture.setDevicePixelRatio(ratio);
    picture.fill(Qt::transparent);
    QPainter painter(&picture);
    painter.setRenderHint(QPainter::Antialiasing);
    paintSegments(painter, QSizeF(size), segments, colors, false, Qt::transparent);
    return picture;
}

QString sizeText(qint64 bytes)
{
    return bytes == 0 ? QStringLiteral("0 KB") : ByteCountFormatter::string(bytes);
}

} // namespace

SizeMapChartView::SizeMapChartView(QWidget* parent) : QWidget(parent)
{
    setMouseTracking(true);
    setMinimumSize(320, 320);
    setAttribute(Qt::WA_OpaquePaintEvent, false);
}

SizeMapChartView::~SizeMapChartView()
{
    layoutTask_.cancel();
    pictureTask_.cancel();
    releaseOffMainThread(std::move(tree_));
}

void SizeMapChartView::setScene(const ScanTree& tree, const QUuid& focusedNodeID,
                                const std::optional<QUuid>& selectedNodeID)
{
    const bool selectionChanged = selectedNodeID != selectedNodeID_;
    selectedNodeID_ = selectedNodeID;
    const QString key = SizeMapSunburstLayoutService::segmentCacheKey(tree, focusedNodeID);
    if (key == layoutKey_ && tree.rootID == tree_.rootID) {
        if (selectionChanged) update();
        return;
    }
    releaseOffMainThread(std::exchange(tree_, tree));
    focusedNodeID_ = focusedNodeID;
    layoutKey_ = key;
    // A copy of the tree shares its data: the layout reads it on a pool thread while
    // the scan goes on handing newer trees to the main thread.
    layoutTask_.cancel();
    pictureTask_.cancel();
    pictureTask_ = {};
    layoutTask_ = BackgroundTask::run(
        QThreadPool::globalInstance(), this,
        [tree, focusedNodeID, size = size(), ratio = devicePixelRatioF()](std::stop_token stop) {
            Layout layout;
            layout.segments = SizeMapSunburstLayoutService {}.makeSegments(tree, focusedNodeID);
            layout.colors.reserve(layout.segments.size());
            for (const auto& segment : layout.segments)
                layout.colors.append(SizeMapNodeColor::segmentColor(segment, tree));
            if (!stop.stop_requested()) layout.picture = renderPicture(layout.segments, layout.colors, size, ratio);
            return layout;
        },
        [this, focusedNodeID](Layout layout) {
            layoutTask_ = {};
            picture_ = std::move(layout.picture);
            land(std::move(layout.segments), std::move(layout.colors), focusedNodeID);
        });
    if (selectionChanged) update();
}

// The new layout morphs from the frame on screen, so that a layout landing in the
// middle of a morph carries on from where the eye is; a new focus also swings in.
void SizeMapChartView::land(QList<SizeMapSunburstSegment> segments, QList<QColor> colors, const QUuid& focusedNodeID)
{
    const quint64 now = clock_->uptimeNanoseconds();
    const bool focusMoved = !laidOutFocus_.isNull() && laidOutFocus_ != focusedNodeID;
    if (drawn_.isEmpty()) {
        morph_ = {};
        morphStartedAt_.reset();
    } else {
        morph_ = SizeMapSunburstAnimation::Morph(drawn_);
        morphStartedAt_ = now;
    }
    if (focusMoved) navigationStartedAt_ = now;
    laidOutFocus_ = focusedNodeID;
    segments_ = std::move(segments);
    colors_ = std::move(colors);
    colorByNode_.clear();
    for (qsizetype i = 0; i < segments_.size(); ++i)
        if (segments_[i].backingNodeID && !colorByNode_.contains(*segments_[i].backingNodeID))
            colorByNode_.insert(*segments_[i].backingNodeID, colors_.value(i));
    requestPicture();
    ++animationRun_;
    advanceAnimations();
    emit segmentsChanged(int(segments_.size()));
}

void SizeMapChartView::advanceAnimations()
{
    using namespace SizeMapSunburstAnimation;
    const quint64 now = clock_->uptimeNanoseconds();
    const auto since = [now](quint64 start) { return std::chrono::nanoseconds(now - start); };
    const double morph = morphStartedAt_ ? morphProgress(since(*morphStartedAt_)) : 1;
    drawn_ = morph_.frame(segments_, morph, laidOutFocus_);
    if (morph >= 1) {
        morph_ = {};
        morphStartedAt_.reset();
    }
    navigationProgress_ = navigationStartedAt_ ? SizeMapSunburstAnimation::navigationProgress(since(*navigationStartedAt_)) : 1;
    if (navigationProgress_ >= 1) navigationStartedAt_.reset();
    update();
    if (!isAnimating()) return;
    clock_->runAfter(quint64(std::chrono::nanoseconds(morphTick).count()), this, [this, run = animationRun_] {
        if (run == animationRun_) advanceAnimations();
    });
}

std::optional<QColor> SizeMapChartView::colorOf(const QUuid& nodeID) const
{
    const auto found = colorByNode_.constFind(nodeID);
    return found == colorByNode_.constEnd() ? std::nullopt : std::optional(*found);
}

void SizeMapChartView::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    requestPicture();
}

// A picture of another size is redrawn; until it lands, frames draw the segments directly.
void SizeMapChartView::requestPicture()
{
    if (segments_.isEmpty() || layoutTask_.isValid()) return;
    if (!picture_.isNull() && picture_.size() == size() * devicePixelRatioF()) return;
    pictureTask_.cancel();
    pictureTask_ = BackgroundTask::run(
        QThreadPool::globalInstance(), this,
        [segments = segments_, colors = colors_, size = size(), ratio = devicePixelRatioF()](std::stop_token) {
            return renderPicture(segments, colors, size, ratio);
        },
        [this](QImage picture) {
            pictureTask_ = {};
            picture_ = std::move(picture);
            update();
        });
}

void SizeMapChartView::setHighlightedNode(const std::optional<QUuid>& id)
{
    if (id == highlightedNodeID_) return;
    highlightedNodeID_ = id;
    update();
}

QRectF SizeMapChartView::chartArea() const
{
    return chartAreaFor(QSizeF(size()));
}

std::optional<qsizetype> SizeMapChartView::segmentAt(QPointF point, bool forClick) const
{
    const SizeMapSunburstGeometry geometry(chartArea(), segments_);
    return geometry.hitTest(segments_, point,
                            forClick ? SizeMapSunburstGeometry::HitPurpose::click
                                     : SizeMapSunburstGeometry::HitPurpose::hover);
}

bool SizeMapChartView::isOnCenter(QPointF point) const
{
    const SizeMapSunburstGeometry geometry(chartArea(), segments_);
    return QLineF(point, geometry.center()).length() <= geometry.innerRadius();
}

void SizeMapChartView::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    if (drawn_.isEmpty() && !tree_.rootNode()) {
        painter.setPen(palette().color(QPalette::PlaceholderText));
        painter.drawText(rect(), Qt::AlignCenter, QStringLiteral("No Size Map"));
        return;
    }
    if (navigationProgress_ < 1) {
        const auto swing = SizeMapSunburstAnimation::navigationTransform(navigationProgress_);
        const QPointF center = chartArea().center();
        painter.translate(center);
        painter.rotate(swing.rotationDegrees);
        painter.scale(swing.scale, swing.scale);
        painter.translate(-center);
        painter.setOpacity(swing.opacity);
    }
    const bool moving = morphStartedAt_.has_value();
    const bool pictureFits = !picture_.isNull() && picture_.size() == size() * devicePixelRatioF();
    if (!moving && pictureFits) painter.drawImage(QPointF(0, 0), picture_);
    else paintSegments(painter, QSizeF(size()), drawn_, colors_, moving, palette().color(QPalette::Window));
    // The hovered and selected segments over the rest, opaque and outlined.
    const SizeMapSunburstGeometry geometry(chartArea(), drawn_);
    for (qsizetype i = 0; i < drawn_.size(); ++i) {
        const auto& id = drawn_[i].backingNodeID;
        const bool selected = id && id == selectedNodeID_;
        const bool hovered = id && (id == hoveredNodeID_ || id == highlightedNodeID_);
        if (!selected && !hovered) continue;
        QColor fill = colors_.value(i);
        fill.setAlphaF(float(SizeMapSunburstGeometry::fillOpacity(drawn_[i].kind, true)));
        const QPainterPath path = geometry.path(drawn_[i]);
        painter.fillPath(path, fill);
        const auto stroke = selected ? SizeMapSunburstGeometry::selectionStroke() : SizeMapSunburstGeometry::hoverStroke();
        painter.strokePath(path, QPen(stroke.color, stroke.width));
    }
    paintCenter(painter);
}

// The centre names the hovered or selected node, else the focused one, with its size.
void SizeMapChartView::paintCenter(QPainter& painter) const
{
    const SizeMapSunburstGeometry geometry(chartArea(), segments_);
    std::optional<ScanNodeRecord> node = tree_.node(hoveredNodeID_ ? hoveredNodeID_ : selectedNodeID_);
    if (!node) node = tree_.node(focusedNodeID_);
    if (!node) return;
    const double radius = geometry.innerRadius() * 0.93;
    const QRectF box(geometry.center() - QPointF(radius, radius), QSizeF(2 * radius, 2 * radius));
    painter.setPen(Qt::NoPen);
    painter.setBrush(palette().color(QPalette::Base));
    painter.drawEllipse(box);
    QFont name = font();
    name.setBold(true);
    painter.setFont(name);
    painter.setPen(SizeMapNodeColor::centerTextColor(node->id, tree_));
    const QRectF inner = box.adjusted(radius * 0.25, radius * 0.3, -radius * 0.25, -radius * 0.3);
    const QString title = QFontMetrics(name).elidedText(node->displayName, Qt::ElideMiddle, int(inner.width()));
    painter.drawText(inner, Qt::AlignHCenter | Qt::AlignTop, title);
    // The size is the centre's main text: as large as fits, never cut.
    const QString bytes = sizeText(node->allocatedSize);
    QFont size = font();
    size.setPointSizeF(font().pointSizeF() * 1.6);
    const double width = QFontMetricsF(size).horizontalAdvance(bytes);
    if (width > inner.width() && width > 0) size.setPointSizeF(std::max(1.0, size.pointSizeF() * inner.width() / width));
    painter.setFont(size);
    painter.setPen(palette().color(QPalette::Text));
    painter.drawText(inner, Qt::AlignCenter, bytes);
}

void SizeMapChartView::mouseMoveEvent(QMouseEvent* event)
{
    const auto index = segmentAt(event->position(), false);
    setHovered(index ? segments_[*index].backingNodeID : std::nullopt);
}

void SizeMapChartView::leaveEvent(QEvent*)
{
    setHovered(std::nullopt);
}

void SizeMapChartView::setHovered(const std::optional<QUuid>& id)
{
    if (id == hoveredNodeID_) return;
    hoveredNodeID_ = id;
    emit hoveredNodeChanged(id);
    update();
}

void SizeMapChartView::mousePressEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton) return QWidget::mousePressEvent(event);
    if (isOnCenter(event->position())) {
        emit centerClicked();
        return;
    }
    const auto index = segmentAt(event->position(), true);
    if (index && segments_[*index].backingNodeID) emit nodeClicked(*segments_[*index].backingNodeID);
}

bool SizeMapChartView::event(QEvent* event)
{
    if (event->type() != QEvent::ToolTip) return QWidget::event(event);
    auto* help = static_cast<QHelpEvent*>(event);
    const auto index = segmentAt(help->pos(), false);
    if (!index) {
        QToolTip::hideText();
        return true;
    }
    const SizeMapSunburstSegment& segment = segments_[*index];
    const auto focused = tree_.node(focusedNodeID_);
    const double share = focused && focused->allocatedSize > 0
        ? 100.0 * double(segment.allocatedSize) / double(focused->allocatedSize) : 0.0;
    QString text = segment.displayName + u'\n' + sizeText(segment.allocatedSize)
        + QStringLiteral(" • %1%").arg(share, 0, 'f', share < 10 ? 1 : 0);
    if (segment.kind == SizeMapSunburstSegment::Kind::aggregatedOther)
        text += QStringLiteral("\n%1 items").arg(segment.itemCount);
    QToolTip::showText(help->globalPos(), text, this);
    return true;
}
