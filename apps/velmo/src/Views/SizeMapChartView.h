#pragma once

#include "Support/MonotonicClock.h"
#include "Support/TaskHandle.h"

#include <FileSizeScanner/ScanTree.h>
#include <SizeMap/SizeMapSunburstAnimation.h>
#include <SizeMap/SizeMapSunburstSegment.h>

#include <QColor>
#include <QHash>
#include <QImage>
#include <QList>
#include <QWidget>

#include <optional>

// The sunburst of a scan around its focused folder, drawn with QPainter. The layout
// is worked out off the main thread from a copy of the tree, and only the newest
// request lands; a frame only fills the paths of the last layout. Each new layout
// morphs from what was on screen, and a change of focus also swings the whole chart
// in; both run on the given clock, so tests step them by hand.
class SizeMapChartView : public QWidget {
    Q_OBJECT

public:
    explicit SizeMapChartView(QWidget* parent = nullptr);
    ~SizeMapChartView() override;

    void setClock(std::shared_ptr<MonotonicClock> clock) { clock_ = std::move(clock); }

    void setScene(const ScanTree& tree, const QUuid& focusedNodeID, const std::optional<QUuid>& selectedNodeID);
    // A node the side list points at, drawn as if hovered.
    void setHighlightedNode(const std::optional<QUuid>& id);

    // The segments of the newest layout, and those of the frame on screen (equal once
    // the morph to it has ended).
    const QList<SizeMapSunburstSegment>& segments() const { return segments_; }
    const QList<SizeMapSunburstSegment>& drawnSegments() const { return drawn_; }
    bool isAnimating() const { return morphStartedAt_ || navigationStartedAt_; }
    double navigationProgress() const { return navigationProgress_; }
    // The colour the chart gives a node, if it draws it.
    std::optional<QColor> colorOf(const QUuid& nodeID) const;
    // Whether a layout is still being worked out for the newest scene.
    bool isLayingOut() const { return layoutTask_.isValid() || pictureTask_.isValid(); }

signals:
    void nodeClicked(const QUuid& id);
    void centerClicked();
    void hoveredNodeChanged(const std::optional<QUuid>& id);
    void segmentsChanged(int count);

protected:
    void paintEvent(QPaintEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;
    bool event(QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    QRectF chartArea() const;
    std::optional<qsizetype> segmentAt(QPointF point, bool forClick) const;
    bool isOnCenter(QPointF point) const;
    void setHovered(const std::optional<QUuid>& id);
    void paintCenter(QPainter& painter) const;
    void land(QList<SizeMapSunburstSegment> segments, QList<QColor> colors, const QUuid& focusedNodeID);
    void advanceAnimations();
    void requestPicture();

    ScanTree tree_;
    QUuid focusedNodeID_;
    std::optional<QUuid> selectedNodeID_;
    std::optional<QUuid> hoveredNodeID_;
    std::optional<QUuid> highlightedNodeID_;
    QString layoutKey_;
    QList<SizeMapSunburstSegment> segments_;
    QList<QColor> colors_;
    TaskHandle layoutTask_;
    QHash<QUuid, QColor> colorByNode_;
    QImage picture_;
    TaskHandle pictureTask_;

    std::shared_ptr<MonotonicClock> clock_ = MonotonicClock::system();
    QUuid laidOutFocus_;
    SizeMapSunburstAnimation::Morph morph_;
    QList<SizeMapSunburstSegment> drawn_;
    std::optional<quint64> morphStartedAt_;
    std::optional<quint64> navigationStartedAt_;
    double navigationProgress_ = 1;
    // Each landing starts a new run of frames; a tick of an older run does nothing.
    quint64 animationRun_ = 0;
};
