#pragma once

#include <QByteArray>
#include <QImage>

#include <optional>

// AVIF through libavif, which Qt's image plug-ins do not read or write here. Every function
// is safe to call from several threads at once: each call owns its decoder or encoder.
namespace AvifCodec {

// True when the bytes begin like an AVIF file (its "ftyp" box names an AVIF brand).
// The first few hundred bytes of a file are enough.
bool looksLikeAvif(const QByteArray& head);

// The width and height stored in the file, or nothing when it does not parse.
std::optional<QSize> imageSize(const QByteArray& data);

// The first image of the file as 8-bit RGBA (RGB when opaque), or a null image when it does
// not decode or would need more than the decode budget. With maxPixel above 0 the longer side
// is brought down to at most maxPixel (smooth scaling), and rotation and mirroring stored in
// the file are applied; with 0 the stored pixels come back as they are.
QImage decode(const QByteArray& data, int maxPixel = 0);

// True when this build's libavif has an AV1 encoder.
bool canEncode();

// Encodes at quality 1...100 (see the .cpp for how it maps to the quantizer), or nothing
// when the encoder fails.
std::optional<QByteArray> encode(const QImage& image, int quality);

// The settings every encode uses, printed by the benchmark so that the reference tool can
// be run with the same ones.
struct EncoderSettings {
    int speed;
    int threads;
    int quantizer; // for colour and alpha alike, 0...63
};
EncoderSettings encoderSettings(int quality);

} // namespace AvifCodec

// For the comparison viewport's loader: decode AVIF bytes, longer side at most maxPixel.
inline QImage decodeAvif(const QByteArray& data, int maxPixel) { return AvifCodec::decode(data, maxPixel); }
