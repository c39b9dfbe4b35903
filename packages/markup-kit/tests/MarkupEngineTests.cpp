#include "MarkupKit/MarkupEngine.h"

#include <gtest/gtest.h>

namespace {

struct EngineFixture : ::testing::Test {
    MarkupEngine engine;
    QRectF image {0, 0, 400, 300};
    std::vector<QPointF> textEditorRequests;

    void SetUp() override
    {
        engine.imageRectProvider = [this] { return std::optional(image); };
        engine.requestTextEditor = [this](QPointF at) { textEditorRequests.push_back(at); };
    }
    void drag(QPointF from, QPointF to, Qt::KeyboardModifiers modifiers = {})
    {
        engine.beginInteraction(from, modifiers);
        engine.mouseDragged((from + to) / 2);
        engine.mouseDragged(to);
        engine.mouseUp(to);
    }
    std::size_t drawn(MarkupTool tool, QPointF from, QPointF to)
    {
        engine.reset();
        engine.setTool(tool);
        drag(from, to);
        return engine.annotations().size();
    }
};

} // namespace

TEST_F(EngineFixture, ShapesTooSmallToSeeAreDroppedAndThinOnesKept)
{
    EXPECT_EQ(drawn(MarkupTool::rectangle, {100, 100}, {100, 100}), 0u);
    EXPECT_EQ(drawn(MarkupTool::rectangle, {100, 10}, {101, 290}), 1u);
    EXPECT_EQ(drawn(MarkupTool::blur, {100, 10}, {105, 290}), 0u);
    EXPECT_EQ(drawn(MarkupTool::blur, {100, 10}, {106, 290}), 1u);
    EXPECT_EQ(drawn(MarkupTool::arrow, {100, 100}, {100.2, 100}), 0u);
    EXPECT_EQ(drawn(MarkupTool::pen, {100, 100}, {101, 100}), 0u);
    EXPECT_EQ(drawn(MarkupTool::pen, {100, 100}, {150, 120}), 1u);
    // A press outside the picture draws nothing.
    EXPECT_EQ(drawn(MarkupTool::rectangle, {-50, 100}, {100, 100}), 0u);
    // Text waits for its editor: the release only asks for one.
    EXPECT_EQ(drawn(MarkupTool::text, {50, 60}, {50, 60}), 0u);
    ASSERT_EQ(textEditorRequests, std::vector<QPointF>({{50, 60}}));
    engine.commitText(QStringLiteral("Look here"), {50, 60});
    ASSERT_EQ(engine.annotations().size(), 1u);
    EXPECT_EQ(engine.annotations()[0].shape.text, QStringLiteral("Look here"));
    EXPECT_DOUBLE_EQ(engine.annotations()[0].shape.fontSize, 24.0 / 300);
}

TEST_F(EngineFixture, MovingStopsAtThePictureEdgeAndEachGestureIsOneUndoStep)
{
    drawn(MarkupTool::rectangle, {100, 100}, {200, 150});
    const QRectF placed = engine.annotations()[0].shape.rect;
    // Dragged far past the right edge: it stops against it, its size kept.
    engine.beginInteraction({150, 100});
    for (double x = 150; x <= 900; x += 50) engine.mouseDragged({x, 130});
    engine.mouseUp({900, 130});
    const QRectF moved = engine.annotations()[0].shape.rect;
    EXPECT_DOUBLE_EQ(moved.right(), 1.0);
    EXPECT_NEAR(moved.width(), placed.width(), 1e-12);
    EXPECT_NEAR(moved.top(), placed.top() + 30.0 / 300, 1e-12);

    engine.undo();
    EXPECT_EQ(engine.annotations()[0].shape.rect, placed);
    engine.redo();
    EXPECT_EQ(engine.annotations()[0].shape.rect, moved);
    // Undoing the drawing while it is selected: the selection goes with it.
    engine.undo();
    engine.undo();
    EXPECT_TRUE(engine.annotations().empty());
    EXPECT_EQ(engine.selectedIndex(), std::nullopt);
}

TEST_F(EngineFixture, UndoSelectsTheLastAnnotationWhenTheSelectedOneIsGone)
{
    drawn(MarkupTool::rectangle, {10, 10}, {60, 60});
    drag({100, 100}, {160, 160});
    drag({200, 200}, {260, 260});
    ASSERT_EQ(engine.selectedIndex(), std::optional<std::size_t>(2));
    engine.undo();
    EXPECT_EQ(engine.selectedIndex(), std::optional<std::size_t>(1));
}

TEST_F(EngineFixture, HandlesResizeAndAltClicksBendAndStraightenArrows)
{
    drawn(MarkupTool::rectangle, {100, 100}, {200, 200});
    drag({200, 200}, {300, 250}); // the bottom-right handle of the selected rectangle
    EXPECT_EQ(engine.annotations()[0].shape.rect, QRectF(0.25, 1.0 / 3, 0.5, 0.5));
    drag({100, 100}, {350, 280}); // the top-left handle stops at the opposite corner
    EXPECT_EQ(engine.annotations()[0].shape.rect.topLeft(), QPointF(0.75, 250.0 / 300));

    drawn(MarkupTool::arrow, {50, 150}, {350, 150});
    // Alt on the line adds an anchor and the same drag carries it.
    drag({200, 150}, {200, 60}, Qt::AltModifier);
    ASSERT_EQ(engine.annotations()[0].shape.kind, MarkupShape::Kind::curvedArrow);
    EXPECT_EQ(engine.annotations()[0].shape.anchors, std::vector<QPointF>({{0.5, 0.2}}));
    EXPECT_EQ(engine.cursor({200, 60}, Qt::AltModifier), MarkupCursor::crosshair);
    // Alt on the anchor takes it out again.
    engine.beginInteraction({200, 60}, Qt::AltModifier);
    engine.mouseUp({200, 60});
    EXPECT_EQ(engine.annotations()[0].shape.kind, MarkupShape::Kind::arrow);
    // The end handle follows the pointer, clamped to the picture.
    drag({350, 150}, {500, 10});
    EXPECT_EQ(engine.annotations()[0].shape.end, QPointF(1, 10.0 / 300));
}
