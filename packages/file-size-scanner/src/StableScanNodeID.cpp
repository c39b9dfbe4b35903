#include "FileSizeScanner/StableScanNodeID.h"

#include <PathKit/FilePaths.h>

namespace {

constexpr quint64 kForwardBasis = 0xcbf29ce484222325ULL;
constexpr quint64 kBackwardBasis = 0x6c4cc2ed62914e23ULL;
constexpr quint64 kPrime = 0x100000001b3ULL;

} // namespace

QUuid StableScanNodeID::forNativePath(const char* bytes, qsizetype length)
{
    if (length == 0) {
        bytes = "/";
        length = 1;
    }
    const auto* data = reinterpret_cast<const unsigned char*>(bytes);
    quint64 forward = kForwardBasis;
    for (qsizetype i = 0; i < length; ++i) forward = (forward ^ data[i]) * kPrime;
    quint64 backward = kBackwardBasis;
    for (qsizetype i = length; i-- > 0;) backward = (backward ^ data[i]) * kPrime;

    const quint64 n = quint64(length);
    const quint64 first = forward ^ n;
    const quint64 second = backward ^ (n * kPrime);
    uchar b[16];
    for (int i = 0; i < 8; ++i) {
        b[i] = uchar(first >> (56 - 8 * i));
        b[8 + i] = uchar(second >> (56 - 8 * i));
    }
    // Marks it as version 5, variant 1; it is still no standard name-based UUID.
    b[6] = uchar(0x50 | (b[6] & 0x0F));
    b[8] = uchar(0x80 | (b[8] & 0x3F));
    return QUuid(uint(b[0]) << 24 | uint(b[1]) << 16 | uint(b[2]) << 8 | uint(b[3]), ushort(b[4] << 8 | b[5]),
                 ushort(b[6] << 8 | b[7]), b[8], b[9], b[10], b[11], b[12], b[13], b[14], b[15]);
}

QUuid StableScanNodeID::forPath(QStringView path)
{
    const QByteArray bytes = FilePaths::toNative(path);
    return forNativePath(bytes.constData(), bytes.size());
}

QUuid StableScanNodeID::forUrl(QStringView path)
{
    return forPath(FilePaths::standardized(path));
}
