#include "MarkupKit/MarkupModel.h"

#include <gtest/gtest.h>

using namespace MarkupGeometry;

TEST(MarkupGeometry, PointsOutsideTheImageNormaliseToItsEdgeAndComeBackInPlace)
{
    const QRectF image(100, 50, 400, 200);
    EXPECT_EQ(normalizedPoint({50, 400}, image), QPointF(0, 1));
    EXPECT_EQ(normalizedPoint({300, 100}, image), QPointF(0.5, 0.25));
    EXPECT_EQ(denormalizedPoint({0.5, 0.25}, image), QPointF(300, 100));
    EXPECT_EQ(denormalizedRect(normalizedRect({200, 100, 100, 50}, image), image), QRectF(200, 100, 100, 50));
    EXPECT_EQ(expandedToMinimumSize({495, 60, 0.5, 10}, 20, image), QRectF(480, 60, 20, 20));
}

TEST(MarkupGeometry, ACurvedArrowBulgesThroughItsAnchorAndLosesItsCurveWithItsLastAnchor)
{
    const MarkupShape straight = MarkupShape::arrow({0.1, 0.5}, {0.9, 0.5});
    EXPECT_EQ(sampledArrowPathPoints(straight.arrowPathPoints()).size(), 2u);
    const MarkupShape curved = straight.withArrowAnchors({{0.5, 0.1}});
    EXPECT_EQ(curved.kind, MarkupShape::Kind::curvedArrow);
    EXPECT_EQ(sampledArrowPathPoints(curved.arrowPathPoints()).size(), 1u + 2 * 24);
    const QRectF bounds = MarkupAnnotation {curved}.normalizedBounds();
    EXPECT_NEAR(bounds.top(), 0.1, 1e-9);
    EXPECT_NEAR(bounds.bottom(), 0.5, 1e-9);
    EXPECT_EQ(curved.withArrowAnchor({0.2, 0.2}, 2).end, QPointF(0.2, 0.2));
    EXPECT_EQ(curved.withArrowAnchors({}).kind, MarkupShape::Kind::arrow);
    EXPECT_EQ(insertionIndexOnArrowPath({0.8, 0.3}, curved.arrowPathPoints()), 2u);
}

TEST(MarkupToolDefaultsStore, EachStoredValueFallsBackOrIsClampedOnItsOwn)
{
    MarkupKeyValueStore values = MarkupKeyValueStore::inMemory();
    MarkupToolDefaultsStore store(values);
    EXPECT_EQ(store.load(), MarkupToolDefaults {});
    values.setValue("markup.defaults.strokeColor", "1,0,0");
    values.setValue("markup.defaults.fillColor", "2,0,0,1");
    values.setValue("markup.defaults.textFontSize", 200);
    values.setValue("markup.defaults.tool", 9);
    values.setValue("markup.defaults.arrowheadStyle", 2);
    values.setValue("markup.defaults.arrowHeadWidthScale", "wide");
    const MarkupToolDefaults read = store.load();
    EXPECT_EQ(read.strokeColor, MarkupToolDefaults {}.strokeColor);
    EXPECT_EQ(read.fillColor, QColor(Qt::red));
    EXPECT_EQ(read.textFontSize, 80);
    EXPECT_EQ(read.tool, MarkupTool::rectangle);
    EXPECT_EQ(read.arrowheadStyle, MarkupArrowheadStyle::both);
    EXPECT_EQ(read.arrowHeadWidthScale, 1);

    MarkupToolDefaults chosen {MarkupTool::pen, QColor(0, 128, 255, 128), Qt::transparent, 30, 6, 3, 1.5,
                               MarkupArrowheadStyle::none};
    store.save(chosen);
    EXPECT_EQ(values.value("markup.defaults.strokeColor")->toString(), "0.000000,0.501961,1.000000,0.501961");
    EXPECT_EQ(store.load(), chosen);
    store.reset();
    EXPECT_EQ(store.load(), MarkupToolDefaults {});
}
