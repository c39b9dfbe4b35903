// The comparison loaders on real files in a temporary folder: scaling, orientation, the plug-in
// decoder for formats Qt cannot read, PDF pages, and what comes back for unusable input.
#include "MediaCompressionViews/ImageComparisonImageLoader.h"
#include "MediaCompressionViews/PDFComparisonImageLoader.h"

#include <QBuffer>
#include <QFile>
#include <QPageSize>
#include <QPainter>
#include <QPdfWriter>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace {

// A landscape image, red on the left and blue on the right.
QImage twoColourImage(int width, int height)
{
    QImage image(width, height, QImage::Format_RGB32);
    QPainter painter(&image);
    painter.fillRect(0, 0, width / 2, height, Qt::red);
    painter.fillRect(width / 2, 0, width - width / 2, height, Qt::blue);
    return image;
}

QByteArray encoded(const QImage& image, const char* format)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, format, 95);
    return bytes;
}

// Inserts an Exif block whose orientation tag says "rotate 90 degrees clockwise to view",
// as cameras write for portrait shots.
QByteArray withRotatedOrientation(const QByteArray& jpeg)
{
    const QByteArray exif = QByteArray::fromHex("ffe10022" // APP1, 34 bytes
                                                "457869660000" // "Exif\0\0"
                                                "4d4d002a00000008" // big-endian TIFF, first IFD at 8
                                                "0001" "011200030000000100060000" // orientation = 6
                                                "00000000");
    return jpeg.left(2) + exif + jpeg.mid(2);
}

bool isRoughly(QColor actual, QColor expected)
{
    return std::abs(actual.red() - expected.red()) < 40 && std::abs(actual.green() - expected.green()) < 40
           && std::abs(actual.blue() - expected.blue()) < 40;
}

class ComparisonImageLoaderTest : public ::testing::Test {
protected:
    void TearDown() override { ImageComparisonImageLoader::setFallbackDecoder({}); }
    QString write(const QString& name, const QByteArray& bytes)
    {
        const QString path = folder.filePath(name);
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
        return path;
    }
    QTemporaryDir folder;
};

TEST_F(ComparisonImageLoaderTest, ScalesTheLongerSideToMaxPixelFromFilesAndBytes)
{
    struct Case {
        int maxPixel;
        QSize expected;
    };
    const QByteArray png = encoded(twoColourImage(300, 120), "PNG");
    const QString path = write("wide.png", png);
    for (const Case c : {Case{100, {100, 40}}, Case{300, {300, 120}}, Case{1000, {300, 120}}, Case{0, {300, 120}}}) {
        SCOPED_TRACE(c.maxPixel);
        for (const QImage& image :
             {ImageComparisonImageLoader::imageAt(path, c.maxPixel), ImageComparisonImageLoader::imageFrom(png, c.maxPixel)}) {
            EXPECT_EQ(image.size(), c.expected);
            EXPECT_TRUE(isRoughly(image.pixelColor(2, 2), Qt::red));
            EXPECT_TRUE(isRoughly(image.pixelColor(image.width() - 3, 2), Qt::blue));
        }
    }
}

TEST_F(ComparisonImageLoaderTest, AppliesTheOrientationTag)
{
    const QString path = write("portrait.jpg", withRotatedOrientation(encoded(twoColourImage(400, 200), "JPEG")));
    const QImage image = ImageComparisonImageLoader::imageAt(path, 100);
    ASSERT_EQ(image.size(), QSize(50, 100));
    // Turned clockwise, the left (red) half is now on top.
    EXPECT_TRUE(isRoughly(image.pixelColor(25, 10), Qt::red));
    EXPECT_TRUE(isRoughly(image.pixelColor(25, 90), Qt::blue));
}

TEST_F(ComparisonImageLoaderTest, UnreadableInputGivesNothingUnlessTheFallbackDecoderReadsIt)
{
    const QByteArray unknown("\x00\x00\x00\x1c" "ftypavif not really", 23);
    const QString path = write("photo.avif", unknown);
    EXPECT_TRUE(ImageComparisonImageLoader::imageFrom(unknown, 100).isNull());
    EXPECT_TRUE(ImageComparisonImageLoader::imageAt(path, 100).isNull());
    EXPECT_TRUE(ImageComparisonImageLoader::imageAt(folder.filePath("missing.png"), 100).isNull());
    EXPECT_TRUE(ImageComparisonImageLoader::imageFrom(QByteArray(), 100).isNull());

    std::atomic<int> calls = 0;
    ImageComparisonImageLoader::setFallbackDecoder([&](const QByteArray& data, int) {
        ++calls;
        // Ignores maxPixel on purpose: the loader still delivers the requested size.
        return data == unknown ? twoColourImage(400, 200) : QImage();
    });
    EXPECT_EQ(ImageComparisonImageLoader::imageFrom(unknown, 100).size(), QSize(100, 50));
    EXPECT_EQ(ImageComparisonImageLoader::imageAt(path, 100).size(), QSize(100, 50));
    EXPECT_TRUE(ImageComparisonImageLoader::imageFrom("garbage", 100).isNull());
    // Images Qt reads never reach the fallback.
    EXPECT_FALSE(ImageComparisonImageLoader::imageFrom(encoded(twoColourImage(8, 8), "PNG"), 100).isNull());
    EXPECT_EQ(calls, 3);
}

TEST_F(ComparisonImageLoaderTest, LoadsFromSeveralThreadsAtOnce)
{
    const QString path = write("shared.jpg", encoded(twoColourImage(640, 480), "JPEG"));
    std::atomic<int> loaded = 0;
    std::vector<std::thread> threads;
    for (int index = 0; index < 4; ++index)
        threads.emplace_back([&] {
            for (int round = 0; round < 5; ++round)
                loaded += ImageComparisonImageLoader::imageAt(path, 160).size() == QSize(160, 120);
        });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(loaded, 20);
}

TEST_F(ComparisonImageLoaderTest, RendersAPdfPageWithItsLongerSideAtMaxPixelOnWhitePaper)
{
    const QString path = folder.filePath("pages.pdf");
    {
        QPdfWriter writer(path);
        writer.setPageSize(QPageSize(QSizeF(200, 100), QPageSize::Millimeter, QString(), QPageSize::ExactMatch));
        writer.setPageMargins(QMarginsF());
        writer.setResolution(72);
        QPainter painter(&writer);
        const QRect page = painter.viewport();
        painter.fillRect(QRect(0, 0, page.width() / 2, page.height()), Qt::red);
        writer.newPage();
        painter.fillRect(QRect(0, 0, page.width(), page.height()), Qt::blue);
    }
    const QImage first = PDFComparisonImageLoader::imageAt(path, 0, 400);
    ASSERT_EQ(first.size(), QSize(400, 200));
    EXPECT_TRUE(isRoughly(first.pixelColor(50, 100), Qt::red));
    EXPECT_TRUE(isRoughly(first.pixelColor(350, 100), Qt::white));
    EXPECT_TRUE(isRoughly(PDFComparisonImageLoader::imageAt(path, 1, 80).pixelColor(40, 20), Qt::blue));

    EXPECT_TRUE(PDFComparisonImageLoader::imageAt(path, 2, 400).isNull());
    EXPECT_TRUE(PDFComparisonImageLoader::imageAt(path, -1, 400).isNull());
    EXPECT_TRUE(PDFComparisonImageLoader::imageAt(path, 0, 0).isNull());
    EXPECT_TRUE(PDFComparisonImageLoader::imageAt(write("not.pdf", "plain text, no document"), 0, 400).isNull());
}

} // namespace
