// Drawing on a 6000 x 4000 picture in the canvas: the time from a pointer move to the
// repainted frame (event handling plus a synchronous paint), while dragging a
// rectangle and a pen stroke; then flattening 50 annotations (5 of them blurs) over
// the full-size picture and saving the copy as JPEG.
//   velmo-markup-bench [view width height]   (default 1400 x 900)
#include "MarkupKit/MarkupRendering.h"
#include "MarkupKit/MarkupSaver.h"
#include "MarkupKitUI/MarkupCanvas.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QMouseEvent>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <vector>

namespace {

QImage photograph(int width, int height)
{
    QImage image(width, height, QImage::Format_RGB32);
    for (int y = 0; y < height; ++y) {
        auto* line = reinterpret_cast<quint32*>(image.scanLine(y));
        for (int x = 0; x < width; ++x)
            line[x] = 0xff000000u | (quint32((x * 255 / width) ^ (y & 31)) << 16) | (quint32((y * 255 / height) ^ (x & 15)) << 8) | quint32((x / 50 + y / 50) & 1 ? 190 : 70);
    }
    return image;
}

void mouse(QWidget& widget, QEvent::Type type, QPointF at, Qt::MouseButtons buttons)
{
    QMouseEvent event(type, at, widget.mapToGlobal(at), Qt::LeftButton, buttons, Qt::NoModifier);
    QApplication::sendEvent(&widget, &event);
}

void report(const char* label, std::vector<double> times)
{
    std::sort(times.begin(), times.end());
    std::printf("  %s frame ms: max %.2f  p95 %.2f  median %.2f  (%zu frames)\n", label, times.back(),
                times[times.size() * 95 / 100], times[times.size() / 2], times.size());
}

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    const int viewWidth = argc > 2 ? std::atoi(argv[1]) : 1400, viewHeight = argc > 2 ? std::atoi(argv[2]) : 900;
    const QImage picture = photograph(6000, 4000);

    MarkupCanvas canvas;
    canvas.resize(viewWidth, viewHeight);
    canvas.show();
    // The canvas is handed the picture at full size here: the worst case.
    canvas.setPicture(picture, picture.size());
    // Let the window be exposed, so that a repaint really paints.
    for (int i = 0; i < 10; ++i) QApplication::processEvents(QEventLoop::AllEvents, 20);
    canvas.repaint();
    const QRectF r = canvas.imageRect();
    std::printf("velmo-markup-bench: picture 6000x4000, view %dx%d\n", viewWidth, viewHeight);

    // The last pass grabs the blur region made by the one before and moves it: a new
    // blur on every frame, the costliest drag there is.
    const MarkupTool tools[] = {MarkupTool::rectangle, MarkupTool::pen, MarkupTool::blur, MarkupTool::arrow};
    for (int pass = 0; pass < 4; ++pass) {
        const MarkupTool tool = tools[pass];
        canvas.engine().setTool(tool);
        std::vector<double> times;
        canvas.engine().select(std::nullopt);
        // Each drag starts where nothing is drawn yet, so it draws rather than moves.
        const double row = pass == 3 ? 0.6 : 0.3 * pass;
        QPointF at = r.topLeft() + QPointF(20, 20 + row * r.height());
        mouse(canvas, QEvent::MouseButtonPress, at, Qt::LeftButton);
        for (int i = 0; i < 300; ++i) {
            at = r.topLeft() + QPointF(20 + i * (r.width() - 60) / 300, 20 + row * r.height() + (i % 60) * 0.25 * r.height() / 60);
            QElapsedTimer timer;
            timer.start();
            mouse(canvas, QEvent::MouseMove, at, Qt::LeftButton);
            canvas.repaint();
            times.push_back(double(timer.nsecsElapsed()) / 1e6);
        }
        mouse(canvas, QEvent::MouseButtonRelease, at, Qt::NoButton);
        report(pass == 3 ? "Moving the blur" : qPrintable(title(tool)), times);
    }

    // 50 annotations: 5 blurs, the rest rectangles, ellipses, arrows, pens and texts.
    std::vector<MarkupAnnotation> annotations;
    for (int i = 0; i < 50; ++i) {
        const double x = (i % 10) / 10.0, y = (i / 10) / 5.0;
        MarkupAnnotation a;
        switch (i % 10) {
        case 0: a.shape = MarkupShape::rectShape(MarkupShape::Kind::blur, {x, y, 0.09, 0.15}); break;
        case 1: case 2: a.shape = MarkupShape::rectShape(MarkupShape::Kind::rectangle, {x, y, 0.08, 0.1}); break;
        case 3: case 4: a.shape = MarkupShape::rectShape(MarkupShape::Kind::ellipse, {x, y, 0.08, 0.1}); break;
        case 5: case 6: a.shape = MarkupShape::arrow({x, y}, {x + 0.08, y + 0.15}, {{x + 0.06, y + 0.02}}); break;
        case 7: case 8: a.shape = MarkupShape::pen({{x, y}, {x + 0.02, y + 0.05}, {x + 0.05, y + 0.03}, {x + 0.08, y + 0.12}}); break;
        default: a.shape = MarkupShape::textShape({x, y}, QStringLiteral("Note %1").arg(i), 0.02); break;
        }
        annotations.push_back(a);
    }
    QTemporaryDir folder;
    const QString source = QDir(folder.path()).filePath("photo.jpg");
    picture.save(source, "JPEG", 90);
    std::vector<double> saves;
    for (int round = 0; round < 3; ++round) {
        QElapsedTimer timer;
        timer.start();
        const auto written = MarkupSaver::saveMarkupCopy(source, annotations);
        saves.push_back(double(timer.nsecsElapsed()) / 1e6);
        if (!written) {
            std::printf("  save failed\n");
            return 1;
        }
        QFile::remove(*written);
    }
    std::sort(saves.begin(), saves.end());
    QElapsedTimer flattenTimer;
    flattenTimer.start();
    const QImage flat = MarkupFlattener::flatten(annotations, picture);
    const double flatten = double(flattenTimer.nsecsElapsed()) / 1e6;
    std::printf("  flatten 50 annotations (5 blurs) over 24 MP: %.0f ms; read + flatten + JPEG save: median %.0f ms, max %.0f ms\n",
                flatten, saves[1], saves[2]);
    return flat.isNull() ? 1 : 0;
}
