#include "MediaCompression/RasterizedPDFWriter.h"

#include "PDFSourceFile.h"

#include <QBuffer>
#include <QImage>
#include <QImageWriter>
#include <QPainter>
#include <QPdfDocument>
#include <QSaveFile>

#include <algorithm>

namespace {

QByteArray points(double value)
{
    return QByteArray::number(value, 'f', 4);
}

QByteArray pageObject(const RasterizedPDFPage& page, int index)
{
    const int imageNumber = 3 * index + 2;
    const int contentNumber = 3 * index + 1;
    return "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 " + points(page.widthPoints) + " "
        + points(page.heightPoints) + "] /Resources << /XObject << /Im" + QByteArray::number(index) + " "
        + QByteArray::number(imageNumber) + " 0 R >> >> /Contents " + QByteArray::number(contentNumber)
        + " 0 R >>\n";
}

QByteArray contentObject(const RasterizedPDFPage& page, int index)
{
    const QByteArray drawing = "q\n" + points(page.widthPoints) + " 0 0 " + points(page.heightPoints)
        + " 0 0 cm\n/Im" + QByteArray::number(index) + " Do\nQ\n";
    // The drawing ends in LF and that LF is part of its length: no extra newline follows.
    return "<< /Length " + QByteArray::number(drawing.size()) + " >>\nstream\n" + drawing + "endstream\n";
}

QByteArray imageObject(const RasterizedPDFPage& page)
{
    const QByteArray colorSpace = page.colorMode == RasterizedPDFColorMode::grayscale ? "/DeviceGray" : "/DeviceRGB";
    return "<< /Type /XObject /Subtype /Image /Width " + QByteArray::number(page.pixelWidth) + " /Height "
        + QByteArray::number(page.pixelHeight) + " /ColorSpace " + colorSpace
        + " /BitsPerComponent 8 /Filter /DCTDecode /Length " + QByteArray::number(page.jpegData.size())
        + " >>\nstream\n" + page.jpegData + "\nendstream\n";
}

class ObjectFile {
public:
    ObjectFile() { bytes_.append("%PDF-1.4\n%\xFF\xFF\xFF\xFF\n"); }

    void add(int number, const QByteArray& body)
    {
        offsets_.push_back(bytes_.size());
        bytes_.append(QByteArray::number(number) + " 0 obj\n" + body + "endobj\n");
    }

    QByteArray finish()
    {
        const qsizetype xrefOffset = bytes_.size();
        const QByteArray size = QByteArray::number(qsizetype(offsets_.size()) + 1);
        bytes_.append("xref\n0 " + size + "\n0000000000 65535 f \n");
        for (const qsizetype offset : offsets_)
            bytes_.append(QByteArray::number(offset).rightJustified(10, '0') + " 00000 n \n");
        bytes_.append("trailer\n<< /Size " + size + " /Root 1 0 R >>\nstartxref\n"
                      + QByteArray::number(xrefOffset) + "\n%%EOF");
        return std::move(bytes_);
    }

private:
    QByteArray bytes_;
    std::vector<qsizetype> offsets_;
};

} // namespace

namespace PDFImageDocumentWriter {

std::expected<QByteArray, PDFCompressionError> documentBytes(const std::vector<RasterizedPDFPage>& pages)
{
    if (pages.empty()) return std::unexpected(PDFCompressionError::failedToCreateOutput());
    ObjectFile file;
    file.add(1, "<< /Type /Catalog /Pages 2 0 R >>\n");
    QByteArray kids;
    for (std::size_t i = 1; i <= pages.size(); ++i) {
        if (i > 1) kids.append(' ');
        kids.append(QByteArray::number(3 * qsizetype(i)) + " 0 R");
    }
    file.add(2, "<< /Type /Pages /Kids [" + kids + "] /Count " + QByteArray::number(qsizetype(pages.size())) + " >>\n");
    for (std::size_t i = 1; i <= pages.size(); ++i) {
        const RasterizedPDFPage& page = pages[i - 1];
        const int index = int(i);
        file.add(3 * index, pageObject(page, index));
        file.add(3 * index + 1, contentObject(page, index));
        file.add(3 * index + 2, imageObject(page));
    }
    return file.finish();
}

std::expected<void, PDFCompressionError> write(const std::vector<RasterizedPDFPage>& pages, const QString& path)
{
    auto bytes = documentBytes(pages);
    if (!bytes) return std::unexpected(bytes.error());
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(*bytes) != bytes->size() || !file.commit())
        return std::unexpected(PDFCompressionError::failedToCreateOutput());
    return {};
}

} // namespace PDFImageDocumentWriter

namespace RasterizedPDFWriter {

std::optional<QByteArray> jpegData(const QImage& image, int quality)
{
    if (image.isNull()) return std::nullopt;
    QByteArray bytes;
    QBuffer buffer(&bytes);
    if (!buffer.open(QIODevice::WriteOnly)) return std::nullopt;
    QImageWriter writer(&buffer, "jpeg");
    writer.setQuality(std::clamp(quality, 1, 100));
    if (!writer.write(image) || bytes.isEmpty()) return std::nullopt;
    return bytes;
}

std::expected<RasterizedPDFPage, PDFCompressionError> render(QPdfDocument& document, int pageIndex, int dpi,
                                                             int jpegQuality, RasterizedPDFColorMode colorMode)
{
    // The page's displayed size: its crop box, or its media box where the crop box is unusable.
    const QSizeF bounds = document.pagePointSize(pageIndex);
    if (!(bounds.width() > 0) || !(bounds.height() > 0))
        return std::unexpected(PDFCompressionError::failedToCreateOutput());
    const double scale = dpi / 72.0;
    const int pixelWidth = std::max(1, int(std::min(scale * bounds.width(), 1.0e5)));
    const int pixelHeight = std::max(1, int(std::min(scale * bounds.height(), 1.0e5)));

    // Transparent parts of a page become white, as on paper.
    QImage canvas(pixelWidth, pixelHeight, QImage::Format_RGB32);
    if (canvas.isNull()) return std::unexpected(PDFCompressionError::failedToCreateOutput());
    canvas.fill(Qt::white);
    const QImage drawn = document.render(pageIndex, canvas.size());
    if (drawn.isNull()) return std::unexpected(PDFCompressionError::failedToCreateOutput());
    {
        QPainter painter(&canvas);
        painter.drawImage(0, 0, drawn);
    }
    const QImage encoded = colorMode == RasterizedPDFColorMode::grayscale
        ? canvas.convertToFormat(QImage::Format_Grayscale8)
        : canvas.convertToFormat(QImage::Format_RGB888);
    auto jpeg = jpegData(encoded, jpegQuality);
    if (!jpeg) return std::unexpected(PDFCompressionError::failedToCreateOutput());
    return RasterizedPDFPage {bounds.width(), bounds.height(), pixelWidth, pixelHeight, colorMode, std::move(*jpeg)};
}

std::expected<void, PDFCompressionError> rasterize(const QString& inputPath, const QString& outputPath,
                                                   int jpegQuality, int scanDPI, RasterizedPDFColorMode colorMode,
                                                   std::stop_token stop, const std::function<void(double)>& progress)
{
    QPdfDocument document;
    if (!PDFSourceFile::load(document, inputPath) || document.pageCount() < 1)
        return std::unexpected(PDFCompressionError::failedToCreateOutput());
    const int dpi = std::clamp(scanDPI, 36, 300);
    const int quality = std::clamp(jpegQuality, 1, 100);
    const int count = document.pageCount();
    std::vector<RasterizedPDFPage> pages;
    pages.reserve(std::size_t(count));
    for (int index = 0; index < count; ++index) {
        if (stop.stop_requested()) return std::unexpected(PDFCompressionError::cancelled());
        auto page = render(document, index, dpi, quality, colorMode);
        if (!page) return std::unexpected(page.error());
        pages.push_back(std::move(*page));
        if (progress) progress(double(index + 1) / count);
    }
    if (stop.stop_requested()) return std::unexpected(PDFCompressionError::cancelled());
    return PDFImageDocumentWriter::write(pages, outputPath);
}

} // namespace RasterizedPDFWriter
