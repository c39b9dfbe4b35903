#pragma once

#include "MarkupKit/MarkupModel.h"

#include <QByteArray>
#include <QImage>
#include <QString>

#include <optional>
#include <vector>

// Naming, format choice and writing of images derived from a source. A derived image
// is a new file beside its source: never written over the source, never over any
// existing file.
namespace DerivedImageOutput {
// The first free name of "<stem><suffix>.<ext>", "<stem><suffix>2.<ext>", ...
QString makeImageCopyPath(const QString& source, const QString& suffixBase, const QString& extension);
// jpg, jpeg, jpe, png, gif, tiff, tif and bmp are kept (lower-cased); anything else is png.
QString outputImageExtension(const QString& originalExtension);
bool isJPEGExtension(const QString& extension);
// JPEG at 0.82, 0.72, ... 0.32 until it fits `maximumFileSize` (the smallest when none
// does); other types as they are. Empty on failure.
QByteArray encodedData(const QImage& image, const QString& extension, std::optional<qint64> maximumFileSize);
// Writes the bytes to a new file at `path` (temporary file, synced, then linked under
// the name only if the name is still free). False when anything fails; nothing is
// left behind.
bool writeNewFile(const QByteArray& bytes, const QString& path);
} // namespace DerivedImageOutput

namespace MarkupSaver {
// Flattens the annotations over the source (as shown: EXIF orientation applied) and
// saves "<name>_markup.<ext>" beside it; a JPEG may grow to 1.5 times the source's
// size. The path written, or none (no annotations, unreadable source, failed write).
std::optional<QString> saveMarkupCopy(const QString& source, const std::vector<MarkupAnnotation>& annotations);
// The source as the canvas shows it.
QImage loadSource(const QString& source);
} // namespace MarkupSaver
