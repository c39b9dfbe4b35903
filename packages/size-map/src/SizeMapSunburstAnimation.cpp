#include "SizeMap/SizeMapSunburstAnimation.h"

#include <algorithm>

namespace SizeMapSunburstAnimation {

double morphProgress(std::chrono::nanoseconds elapsed)
{
    const double fraction = std::chrono::duration<double>(elapsed) / std::chrono::duration<double>(morphDuration);
    return std::clamp(fraction, 0.0, 1.0);
}

Morph::Morph(const QList<SizeMapSunburstSegment>& previous) : previous_(previous)
{
    indexByID_.reserve(previous.size());
    for (qsizetype i = 0; i < previous.size(); ++i) {
        indexByID_.insert(previous[i].id, i);
        if (previous[i].backingNodeID && !firstIndexByNode_.contains(*previous[i].backingNodeID))
            firstIndexByNode_.insert(*previous[i].backingNodeID, i);
    }
}

std::optional<SizeMapSunburstSegment> Morph::source(const SizeMapSunburstSegment& target,
                                                    const std::optional<QUuid>& focusedNodeID) const
{
    if (const auto found = indexByID_.constFind(target.id); found != indexByID_.constEnd()) return previous_[*found];
    const auto firstBacking = [this](const std::optional<QUuid>& id) -> std::optional<SizeMapSunburstSegment> {
        if (!id) return std::nullopt;
        const auto found = firstIndexByNode_.constFind(*id);
        if (found == firstIndexByNode_.constEnd()) return std::nullopt;
        return previous_[*found];
    };
    if (auto same = firstBacking(target.backingNodeID)) return same;
    return firstBacking(focusedNodeID);
}

QList<SizeMapSunburstSegment> Morph::frame(const QList<SizeMapSunburstSegment>& targets, double progress,
                                           const std::optional<QUuid>& focusedNodeID) const
{
    if (progress >= 1 || previous_.isEmpty()) return targets;
    QList<SizeMapSunburstSegment> drawn;
    drawn.reserve(targets.size());
    for (const auto& target : targets) {
        const auto from = source(target, focusedNodeID);
        drawn.append(from ? target.interpolated(*from, progress) : target);
    }
    return drawn;
}

NavigationTransform navigationTransform(double progress)
{
    const double p = std::clamp(progress, 0.0, 1.0);
    return {.scale = 0.94 + 0.06 * p, .rotationDegrees = (1 - p) * -1.4, .opacity = 0.9 + 0.1 * p};
}

double navigationProgress(std::chrono::nanoseconds elapsed)
{
    const double p = std::clamp(std::chrono::duration<double>(elapsed) / std::chrono::duration<double>(navigationDuration),
                                0.0, 1.0);
    return p * p * (3 - 2 * p);
}

} // namespace SizeMapSunburstAnimation
