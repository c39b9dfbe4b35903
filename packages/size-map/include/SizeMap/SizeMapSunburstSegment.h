#pragma once

#include <QString>
#include <QUuid>

#include <optional>

// One drawn piece of the sunburst: an arc of a ring, in degrees clockwise from twelve
// o'clock and in ring units outward from the inner circle. A plain value; layouts of the
// same tree give equal lists, so the view may diff and morph them by `id`.
struct SizeMapSunburstSegment {
    enum class Kind {
        aggregatedOther, // the children too small to draw, as one arc; see `itemCount`
        node,            // a child of the parent one ring further in
        focusedLeaf,     // the one closed ring: a folder that is almost wholly one leaf
        terminalCap,     // a short spike beyond a leaf that ends below the outer rings
        terminalShadow,  // the darker halo behind a tall cap
    };

    QString id {};                      // stable between layouts of the same tree
    std::optional<QUuid> backingNodeID {}; // absent on the aggregate and on a shadow
    int ringIndex = 1;                  // 1 is the innermost ring
    double startDegrees = 0;
    double endDegrees = 0;
    QString displayName {};
    qint64 allocatedSize = 0;
    Kind kind = Kind::node;
    int itemCount = 0;                  // aggregatedOther only: how many children it stands for
    double radialStart = 0;
    double radialEnd = 1;
    double angularInsetDegrees = 0;     // the drawn arc is narrowed by this at both ends

    // `target` (this) on its way from `source`: identity and kind from the target, angles,
    // radii and inset eased with a smoothstep of `progress` (clamped to 0...1).
    SizeMapSunburstSegment interpolated(const SizeMapSunburstSegment& source, double progress) const;

    bool operator==(const SizeMapSunburstSegment&) const = default;
};

// "smaller objects..." is what the aggregate and the shadows are called.
inline constexpr QStringView sizeMapSmallerObjectsName = u"smaller objects...";
