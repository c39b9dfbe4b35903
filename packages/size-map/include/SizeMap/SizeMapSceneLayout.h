#pragma once

#include <QPointF>
#include <QSizeF>

// The frame of the size map scene for a window size: top bar, chart area on the left,
// side panel on the right.
struct SizeMapSceneLayout {
    QPointF origin {18, 12};
    double topBarHeight = 112;
    double sidePanelWidth = 0;
    QSizeF chartArea;           // at least 420 wide, never negative
    double sidePanelCenterX = 0;
    QPointF chartCenter;        // within the chart area
    double sceneCenterY = 0;

    static SizeMapSceneLayout forSize(QSizeF size);

    bool operator==(const SizeMapSceneLayout&) const = default;
};
