// Pans, wheel zooms and divider drags over a 6000 x 4000 original / compressed pair in the
// comparison viewport on the offscreen platform, one synchronous repaint per event, and prints
// the per-frame time (event handling plus paint) as max, p95 and median.
//   velmo-compare-frames [width height]   (the view's size, default 1600 x 1000)
#include "MediaCompressionViews/CompareViewport.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QMouseEvent>
#include <QWheelEvent>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <vector>

namespace {

// Fine detail everywhere, so that filtering costs what it costs on a photograph.
QImage generatedImage(int width, int height, std::uint32_t tint)
{
    QImage image(width, height, QImage::Format_RGB32);
    for (int y = 0; y < height; ++y) {
        auto* line = reinterpret_cast<std::uint32_t*>(image.scanLine(y));
        for (int x = 0; x < width; ++x) {
            const std::uint32_t r = (x * 255 / width) ^ (y & 0x0f);
            const std::uint32_t g = (y * 255 / height) ^ (x & 0x0f);
            const std::uint32_t b = ((x / 64 + y / 64) & 1) ? 200 : 60;
            line[x] = (0xff000000U | (r << 16) | (g << 8) | b) ^ tint;
        }
    }
    return image;
}

void send(QWidget& widget, QEvent&& event) { QApplication::sendEvent(&widget, &event); }

void mouse(QWidget& widget, QEvent::Type type, QPointF point, Qt::MouseButtons buttons)
{
    send(widget, QMouseEvent(type, point, widget.mapToGlobal(point), Qt::LeftButton, buttons, Qt::NoModifier));
}

void wheel(QWidget& widget, QPointF point, int angle)
{
    send(widget, QWheelEvent(point, widget.mapToGlobal(point), QPoint(), QPoint(0, angle), Qt::NoButton,
                             Qt::NoModifier, Qt::NoScrollPhase, false));
}

double percentile(std::vector<double> values, double fraction)
{
    std::sort(values.begin(), values.end());
    return values[std::min(values.size() - 1, std::size_t(fraction * double(values.size())))];
}

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    const int viewWidth = argc > 2 ? std::atoi(argv[1]) : 1600;
    const int viewHeight = argc > 2 ? std::atoi(argv[2]) : 1000;

    CompareViewport viewport;
    viewport.resize(viewWidth, viewHeight);
    viewport.show();
    const QImage original = generatedImage(6000, 4000, 0);
    const QImage compressed = generatedImage(6000, 4000, 0x00070307);

    QElapsedTimer preparation;
    preparation.start();
    viewport.setOriginalImage(original);
    viewport.setCompressedImage(compressed);
    while (viewport.isPreparing())
        QApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
    const double preparationMs = double(preparation.nsecsElapsed()) / 1e6;
    viewport.repaint();

    std::vector<double> frames;
    std::vector<double> zoomedIn;
    auto frame = [&](const std::function<void()>& action) {
        QElapsedTimer timer;
        timer.start();
        action();
        viewport.repaint();
        const double ms = double(timer.nsecsElapsed()) / 1e6;
        frames.push_back(ms);
        if (viewport.zoom() > 1)
            zoomedIn.push_back(ms);
    };

    const QPointF centre(viewWidth / 2.0, viewHeight / 2.0);
    const QPointF panStart(viewWidth * 0.2, viewHeight * 0.3);
    for (int round = 0; round < 3; ++round) {
        // Zoom in about an off-centre point from 0.25 to 32, then back out.
        viewport.setZoom(0.25);
        viewport.setPan({});
        const QPointF cursor(viewWidth * 0.35, viewHeight * 0.6);
        for (int step = 0; step < 60; ++step)
            frame([&] { wheel(viewport, cursor, 120); });
        for (int step = 0; step < 60; ++step)
            frame([&] { wheel(viewport, cursor, -120); });
        // Pan at three zoom levels, 100 frames each.
        for (double zoom : {0.6, 1.0, 3.0}) {
            viewport.setZoom(zoom);
            viewport.setPan({});
            mouse(viewport, QEvent::MouseButtonPress, panStart, Qt::LeftButton);
            for (int step = 1; step <= 100; ++step)
                frame([&] { mouse(viewport, QEvent::MouseMove, panStart + QPointF(step * 6, step * 3), Qt::LeftButton); });
            mouse(viewport, QEvent::MouseButtonRelease, panStart + QPointF(600, 300), Qt::NoButton);
        }
        // Drag the divider across the view and back at zoom 1.
        viewport.fit();
        viewport.setSplit(0.5);
        mouse(viewport, QEvent::MouseButtonPress, centre, Qt::LeftButton);
        for (int step = 1; step <= 100; ++step) {
            const double offset = (step <= 50 ? step : 100 - step) * viewWidth / 120.0;
            frame([&] { mouse(viewport, QEvent::MouseMove, centre + QPointF(offset, 0), Qt::LeftButton); });
        }
        mouse(viewport, QEvent::MouseButtonRelease, centre, Qt::NoButton);
    }

    // Frames at rest, once the viewport has switched to filtered drawing.
    std::vector<double> resting;
    for (double zoom : {0.3, 0.6, 0.9, 1.0, 4.0}) {
        viewport.setZoom(zoom);
        QElapsedTimer wait;
        wait.start();
        while (wait.elapsed() < 300)
            QApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
        QElapsedTimer timer;
        timer.start();
        viewport.repaint();
        resting.push_back(double(timer.nsecsElapsed()) / 1e6);
    }

    std::printf("velmo-compare-frames: view %dx%d, pair 6000x4000, %zu frames\n", viewWidth, viewHeight,
                frames.size());
    std::printf("  prepare both images (off the main thread): %.1f ms\n", preparationMs);
    std::printf("  frame ms: max %.2f  p95 %.2f  median %.2f\n", *std::max_element(frames.begin(), frames.end()),
                percentile(frames, 0.95), percentile(frames, 0.5));
    if (!zoomedIn.empty())
        std::printf("  zoom > 1 frame ms: max %.2f  median %.2f\n",
                    *std::max_element(zoomedIn.begin(), zoomedIn.end()), percentile(zoomedIn, 0.5));
    std::printf("  at rest, filtered, zoom 0.3 0.6 0.9 1 4:");
    for (const double ms : resting)
        std::printf(" %.2f", ms);
    std::printf(" ms\n");
    return *std::max_element(frames.begin(), frames.end()) <= 16.0 ? 0 : 1;
}
