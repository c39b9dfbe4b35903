#include "MediaCompressionViews/CompareViewportZoom.h"

#include <algorithm>
#include <cmath>
#include <limits>

double CompareViewportZoom::multiplier(double scrollDeltaY, bool hasPreciseScrollingDeltas, bool inverted)
{
    if (!std::isfinite(scrollDeltaY) || std::abs(scrollDeltaY) <= std::numeric_limits<double>::epsilon())
        return 1.0;
    const double rate = hasPreciseScrollingDeltas ? preciseScrollRate : wheelScrollRate;
    const double delta = inverted ? scrollDeltaY : -scrollDeltaY;
    return std::exp(rate * delta);
}

double CompareViewportZoom::clamp(double zoom)
{
    if (!std::isfinite(zoom))
        return zoom > 0 ? maxZoom : minZoom;
    return std::clamp(zoom, minZoom, maxZoom);
}

double CompareViewportZoom::clampedZoom(double currentZoom, double scrollDeltaY,
                                        bool hasPreciseScrollingDeltas, bool inverted)
{
    return clamp(currentZoom * multiplier(scrollDeltaY, hasPreciseScrollingDeltas, inverted));
}

double CompareViewportZoom::magnifiedZoom(double currentZoom, double magnification)
{
    if (!std::isfinite(magnification))
        return clamp(currentZoom);
    return clamp(currentZoom * (magnification * magnificationSensitivity + 1.0));
}

QPointF CompareViewportZoom::panKeepingPoint(QPointF anchor, QPointF centre, QPointF pan,
                                             double oldScale, double newScale)
{
    // The image centre sits at centre + pan; the anchor's offset from it grows by new / old.
    const double ratio = newScale / std::max(oldScale, 0.0001);
    const QPointF offset = anchor - centre - pan;
    return anchor - centre - offset * ratio;
}
