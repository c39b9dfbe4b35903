#pragma once

#include <QByteArray>
#include <QColor>
#include <QImage>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

// Images for the processor's tests: written into a temporary folder, either through Qt's
// writers or, for what no writer here produces (animated GIF, a header that lies about its
// size, an EXIF orientation tag), byte by byte.
namespace ImageTestSupport {

// A picture with smooth gradients and some fine detail, like a small photograph.
QImage photoLike(int width, int height);

// Writes `bytes` to `folder/name`; returns the path.
QString writeFile(const QTemporaryDir& folder, const QString& name, const QByteArray& bytes);
// `image` encoded by Qt as `format` ("png", "jpeg", "bmp", "webp", ...).
QByteArray encoded(const QImage& image, const char* format, int quality = -1);

// A JPEG whose APP1 segment sets EXIF orientation `orientation` (6: turn 90° clockwise).
QByteArray jpegWithOrientation(const QImage& image, int orientation);
// A GIF with one frame per colour, each filling the whole width × height canvas.
QByteArray animatedGif(int width, int height, const QList<QColor>& frames);
// A PNG whose header declares width × height but that carries only one row of pixels.
QByteArray pngDeclaring(int width, int height);
// A valid JPEG whose frame header is changed to declare width × height.
QByteArray jpegDeclaring(int width, int height);

// The gnome-backgrounds photographs (4096 × 4096 WebP), empty when not installed.
QStringList backgroundPhotographs();

// The image encoded in `data`, whatever the format (AVIF included).
QImage decoded(const QByteArray& data);
// Mean of |a - b| over the colour channels of all pixels, 0...255; 255 when sizes differ.
double meanAbsoluteDifference(const QImage& a, const QImage& b);
// The format the bytes are in: "jpeg", "png", "webp", "avif", "bmp", ...
QByteArray formatOf(const QByteArray& data);

} // namespace ImageTestSupport
