#include "ImageTestSupport.h"

#include <MediaCompression/AvifCodec.h>

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QImageReader>
#include <QImageWriter>
#include <QPainter>
#include <QtEndian>

#include <array>

namespace ImageTestSupport {
namespace {

void appendBigEndian32(QByteArray& bytes, quint32 value)
{
    for (int shift = 24; shift >= 0; shift -= 8) bytes.append(static_cast<char>((value >> shift) & 0xff));
}

void appendLittleEndian16(QByteArray& bytes, int value)
{
    bytes.append(static_cast<char>(value & 0xff));
    bytes.append(static_cast<char>((value >> 8) & 0xff));
}

quint32 crc32(const QByteArray& bytes)
{
    quint32 crc = 0xffffffffu;
    for (const char byte : bytes) {
        crc ^= static_cast<quint8>(byte);
        for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1) ^ (0xedb88320u & (0u - (crc & 1u)));
    }
    return ~crc;
}

void appendPngChunk(QByteArray& png, const char* type, const QByteArray& data)
{
    appendBigEndian32(png, static_cast<quint32>(data.size()));
    const QByteArray typed = QByteArray(type) + data;
    png.append(typed);
    appendBigEndian32(png, crc32(typed));
}

} // namespace

QImage photoLike(int width, int height)
{
    QImage image(width, height, QImage::Format_RGB32);
    for (int y = 0; y < height; ++y) {
        auto* line = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < width; ++x) {
            const int detail = ((x * 7 + y * 13) % 17) * 4;
            line[x] = qRgb((x * 255 / std::max(1, width - 1) + detail) % 256, (y * 255 / std::max(1, height - 1)) % 256,
                           (x + y + detail) % 256);
        }
    }
    return image;
}

QString writeFile(const QTemporaryDir& folder, const QString& name, const QByteArray& bytes)
{
    const QString path = folder.filePath(name);
    QFile file(path);
    if (file.open(QIODevice::WriteOnly)) file.write(bytes);
    return path;
}

QByteArray encoded(const QImage& image, const char* format, int quality)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, format);
    writer.setQuality(quality);
    writer.write(image);
    return bytes;
}

QByteArray jpegWithOrientation(const QImage& image, int orientation)
{
    // Big-endian TIFF with one IFD entry: tag 0x0112, type SHORT, count 1.
    QByteArray exif("Exif\0\0MM\0*\0\0\0\x08\0\x01\x01\x12\0\x03\0\0\0\x01", 24);
    exif.append('\0');
    exif.append(static_cast<char>(orientation));
    exif.append(QByteArray(2, '\0'));
    exif.append(QByteArray(4, '\0')); // no next IFD
    QByteArray segment("\xff\xe1", 2);
    segment.append(static_cast<char>(((exif.size() + 2) >> 8) & 0xff));
    segment.append(static_cast<char>((exif.size() + 2) & 0xff));
    segment.append(exif);
    QByteArray jpeg = encoded(image, "jpeg", 95);
    return jpeg.insert(2, segment); // right after the start-of-image marker
}

QByteArray animatedGif(int width, int height, const QList<QColor>& frames)
{
    QByteArray gif("GIF89a");
    appendLittleEndian16(gif, width);
    appendLittleEndian16(gif, height);
    gif.append("\xf6\0\0", 3); // global table of 128 colours
    for (int index = 0; index < 128; ++index) {
        const QColor colour = index < frames.size() ? frames[index] : QColor(Qt::black);
        gif.append(static_cast<char>(colour.red()));
        gif.append(static_cast<char>(colour.green()));
        gif.append(static_cast<char>(colour.blue()));
    }
    gif.append(QByteArray("\x21\xff\x0bNETSCAPE2.0\x03\x01\0\0\0", 19)); // loop forever
    for (int frame = 0; frame < frames.size(); ++frame) {
        gif.append(QByteArray("\x21\xf9\x04\x00\x0a\x00\x00\x00", 8)); // 0.1 s per frame
        gif.append('\x2c');
        appendLittleEndian16(gif, 0);
        appendLittleEndian16(gif, 0);
        appendLittleEndian16(gif, width);
        appendLittleEndian16(gif, height);
        gif.append('\0');
        // LZW with 8-bit codes that never grow: a clear code (128) before every 100
        // literals keeps the decoder's table below 256 entries. End code is 129.
        QByteArray codes;
        for (int pixel = 0; pixel < width * height; ++pixel) {
            if (pixel % 100 == 0) codes.append(static_cast<char>(128));
            codes.append(static_cast<char>(frame));
        }
        codes.append(static_cast<char>(129));
        gif.append('\x07');
        for (qsizetype offset = 0; offset < codes.size(); offset += 255) {
            const QByteArray block = codes.mid(offset, 255);
            gif.append(static_cast<char>(block.size()));
            gif.append(block);
        }
        gif.append('\0');
    }
    gif.append('\x3b');
    return gif;
}

QByteArray pngDeclaring(int width, int height)
{
    QByteArray png("\x89PNG\r\n\x1a\n", 8);
    QByteArray header;
    appendBigEndian32(header, static_cast<quint32>(width));
    appendBigEndian32(header, static_cast<quint32>(height));
    header.append("\x08\x00\x00\x00\x00", 5); // 8-bit grey
    appendPngChunk(png, "IHDR", header);
    // One zero row (filter byte + pixels) as a zlib stream: qCompress prefixes 4 length bytes.
    appendPngChunk(png, "IDAT", qCompress(QByteArray(1 + std::min(width, 4096), '\0')).mid(4));
    appendPngChunk(png, "IEND", {});
    return png;
}

QByteArray jpegDeclaring(int width, int height)
{
    QByteArray jpeg = encoded(photoLike(64, 64), "jpeg", 90);
    const qsizetype frame = jpeg.indexOf(QByteArray("\xff\xc0", 2));
    if (frame < 0) return jpeg;
    // Marker, length (2), precision (1), then height and width, big-endian.
    jpeg[frame + 5] = static_cast<char>((height >> 8) & 0xff);
    jpeg[frame + 6] = static_cast<char>(height & 0xff);
    jpeg[frame + 7] = static_cast<char>((width >> 8) & 0xff);
    jpeg[frame + 8] = static_cast<char>(width & 0xff);
    return jpeg;
}

QStringList backgroundPhotographs()
{
    const QDir folder(QStringLiteral("/usr/share/backgrounds/gnome"));
    QStringList photographs;
    for (const QString& name : { QStringLiteral("wood-d.webp"), QStringLiteral("adwaita-l.webp"),
                                 QStringLiteral("pixels-d.webp") }) {
        if (folder.exists(name)) photographs.append(folder.filePath(name));
    }
    return photographs;
}

QImage decoded(const QByteArray& data)
{
    if (AvifCodec::looksLikeAvif(data.left(512))) return AvifCodec::decode(data);
    return QImage::fromData(data);
}

double meanAbsoluteDifference(const QImage& a, const QImage& b)
{
    if (a.size() != b.size() || a.isNull()) return 255.0;
    const QImage left = a.convertToFormat(QImage::Format_RGB32);
    const QImage right = b.convertToFormat(QImage::Format_RGB32);
    double total = 0;
    for (int y = 0; y < left.height(); ++y) {
        const auto* l = reinterpret_cast<const QRgb*>(left.constScanLine(y));
        const auto* r = reinterpret_cast<const QRgb*>(right.constScanLine(y));
        for (int x = 0; x < left.width(); ++x) {
            total += std::abs(qRed(l[x]) - qRed(r[x])) + std::abs(qGreen(l[x]) - qGreen(r[x])) + std::abs(qBlue(l[x]) - qBlue(r[x]));
        }
    }
    return total / (3.0 * left.width() * left.height());
}

QByteArray formatOf(const QByteArray& data)
{
    if (AvifCodec::looksLikeAvif(data.left(512))) return "avif";
    QBuffer buffer;
    buffer.setData(data);
    buffer.open(QIODevice::ReadOnly);
    return QImageReader::imageFormat(&buffer);
}

} // namespace ImageTestSupport
