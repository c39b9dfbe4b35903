#pragma once

#include <MediaCompression/ImageProcessorError.h>

#include <QImage>

#include <expected>

// Makes the last tenth of the quality slider visible: the image is shrunk to 4 % (quality 1)
// up to 26 % (quality 10) of its size and blown up again, both without interpolation, so it
// keeps its pixel size and shows blocks.
std::expected<QImage, ImageProcessorError> pixelatedForExtremeLowQuality(const QImage& image, int quality);
