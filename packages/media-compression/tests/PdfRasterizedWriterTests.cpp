// The rasterised writer: its file layout checked byte for byte, and its output judged by
// QtPdf, qpdf, mutool and Ghostscript on generated and real documents.
#include "MediaCompression/RasterizedPDFWriter.h"

#include "PdfTestSupport.h"

#include <QFileInfo>
#include <QImage>
#include <QPdfDocument>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace PdfTestSupport;

namespace {

RasterizedPDFPage letterPage(RasterizedPDFColorMode mode = RasterizedPDFColorMode::rgb)
{
    return {612, 792, 40, 52, mode, jpeg(40, 52, mode == RasterizedPDFColorMode::grayscale)};
}

// The number of components in a baseline or progressive JPEG's frame header.
int jpegComponents(const QByteArray& bytes)
{
    for (qsizetype i = 2; i + 9 < bytes.size(); ++i) {
        const auto marker = uchar(bytes[i + 1]);
        if (uchar(bytes[i]) == 0xFF && (marker == 0xC0 || marker == 0xC2)) return uchar(bytes[i + 9]);
    }
    return -1;
}

} // namespace

TEST(PdfRasterizedWriter, LayoutIsByteExactForOneAndSeveralPages)
{
    for (const int pageCount : {1, 3}) {
        SCOPED_TRACE(pageCount);
        const std::vector<RasterizedPDFPage> pages(std::size_t(pageCount), letterPage());
        const auto bytes = PDFImageDocumentWriter::documentBytes(pages);
        ASSERT_TRUE(bytes.has_value());
        const QByteArray& file = *bytes;

        EXPECT_EQ(file.left(15), QByteArray("%PDF-1.4\n%\xFF\xFF\xFF\xFF\n"));
        EXPECT_TRUE(file.endsWith("\n%%EOF"));
        const int objectCount = 3 * pageCount + 3;

        // The trailer's startxref points at "xref", and every table entry at its object's number.
        const qsizetype startxref = file.lastIndexOf("startxref\n");
        const qsizetype xrefOffset = file.mid(startxref + 10).split('\n').first().toLongLong();
        ASSERT_EQ(file.mid(xrefOffset, 5), QByteArray("xref\n"));
        const QList<QByteArray> table = file.mid(xrefOffset).split('\n');
        EXPECT_EQ(table[1], "0 " + QByteArray::number(objectCount));
        EXPECT_EQ(table[2], QByteArray("0000000000 65535 f "));
        for (int number = 1; number < objectCount; ++number) {
            const QByteArray entry = table[2 + number];
            ASSERT_EQ(entry.size(), 19);
            EXPECT_TRUE(entry.endsWith(" 00000 n "));
            EXPECT_TRUE(file.mid(entry.left(10).toLongLong()).startsWith(QByteArray::number(number) + " 0 obj\n"))
                << "object " << number;
        }
        EXPECT_TRUE(file.contains("trailer\n<< /Size " + QByteArray::number(objectCount) + " /Root 1 0 R >>\n"));

        QByteArray kids;
        for (int i = 1; i <= pageCount; ++i) kids += (i > 1 ? " " : "") + QByteArray::number(3 * i) + " 0 R";
        EXPECT_TRUE(file.contains("<< /Type /Pages /Kids [" + kids + "] /Count " + QByteArray::number(pageCount) + " >>"));
        EXPECT_TRUE(file.contains("/MediaBox [0 0 612.0000 792.0000]"));
        EXPECT_TRUE(file.contains("<< /Length 41 >>\nstream\nq\n612.0000 0 0 792.0000 0 0 cm\n/Im1 Do\nQ\nendstream\n"));
        EXPECT_TRUE(file.contains("/DCTDecode /Length " + QByteArray::number(pages[0].jpegData.size()) + " >>\nstream\n"
                                  + pages[0].jpegData + "\nendstream\nendobj\n"));
        EXPECT_FALSE(file.contains("/Info"));
    }
    EXPECT_EQ(PDFImageDocumentWriter::documentBytes({}).error(), PDFCompressionError::failedToCreateOutput());
}

struct RasterizeCase {
    const char* name;
    RasterizedPDFColorMode mode;
    int dpi;
};

class PdfRasterizedOutput : public ::testing::TestWithParam<RasterizeCase> { };

// Every output must open in QtPdf with the source's page count and pass the three
// command-line judges without a single warning.
TEST_P(PdfRasterizedOutput, OpensEverywhereWithThePagesOfItsSource)
{
    QTemporaryDir folder;
    const QStringList sources {writeTextPdf(folder.path(), QStringLiteral("generated.pdf"), 3),
                               manual(QStringLiteral("letter.pdf"))};
    for (const QString& source : sources) {
        if (source.isEmpty()) continue;
        SCOPED_TRACE(source.toStdString());
        const QString output = folder.filePath(QStringLiteral("out.pdf"));
        double lastProgress = 0;
        const auto written = RasterizedPDFWriter::rasterize(source, output, 60, GetParam().dpi, GetParam().mode, {},
                                                            [&](double value) { lastProgress = value; });
        ASSERT_TRUE(written.has_value()) << written.error().errorDescription().toStdString();
        EXPECT_EQ(lastProgress, 1.0);

        QPdfDocument original, result;
        ASSERT_EQ(original.load(source), QPdfDocument::Error::None);
        ASSERT_EQ(result.load(output), QPdfDocument::Error::None);
        EXPECT_EQ(result.pageCount(), original.pageCount());
        EXPECT_EQ(result.pagePointSize(0), original.pagePointSize(0));
        EXPECT_EQ(validationComplaints(output).toStdString(), std::string());

        const QByteArray bytes = readAll(output);
        const bool gray = GetParam().mode == RasterizedPDFColorMode::grayscale;
        EXPECT_EQ(bytes.contains("/DeviceGray"), gray);
        EXPECT_EQ(bytes.contains("/DeviceRGB"), !gray);
        const qsizetype stream = bytes.indexOf("/DCTDecode");
        EXPECT_EQ(jpegComponents(bytes.mid(stream)), gray ? 1 : 3);
    }
}

INSTANTIATE_TEST_SUITE_P(Modes, PdfRasterizedOutput,
                         ::testing::Values(RasterizeCase {"rgb", RasterizedPDFColorMode::rgb, 96},
                                           RasterizeCase {"grayscale", RasterizedPDFColorMode::grayscale, 36}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(PdfRasterizedWriter, PixelSizeIsTruncatedButNeverZero)
{
    // A 1-point-wide page at 36 DPI is half a pixel wide: it gets one.
    QTemporaryDir folder;
    const QString narrow = folder.filePath(QStringLiteral("narrow.pdf"));
    ASSERT_TRUE(PDFImageDocumentWriter::write({{1, 100, 1, 10, RasterizedPDFColorMode::rgb, jpeg(1, 10, false)}}, narrow));
    QPdfDocument document;
    ASSERT_EQ(document.load(narrow), QPdfDocument::Error::None);
    const struct { int dpi, width, height; } cases[] = {{36, 1, 50}, {72, 1, 100}, {150, 2, 208}};
    for (const auto& expected : cases) {
        const auto page = RasterizedPDFWriter::render(document, 0, expected.dpi, 50, RasterizedPDFColorMode::rgb);
        ASSERT_TRUE(page.has_value());
        EXPECT_EQ(page->pixelWidth, expected.width) << expected.dpi;
        EXPECT_EQ(page->pixelHeight, expected.height) << expected.dpi;
        EXPECT_DOUBLE_EQ(page->widthPoints, 1.0);
        EXPECT_EQ(QImage::fromData(page->jpegData).width(), expected.width);
    }
}

TEST(PdfRasterizedWriter, FailuresLeaveNoOutputFile)
{
    QTemporaryDir folder;
    const QString source = writeTextPdf(folder.path(), QStringLiteral("source.pdf"), 2);
    const QString output = folder.filePath(QStringLiteral("out.pdf"));

    std::stop_source stop;
    stop.request_stop();
    EXPECT_EQ(RasterizedPDFWriter::rasterize(source, output, 50, 72, RasterizedPDFColorMode::rgb, stop.get_token()).error(),
              PDFCompressionError::cancelled());
    EXPECT_FALSE(QFileInfo::exists(output));

    writeAll(folder.filePath(QStringLiteral("broken.pdf")), "%PDF-1.4\nnot really\n");
    EXPECT_EQ(RasterizedPDFWriter::rasterize(folder.filePath(QStringLiteral("broken.pdf")), output, 50, 72,
                                             RasterizedPDFColorMode::rgb).error(),
              PDFCompressionError::failedToCreateOutput());
    EXPECT_FALSE(QFileInfo::exists(output));
}
