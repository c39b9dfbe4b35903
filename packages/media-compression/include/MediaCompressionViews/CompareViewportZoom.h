#pragma once

#include <QPointF>

// The zoom arithmetic of the comparison viewport, free of any widget so that the app and the
// tests can reason about it directly.
struct CompareViewportZoom {
    static constexpr double minZoom = 0.25;
    static constexpr double maxZoom = 32.0;
    static constexpr double magnificationSensitivity = 0.35;
    static constexpr double preciseScrollRate = 0.0021; // per pixel of a touchpad scroll
    static constexpr double wheelScrollRate = 0.0108;   // per degree of a mouse wheel turn

    // The factor one scroll step applies to the zoom: 1 for a delta too small to mean anything.
    // Scrolling away from the user (positive delta) zooms out unless inverted.
    [[nodiscard]] static double multiplier(double scrollDeltaY, bool hasPreciseScrollingDeltas, bool inverted);
    [[nodiscard]] static double clampedZoom(double currentZoom, double scrollDeltaY,
                                            bool hasPreciseScrollingDeltas, bool inverted);
    // A pinch: magnification is the gesture's relative change since its last event.
    [[nodiscard]] static double magnifiedZoom(double currentZoom, double magnification);
    [[nodiscard]] static double clamp(double zoom);

    // The pan that keeps the image point under `anchor` in place when the image scale goes
    // from oldScale to newScale; `centre` is the view's centre.
    [[nodiscard]] static QPointF panKeepingPoint(QPointF anchor, QPointF centre, QPointF pan,
                                                 double oldScale, double newScale);
};
