#include <MediaCompression/OutputFormat.h>

namespace {

struct FormatNames {
    OutputFormat format;
    const char* rawValue;
    const char* title;
    const char* fileExtension;
};

constexpr std::array<FormatNames, 5> formatNames { {
    { OutputFormat::original, "original", "Original", "img" },
    { OutputFormat::jpeg, "jpeg", "JPEG", "jpg" },
    { OutputFormat::png, "png", "PNG", "png" },
    { OutputFormat::webp, "webp", "WebP", "webp" },
    { OutputFormat::avif, "avif", "AVIF", "avif" },
} };

const FormatNames& namesOf(OutputFormat format)
{
    for (const FormatNames& names : formatNames) {
        if (names.format == format) return names;
    }
    return formatNames.front();
}

} // namespace

QString rawValue(OutputFormat format) { return QString::fromLatin1(namesOf(format).rawValue); }

std::optional<OutputFormat> outputFormatFromRawValue(QStringView rawValue)
{
    for (const FormatNames& names : formatNames) {
        if (rawValue == QLatin1String(names.rawValue)) return names.format;
    }
    return std::nullopt;
}

QString title(OutputFormat format) { return QString::fromLatin1(namesOf(format).title); }

QString fileExtension(OutputFormat format) { return QString::fromLatin1(namesOf(format).fileExtension); }
