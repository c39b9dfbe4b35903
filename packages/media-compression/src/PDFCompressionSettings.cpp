#include "MediaCompression/PDFCompressionSettings.h"

#include <QJsonValue>

#include <algorithm>
#include <cmath>

namespace {

struct ProfileRow {
    PDFCompressionProfile profile;
    const char* rawValue;
    const char* title;
    const char* detail;
    int quality;
    int dpi;
};

constexpr ProfileRow kProfiles[] = {
    {PDFCompressionProfile::recommended, "recommended", "Default Compression", "Balanced size and readability.", 72, 144},
    {PDFCompressionProfile::highQuality, "highQuality", "High Quality", "Keeps text and images closer to the original.", 88, 144},
    {PDFCompressionProfile::extreme, "extreme", "Extreme Compression", "Smallest output for sharing and archiving.", 45, 96},
    {PDFCompressionProfile::scans, "scans", "Scanned PDFs", "Downsamples and grayscales scan-heavy documents.", 58, 110},
};

const ProfileRow& row(PDFCompressionProfile profile)
{
    return kProfiles[std::size_t(profile)];
}

// An integer from a JSON number; nothing for any other value or one beyond reason.
std::optional<int> integer(const QJsonValue& value)
{
    if (!value.isDouble()) return std::nullopt;
    const double number = value.toDouble();
    if (!std::isfinite(number)) return std::nullopt;
    return int(std::clamp(std::round(number), -1.0e6, 1.0e6));
}

} // namespace

namespace PDFCompressionProfiles {

const std::vector<PDFCompressionProfile>& all()
{
    static const std::vector<PDFCompressionProfile> profiles {PDFCompressionProfile::recommended,
                                                              PDFCompressionProfile::highQuality,
                                                              PDFCompressionProfile::extreme, PDFCompressionProfile::scans};
    return profiles;
}

QString rawValue(PDFCompressionProfile profile) { return QString::fromLatin1(row(profile).rawValue); }
QString title(PDFCompressionProfile profile) { return QString::fromLatin1(row(profile).title); }
QString detail(PDFCompressionProfile profile) { return QString::fromLatin1(row(profile).detail); }
int defaultJPEGQuality(PDFCompressionProfile profile) { return row(profile).quality; }
int defaultScanDPI(PDFCompressionProfile profile) { return row(profile).dpi; }

std::optional<PDFCompressionProfile> fromRawValue(const QString& rawValue)
{
    for (const ProfileRow& candidate : kProfiles)
        if (rawValue == QLatin1String(candidate.rawValue)) return candidate.profile;
    return std::nullopt;
}

} // namespace PDFCompressionProfiles

QJsonObject PDFCompressionSettings::toJson() const
{
    return {{QStringLiteral("profile"), PDFCompressionProfiles::rawValue(profile)},
            {QStringLiteral("jpegQuality"), jpegQuality},
            {QStringLiteral("scanDPI"), scanDPI},
            {QStringLiteral("keepSmaller"), keepSmaller},
            {QStringLiteral("fileSuffix"), fileSuffix}};
}

PDFCompressionSettings PDFCompressionSettings::fromJson(const QJsonObject& object)
{
    PDFCompressionSettings settings;
    settings.profile = PDFCompressionProfiles::fromRawValue(object.value(QStringLiteral("profile")).toString())
                           .value_or(PDFCompressionProfile::recommended);
    settings.jpegQuality = std::clamp(integer(object.value(QStringLiteral("jpegQuality")))
                                          .value_or(PDFCompressionProfiles::defaultJPEGQuality(settings.profile)), 1, 100);
    settings.scanDPI = std::clamp(integer(object.value(QStringLiteral("scanDPI")))
                                      .value_or(PDFCompressionProfiles::defaultScanDPI(settings.profile)), 36, 300);
    const QJsonValue keepSmaller = object.value(QStringLiteral("keepSmaller"));
    settings.keepSmaller = keepSmaller.isBool() ? keepSmaller.toBool() : true;
    const QJsonValue suffix = object.value(QStringLiteral("fileSuffix"));
    settings.fileSuffix = suffix.isString() ? suffix.toString() : QStringLiteral("_compressed");
    return settings;
}

QString PDFCompressionSettings::signature() const
{
    return PDFCompressionProfiles::rawValue(profile) + QLatin1Char('|') + QString::number(jpegQuality) + QLatin1Char('|')
        + QString::number(scanDPI) + QLatin1Char('|') + (keepSmaller ? QStringLiteral("true") : QStringLiteral("false"));
}

namespace PDFCompressionStrength {

int quality(double strength)
{
    if (!(strength > 0)) return 90;
    return int(std::round(std::min(strength, 100.0) * -60.0 / 100.0 + 90.0));
}

int dpi(double strength)
{
    if (!(strength > 0)) return 200;
    return int(std::round(std::min(strength, 100.0) * -164.0 / 100.0 + 200.0));
}

PDFCompressionSettings apply(double strength, PDFCompressionSettings settings,
                             const std::vector<PDFCompressionProfile>& availableProfiles)
{
    const PDFCompressionProfile wanted = !(strength >= 30) ? PDFCompressionProfile::highQuality
        : strength < 62                                     ? PDFCompressionProfile::recommended
                                                            : PDFCompressionProfile::extreme;
    if (std::ranges::find(availableProfiles, wanted) != availableProfiles.end())
        settings.profile = wanted;
    else
        settings.profile = availableProfiles.empty() ? PDFCompressionProfile::recommended : availableProfiles.back();
    settings.jpegQuality = quality(strength);
    settings.scanDPI = dpi(strength);
    return settings;
}

} // namespace PDFCompressionStrength
