#include "SizeMapTestTree.h"

#include <SizeMap/SizeMapNodeColor.h>
#include <SizeMap/SizeMapSceneLayout.h>
#include <SizeMap/SizeMapSunburstAnimation.h>
#include <SizeMap/SizeMapSunburstGeometry.h>

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

namespace {

using Kind = SizeMapSunburstSegment::Kind;
using Geometry = SizeMapSunburstGeometry;

SizeMapSunburstSegment segment(QString id, std::optional<QUuid> node, int ring, double start, double end,
                               Kind kind = Kind::node)
{
    return {.id = std::move(id),
            .backingNodeID = node,
            .ringIndex = ring,
            .startDegrees = start,
            .endDegrees = end,
            .kind = kind,
            .radialStart = double(ring - 1),
            .radialEnd = double(ring)};
}

// A 1000 x 1000 view: side 830, outer radius 397, inner radius 71.46; two rings.
const QList<SizeMapSunburstSegment> hitSegments {
    segment("A", QUuid::createUuid(), 1, 12, 100),
    segment("B", QUuid::createUuid(), 1, 100, 348),
    segment("C", QUuid::createUuid(), 2, 12, 50),
    segment("other", std::nullopt, 2, 50, 100, Kind::aggregatedOther),
    segment("W", QUuid::createUuid(), 2, 340, 370),
};

struct HitCase {
    const char* name;
    double degrees; // clockwise from twelve o'clock
    double ringPosition; // 0.5 is the middle of ring 1, -0.5 inside the inner circle
    Geometry::HitPurpose purpose;
    std::optional<qsizetype> expected;
};

class SizeMapHitTest : public ::testing::TestWithParam<HitCase> {};

QPointF pointAt(const Geometry& g, double degrees, double ringPosition)
{
    const double radius = g.innerRadius() + ringPosition * g.ringWidth();
    const double radians = degrees * std::numbers::pi / 180;
    return g.center() + QPointF(radius * std::sin(radians), -radius * std::cos(radians));
}

TEST_P(SizeMapHitTest, FindsTheSegmentUnderAPoint)
{
    const HitCase& c = GetParam();
    const Geometry g(QRectF(0, 0, 1000, 1000), hitSegments);
    EXPECT_EQ(g.hitTest(hitSegments, pointAt(g, c.degrees, c.ringPosition), c.purpose), c.expected);
}

using enum Geometry::HitPurpose;
INSTANTIATE_TEST_SUITE_P(
    Points, SizeMapHitTest,
    ::testing::Values(HitCase {"firstRing", 30, 0.5, click, 0}, HitCase {"secondSibling", 200, 0.5, click, 1},
                      HitCase {"openGapAtTop", 5, 0.5, hover, std::nullopt},
                      HitCase {"outerRing", 30, 1.5, click, 2},
                      HitCase {"aggregateNotClickable", 70, 1.5, click, std::nullopt},
                      HitCase {"aggregateHoverable", 70, 1.5, hover, 3},
                      HitCase {"wrapBeforeTop", 355, 1.5, click, 4}, HitCase {"wrapAfterTop", 5, 1.5, click, 4},
                      HitCase {"centre", 30, -0.5, hover, std::nullopt},
                      HitCase {"outside", 30, 2.05, hover, std::nullopt}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(SizeMapSunburstGeometry, RadiiFollowTheViewAndTheOutermostRing)
{
    const Geometry large(QRectF(0, 0, 1000, 1000), hitSegments);
    EXPECT_DOUBLE_EQ(large.canvasSide(), 830);
    EXPECT_DOUBLE_EQ(large.outerRadius(), 397);
    EXPECT_DOUBLE_EQ(large.innerRadius(), 397 * 0.18);
    EXPECT_DOUBLE_EQ(large.ringWidth(), (397 - 397 * 0.18) / 2);
    EXPECT_EQ(large.center(), QPointF(500, 500));

    const Geometry tiny(QRectF(0, 0, 100, 100), {segment("far", std::nullopt, 30, 0, 10)});
    EXPECT_DOUBLE_EQ(tiny.canvasSide(), 360);
    EXPECT_DOUBLE_EQ(tiny.outerRadius(), 162);
    EXPECT_DOUBLE_EQ(tiny.innerRadius(), 54);
    EXPECT_DOUBLE_EQ(tiny.ringWidth(), 13);

    // Drawn with a gap between rings and the inset held to a share of a narrow arc.
    auto narrow = segment("n", std::nullopt, 2, 10, 10.1);
    narrow.angularInsetDegrees = 0.08;
    const auto arc = large.arc(narrow);
    EXPECT_DOUBLE_EQ(arc.innerRadius, large.ringWidth() + large.innerRadius() + 0.28);
    EXPECT_DOUBLE_EQ(arc.outerRadius, 2 * large.ringWidth() + large.innerRadius() - 0.28);
    EXPECT_NEAR(arc.startDegrees, 10.042, 1e-9);
    EXPECT_NEAR(arc.endDegrees, 10.058, 1e-9);
}

TEST(SizeMapSunburstGeometry, PathsRunClockwiseFromTwelve)
{
    const Geometry g(QRectF(0, 0, 1000, 1000), hitSegments);
    EXPECT_TRUE(g.path(hitSegments[0]).contains(pointAt(g, 56, 0.5)));
    EXPECT_FALSE(g.path(hitSegments[0]).contains(pointAt(g, 304, 0.5)));
    EXPECT_FALSE(g.path(hitSegments[0]).contains(pointAt(g, 56, 1.5)));
    EXPECT_TRUE(g.path(hitSegments[4]).contains(pointAt(g, 5, 1.5)));
}

TEST(SizeMapNodeColor, ColoursComeFromIdsBranchesAndRings)
{
    EXPECT_DOUBLE_EQ(SizeMapNodeColor::stableUnit(u"a"), 0.1996);
    EXPECT_DOUBLE_EQ(SizeMapNodeColor::stableUnit(u""), 0.6037);
    EXPECT_NEAR(SizeMapNodeColor::color(u"Velmo").hueF(), 0.08, 1e-3); // unit 0.0608: first hue
    EXPECT_NEAR(SizeMapNodeColor::branchHue(1, 0, 10), 0.17, 1e-12);
    EXPECT_NEAR(SizeMapNodeColor::branchHue(0, 0.99, 100), 0.10152, 1e-12); // wraps past 1

    // Built twice: equal ids give equal colours; a node takes its top-level folder's hue.
    const auto build = [] {
        SizeMapTestTree t(100);
        const QUuid top = t.folder(t.tree.rootID, QStringLiteral("top"), 100);
        const QUuid mid = t.folder(top, QStringLiteral("mid"), 100);
        t.file(mid, QStringLiteral("leaf"), 100);
        return t.tree;
    };
    const ScanTree first = build();
    const ScanTree second = build();
    const QUuid top = first.childIDsByParentID[first.rootID][0];
    const QUuid leaf = first.childIDsByParentID[first.childIDsByParentID[top][0]][0];
    const auto at = segment("s", leaf, 3, 40, 80);
    const QColor leafColor = SizeMapNodeColor::segmentColor(at, first);
    EXPECT_EQ(leafColor, SizeMapNodeColor::segmentColor(at, second));
    EXPECT_EQ(leafColor, SizeMapNodeColor::color(*first.node(top), at, first));
    EXPECT_NEAR(leafColor.hsvSaturationF(), 0.596, 1e-3);
    EXPECT_NEAR(leafColor.valueF(), 0.932, 1e-3);
    const QColor deep = SizeMapNodeColor::segmentColor(segment("d", leaf, 40, 40, 80), first);
    EXPECT_NEAR(deep.hsvSaturationF(), 0.74, 1e-3);
    EXPECT_NEAR(deep.valueF(), 0.78, 1e-3);

    EXPECT_EQ(SizeMapNodeColor::segmentColor(segment("o", std::nullopt, 1, 0, 9, Kind::aggregatedOther), first),
              QColor::fromRgbF(0.46f, 0.47f, 0.46f));
    EXPECT_EQ(SizeMapNodeColor::centerTextColor(first.rootID, first), SizeMapNodeColor::focus());
    EXPECT_NE(SizeMapNodeColor::centerTextColor(top, first), SizeMapNodeColor::focus());
}

TEST(SizeMapSceneLayout, SplitsTheWindowAndClampsSmallOnes)
{
    const auto wide = SizeMapSceneLayout::forSize({1600, 1000});
    EXPECT_EQ(wide.chartArea, QSizeF(906, 888)); // the panel takes 39 %: 624
    EXPECT_EQ(wide.chartCenter, QPointF(505, 462));
    EXPECT_DOUBLE_EQ(wide.sidePanelCenterX, 1270);

    const auto small = SizeMapSceneLayout::forSize({800, 100});
    EXPECT_DOUBLE_EQ(small.sidePanelWidth, 460);
    EXPECT_EQ(small.chartArea, QSizeF(420, 0));
}

TEST(SizeMapSunburstAnimation, MorphEasesFromTheBestMatchingPreviousSegment)
{
    using namespace SizeMapSunburstAnimation;
    const QUuid a = QUuid::createUuid(), b = QUuid::createUuid(), focused = QUuid::createUuid();
    const Morph morph({segment("A", a, 1, 0, 10), segment("B-terminal-0", b, 3, 20, 30),
                       segment("F", focused, 1, 100, 200), segment("F2", focused, 2, 300, 310)});

    EXPECT_EQ(morph.source(segment("A", b, 2, 50, 60), std::nullopt)->id, "A");
    EXPECT_EQ(morph.source(segment("new", b, 2, 50, 60), std::nullopt)->id, "B-terminal-0");
    EXPECT_EQ(morph.source(segment("child", QUuid::createUuid(), 2, 50, 60), focused)->id, "F");
    EXPECT_FALSE(morph.source(segment("child", QUuid::createUuid(), 2, 50, 60), std::nullopt));

    const QList<SizeMapSunburstSegment> targets {segment("A", a, 2, 100, 200), segment("fresh", std::nullopt, 1, 5, 6)};
    const auto half = morph.frame(targets, 0.5, std::nullopt);
    EXPECT_DOUBLE_EQ(half[0].startDegrees, 50);
    EXPECT_DOUBLE_EQ(half[0].endDegrees, 105);
    EXPECT_DOUBLE_EQ(half[0].radialStart, 0.5);
    EXPECT_EQ(half[0].ringIndex, 2);
    EXPECT_EQ(half[1], targets[1]);
    EXPECT_DOUBLE_EQ(morph.frame(targets, 0.25, std::nullopt)[0].startDegrees, 100 * 0.15625); // smoothstep
    EXPECT_EQ(morph.frame(targets, 1, std::nullopt), targets);

    EXPECT_DOUBLE_EQ(morphProgress(std::chrono::milliseconds(140)), 0.5);
    EXPECT_EQ(morphProgress(std::chrono::seconds(1)), 1);
    EXPECT_EQ(navigationTransform(0), (NavigationTransform {0.94, -1.4, 0.9}));
    EXPECT_EQ(navigationTransform(1), (NavigationTransform {1, 0, 1}));
    EXPECT_DOUBLE_EQ(navigationProgress(navigationDuration / 2), 0.5);
    EXPECT_EQ(navigationProgress(std::chrono::seconds(1)), 1);
}

} // namespace
