#pragma once

#include "SizeMap/SizeMapSunburstSegment.h"

#include <QHash>
#include <QList>

#include <chrono>

// The motion of the size map as pure functions of time; the view owns the timer and
// calls these with the elapsed time, so they are tested without one.
namespace SizeMapSunburstAnimation {

inline constexpr std::chrono::milliseconds morphDuration {280};
inline constexpr std::chrono::milliseconds morphTick {16};
inline constexpr std::chrono::milliseconds navigationDuration {350};

// 0 at the start of a morph, 1 from its end on.
double morphProgress(std::chrono::nanoseconds elapsed);

// The segments of the previous layout, kept while a morph runs.
class Morph {
public:
    Morph() = default;
    explicit Morph(const QList<SizeMapSunburstSegment>& previous);

    // Where `target` comes from: the previous segment with its id, else the first with its
    // node, else the first drawing the focused node; nothing when it simply appears.
    std::optional<SizeMapSunburstSegment> source(const SizeMapSunburstSegment& target,
                                                 const std::optional<QUuid>& focusedNodeID) const;

    // The segments to draw at `progress`; at 1 (or with nothing to morph from) the targets.
    QList<SizeMapSunburstSegment> frame(const QList<SizeMapSunburstSegment>& targets, double progress,
                                        const std::optional<QUuid>& focusedNodeID) const;

private:
    QList<SizeMapSunburstSegment> previous_;
    QHash<QString, qsizetype> indexByID_;
    QHash<QUuid, qsizetype> firstIndexByNode_;
};

// How the whole chart is drawn while the focus changes, `progress` going 0 -> 1.
struct NavigationTransform {
    double scale = 1;
    double rotationDegrees = 0;
    double opacity = 1;
    bool operator==(const NavigationTransform&) const = default;
};
NavigationTransform navigationTransform(double progress);
// The eased progress of a focus change, 0 at its start and 1 from its end on.
double navigationProgress(std::chrono::nanoseconds elapsed);

} // namespace SizeMapSunburstAnimation
