#include "SizeMap/SizeMapNodeColor.h"

#include "detail/SizeMapHashing.h"

#include <array>
#include <cmath>

namespace {

using Kind = SizeMapSunburstSegment::Kind;

double fractionalPart(double value)
{
    return value - std::floor(value);
}

// The segment's middle as a share of a turn.
double angularPosition(const SizeMapSunburstSegment& segment)
{
    double middle = std::fmod((segment.startDegrees + segment.endDegrees) / 2, 360.0);
    if (middle < 0) middle += 360;
    return middle / 360;
}

// Deeper rings are a little more saturated and a little darker, within bounds.
QColor ringColor(double hue, int depth)
{
    const double saturation = std::min(depth * 0.018 + 0.56, 0.74);
    const double brightness = std::max(depth * -0.014 + 0.96, 0.78);
    return QColor::fromHsvF(float(hue), float(saturation), float(brightness), 1.0f);
}

} // namespace

QColor SizeMapNodeColor::focus()
{
    return QColor::fromHsvF(0.27f, 0.66f, 0.96f);
}

double SizeMapNodeColor::stableUnit(QStringView text)
{
    if (text.isEmpty()) return SizeMapDetail::emptyTextUnit;
    return SizeMapDetail::unitOfBytes(text.toUtf8());
}

QColor SizeMapNodeColor::color(QStringView name)
{
    static constexpr std::array<double, 9> hues {0.08, 0.13, 0.18, 0.27, 0.38, 0.5, 0.6, 0.69, 0.78};
    const int index = std::min(int(stableUnit(name) * 9), 8);
    return QColor::fromHsvF(float(hues[std::size_t(index)]), 0.62f, 0.91f);
}

double SizeMapNodeColor::branchHue(double seed, double angular, int depth)
{
    static constexpr std::array<double, 9> hues {0.09, 0.14, 0.19, 0.28, 0.38, 0.5, 0.6, 0.69, 0.78};
    const double v = fractionalPart(seed * 0.1 + angular * 0.9) * 8;
    const int i = std::clamp(int(v), 0, 7);
    const double hue = hues[std::size_t(i)] + (hues[std::size_t(i) + 1] - hues[std::size_t(i)]) * (v - i);
    return fractionalPart(hue + depth * 0.004);
}

QColor SizeMapNodeColor::color(const ScanNodeRecord& node, const SizeMapSunburstSegment& segment, const ScanTree& tree)
{
    // A node's branch is the top-level folder (or file) of the scan it lies in.
    const QList<ScanNodeRecord> path = tree.pathTo(node.id);
    const QUuid branch = path.size() < 2 ? node.id : path[1].id;
    const double seed = stableUnit(SizeMapDetail::uuidText(branch));
    const int depth = std::max(segment.ringIndex - 1, 0);
    return ringColor(branchHue(seed, angularPosition(segment), depth), depth);
}

QColor SizeMapNodeColor::segmentColor(const SizeMapSunburstSegment& segment, const ScanTree& tree)
{
    switch (segment.kind) {
    case Kind::aggregatedOther: return QColor::fromRgbF(0.46f, 0.47f, 0.46f);
    case Kind::focusedLeaf: return QColor::fromRgbF(0.46f, 0.47f, 0.47f);
    case Kind::terminalShadow: return QColor::fromRgbF(0.4f, 0.42f, 0.42f);
    case Kind::node:
    case Kind::terminalCap: break;
    }
    if (const auto node = tree.node(segment.backingNodeID)) return color(*node, segment, tree);
    const int depth = std::max(segment.ringIndex - 1, 0);
    return ringColor(branchHue(0.5, angularPosition(segment), segment.ringIndex), depth);
}

QColor SizeMapNodeColor::centerTextColor(const QUuid& focusedNodeID, const ScanTree& tree)
{
    const auto node = tree.node(focusedNodeID);
    if (!node || focusedNodeID == tree.rootID) return focus();
    // The colour the node has in its parent's chart, at the middle of the chart's span.
    const SizeMapSunburstSegment whole {.ringIndex = 1, .startDegrees = 12, .endDegrees = 348};
    return color(*node, whole, tree);
}
