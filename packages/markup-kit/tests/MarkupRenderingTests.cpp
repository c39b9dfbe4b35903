#include "MarkupKit/MarkupEngine.h"
#include "MarkupKit/MarkupRendering.h"

#include <QPainter>

#include <gtest/gtest.h>

#include <cmath>

namespace {

QImage photo(int width, int height)
{
    QImage image(width, height, QImage::Format_RGB32);
    image.fill(QColor(200, 200, 200));
    return image;
}

// The sum of squared Laplacians: how much fine detail (edges of letters) a region holds.
double highFrequencyEnergy(const QImage& image, const QRect& region)
{
    const QImage gray = image.convertToFormat(QImage::Format_Grayscale8);
    double energy = 0;
    for (int y = region.top() + 1; y < region.bottom(); ++y)
        for (int x = region.left() + 1; x < region.right(); ++x) {
            const auto at = [&](int px, int py) { return double(gray.constScanLine(py)[px]); };
            const double laplacian = 4 * at(x, y) - at(x - 1, y) - at(x + 1, y) - at(x, y - 1) - at(x, y + 1);
            energy += laplacian * laplacian;
        }
    return energy;
}

// Unsharp masking: what someone trying to read a blurred text would do first.
QImage sharpened(const QImage& image)
{
    const QImage blurred = MarkupBlurRenderer::gaussianBlur(image, 2);
    QImage out = image.convertToFormat(QImage::Format_RGB32);
    for (int y = 0; y < out.height(); ++y)
        for (int x = 0; x < out.width(); ++x) {
            const QColor a = image.pixelColor(x, y), b = blurred.pixelColor(x, y);
            const auto boost = [](int v, int w) { return std::clamp(v + 4 * (v - w), 0, 255); };
            out.setPixelColor(x, y, QColor(boost(a.red(), b.red()), boost(a.green(), b.green()), boost(a.blue(), b.blue())));
        }
    return out;
}

} // namespace

// A rectangle drawn on the canvas at a quarter of the size lands on the same pixels
// of the full-size output, with a line as wide relative to the picture.
TEST(MarkupRendering, ARectangleDrawnAtAQuarterLandsOnTheSamePixelsAtFullSize)
{
    const QImage source = photo(800, 600);
    MarkupEngine engine;
    const QRectF shown(10, 20, 200, 150);
    engine.imageRectProvider = [&] { return std::optional(shown); };
    engine.setStrokeColor(Qt::red);
    engine.beginInteraction({60, 45});
    engine.mouseDragged({85, 70});
    engine.mouseDragged({110, 95});
    engine.mouseUp({110, 95});
    ASSERT_EQ(engine.annotations().size(), 1u);

    const QImage flat = MarkupFlattener::flatten(engine.annotations(), source);
    ASSERT_EQ(flat.size(), source.size());
    // The view's (60,45)-(110,95) is the image's (200,100)-(400,300); 3 view pixels of line are 12.
    for (QPoint edge : {QPoint(200, 200), QPoint(400, 200), QPoint(300, 100), QPoint(300, 300), QPoint(205, 200)})
        EXPECT_EQ(flat.pixelColor(edge), QColor(Qt::red)) << edge.x() << "," << edge.y();
    for (QPoint away : {QPoint(190, 200), QPoint(300, 200), QPoint(410, 200), QPoint(300, 90), QPoint(215, 200)})
        EXPECT_EQ(flat.pixelColor(away), QColor(200, 200, 200)) << away.x() << "," << away.y();

    // The canvas draws the same annotation in its own rectangle, at the same place.
    QImage canvas(220, 180, QImage::Format_RGB32);
    canvas.fill(Qt::white);
    QPainter painter(&canvas);
    engine.select(std::nullopt);
    engine.draw(painter, nullptr);
    painter.end();
    EXPECT_EQ(canvas.pixelColor(60, 70), QColor(Qt::red));
    EXPECT_EQ(canvas.pixelColor(85, 70), QColor(Qt::white));
}

// A blur over text leaves too little fine detail to read it, even sharpened, while
// the text beside it keeps its own.
TEST(MarkupRendering, BlurLeavesNoReadableDetailEvenWhenSharpened)
{
    QImage source(900, 300, QImage::Format_RGB32);
    source.fill(Qt::white);
    {
        QPainter painter(&source);
        QFont font;
        font.setPixelSize(28);
        painter.setFont(font);
        painter.setPen(Qt::black);
        painter.drawText(QRect(20, 20, 860, 260), Qt::TextWordWrap,
                         QStringLiteral("Account 4929 1234 5678 9012, PIN 4417. Account 4929 1234 5678 9012, PIN 4417."));
    }
    const QRect covered(0, 0, 450, 300), open(450, 0, 450, 300);
    const double before = highFrequencyEnergy(source, covered);
    ASSERT_GT(before, 0);

    MarkupAnnotation blur {MarkupShape::rectShape(MarkupShape::Kind::blur, {0, 0, 0.5, 1})};
    const QImage flat = MarkupFlattener::flatten({blur}, source);
    const QRect inner = covered.adjusted(4, 4, -4, -4);
    EXPECT_LT(highFrequencyEnergy(flat, inner), 0.01 * highFrequencyEnergy(source, inner));
    EXPECT_LT(highFrequencyEnergy(sharpened(flat), inner), 0.05 * highFrequencyEnergy(source, inner));
    EXPECT_EQ(highFrequencyEnergy(flat, open), highFrequencyEnergy(source, open));
}

TEST(MarkupRendering, BlurRadiusFollowsThePictureWithinItsBounds)
{
    EXPECT_EQ(MarkupBlurRenderer::radius({400, 300}), 8);
    EXPECT_EQ(MarkupBlurRenderer::radius({2000, 1500}), 15);
    EXPECT_EQ(MarkupBlurRenderer::radius({5000, 4000}), 32);
    EXPECT_TRUE(MarkupBlurRenderer::blurredRegion(photo(100, 100), {0.5, 0.5, 0.001, 0.5}).isNull());
}

// Arrow heads: never longer than 60% of a short arrow; a zero head scale draws no
// head and keeps the whole shaft; the half angle stops at 60 degrees.
TEST(MarkupRendering, ArrowHeadsKeepToTheirLimits)
{
    const auto inkAt = [](double headScale, double widthScale, QPoint probe) {
        QImage image(200, 100, QImage::Format_RGB32);
        image.fill(Qt::white);
        QPainter painter(&image);
        painter.setRenderHint(QPainter::Antialiasing, false);
        MarkupArrowRenderer::draw(painter, {20, 50}, {180, 50}, {}, 4, headScale, widthScale, MarkupArrowheadStyle::end,
                                  Qt::black, false);
        painter.end();
        return image.pixelColor(probe) != QColor(Qt::white);
    };
    // Head length 4 x 5 = 20: its base at x = 160, as wide as tan(pi/7) x 20 = 9.6 each side.
    EXPECT_TRUE(inkAt(5, 1, {163, 57}));
    EXPECT_FALSE(inkAt(5, 1, {163, 62}));
    EXPECT_FALSE(inkAt(0, 1, {163, 57}));
    EXPECT_TRUE(inkAt(0, 1, {179, 50}));
    // A scale of 10 would open past 60 degrees: tan 60 x 20 = 34.6 reaches y = 84 at most.
    EXPECT_TRUE(inkAt(5, 10, {161, 82}));
    EXPECT_FALSE(inkAt(5, 10, {161, 88}));
    // An arrow 10 long with a head of 20 asked for: the head is 6, its base at x = 24.
    QImage shortArrow(60, 60, QImage::Format_RGB32);
    shortArrow.fill(Qt::white);
    QPainter painter(&shortArrow);
    MarkupArrowRenderer::draw(painter, {20, 30}, {30, 30}, {}, 4, 5, 1, MarkupArrowheadStyle::end, Qt::black, false);
    painter.end();
    EXPECT_LT(shortArrow.pixelColor(25, 31).lightness(), 200);
    EXPECT_EQ(shortArrow.pixelColor(14, 36), QColor(Qt::white));
}
