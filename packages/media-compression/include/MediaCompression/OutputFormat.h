#pragma once

#include <QString>
#include <QStringView>

#include <array>
#include <optional>

// The format an image is re-encoded in. `original` keeps the source's own format where
// this build can write it. The raw values are what session documents store.
enum class OutputFormat { original, jpeg, png, webp, avif };

// Every case, in the order menus list them.
inline constexpr std::array<OutputFormat, 5> allOutputFormats {
    OutputFormat::original, OutputFormat::jpeg, OutputFormat::png, OutputFormat::webp, OutputFormat::avif
};

// "original", "jpeg", "png", "webp", "avif": the stored form and the identifier.
QString rawValue(OutputFormat format);
// The case for a stored raw value, or nothing for an unknown one.
std::optional<OutputFormat> outputFormatFromRawValue(QStringView rawValue);
// What a menu shows: "Original", "JPEG", "PNG", "WebP", "AVIF".
QString title(OutputFormat format);
// The extension a file of this format gets; "img" for `original`, whose real extension is
// only known once the source has been looked at.
QString fileExtension(OutputFormat format);
