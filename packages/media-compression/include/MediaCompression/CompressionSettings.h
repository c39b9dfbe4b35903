#pragma once

#include <MediaCompression/OutputFormat.h>

#include <QJsonObject>
#include <QString>

// How one batch of images is compressed. Also the record session documents embed, under
// the keys "format", "quality", "scalePercent" and "fileSuffix".
//
// Construction applies no clamp; decoding does. `quality` is 1 (smallest) to 100 (best) and
// matters for lossy outputs only; `scalePercent` shrinks the longer side to that share.
struct CompressionSettings {
    OutputFormat format = OutputFormat::jpeg;
    int quality = 80;
    int scalePercent = 100;
    QString fileSuffix = QStringLiteral("_compressed");

    // Forgiving: each key that is missing or unreadable takes its default on its own;
    // quality and scalePercent are clamped to 1...100.
    static CompressionSettings fromJson(const QJsonObject& object);
    // The four keys as they stand.
    QJsonObject toJson() const;

    // "format|quality|scalePercent": what a compressed result depends on. The suffix is
    // left out, so renaming the output alone keeps a result valid.
    QString signature() const;

    bool operator==(const CompressionSettings&) const = default;
};
