#include <MediaCompression/AvifCodec.h>

#include "ImageDecodeBudget.h"

#include <QThread>
#include <QTransform>

#include <avif/avif.h>

#include <algorithm>
#include <memory>

namespace {

struct DecoderDeleter {
    void operator()(avifDecoder* decoder) const { avifDecoderDestroy(decoder); }
};
struct EncoderDeleter {
    void operator()(avifEncoder* encoder) const { avifEncoderDestroy(encoder); }
};
struct ImageDeleter {
    void operator()(avifImage* image) const { avifImageDestroy(image); }
};
using DecoderPtr = std::unique_ptr<avifDecoder, DecoderDeleter>;

// A decoder over `data` with its header parsed, or null. The pixel limit refuses an image
// beyond the decode budget before any plane is allocated.
DecoderPtr parsedDecoder(const QByteArray& data)
{
    DecoderPtr decoder(avifDecoderCreate());
    if (!decoder) return nullptr;
    decoder->maxThreads = 1;
    decoder->imageSizeLimit = static_cast<uint32_t>(ImageDecodeBudget::maxPixels);
    decoder->ignoreExif = AVIF_TRUE;
    decoder->ignoreXMP = AVIF_TRUE;
    if (avifDecoderSetIOMemory(decoder.get(), reinterpret_cast<const uint8_t*>(data.constData()),
                               static_cast<size_t>(data.size())) != AVIF_RESULT_OK) {
        return nullptr;
    }
    if (avifDecoderParse(decoder.get()) != AVIF_RESULT_OK) return nullptr;
    return decoder;
}

// Rotation ("irot", anti-clockwise quarter turns) first, then mirroring ("imir"), the order
// the container defines.
QImage applyStoredTransform(QImage image, const avifImage& source)
{
    if ((source.transformFlags & AVIF_TRANSFORM_IROT) && source.irot.angle % 4 != 0) {
        image = image.transformed(QTransform().rotate(-90.0 * (source.irot.angle % 4)));
    }
    if (source.transformFlags & AVIF_TRANSFORM_IMIR) {
        image = source.imir.mode == 0 ? image.mirrored(false, true) : image.mirrored(true, false);
    }
    return image;
}

// Quality 1...100 to the AV1 quantizer 63...0, linearly with rounding, as the reference
// encoder's own quality option maps it: 80 gives 13, 50 gives 32, 100 gives 0.
int quantizerFor(int quality)
{
    const int clamped = std::clamp(quality, 1, 100);
    return ((100 - clamped) * 63 + 50) / 100;
}

} // namespace

namespace AvifCodec {

bool looksLikeAvif(const QByteArray& head)
{
    const avifROData data { reinterpret_cast<const uint8_t*>(head.constData()), static_cast<size_t>(head.size()) };
    return avifPeekCompatibleFileType(&data) == AVIF_TRUE;
}

std::optional<QSize> imageSize(const QByteArray& data)
{
    const DecoderPtr decoder = parsedDecoder(data);
    if (!decoder) return std::nullopt;
    return QSize(static_cast<int>(decoder->image->width), static_cast<int>(decoder->image->height));
}

QImage decode(const QByteArray& data, int maxPixel)
{
    const DecoderPtr decoder = parsedDecoder(data);
    if (!decoder || avifDecoderNextImage(decoder.get()) != AVIF_RESULT_OK) return {};
    const avifImage& source = *decoder->image;
    const bool hasAlpha = source.alphaPlane != nullptr;
    QImage image(static_cast<int>(source.width), static_cast<int>(source.height),
                 hasAlpha ? QImage::Format_RGBA8888 : QImage::Format_RGBX8888);
    if (image.isNull()) return {};

    avifRGBImage rgb;
    avifRGBImageSetDefaults(&rgb, &source);
    rgb.format = AVIF_RGB_FORMAT_RGBA;
    rgb.depth = 8;
    rgb.pixels = image.bits();
    rgb.rowBytes = static_cast<uint32_t>(image.bytesPerLine());
    if (avifImageYUVToRGB(&source, &rgb) != AVIF_RESULT_OK) return {};

    if (maxPixel <= 0) return image;
    image = applyStoredTransform(std::move(image), source);
    if (std::max(image.width(), image.height()) > maxPixel) {
        image = image.scaled(maxPixel, maxPixel, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    }
    return image;
}

bool canEncode()
{
    return avifCodecName(AVIF_CODEC_CHOICE_AUTO, AVIF_CODEC_FLAG_CAN_ENCODE) != nullptr;
}

// Speed 8 of 0...10: on the 4096 x 4096 photographs it is about fourteen times as fast as
// the encoder's default 6 for files some 7% larger, which is the right trade for a batch
// someone waits for. Threads: half the cores, because the compression queue runs two images
// at once; on two cores each encode is single-threaded and the pair fills the machine.
EncoderSettings encoderSettings(int quality)
{
    return { 8, std::max(1, QThread::idealThreadCount() / 2), quantizerFor(quality) };
}

} // namespace AvifCodec

namespace {

// The pixels in a layout libavif reads directly, so that a decoded photograph (RGB32 or
// ARGB32 from Qt's readers) is not copied once more before the colour conversion.
struct PixelSource {
    QImage pixels;
    avifRGBFormat format;
    bool hasAlpha;
    bool premultiplied;
};

PixelSource pixelSourceFor(const QImage& image)
{
    if constexpr (Q_BYTE_ORDER == Q_LITTLE_ENDIAN) {
        // 0xAARRGGBB words are B, G, R, A bytes in memory.
        switch (image.format()) {
        case QImage::Format_RGB32: return { image, AVIF_RGB_FORMAT_BGRA, false, false };
        case QImage::Format_ARGB32: return { image, AVIF_RGB_FORMAT_BGRA, true, false };
        case QImage::Format_ARGB32_Premultiplied: return { image, AVIF_RGB_FORMAT_BGRA, true, true };
        default: break;
        }
    }
    switch (image.format()) {
    case QImage::Format_RGBX8888: return { image, AVIF_RGB_FORMAT_RGBA, false, false };
    case QImage::Format_RGBA8888: return { image, AVIF_RGB_FORMAT_RGBA, true, false };
    case QImage::Format_RGBA8888_Premultiplied: return { image, AVIF_RGB_FORMAT_RGBA, true, true };
    default: break;
    }
    const bool hasAlpha = image.hasAlphaChannel();
    return { image.convertToFormat(hasAlpha ? QImage::Format_RGBA8888 : QImage::Format_RGBX8888), AVIF_RGB_FORMAT_RGBA,
             hasAlpha, false };
}

} // namespace

namespace AvifCodec {

std::optional<QByteArray> encode(const QImage& image, int quality)
{
    if (image.isNull()) return std::nullopt;
    const PixelSource source = pixelSourceFor(image);
    const QImage& pixels = source.pixels;
    if (pixels.isNull()) return std::nullopt;

    // 4:2:0 full-range with sRGB signalling: what photographs are usually stored as, and
    // what the reference encoder is asked for in the benchmark.
    std::unique_ptr<avifImage, ImageDeleter> target(
        avifImageCreate(static_cast<uint32_t>(pixels.width()), static_cast<uint32_t>(pixels.height()), 8,
                        AVIF_PIXEL_FORMAT_YUV420));
    if (!target) return std::nullopt;
    target->yuvRange = AVIF_RANGE_FULL;
    target->colorPrimaries = AVIF_COLOR_PRIMARIES_BT709;
    target->transferCharacteristics = AVIF_TRANSFER_CHARACTERISTICS_SRGB;
    target->matrixCoefficients = AVIF_MATRIX_COEFFICIENTS_BT601;

    avifRGBImage rgb;
    avifRGBImageSetDefaults(&rgb, target.get());
    rgb.format = source.format;
    rgb.depth = 8;
    rgb.ignoreAlpha = source.hasAlpha ? AVIF_FALSE : AVIF_TRUE;
    rgb.alphaPremultiplied = source.premultiplied ? AVIF_TRUE : AVIF_FALSE;
    rgb.pixels = const_cast<uint8_t*>(pixels.constBits()); // only read by the conversion
    rgb.rowBytes = static_cast<uint32_t>(pixels.bytesPerLine());
    if (avifImageRGBToYUV(target.get(), &rgb) != AVIF_RESULT_OK) return std::nullopt;

    std::unique_ptr<avifEncoder, EncoderDeleter> encoder(avifEncoderCreate());
    if (!encoder) return std::nullopt;
    const EncoderSettings settings = encoderSettings(quality);
    encoder->speed = settings.speed;
    encoder->maxThreads = settings.threads;
    encoder->minQuantizer = encoder->maxQuantizer = settings.quantizer;
    encoder->minQuantizerAlpha = encoder->maxQuantizerAlpha = settings.quantizer;

    avifRWData output = AVIF_DATA_EMPTY;
    const avifResult result = avifEncoderWrite(encoder.get(), target.get(), &output);
    std::optional<QByteArray> bytes;
    if (result == AVIF_RESULT_OK) bytes = QByteArray(reinterpret_cast<const char*>(output.data), static_cast<qsizetype>(output.size));
    avifRWDataFree(&output);
    return bytes;
}

} // namespace AvifCodec
