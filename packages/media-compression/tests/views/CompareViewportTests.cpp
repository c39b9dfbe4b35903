// The comparison viewport driven by synthetic events, as a user's mouse, wheel, touchpad and
// keyboard would; pixels are read back from what the widget paints.
#include "MediaCompressionViews/CompareViewport.h"
#include "MediaCompressionViews/CompareViewportZoom.h"

#include <QApplication>
#include <QDeadlineTimer>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QNativeGestureEvent>
#include <QPainter>
#include <QPointingDevice>
#include <QWheelEvent>

#include <gtest/gtest.h>

#include <vector>

namespace {

constexpr int viewWidth = 400;
constexpr int viewHeight = 300;

QImage filled(int width, int height, QColor colour)
{
    QImage image(width, height, QImage::Format_RGB32);
    image.fill(colour);
    return image;
}

class CompareViewportTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        viewport.resize(viewWidth, viewHeight);
        // 200 x 150 fits the view exactly at scale 2.
        viewport.setOriginalImage(filled(200, 150, Qt::red));
        viewport.setCompressedImage(filled(200, 150, Qt::blue));
    }

    void send(QEvent&& event) { QApplication::sendEvent(&viewport, &event); }
    void mouse(QEvent::Type type, QPointF point, Qt::MouseButton button = Qt::LeftButton)
    {
        const Qt::MouseButtons held = type == QEvent::MouseButtonRelease ? Qt::NoButton : Qt::MouseButtons(Qt::LeftButton);
        send(QMouseEvent(type, point, viewport.mapToGlobal(point), button, held, Qt::NoModifier));
    }
    void drag(QPointF from, QPointF to)
    {
        mouse(QEvent::MouseButtonPress, from);
        mouse(QEvent::MouseMove, to, Qt::NoButton);
        mouse(QEvent::MouseButtonRelease, to);
    }
    void wheel(QPointF at, int angle, QPoint pixels = {})
    {
        send(QWheelEvent(at, viewport.mapToGlobal(at), pixels, QPoint(0, angle), Qt::NoButton, Qt::NoModifier,
                         Qt::NoScrollPhase, false));
    }
    void pinch(QPointF at, double magnification)
    {
        send(QNativeGestureEvent(Qt::ZoomNativeGesture, QPointingDevice::primaryPointingDevice(), 2, at,
                                 at, viewport.mapToGlobal(at), magnification, QPointF()));
    }
    void key(int key, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
    {
        send(QKeyEvent(QEvent::KeyPress, key, modifiers));
    }
    QColor pixel(int x, int y) { return viewport.grab().toImage().pixelColor(x, y); }

    CompareViewport viewport;
};

TEST_F(CompareViewportTest, PressWithin32PixelsOfTheDividerDragsItAndFartherAwayPans)
{
    struct Case {
        double offset;
        bool dragsDivider;
    };
    for (const Case c : {Case{32, true}, Case{-32, true}, Case{0, true}, Case{33, false}, Case{-33, false}}) {
        SCOPED_TRACE(c.offset);
        viewport.setSplit(0.5);
        viewport.setPan({});
        const QPointF start(200 + c.offset, 150);
        drag(start, start + QPointF(40, 10));
        if (c.dragsDivider) {
            EXPECT_DOUBLE_EQ(viewport.split(), 0.6);
            EXPECT_EQ(viewport.pan(), QPointF());
        } else {
            EXPECT_DOUBLE_EQ(viewport.split(), 0.5);
            EXPECT_EQ(viewport.pan(), QPointF(40, 10));
        }
    }
}

TEST_F(CompareViewportTest, SplitStaysWithinTheView)
{
    std::vector<double> reported;
    QObject::connect(&viewport, &CompareViewport::splitChanged, [&](double split) { reported.push_back(split); });
    drag({200, 150}, {900, 150});
    EXPECT_EQ(viewport.split(), 1.0);
    EXPECT_EQ(viewport.dividerX(), viewWidth);
    drag({viewWidth, 150}, {-500, 150});
    EXPECT_EQ(viewport.split(), 0.0);
    viewport.setSplit(7);
    EXPECT_EQ(viewport.split(), 1.0);
    viewport.setSplit(-0.2);
    EXPECT_EQ(viewport.split(), 0.0);
    ASSERT_FALSE(reported.empty());
    for (const double split : reported) {
        EXPECT_GE(split, 0.0);
        EXPECT_LE(split, 1.0);
    }
}

TEST_F(CompareViewportTest, WheelAndPinchZoomStopAtTheLimits)
{
    for (int notch = 0; notch < 100; ++notch)
        wheel({120, 80}, 120);
    EXPECT_EQ(viewport.zoom(), CompareViewportZoom::maxZoom);
    for (int notch = 0; notch < 100; ++notch)
        wheel({120, 80}, -120);
    EXPECT_EQ(viewport.zoom(), CompareViewportZoom::minZoom);
    for (int step = 0; step < 40; ++step)
        pinch({300, 100}, 1.5);
    EXPECT_EQ(viewport.zoom(), CompareViewportZoom::maxZoom);
    pinch({300, 100}, -10);
    EXPECT_EQ(viewport.zoom(), CompareViewportZoom::minZoom);
    viewport.setZoom(1e9);
    EXPECT_EQ(viewport.zoom(), CompareViewportZoom::maxZoom);
}

TEST_F(CompareViewportTest, ScrollDirectionFollowsInvertZoomScrollAndTouchpadsZoomFiner)
{
    wheel({200, 150}, 120); // away from the user
    EXPECT_GT(viewport.zoom(), 1.0);
    viewport.fit();
    viewport.setInvertZoomScroll(false);
    wheel({200, 150}, 120);
    EXPECT_LT(viewport.zoom(), 1.0);
    const double afterWheel = viewport.zoom();
    viewport.fit();
    wheel({200, 150}, 0, QPoint(0, 15)); // fifteen touchpad pixels against fifteen wheel degrees
    EXPECT_LT(viewport.zoom(), 1.0);
    EXPECT_GT(viewport.zoom(), afterWheel);
    EXPECT_EQ(CompareViewportZoom::multiplier(1e-17, true, false), 1.0);
}

TEST_F(CompareViewportTest, ZoomKeepsTheImagePointUnderTheCursor)
{
    viewport.setPan({-30, 12});
    const QPointF cursor(290, 70);
    const QPointF before = *viewport.imagePointAt(cursor);
    wheel(cursor, 360);
    EXPECT_GT(viewport.zoom(), 1.0);
    QPointF after = *viewport.imagePointAt(cursor);
    EXPECT_NEAR(after.x(), before.x(), 1e-9);
    EXPECT_NEAR(after.y(), before.y(), 1e-9);
    pinch(cursor, -0.8);
    after = *viewport.imagePointAt(cursor);
    EXPECT_NEAR(after.x(), before.x(), 1e-9);
    EXPECT_NEAR(after.y(), before.y(), 1e-9);
}

TEST_F(CompareViewportTest, DisabledInteractionIgnoresDragScrollPinchAndKeysButReportsDoubleClicks)
{
    viewport.setInteractionDisabled(true);
    std::vector<QPointF> doubleClicks;
    int moves = 0;
    QObject::connect(&viewport, &CompareViewport::doubleClicked, [&](QPointF at) { doubleClicks.push_back(at); });
    QObject::connect(&viewport, &CompareViewport::mouseMoved, [&] { ++moves; });
    drag({200, 150}, {260, 150});
    drag({50, 50}, {90, 70});
    wheel({100, 100}, 240);
    pinch({100, 100}, 0.5);
    key(Qt::Key_Plus);
    key(Qt::Key_Right);
    key(Qt::Key_Right, Qt::ShiftModifier);
    EXPECT_EQ(viewport.split(), 0.5);
    EXPECT_EQ(viewport.zoom(), 1.0);
    EXPECT_EQ(viewport.pan(), QPointF());
    send(QMouseEvent(QEvent::MouseButtonDblClick, QPointF(20, 30), viewport.mapToGlobal(QPointF(20, 30)),
                     Qt::LeftButton, Qt::LeftButton, Qt::NoModifier));
    ASSERT_EQ(doubleClicks.size(), 1);
    EXPECT_EQ(doubleClicks.front(), QPointF(20, 30));
    EXPECT_EQ(moves, 2);
}

TEST_F(CompareViewportTest, KeyboardZoomsFitsPansAndMovesTheDivider)
{
    key(Qt::Key_Plus);
    EXPECT_DOUBLE_EQ(viewport.zoom(), 1.25);
    key(Qt::Key_Right);
    EXPECT_LT(viewport.pan().x(), 0);
    key(Qt::Key_Down);
    EXPECT_LT(viewport.pan().y(), 0);
    key(Qt::Key_0);
    EXPECT_EQ(viewport.zoom(), 1.0);
    EXPECT_EQ(viewport.pan(), QPointF());
    key(Qt::Key_Left, Qt::ShiftModifier);
    EXPECT_LT(viewport.split(), 0.5);
    key(Qt::Key_Minus);
    EXPECT_DOUBLE_EQ(viewport.zoom(), 0.8);
}

TEST_F(CompareViewportTest, OriginalShowsLeftOfTheDividerAndCompressedRightOfIt)
{
    EXPECT_EQ(pixel(100, 150), QColor(Qt::red));
    EXPECT_EQ(pixel(300, 150), QColor(Qt::blue));
    viewport.setSplit(0.9);
    EXPECT_EQ(pixel(300, 150), QColor(Qt::red));
    viewport.setSplit(0.0);
    EXPECT_EQ(pixel(30, 150), QColor(Qt::blue));
}

TEST_F(CompareViewportTest, NewCompressedGenerationReplacesTheImageAndKeepsZoomAndPan)
{
    viewport.setZoom(3);
    viewport.setPan({25, -10});
    const int generation = viewport.compressedGeneration();
    viewport.setCompressedImage(filled(200, 150, Qt::green));
    EXPECT_EQ(viewport.compressedGeneration(), generation + 1);
    EXPECT_EQ(viewport.zoom(), 3.0);
    EXPECT_EQ(viewport.pan(), QPointF(25, -10));
    EXPECT_EQ(pixel(300, 150), QColor(Qt::green));
    viewport.clear();
    EXPECT_FALSE(viewport.fittedRect().has_value());
    EXPECT_EQ(viewport.zoom(), 3.0);
}

// A large image is prepared in the background; zoomed out it is drawn from a halved level,
// which must still put every part of the image in its place.
TEST_F(CompareViewportTest, LargeImagesZoomedOutKeepTheirLayout)
{
    QImage quadrants(2400, 1800, QImage::Format_RGB32);
    {
        QPainter painter(&quadrants);
        painter.fillRect(0, 0, 1200, 900, Qt::red);
        painter.fillRect(1200, 0, 1200, 900, Qt::green);
        painter.fillRect(0, 900, 1200, 900, Qt::blue);
        painter.fillRect(1200, 900, 1200, 900, Qt::yellow);
    }
    viewport.setOriginalImage(quadrants);
    viewport.setCompressedImage(quadrants);
    const QDeadlineTimer deadline(5000);
    while (viewport.isPreparing() && !deadline.hasExpired())
        QApplication::processEvents(QEventLoop::WaitForMoreEvents, 20);
    ASSERT_FALSE(viewport.isPreparing());
    viewport.setZoom(0.5); // the image covers 100..300 x 75..225
    EXPECT_EQ(pixel(150, 100), QColor(Qt::red));
    EXPECT_EQ(pixel(250, 100), QColor(Qt::green));
    EXPECT_EQ(pixel(150, 200), QColor(Qt::blue));
    EXPECT_EQ(pixel(250, 200), QColor(Qt::yellow));
    EXPECT_NE(pixel(90, 150), QColor(Qt::red));
}

} // namespace
