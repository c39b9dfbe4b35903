// The image processor on real photographs and on images made for one edge case each.
#include "ImageTestSupport.h"

#include <MediaCompression/AvifCodec.h>
#include <MediaCompression/ImageProcessor.h>

#include <QFileInfo>
#include <QProcess>

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>


using namespace ImageTestSupport;

namespace {

const ImageProcessor& processor()
{
    static const ImageProcessor shared;
    return shared;
}

bool canWrite(OutputFormat format)
{
    const std::vector<OutputFormat> formats = processor().supportedOutputFormats();
    return std::find(formats.begin(), formats.end(), format) != formats.end();
}

// --- Real photographs ---------------------------------------------------------------------

class BackgroundPhotographs : public ::testing::TestWithParam<OutputFormat> { };

TEST_P(BackgroundPhotographs, ShrinkToAQuarterAndDecodeBackInTheChosenFormat)
{
    const QStringList photographs = backgroundPhotographs();
    if (photographs.isEmpty()) GTEST_SKIP() << "gnome-backgrounds is not installed";
    if (!canWrite(GetParam())) GTEST_SKIP() << "this build cannot write " << rawValue(GetParam()).toStdString();
    const QString& photograph = photographs.front();

    const auto info = processor().info(photograph);
    ASSERT_TRUE(info.has_value());
    EXPECT_EQ(*info, (ImageInfo { QFileInfo(photograph).size(), 4096, 4096, "WEBP" }));

    const auto result = processor().compressImage(photograph, { GetParam(), 70, 10, "_c" });
    ASSERT_TRUE(result.has_value()) << result.error().errorDescription().toStdString();
    EXPECT_EQ(result->width, 409);
    EXPECT_EQ(result->height, 409);
    const QImage image = decoded(result->data);
    EXPECT_EQ(image.size(), QSize(409, 409));
    const OutputFormat expected = GetParam() == OutputFormat::original ? OutputFormat::webp : GetParam();
    if (expected != OutputFormat::png) {
        EXPECT_LT(result->data.size(), info->sizeBytes / 10);
    }
    EXPECT_EQ(result->outputFormat, expected);
    EXPECT_EQ(result->outputFileExtension, fileExtension(expected));
    EXPECT_EQ(formatOf(result->data), rawValue(expected).toLatin1());
}

INSTANTIATE_TEST_SUITE_P(Formats, BackgroundPhotographs,
                         ::testing::Values(OutputFormat::original, OutputFormat::jpeg, OutputFormat::png,
                                           OutputFormat::webp, OutputFormat::avif),
                         [](const auto& info) { return rawValue(info.param).toStdString(); });

TEST(ImageProcessor, LowestTenthOfQualityPixelatesLossyOutputsOnly)
{
    const QStringList photographs = backgroundPhotographs();
    if (photographs.isEmpty()) GTEST_SKIP() << "gnome-backgrounds is not installed";
    const QString& photograph = photographs.front();
    const auto reference = processor().compressImage(photograph, { OutputFormat::png, 100, 8, "" });
    ASSERT_TRUE(reference.has_value());
    const QImage original = decoded(reference->data);
    for (const OutputFormat format : { OutputFormat::jpeg, OutputFormat::webp, OutputFormat::avif }) {
        if (!canWrite(format)) continue;
        const auto at11 = processor().compressImage(photograph, { format, 11, 8, "" });
        const auto at10 = processor().compressImage(photograph, { format, 10, 8, "" });
        ASSERT_TRUE(at11 && at10) << rawValue(format).toStdString();
        EXPECT_EQ(QSize(at10->width, at10->height), original.size());
        // Blocks of about four pixels lose far more than one step of encoder quality does.
        const double error11 = meanAbsoluteDifference(decoded(at11->data), original);
        const double error10 = meanAbsoluteDifference(decoded(at10->data), original);
        EXPECT_GT(error10, error11 * 1.5) << rawValue(format).toStdString();
    }
    // PNG is lossless: quality means nothing to it, so 1 and 100 give the same file.
    const auto pngAt1 = processor().compressImage(photograph, { OutputFormat::png, 1, 8, "" });
    ASSERT_TRUE(pngAt1.has_value());
    EXPECT_EQ(pngAt1->data, reference->data);
}

// --- Output format resolution -------------------------------------------------------------

struct SourceCase {
    const char* name;
    QByteArray (*make)();
    OutputFormat expectedFormat;
    const char* expectedExtension;
    const char* expectedEncoding;
};

QByteArray pngSource() { return encoded(photoLike(48, 32), "png"); }
QByteArray jpegSource() { return encoded(photoLike(48, 32), "jpeg", 90); }
QByteArray bmpSource() { return encoded(photoLike(48, 32), "bmp"); }
QByteArray webpSource() { return encoded(photoLike(48, 32), "webp", 90); }
QByteArray gifSource() { return animatedGif(48, 32, { Qt::red, Qt::blue }); }
QByteArray avifSource() { return AvifCodec::encode(photoLike(48, 32), 90).value_or(QByteArray()); }

class OriginalFormat : public ::testing::TestWithParam<SourceCase> { };

TEST_P(OriginalFormat, KeepsWritableSourcesAndFallsBackToJpeg)
{
    const SourceCase& source = GetParam();
    QTemporaryDir folder;
    const QString path = writeFile(folder, QString::fromLatin1(source.name), source.make());
    const auto result = processor().compressImage(path, { OutputFormat::original, 80, 100, "" });
    ASSERT_TRUE(result.has_value()) << result.error().errorDescription().toStdString();
    EXPECT_EQ(result->outputFormat, source.expectedFormat);
    EXPECT_EQ(result->outputFileExtension, source.expectedExtension);
    EXPECT_EQ(formatOf(result->data), source.expectedEncoding);
    EXPECT_EQ(decoded(result->data).size(), QSize(48, 32));
}

INSTANTIATE_TEST_SUITE_P(
    Sources, OriginalFormat,
    ::testing::Values(SourceCase { "a.png", pngSource, OutputFormat::png, "png", "png" },
                      SourceCase { "a.jpeg", jpegSource, OutputFormat::jpeg, "jpg", "jpeg" },
                      SourceCase { "a.webp", webpSource, OutputFormat::webp, "webp", "webp" },
                      SourceCase { "a.avif", avifSource, OutputFormat::avif, "avif", "avif" },
                      // Writable, but none of the four: kept as it is.
                      SourceCase { "a.bmp", bmpSource, OutputFormat::original, "bmp", "bmp" },
                      // Nothing here writes GIF.
                      SourceCase { "a.gif", gifSource, OutputFormat::jpeg, "jpg", "jpeg" }),
    [](const auto& info) { return std::string(info.param.expectedEncoding) + "_from_" + std::to_string(info.index); });

TEST(ImageProcessor, FormatsThisBuildCannotWriteAreRefusedByName)
{
    QTemporaryDir folder;
    const QString gif = writeFile(folder, "a.gif", animatedGif(8, 8, { Qt::green }));
    const ImageProcessor pngOnly(QSet<QByteArray> { "png" });
    EXPECT_EQ(pngOnly.supportedOutputFormats(), (std::vector { OutputFormat::original, OutputFormat::jpeg, OutputFormat::png }));
    const auto fallback = pngOnly.compressImage(gif, { OutputFormat::original, 80, 100, "" });
    ASSERT_TRUE(fallback.has_value());
    EXPECT_EQ(fallback->outputFormat, OutputFormat::png);
    EXPECT_EQ(fallback->outputFileExtension, "png");

    const auto webp = pngOnly.compressImage(gif, { OutputFormat::webp, 80, 100, "" });
    ASSERT_FALSE(webp.has_value());
    EXPECT_EQ(webp.error().errorDescription(), "Ausgabeformat nicht unterstützt: WebP");

    const ImageProcessor nothing(QSet<QByteArray> {});
    const auto none = nothing.compressImage(gif, { OutputFormat::original, 80, 100, "" });
    ASSERT_FALSE(none.has_value());
    EXPECT_EQ(none.error().errorDescription(), "Ausgabeformat nicht unterstützt: PNG");
}

TEST(ImageProcessor, TransparencyIsKeptWhereTheFormatHoldsItAndLaidOnWhiteForJpeg)
{
    QImage halfRed(40, 40, QImage::Format_ARGB32);
    halfRed.fill(Qt::transparent);
    for (int y = 0; y < 40; ++y) {
        for (int x = 0; x < 20; ++x) halfRed.setPixelColor(x, y, Qt::red);
    }
    QTemporaryDir folder;
    const QString path = writeFile(folder, "half.png", encoded(halfRed, "png"));
    for (const OutputFormat format : { OutputFormat::png, OutputFormat::webp, OutputFormat::avif, OutputFormat::jpeg }) {
        if (!canWrite(format)) continue;
        const auto result = processor().compressImage(path, { format, 90, 100, "" });
        ASSERT_TRUE(result.has_value()) << rawValue(format).toStdString();
        const QImage image = decoded(result->data);
        const QColor opaque = image.pixelColor(8, 20);
        const QColor clear = image.pixelColor(32, 20);
        EXPECT_GT(opaque.red(), 230) << rawValue(format).toStdString();
        EXPECT_LT(opaque.green(), 30) << rawValue(format).toStdString();
        EXPECT_EQ(opaque.alpha(), 255) << rawValue(format).toStdString();
        if (format == OutputFormat::jpeg) {
            EXPECT_GT(std::min({ clear.red(), clear.green(), clear.blue() }), 240);
        } else {
            EXPECT_LT(clear.alpha(), 10) << rawValue(format).toStdString();
        }
    }
}

// --- Sizes and orientation ----------------------------------------------------------------

struct ScaleCase {
    QByteArray (*make)(QSize size);
    QSize source;
    int scalePercent;
    QSize expected;
};

QByteArray plainPng(QSize size) { return encoded(photoLike(size.width(), size.height()), "png"); }
// Tagged "turn 90° clockwise to view": applied when scaling only, as a thumbnail would be.
QByteArray turnedJpeg(QSize size) { return jpegWithOrientation(photoLike(size.width(), size.height()), 6); }

class Scaling : public ::testing::TestWithParam<ScaleCase> { };

TEST_P(Scaling, LongerSideBecomesItsShareTruncated)
{
    QTemporaryDir folder;
    const QString path = writeFile(folder, "s", GetParam().make(GetParam().source));
    const auto result = processor().compressImage(path, { OutputFormat::png, 80, GetParam().scalePercent, "" });
    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(QSize(result->width, result->height), GetParam().expected);
    EXPECT_EQ(decoded(result->data).size(), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Sizes, Scaling,
                         ::testing::Values(ScaleCase { plainPng, { 1, 1 }, 1, { 1, 1 } },
                                           ScaleCase { plainPng, { 400, 200 }, 50, { 200, 100 } },
                                           ScaleCase { plainPng, { 199, 50 }, 50, { 99, 25 } },
                                           ScaleCase { plainPng, { 3, 401 }, 33, { 1, 132 } },
                                           ScaleCase { plainPng, { 120, 80 }, 100, { 120, 80 } },
                                           ScaleCase { plainPng, { 120, 80 }, 250, { 120, 80 } },
                                           ScaleCase { turnedJpeg, { 80, 40 }, 100, { 80, 40 } },
                                           ScaleCase { turnedJpeg, { 80, 40 }, 50, { 20, 40 } }));

// --- Hostile and unusual input ------------------------------------------------------------

enum class Expect { success, readError, decodeError };

struct HostileCase {
    const char* name;
    QByteArray (*make)();
    int scalePercent;
    Expect expect;
    QSize expectedSize; // for success
};

QByteArray emptyFile() { return {}; }
QByteArray textFile() { return "not an image at all\n"; }
QByteArray truncatedPng() { return pngSource().left(pngSource().size() / 2); }
QByteArray truncatedJpeg() { return jpegSource().left(jpegSource().size() / 2); }
QByteArray hugePng() { return pngDeclaring(30000, 30000); }
QByteArray hugeJpeg() { return jpegDeclaring(30000, 30000); }
QByteArray sixteenBitPng()
{
    QImage deep = photoLike(40, 30).convertToFormat(QImage::Format_RGBA64);
    deep.setPixelColor(0, 0, QColor::fromRgba64(65535, 1, 30000, 40000));
    return encoded(deep, "png");
}
QByteArray corruptAvif()
{
    QByteArray avif = avifSource();
    return avif.left(avif.size() * 2 / 3);
}

class HostileInput : public ::testing::TestWithParam<HostileCase> { };

TEST_P(HostileInput, GivesAClearErrorOrACorrectImage)
{
    const HostileCase& input = GetParam();
    QTemporaryDir folder;
    const QString path = writeFile(folder, QString::fromLatin1(input.name), input.make());
    const auto result = processor().compressImage(path, { OutputFormat::jpeg, 80, input.scalePercent, "" });
    switch (input.expect) {
    case Expect::success:
        ASSERT_TRUE(result.has_value()) << result.error().errorDescription().toStdString();
        EXPECT_EQ(QSize(result->width, result->height), input.expectedSize);
        EXPECT_EQ(decoded(result->data).size(), input.expectedSize);
        break;
    case Expect::readError:
        ASSERT_FALSE(result.has_value());
        EXPECT_EQ(result.error().errorDescription(), "Bild konnte nicht gelesen werden.");
        EXPECT_FALSE(processor().info(path).has_value());
        break;
    case Expect::decodeError:
        ASSERT_FALSE(result.has_value());
        EXPECT_EQ(result.error().errorDescription(), "Bild konnte nicht dekodiert werden.");
        break;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Files, HostileInput,
    ::testing::Values(HostileCase { "empty.png", emptyFile, 100, Expect::readError, {} },
                      HostileCase { "text.jpg", textFile, 100, Expect::readError, {} },
                      HostileCase { "truncated.png", truncatedPng, 100, Expect::decodeError, {} },
                      // libjpeg fills what is missing with grey: a picture of the right size.
                      HostileCase { "truncated.jpg", truncatedJpeg, 100, Expect::success, { 48, 32 } },
                      HostileCase { "corrupt.avif", corruptAvif, 100, Expect::readError, {} },
                      // Declared 30,000 × 30,000: 3.6 GB decoded, over the budget at any scale for
                      // PNG, which can only be decoded whole ...
                      HostileCase { "huge.png", hugePng, 100, Expect::decodeError, {} },
                      HostileCase { "huge-scaled.png", hugePng, 5, Expect::decodeError, {} },
                      // ... while JPEG decodes at an eighth of its size when a tenth is asked for.
                      HostileCase { "huge.jpg", hugeJpeg, 100, Expect::decodeError, {} },
                      HostileCase { "huge-scaled.jpg", hugeJpeg, 10, Expect::success, { 3000, 3000 } },
                      HostileCase { "deep.png", sixteenBitPng, 100, Expect::success, { 40, 30 } }),
    [](const auto& info) { return "case" + std::to_string(info.index); });

// Animated sources give their first frame; CMYK JPEG comes out in the right colours. The
// tools make what Qt cannot write; a source is skipped when its tool is missing.
struct RedSourceCase {
    const char* name;
    const char* program; // nullptr: written here
    QStringList (*prepare)(const QTemporaryDir& folder);
};

QStringList gifArguments(const QTemporaryDir& folder)
{
    writeFile(folder, "source", animatedGif(60, 40, { Qt::red, Qt::blue }));
    return {};
}

QStringList cmykJpegArguments(const QTemporaryDir& folder)
{
    return { "-q", "-dNOPAUSE", "-dBATCH", "-dSAFER", "-sDEVICE=jpegcmyk", "-g60x40",
             "-sOutputFile=" + folder.filePath("source"), "-c", "1 0 0 setrgbcolor 0 0 60 40 rectfill showpage" };
}

QStringList animatedWebpArguments(const QTemporaryDir& folder)
{
    QImage frame(60, 40, QImage::Format_RGB32);
    frame.fill(Qt::red);
    writeFile(folder, "red.png", encoded(frame, "png"));
    frame.fill(Qt::blue);
    writeFile(folder, "blue.png", encoded(frame, "png"));
    return { "-lossless", folder.filePath("red.png"), "-d", "100", folder.filePath("blue.png"), "-o", folder.filePath("source") };
}

class RedSource : public ::testing::TestWithParam<RedSourceCase> { };

TEST_P(RedSource, DecodesToTheFirstFramesColours)
{
    QTemporaryDir folder;
    const QStringList arguments = GetParam().prepare(folder);
    if (GetParam().program) {
        QProcess tool;
        tool.start(GetParam().program, arguments);
        if (!tool.waitForFinished(30000) || tool.exitCode() != 0) GTEST_SKIP() << GetParam().program << " is not usable";
    }
    const auto result = processor().compressImage(folder.filePath("source"), { OutputFormat::png, 80, 100, "" });
    ASSERT_TRUE(result.has_value()) << result.error().errorDescription().toStdString();
    const QImage image = decoded(result->data);
    ASSERT_EQ(image.size(), QSize(60, 40));
    const QColor centre = image.pixelColor(30, 20);
    EXPECT_GT(centre.red(), 200);
    EXPECT_LT(std::max(centre.green(), centre.blue()), 60);
}

INSTANTIATE_TEST_SUITE_P(Sources, RedSource,
                         ::testing::Values(RedSourceCase { "animated_gif", nullptr, gifArguments },
                                           RedSourceCase { "cmyk_jpeg", "gs", cmykJpegArguments },
                                           RedSourceCase { "animated_webp", "img2webp", animatedWebpArguments }),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(ImageProcessor, SpecialFilesAreRefusedWithoutBeingOpened)
{
    QTemporaryDir folder;
    const QString fifo = folder.filePath("pipe.png");
    ASSERT_EQ(::mkfifo(fifo.toUtf8().constData(), 0600), 0);
    // A blocking open would wait here forever for a writer.
    for (const QString& path : { fifo, folder.path(), folder.filePath("missing.png") }) {
        const auto info = processor().info(path);
        const auto result = processor().compressImage(path, {});
        ASSERT_FALSE(info.has_value());
        ASSERT_FALSE(result.has_value());
        EXPECT_EQ(result.error(), ImageProcessorError::failedToReadImage());
    }
}

TEST(ImageProcessor, NamesThatAreNotUtf8AreReadByTheirBytes)
{
    QTemporaryDir folder;
    // On disk: "bild-\xff.png"; Velmo carries the stray byte as U+DCFF.
    const QByteArray native = QFile::encodeName(folder.path()) + "/bild-\xff.png";
    const QByteArray png = pngSource();
    FILE* handle = std::fopen(native.constData(), "wb");
    ASSERT_NE(handle, nullptr);
    std::fwrite(png.constData(), 1, static_cast<size_t>(png.size()), handle);
    std::fclose(handle);

    const QString path = folder.path() + QStringLiteral("/bild-") + QChar(0xDCFF) + QStringLiteral(".png");
    const auto info = processor().info(path);
    ASSERT_TRUE(info.has_value());
    EXPECT_EQ(info->sizeBytes, png.size());
    EXPECT_TRUE(processor().compressImage(path, { OutputFormat::webp, 80, 50, "" }).has_value());
    ::unlink(native.constData()); // the folder's own clean-up goes by QString names
}

} // namespace
