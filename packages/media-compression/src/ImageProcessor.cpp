#include <MediaCompression/ImageProcessor.h>

#include <MediaCompression/AvifCodec.h>

#include "ImageDecodeBudget.h"
#include "ImagePixelation.h"
#include "ImageSourceFile.h"

#include <QBuffer>
#include <QColorSpace>
#include <QImageReader>
#include <QImageWriter>
#include <QPainter>

#include <algorithm>
#include <mutex>

namespace {

const QByteArray avifType = QByteArrayLiteral("avif");
const QByteArray jpegType = QByteArrayLiteral("jpeg");
const QByteArray pngType = QByteArrayLiteral("png");
const QByteArray webpType = QByteArrayLiteral("webp");

// Qt names some formats twice; one name per format keeps the set comparisons simple.
QByteArray normalizedType(const QByteArray& format)
{
    const QByteArray lower = format.toLower();
    if (lower == "jpg") return jpegType;
    if (lower == "tif") return QByteArrayLiteral("tiff");
    if (lower == "svgz") return QByteArrayLiteral("svg");
    return lower;
}

QString preferredExtension(const QByteArray& type)
{
    return type == jpegType ? QStringLiteral("jpg") : QString::fromLatin1(type);
}

// Qt refuses to decode images over 128 MB by default, which would refuse an ordinary 36-
// megapixel photograph at full size. It is raised, once and only upwards, to the budget this
// processor checks itself before every decode (ImageDecodeBudget.h).
void allowDecodesUpToBudget()
{
    static std::once_flag once;
    std::call_once(once, [] {
        const int budgetMegabytes = static_cast<int>(ImageDecodeBudget::maxBytes / (1024 * 1024));
        if (QImageReader::allocationLimit() < budgetMegabytes) QImageReader::setAllocationLimit(budgetMegabytes);
    });
}

// The source file with what its header says.
struct OpenedSource {
    ImageSourceFile file;
    QByteArray type;
    int width = 0;
    int height = 0;
    std::optional<QByteArray> avifData; // AVIF is decoded from memory
};

std::expected<OpenedSource, ImageProcessorError> openSource(const QString& path)
{
    std::optional<ImageSourceFile> file = ImageSourceFile::open(path);
    if (!file) return std::unexpected(ImageProcessorError::failedToReadImage());
    if (AvifCodec::looksLikeAvif(file->head(512))) {
        std::optional<QByteArray> data = file->readAll(ImageDecodeBudget::maxEncodedFileBytes);
        const std::optional<QSize> size = data ? AvifCodec::imageSize(*data) : std::nullopt;
        if (!size) return std::unexpected(ImageProcessorError::failedToReadImage());
        return OpenedSource { std::move(*file), avifType, size->width(), size->height(), std::move(data) };
    }
    QImageReader reader(&file->device());
    if (!reader.canRead()) return std::unexpected(ImageProcessorError::failedToReadImage());
    const QByteArray type = normalizedType(reader.format());
    const QSize size = reader.size();
    file->device().seek(0);
    return OpenedSource { std::move(*file), type, std::max(0, size.width()), std::max(0, size.height()), std::nullopt };
}

// The stored size whose longer side is maxPixel, the other side in proportion.
QSize scaledStoredSize(int width, int height, int maxPixel)
{
    const double ratio = double(maxPixel) / std::max(width, height);
    return { std::max(1, qRound(width * ratio)), std::max(1, qRound(height * ratio)) };
}

// Pixel memory a decode at `target` will take. JPEG is decoded at 1/2, 1/4 or 1/8 of its
// size when that still covers the target; every other format is decoded whole and scaled
// afterwards.
qint64 decodeBytes(const QByteArray& type, int width, int height, QSize target)
{
    int denominator = 1;
    if (type == jpegType) {
        while (denominator < 8 && width / (denominator * 2) >= target.width()
               && height / (denominator * 2) >= target.height()) {
            denominator *= 2;
        }
    }
    const qint64 decodedWidth = (width + denominator - 1) / denominator;
    const qint64 decodedHeight = (height + denominator - 1) / denominator;
    return decodedWidth * decodedHeight * 4;
}

// maxPixel 0 decodes the stored pixels as they are; above 0 the longer side is brought to
// maxPixel and the orientation tag applied.
std::expected<QImage, ImageProcessorError> decodeSource(OpenedSource& source, int maxPixel)
{
    if (source.avifData) {
        QImage image = AvifCodec::decode(*source.avifData, maxPixel);
        if (image.isNull()) return std::unexpected(ImageProcessorError::failedToDecodeImage());
        return image;
    }
    QImageReader reader(&source.file.device(), source.type);
    reader.setAutoTransform(maxPixel > 0);
    QSize target(source.width, source.height);
    if (maxPixel > 0) {
        target = scaledStoredSize(source.width, source.height, maxPixel);
        reader.setScaledSize(target);
    }
    if (decodeBytes(source.type, source.width, source.height, target) > ImageDecodeBudget::maxBytes) {
        return std::unexpected(ImageProcessorError::failedToDecodeImage());
    }
    QImage image = reader.read();
    if (image.isNull()) return std::unexpected(ImageProcessorError::failedToDecodeImage());
    return image;
}

// JPEG has no alpha: transparent parts are laid on white, as they look in a viewer, rather
// than left to whatever colour the transparent pixels happen to carry.
QImage flattenedOnWhite(const QImage& image)
{
    if (!image.hasAlphaChannel()) return image;
    QImage flat(image.size(), QImage::Format_RGB32);
    if (flat.isNull()) return {};
    flat.setColorSpace(image.colorSpace());
    flat.fill(Qt::white);
    QPainter painter(&flat);
    painter.drawImage(0, 0, image);
    painter.end();
    return flat;
}

std::expected<QByteArray, ImageProcessorError> encodeWithQt(const QImage& image, const QByteArray& type,
                                                            std::optional<int> quality)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, type);
    if (!writer.canWrite()) return std::unexpected(ImageProcessorError::failedToCreateDestination());
    // Quality passes straight through: libjpeg's and libwebp's quality scales are 0...100.
    if (quality) writer.setQuality(*quality);
    QImage pixels = image;
    if (type == jpegType) {
        // Optimal Huffman tables: a few percent smaller for the same pixels.
        writer.setOptimizedWrite(true);
        pixels = flattenedOnWhite(image);
        if (pixels.isNull()) return std::unexpected(ImageProcessorError::failedToCreateContext());
    }
    if (!writer.write(pixels)) return std::unexpected(ImageProcessorError::failedToFinalize());
    return bytes;
}

} // namespace

ImageProcessor::ImageProcessor()
{
    allowDecodesUpToBudget();
    for (const QByteArray& format : QImageWriter::supportedImageFormats()) destinationTypes_.insert(normalizedType(format));
    if (AvifCodec::canEncode()) destinationTypes_.insert(avifType);
}

ImageProcessor::ImageProcessor(QSet<QByteArray> destinationTypes)
    : destinationTypes_(std::move(destinationTypes))
{
    allowDecodesUpToBudget();
}

std::vector<OutputFormat> ImageProcessor::supportedOutputFormats() const
{
    std::vector<OutputFormat> formats { OutputFormat::original, OutputFormat::jpeg, OutputFormat::png };
    if (destinationTypes_.contains(webpType)) formats.push_back(OutputFormat::webp);
    if (destinationTypes_.contains(avifType)) formats.push_back(OutputFormat::avif);
    return formats;
}

std::optional<OutputFormat> ImageProcessor::detectedOutputFormat(const QByteArray& type)
{
    const QByteArray normalized = normalizedType(type);
    if (normalized == jpegType) return OutputFormat::jpeg;
    if (normalized == pngType) return OutputFormat::png;
    if (normalized == webpType) return OutputFormat::webp;
    if (normalized == avifType) return OutputFormat::avif;
    return std::nullopt;
}

bool ImageProcessor::isLossy(const QByteArray& type)
{
    const QByteArray normalized = normalizedType(type);
    return normalized == jpegType || normalized == webpType || normalized == avifType;
}

std::expected<ImageInfo, ImageProcessorError> ImageProcessor::info(const QString& path) const
{
    std::expected<OpenedSource, ImageProcessorError> source = openSource(path);
    if (!source) return std::unexpected(source.error());
    const QString formatName = source->type.isEmpty() ? QStringLiteral("IMG") : QString::fromLatin1(source->type.toUpper());
    return ImageInfo { source->file.size(), source->width, source->height, formatName };
}

std::expected<ImageProcessor::ResolvedOutput, ImageProcessorError>
ImageProcessor::explicitOutput(OutputFormat format) const
{
    QByteArray type;
    switch (format) {
    case OutputFormat::jpeg: type = jpegType; break;
    case OutputFormat::png: type = pngType; break;
    case OutputFormat::webp: type = webpType; break;
    case OutputFormat::avif: type = avifType; break;
    case OutputFormat::original: break;
    }
    if (type.isEmpty() || !destinationTypes_.contains(type)) {
        return std::unexpected(ImageProcessorError::unsupportedOutputFormat(title(format)));
    }
    return ResolvedOutput { format, type, isLossy(type) };
}

std::expected<ImageProcessor::ResolvedOutput, ImageProcessorError>
ImageProcessor::resolveOutput(const CompressionSettings& settings, const QByteArray& sourceType) const
{
    if (settings.format != OutputFormat::original) return explicitOutput(settings.format);
    if (!sourceType.isEmpty() && destinationTypes_.contains(sourceType)) {
        return ResolvedOutput { detectedOutputFormat(sourceType).value_or(OutputFormat::original), sourceType,
                                isLossy(sourceType) };
    }
    if (destinationTypes_.contains(jpegType)) return ResolvedOutput { OutputFormat::jpeg, jpegType, true };
    if (destinationTypes_.contains(pngType)) return ResolvedOutput { OutputFormat::png, pngType, false };
    return std::unexpected(ImageProcessorError::unsupportedOutputFormat(QStringLiteral("PNG")));
}

std::expected<CompressedImage, ImageProcessorError> ImageProcessor::compressImage(const QString& path,
                                                                                  const CompressionSettings& settings) const
{
    std::expected<OpenedSource, ImageProcessorError> source = openSource(path);
    if (!source) return std::unexpected(source.error());
    const std::expected<ResolvedOutput, ImageProcessorError> output = resolveOutput(settings, source->type);
    if (!output) return std::unexpected(output.error());

    int maxPixel = 0;
    if (settings.scalePercent != 100 && source->width >= 1 && source->height >= 1) {
        const qint64 longer = std::max(source->width, source->height);
        // A share above 100 (settings built in code are not clamped) never enlarges.
        maxPixel = static_cast<int>(std::clamp<qint64>(longer * settings.scalePercent / 100, 1, longer));
    }
    std::expected<QImage, ImageProcessorError> image = decodeSource(*source, maxPixel);
    if (!image) return std::unexpected(image.error());

    if (output->lossy && settings.quality < 11) {
        image = pixelatedForExtremeLowQuality(*image, settings.quality);
        if (!image) return std::unexpected(image.error());
    }

    const int quality = std::clamp(settings.quality, 1, 100);
    std::expected<QByteArray, ImageProcessorError> data;
    if (output->type == avifType) {
        std::optional<QByteArray> encoded = AvifCodec::encode(*image, quality);
        if (!encoded) return std::unexpected(ImageProcessorError::failedToFinalize());
        data = std::move(*encoded);
    } else {
        data = encodeWithQt(*image, output->type, output->lossy ? std::optional<int>(quality) : std::nullopt);
        if (!data) return std::unexpected(data.error());
    }
    const QString extension = preferredExtension(output->type);
    return CompressedImage { std::move(*data), image->width(), image->height(), output->format,
                             extension.isEmpty() ? fileExtension(output->format) : extension };
}
