#include "SizeMap/SizeMapSunburstLayoutService.h"

#include "detail/SizeMapHashing.h"

#include <QCollator>
#include <QLocale>

#include <algorithm>
#include <limits>
#include <vector>

namespace {

using Segment = SizeMapSunburstSegment;

// Names of equal size sort as a person reads them, case ignored. The C locale collates by
// code point only, so it falls back to English rules.
QCollator nameCollator()
{
    QLocale locale;
    if (locale.language() == QLocale::C) locale = QLocale(QLocale::English, QLocale::UnitedStates);
    QCollator collator(locale);
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    return collator;
}

qint64 saturatingAdd(qint64 a, qint64 b)
{
    qint64 sum = 0;
    if (__builtin_add_overflow(a, b, &sum)) return std::numeric_limits<qint64>::max();
    return sum;
}

// One makeSegments call: the tree, the collator and the output, so that the recursion
// passes only what changes from ring to ring.
class LayoutRun {
public:
    LayoutRun(const SizeMapSunburstLayoutService& service, const ScanTree& tree, QList<Segment>& out)
        : service_(service), tree_(tree), out_(out), collator_(nameCollator())
    {
    }

    void appendSegments(const QUuid& parentID, double start, double end, int ring, int remainingDepth);

private:
    const ScanNodeRecord* record(const QUuid& id) const
    {
        const auto found = tree_.nodesByID.constFind(id);
        return found == tree_.nodesByID.constEnd() ? nullptr : &*found;
    }
    bool isDirectoryWithChildren(const ScanNodeRecord& node) const
    {
        return node.kind == ScanNodeKind::directory && !tree_.childIDsByParentID.value(node.id).isEmpty();
    }
    // Larger first; equal sizes by name. A strict order, so stable sorting keeps ties of both
    // in the tree's order.
    bool before(const ScanNodeRecord* a, const ScanNodeRecord* b) const
    {
        if (a->allocatedSize != b->allocatedSize) return a->allocatedSize > b->allocatedSize;
        return collator_.compare(a->displayName, b->displayName) < 0;
    }
    // The first in sorted order among children of the given (largest) size; used only when
    // none is big enough to draw, which takes settings far from the defaults.
    const ScanNodeRecord* firstChild(const QList<QUuid>& childIDs, qint64 largest) const
    {
        const ScanNodeRecord* first = nullptr;
        for (const QUuid& id : childIDs) {
            const ScanNodeRecord* child = record(id);
            if (child && child->allocatedSize == largest && (!first || before(child, first))) first = child;
        }
        return first;
    }
    void appendTerminalCaps(const ScanNodeRecord& node, double start, double end, int ring);

    const SizeMapSunburstLayoutService& service_;
    const ScanTree& tree_;
    QList<Segment>& out_;
    QCollator collator_;
    // The folders being laid out, innermost last: a child that is its own ancestor in
    // broken data is drawn once and not entered again.
    std::vector<QUuid> ancestors_;
};

void LayoutRun::appendSegments(const QUuid& parentID, double start, double end, int ring, int remainingDepth)
{
    if (remainingDepth < 1) return;
    const ScanNodeRecord* parent = record(parentID);
    if (!parent || parent->allocatedSize < 1) return;
    const auto childIDs = tree_.childIDsByParentID.constFind(parentID);
    if (childIDs == tree_.childIDsByParentID.constEnd()) return;

    // Whether a child is big enough to draw depends on its size alone, so only those are
    // ordered by name; the others are summed straight into the aggregate.
    const double span = end - start;
    const double parentSize = double(parent->allocatedSize);
    std::vector<const ScanNodeRecord*> candidates;
    qsizetype childCount = 0;
    qint64 largest = 0;
    qsizetype hiddenCount = 0;
    qint64 hiddenTotal = 0;
    for (const QUuid& id : *childIDs) {
        const ScanNodeRecord* child = record(id);
        if (!child || child->allocatedSize < 1) continue;
        ++childCount;
        largest = std::max(largest, child->allocatedSize);
        const double fraction = double(child->allocatedSize) / parentSize;
        if (fraction < service_.minimumFraction || span * fraction < service_.minimumAngleDegrees) {
            ++hiddenCount;
            hiddenTotal = saturatingAdd(hiddenTotal, child->allocatedSize);
        } else {
            candidates.push_back(child);
        }
    }
    if (childCount == 0) return;

    std::stable_sort(candidates.begin(), candidates.end(),
                     [this](const ScanNodeRecord* a, const ScanNodeRecord* b) { return before(a, b); });

    // A folder that is (almost) wholly one leaf is drawn as a single closed ring.
    if (ring == 1 && (childCount == 1 || double(largest) / parentSize >= 0.97)) {
        const ScanNodeRecord* first = candidates.empty() ? firstChild(*childIDs, largest) : candidates.front();
        if (!isDirectoryWithChildren(*first)) {
            out_.append(Segment {.id = SizeMapDetail::uuidText(first->id) + QStringLiteral("-focused-leaf"),
                                 .backingNodeID = first->id,
                                 .ringIndex = 1,
                                 .startDegrees = 0,
                                 .endDegrees = 360,
                                 .displayName = first->displayName,
                                 .allocatedSize = first->allocatedSize,
                                 .kind = Segment::Kind::focusedLeaf,
                                 .radialStart = 0,
                                 .radialEnd = 1});
            return;
        }
    }

    const std::size_t cap = std::size_t(std::max(service_.maximumVisibleChildrenPerParent, 0));
    if (candidates.size() > cap) {
        for (std::size_t i = cap; i < candidates.size(); ++i) {
            ++hiddenCount;
            hiddenTotal = saturatingAdd(hiddenTotal, candidates[i]->allocatedSize);
        }
        candidates.resize(cap);
    }

    const qsizetype segmentCount = qsizetype(candidates.size()) + (hiddenTotal > 0 ? 1 : 0);
    const double available =
        std::max(span - service_.siblingGapDegrees * double(std::max<qsizetype>(segmentCount - 1, 0)), 0.0);
    qint64 total = hiddenTotal;
    for (const ScanNodeRecord* child : candidates) total = saturatingAdd(total, child->allocatedSize);
    if (total < 1) return;

    const double radialStart = std::max(ring - 1, 0);
    double cursor = start;
    ancestors_.push_back(parentID);
    for (const ScanNodeRecord* child : candidates) {
        const double angle = available * (double(child->allocatedSize) / double(total));
        out_.append(Segment {.id = SizeMapDetail::uuidText(child->id),
                             .backingNodeID = child->id,
                             .ringIndex = ring,
                             .startDegrees = cursor,
                             .endDegrees = cursor + angle,
                             .displayName = child->displayName,
                             .allocatedSize = child->allocatedSize,
                             .kind = Segment::Kind::node,
                             .radialStart = radialStart,
                             .radialEnd = double(ring)});
        const bool leaf = !isDirectoryWithChildren(*child);
        if (ring > 1 && remainingDepth != 1 && angle >= service_.terminalCapMinimumDegrees && leaf)
            appendTerminalCaps(*child, cursor, cursor + angle, ring + 1);
        else if (std::find(ancestors_.begin(), ancestors_.end(), child->id) == ancestors_.end())
            appendSegments(child->id, cursor, cursor + angle, ring + 1, remainingDepth - 1);
        cursor += angle + service_.siblingGapDegrees;
    }
    ancestors_.pop_back();

    if (hiddenTotal >= 1) {
        const double remaining = std::max(end - cursor, 0.0);
        out_.append(Segment {.id = SizeMapDetail::uuidText(parentID) + QStringLiteral("-other-") + QString::number(ring),
                             .backingNodeID = std::nullopt,
                             .ringIndex = ring,
                             .startDegrees = cursor,
                             .endDegrees = cursor + remaining,
                             .displayName = sizeMapSmallerObjectsName.toString(),
                             .allocatedSize = hiddenTotal,
                             .kind = Segment::Kind::aggregatedOther,
                             .itemCount = int(std::min<qsizetype>(hiddenCount, std::numeric_limits<int>::max())),
                             .radialStart = radialStart,
                             .radialEnd = double(ring),
                             .angularInsetDegrees = std::min(remaining * 0.04, 0.08)});
    }
}

// A leaf that ends below the outer rings gets one to three short spikes in the ring beyond
// it, so the chart's edge reads as a skyline rather than a flat ring. Heights come from
// the node's id, so they stay put between layouts.
void LayoutRun::appendTerminalCaps(const ScanNodeRecord& node, double start, double end, int ring)
{
    const double span = end - start;
    const int count = span < 0.9 ? 1 : span < 2.4 ? 2 : span < 18.0 ? 3 : 1;
    const int gaps = count - 1;
    const double totalGap = std::min(gaps * 0.22, span * 0.36);
    const double width = std::max((span - totalGap) / count, 0.12);
    const double limit = end - 0.03;
    const double gap = totalGap / std::max(gaps, 1);
    const double base = ring - 1;
    const QString idText = SizeMapDetail::uuidText(node.id);
    double cursor = start + std::min(span * 0.08, 0.12);
    for (int n = 0; n < count; ++n) {
        const double unit = SizeMapSunburstLayoutService::deterministicUnit(idText, n);
        const double capEnd = std::min(cursor + width, limit);
        const double radialEnd = unit * 1.18 + 0.55 + base;
        const double inset = std::min(std::max((capEnd - cursor) * 0.08, 0.015), 0.08);
        if (unit > 0.58) {
            out_.append(Segment {.id = idText + QStringLiteral("-terminal-shadow-") + QString::number(n),
                                 .backingNodeID = std::nullopt,
                                 .ringIndex = ring,
                                 .startDegrees = std::max(cursor - inset, start),
                                 .endDegrees = std::min(capEnd + inset * 1.5, end),
                                 .displayName = sizeMapSmallerObjectsName.toString(),
                                 .allocatedSize = node.allocatedSize,
                                 .kind = Segment::Kind::terminalShadow,
                                 .radialStart = base,
                                 .radialEnd = radialEnd + 0.12});
        }
        out_.append(Segment {.id = idText + QStringLiteral("-terminal-") + QString::number(n),
                             .backingNodeID = node.id,
                             .ringIndex = ring,
                             .startDegrees = cursor,
                             .endDegrees = capEnd,
                             .displayName = node.displayName,
                             .allocatedSize = node.allocatedSize,
                             .kind = Segment::Kind::terminalCap,
                             .radialStart = base,
                             .radialEnd = radialEnd,
                             .angularInsetDegrees = inset});
        cursor = capEnd + gap;
    }
}

} // namespace

QList<SizeMapSunburstSegment> SizeMapSunburstLayoutService::makeSegments(const ScanTree& tree,
                                                                         const QUuid& focusedNodeID) const
{
    QList<Segment> segments;
    const auto focused = tree.nodesByID.constFind(focusedNodeID);
    if (focused == tree.nodesByID.constEnd() || focused->allocatedSize < 1) return segments;
    LayoutRun(*this, tree, segments).appendSegments(focusedNodeID, chartStartDegrees, chartEndDegrees, 1, maximumDepth);
    return segments;
}

double SizeMapSunburstLayoutService::deterministicUnit(QStringView text, int offset)
{
    if (text.isEmpty()) return SizeMapDetail::emptyTextUnit;
    return SizeMapDetail::unitOfBytes((text.toString() + u'-' + QString::number(offset)).toUtf8());
}

QString SizeMapSunburstLayoutService::segmentCacheKey(const ScanTree& tree, const QUuid& focusedNodeID)
{
    const auto root = tree.rootNode();
    return SizeMapDetail::uuidText(focusedNodeID) + u'-' + QString::number(tree.nodesByID.size()) + u'-'
        + QString::number(root ? root->allocatedSize : 0);
}
