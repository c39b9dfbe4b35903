#include "MediaCompressionViews/CompareViewport.h"

#include "CompareImageLevels.h"
#include "MediaCompressionViews/CompareViewportZoom.h"

#include <QFuture>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QNativeGestureEvent>
#include <QPainter>
#include <QPainterPath>
#include <QPromise>
#include <QRegion>
#include <QThreadPool>
#include <QWheelEvent>

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

// Below this many pixels preparing an image takes well under a millisecond: done in place.
constexpr qint64 preparedInPlacePixels = 1 << 20;
constexpr double keyZoomFactor = 1.25;
constexpr double keyPanStep = 48;
constexpr double keySplitStep = 0.02;
// A wheel notch is 15 degrees; Qt reports it as 120 eighths of a degree.
constexpr double wheelUnitsPerDegree = 8;
// Long enough to bridge the gaps between the events of one wheel turn or drag.
constexpr int restDelayMs = 150;

} // namespace

struct CompareViewport::Side {
    CompareImageLevels levels;
    int token = 0;
    bool preparing = false;
};

CompareViewport::CompareViewport(QWidget* parent)
    : QWidget(parent)
    , m_original(std::make_unique<Side>())
    , m_compressed(std::make_unique<Side>())
{
    // Every pixel is painted in paintEvent, so Qt need not clear the background first.
    setAttribute(Qt::WA_OpaquePaintEvent);
    setMouseTracking(true);
    setFocusPolicy(Qt::StrongFocus);
    m_restTimer.setSingleShot(true);
    m_restTimer.setInterval(restDelayMs);
    connect(&m_restTimer, &QTimer::timeout, this, [this] {
        m_inMotion = false;
        update();
    });
}

CompareViewport::~CompareViewport() = default;

void CompareViewport::setOriginalImage(const QImage& image) { setImage(*m_original, image); }

void CompareViewport::setCompressedImage(const QImage& image)
{
    ++m_compressedGeneration;
    setImage(*m_compressed, image);
}

void CompareViewport::clear()
{
    setImage(*m_original, QImage());
    setImage(*m_compressed, QImage());
}

bool CompareViewport::isPreparing() const { return m_original->preparing || m_compressed->preparing; }

void CompareViewport::setImage(Side& side, const QImage& image)
{
    const int token = ++side.token;
    side.preparing = false;
    if (image.isNull() || qint64(image.width()) * image.height() <= preparedInPlacePixels) {
        side.levels = CompareImageLevels::build(image);
        update();
        return;
    }
    // The raw image is drawn until its levels arrive; a later image for this side wins.
    side.levels = CompareImageLevels::unprepared(image);
    side.preparing = true;
    auto promise = std::make_shared<QPromise<CompareImageLevels>>();
    QFuture<CompareImageLevels> future = promise->future();
    QThreadPool::globalInstance()->start([promise, image] {
        promise->start();
        promise->addResult(CompareImageLevels::build(image));
        promise->finish();
    });
    // The context object drops the continuation if the viewport is gone by then.
    future.then(this, [this, sidePointer = &side, token](const CompareImageLevels& levels) {
        if (sidePointer->token != token)
            return;
        sidePointer->preparing = false;
        if (!levels.isNull())
            sidePointer->levels = levels;
        update();
    });
    update();
}

void CompareViewport::setInteractionDisabled(bool disabled)
{
    m_interactionDisabled = disabled;
    if (disabled)
        m_drag = Drag::none;
}

void CompareViewport::setSplit(double split)
{
    if (std::isnan(split))
        return;
    split = std::clamp(split, 0.0, 1.0);
    if (split == m_split)
        return;
    m_split = split;
    update();
    emit splitChanged(m_split);
}

void CompareViewport::setZoom(double zoom)
{
    if (!std::isnan(zoom))
        applyZoomPan(CompareViewportZoom::clamp(zoom), m_pan);
}

void CompareViewport::setPan(QPointF pan)
{
    if (std::isfinite(pan.x()) && std::isfinite(pan.y()))
        applyZoomPan(m_zoom, pan);
}

void CompareViewport::fit() { applyZoomPan(1.0, QPointF()); }

void CompareViewport::applyZoomPan(double zoom, QPointF pan)
{
    if (zoom == m_zoom && pan == m_pan)
        return;
    m_zoom = zoom;
    m_pan = pan;
    update();
    emit zoomPanChanged(m_zoom, m_pan);
}

QSizeF CompareViewport::imageSize() const
{
    // Both images are drawn into one rectangle, so a smaller compressed image (a resized
    // output) still lines up with the original pixel for pixel.
    const Side& side = m_original->levels.isNull() ? *m_compressed : *m_original;
    return side.levels.size();
}

std::optional<QRectF> CompareViewport::fittedRect() const
{
    const QSizeF image = imageSize();
    if (image.width() < 1 || image.height() < 1 || width() <= 0 || height() <= 0)
        return std::nullopt;
    const double scale = std::min(width() / image.width(), height() / image.height()) * m_zoom;
    const QSizeF drawn = image * scale;
    const QPointF centre = QPointF(width() / 2.0, height() / 2.0) + m_pan;
    return QRectF(centre - QPointF(drawn.width() / 2, drawn.height() / 2), drawn);
}

double CompareViewport::imageScale() const
{
    const auto rect = fittedRect();
    return rect ? rect->width() / imageSize().width() : 0.0;
}

double CompareViewport::dividerX() const { return std::clamp(width() * m_split, 0.0, double(width())); }

std::optional<QPointF> CompareViewport::imagePointAt(QPointF viewPoint) const
{
    const auto rect = fittedRect();
    if (!rect)
        return std::nullopt;
    return (viewPoint - rect->topLeft()) / imageScale();
}

void CompareViewport::noteMotion()
{
    m_inMotion = true;
    m_restTimer.start();
}

void CompareViewport::zoomAbout(QPointF anchor, double newZoom)
{
    noteMotion();
    const double oldScale = imageScale();
    if (oldScale <= 0) {
        applyZoomPan(newZoom, m_pan);
        return;
    }
    const double newScale = oldScale / m_zoom * newZoom;
    const QPointF centre(width() / 2.0, height() / 2.0);
    applyZoomPan(newZoom, CompareViewportZoom::panKeepingPoint(anchor, centre, m_pan, oldScale, newScale));
}

bool CompareViewport::event(QEvent* event)
{
    if (event->type() == QEvent::NativeGesture) {
        handleNativeGesture(static_cast<QNativeGestureEvent*>(event));
        return true;
    }
    return QWidget::event(event);
}

void CompareViewport::handleNativeGesture(QNativeGestureEvent* event)
{
    if (m_interactionDisabled || event->gestureType() != Qt::ZoomNativeGesture)
        return;
    zoomAbout(event->position(), CompareViewportZoom::magnifiedZoom(m_zoom, event->value()));
}

void CompareViewport::mousePressEvent(QMouseEvent* event)
{
    if (m_interactionDisabled || event->button() != Qt::LeftButton) {
        QWidget::mousePressEvent(event);
        return;
    }
    m_dragStartPoint = event->position();
    if (std::abs(event->position().x() - dividerX()) <= dividerGrabDistance) {
        m_drag = Drag::divider;
        m_dragStartSplit = m_split;
    } else {
        m_drag = Drag::pan;
        m_dragStartPan = m_pan;
        setCursor(Qt::ClosedHandCursor);
    }
}

void CompareViewport::mouseMoveEvent(QMouseEvent* event)
{
    emit mouseMoved(event->position());
    const QPointF delta = event->position() - m_dragStartPoint;
    if (m_drag != Drag::none)
        noteMotion();
    switch (m_drag) {
    case Drag::divider:
        if (width() > 0)
            setSplit(m_dragStartSplit + delta.x() / width());
        break;
    case Drag::pan:
        applyZoomPan(m_zoom, m_dragStartPan + delta);
        break;
    case Drag::none:
        if (!m_interactionDisabled && std::abs(event->position().x() - dividerX()) <= dividerGrabDistance)
            setCursor(Qt::SplitHCursor);
        else
            unsetCursor();
        break;
    }
}

void CompareViewport::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton && m_drag != Drag::none) {
        m_drag = Drag::none;
        unsetCursor();
    }
}

void CompareViewport::mouseDoubleClickEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton)
        emit doubleClicked(event->position());
}

void CompareViewport::wheelEvent(QWheelEvent* event)
{
    event->accept();
    if (m_interactionDisabled)
        return;
    // Touchpads on Wayland report pixels; wheels and X11 touchpads report angles.
    const bool precise = !event->pixelDelta().isNull();
    const double deltaY = precise ? event->pixelDelta().y() : event->angleDelta().y() / wheelUnitsPerDegree;
    if (std::abs(deltaY) <= std::numeric_limits<double>::epsilon())
        return;
    zoomAbout(event->position(), CompareViewportZoom::clampedZoom(m_zoom, deltaY, precise, m_invertZoomScroll));
}

void CompareViewport::keyPressEvent(QKeyEvent* event)
{
    if (m_interactionDisabled) {
        QWidget::keyPressEvent(event);
        return;
    }
    noteMotion();
    const QPointF centre(width() / 2.0, height() / 2.0);
    const bool shift = event->modifiers().testFlag(Qt::ShiftModifier);
    switch (event->key()) {
    case Qt::Key_Plus:
    case Qt::Key_Equal:
        zoomAbout(centre, CompareViewportZoom::clamp(m_zoom * keyZoomFactor));
        break;
    case Qt::Key_Minus:
        zoomAbout(centre, CompareViewportZoom::clamp(m_zoom / keyZoomFactor));
        break;
    case Qt::Key_0:
        fit();
        break;
    case Qt::Key_Left:
    case Qt::Key_Right: {
        const double direction = event->key() == Qt::Key_Left ? -1 : 1;
        if (shift)
            setSplit(m_split + direction * keySplitStep);
        else
            applyZoomPan(m_zoom, m_pan - QPointF(direction * keyPanStep, 0));
        break;
    }
    case Qt::Key_Up:
    case Qt::Key_Down: {
        // Like scrolling: Down shows what lies below, so the image moves up.
        const double direction = event->key() == Qt::Key_Up ? -1 : 1;
        applyZoomPan(m_zoom, m_pan - QPointF(0, direction * keyPanStep));
        break;
    }
    default:
        QWidget::keyPressEvent(event);
    }
}

void CompareViewport::paintEvent(QPaintEvent* event)
{
    QPainter painter(this);
    const auto fitted = fittedRect();
    // Where two opaque images cover the view, clearing it first would only cost time.
    const bool covered = m_original->levels.isOpaque() && m_compressed->levels.isOpaque();
    QRegion background(event->rect());
    if (fitted && covered)
        background -= fitted->toAlignedRect().adjusted(1, 1, -1, -1);
    for (const QRect& rect : background)
        painter.fillRect(rect, palette().color(QPalette::Window).darker(160));
    if (fitted) {
        const int divider = qRound(dividerX());
        drawSide(painter, *m_original, *fitted, QRect(0, 0, divider, height()) & event->rect());
        drawSide(painter, *m_compressed, *fitted, QRect(divider, 0, width() - divider, height()) & event->rect());
    }
    drawDivider(painter);
}

void CompareViewport::drawSide(QPainter& painter, const Side& side, const QRectF& fitted, const QRect& clip) const
{
    if (side.levels.isNull() || clip.isEmpty())
        return;
    const QRectF target = fitted.intersected(QRectF(clip));
    if (target.isEmpty())
        return;
    // Only the visible part of the image is handed to the painter, taken from the smallest
    // level that still has a pixel per view pixel: the cost follows the view, not the image.
    const QSizeF full = side.levels.size();
    const double toImageX = full.width() / fitted.width();
    const double toImageY = full.height() / fitted.height();
    const QRectF source((target.x() - fitted.x()) * toImageX, (target.y() - fitted.y()) * toImageY,
                        target.width() * toImageX, target.height() * toImageY);
    // On a high-density screen a view pixel holds several device pixels, each wanting detail.
    const double devicePixelsPerImagePixel = devicePixelRatioF() / toImageX;
    const auto level = side.levels.sourceFor(devicePixelsPerImagePixel, source);
    if (!level.image || level.rect.isEmpty())
        return;
    // Magnified pixels stay sharp squares, which is what a compression comparison wants to see.
    // A level that meets the screen pixel for pixel needs no filter either.
    const double levelPixelsPerDevicePixel = level.rect.width() / (target.width() * devicePixelRatioF());
    const bool shrinks = devicePixelsPerImagePixel < 1.0 && levelPixelsPerDevicePixel > 1.01;
    painter.setRenderHint(QPainter::SmoothPixmapTransform, !m_inMotion && shrinks);
    painter.drawImage(target, *level.image, level.rect);
}

void CompareViewport::drawDivider(QPainter& painter) const
{
    const double x = dividerX();
    painter.fillRect(QRectF(x - dividerWidth / 2, 0, dividerWidth, height()), QColor(255, 255, 255, 230));
    const QRectF handle(x - handleWidth / 2, height() / 2.0 - handleHeight / 2, handleWidth, handleHeight);
    painter.setRenderHint(QPainter::Antialiasing, true);
    painter.setPen(QPen(QColor(0, 0, 0, 90), 1));
    painter.setBrush(QColor(250, 250, 250));
    painter.drawRoundedRect(handle.adjusted(0.5, 0.5, -0.5, -0.5), 6, 6);
    // Two chevrons say the handle moves sideways.
    QPainterPath chevrons;
    const QPointF centre = handle.center();
    chevrons.moveTo(centre + QPointF(-3, -5));
    chevrons.lineTo(centre + QPointF(-7, 0));
    chevrons.lineTo(centre + QPointF(-3, 5));
    chevrons.moveTo(centre + QPointF(3, -5));
    chevrons.lineTo(centre + QPointF(7, 0));
    chevrons.lineTo(centre + QPointF(3, 5));
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(QColor(60, 60, 60), 1.5, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.drawPath(chevrons);
    painter.setRenderHint(QPainter::Antialiasing, false);
}
