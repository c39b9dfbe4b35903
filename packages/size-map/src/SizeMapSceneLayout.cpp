#include "SizeMap/SizeMapSceneLayout.h"

#include <algorithm>

SizeMapSceneLayout SizeMapSceneLayout::forSize(QSizeF size)
{
    SizeMapSceneLayout layout;
    const double width = size.width();
    const double height = size.height();
    layout.sidePanelWidth = std::min(std::max(width * 0.39, 460.0), 760.0);
    layout.chartArea = QSizeF(std::max(width - layout.sidePanelWidth - 34 - 36, 420.0),
                              std::max(height - layout.topBarHeight, 0.0));
    layout.sidePanelCenterX = width - layout.sidePanelWidth / 2 - 18;
    layout.chartCenter = QPointF(layout.chartArea.width() / 2 + 52, layout.chartArea.height() / 2 + 18);
    layout.sceneCenterY = height / 2;
    return layout;
}
