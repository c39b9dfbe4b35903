#pragma once

#include <QImage>
#include <QPointF>
#include <QRectF>
#include <QTimer>
#include <QWidget>

#include <memory>
#include <optional>

class QNativeGestureEvent;

// Shows an original image and its compressed version on top of each other with a draggable
// vertical divider: the original left of it, the compressed image right of it. Both share one
// zoom and one pan, so the same pixels are always side by side.
//
// Main thread only, like every widget. Large images are prepared for drawing (a paint-friendly
// copy and halved levels) on the global thread pool; until that is done the raw image is drawn.
//
// Zoomed out, images are drawn filtered when at rest and unfiltered while they move; magnified
// pixels are never blurred.
//
// Mouse: a press within 32 px of the divider drags it, anywhere else pans; the wheel zooms about
// the cursor, and so does a pinch. Keys: + and - zoom about the centre, 0 fits, the arrows pan,
// Shift with Left or Right moves the divider. While interaction is disabled none of these act;
// double clicks and mouse movement are still reported.
class CompareViewport : public QWidget {
    Q_OBJECT
    Q_PROPERTY(bool interactionDisabled READ interactionDisabled WRITE setInteractionDisabled)
    Q_PROPERTY(bool invertZoomScroll READ invertZoomScroll WRITE setInvertZoomScroll)
    Q_PROPERTY(double split READ split WRITE setSplit NOTIFY splitChanged)
    Q_PROPERTY(double zoom READ zoom WRITE setZoom NOTIFY zoomPanChanged)
    Q_PROPERTY(QPointF pan READ pan WRITE setPan NOTIFY zoomPanChanged)

public:
    static constexpr double dividerWidth = 2;
    static constexpr double handleWidth = 26;
    static constexpr double handleHeight = 48;
    static constexpr double dividerGrabDistance = 32;

    explicit CompareViewport(QWidget* parent = nullptr);
    ~CompareViewport() override;

    // A new original: zoom and pan are left as they are; the caller resets them if it wants.
    void setOriginalImage(const QImage& image);
    // A new compressed generation replaces the compressed image and keeps zoom and pan.
    void setCompressedImage(const QImage& image);
    // Drops both images; zoom, pan and split stay.
    void clear();
    [[nodiscard]] int compressedGeneration() const { return m_compressedGeneration; }
    // True while an image is still being prepared for fast drawing.
    [[nodiscard]] bool isPreparing() const;

    [[nodiscard]] bool interactionDisabled() const { return m_interactionDisabled; }
    void setInteractionDisabled(bool disabled);
    // True (the default) makes scrolling away from the user zoom in.
    [[nodiscard]] bool invertZoomScroll() const { return m_invertZoomScroll; }
    void setInvertZoomScroll(bool inverted) { m_invertZoomScroll = inverted; }

    // Where the divider stands, 0 (left edge) to 1 (right edge).
    [[nodiscard]] double split() const { return m_split; }
    void setSplit(double split);
    // 1 fits the image into the view; kept within CompareViewportZoom's limits.
    [[nodiscard]] double zoom() const { return m_zoom; }
    void setZoom(double zoom);
    // The image centre's offset from the view centre, in view pixels.
    [[nodiscard]] QPointF pan() const { return m_pan; }
    void setPan(QPointF pan);
    // Zoom 1, no pan.
    void fit();

    // Where the image is drawn in the view; none without an image or without room.
    [[nodiscard]] std::optional<QRectF> fittedRect() const;
    [[nodiscard]] double dividerX() const;
    // The point of the original image (in its own pixels) under a point of the view.
    [[nodiscard]] std::optional<QPointF> imagePointAt(QPointF viewPoint) const;

signals:
    void splitChanged(double split);
    void zoomPanChanged(double zoom, QPointF pan);
    void doubleClicked(QPointF viewPoint);
    void mouseMoved(QPointF viewPoint);

protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    struct Side;
    enum class Drag { none, divider, pan };

    void setImage(Side& side, const QImage& image);
    void zoomAbout(QPointF anchor, double newZoom);
    void applyZoomPan(double zoom, QPointF pan);
    void noteMotion();
    void handleNativeGesture(QNativeGestureEvent* event);
    [[nodiscard]] QSizeF imageSize() const;
    [[nodiscard]] double imageScale() const;
    void drawSide(QPainter& painter, const Side& side, const QRectF& fitted, const QRect& clip) const;
    void drawDivider(QPainter& painter) const;

    std::unique_ptr<Side> m_original;
    std::unique_ptr<Side> m_compressed;
    int m_compressedGeneration = 0;
    bool m_interactionDisabled = false;
    bool m_invertZoomScroll = true;
    double m_split = 0.5;
    double m_zoom = 1.0;
    QPointF m_pan;
    Drag m_drag = Drag::none;
    QPointF m_dragStartPoint;
    double m_dragStartSplit = 0.5;
    QPointF m_dragStartPan;
    // While the user moves things, downscaled images are drawn unfiltered (a third of the
    // cost); the timer brings the filtered frame once the motion stops.
    bool m_inMotion = false;
    QTimer m_restTimer;
};
