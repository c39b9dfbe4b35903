#pragma once

#include <QJsonObject>
#include <QString>

#include <optional>
#include <vector>

// What the user chose for PDF compression. The record is part of the saved session, so its
// JSON keys are fixed and decoding forgives every missing or unreadable key.

enum class PDFCompressionProfile { recommended, highQuality, extreme, scans };

namespace PDFCompressionProfiles {

const std::vector<PDFCompressionProfile>& all();
QString rawValue(PDFCompressionProfile profile);
std::optional<PDFCompressionProfile> fromRawValue(const QString& rawValue);
QString title(PDFCompressionProfile profile);
QString detail(PDFCompressionProfile profile);
int defaultJPEGQuality(PDFCompressionProfile profile);
int defaultScanDPI(PDFCompressionProfile profile);

} // namespace PDFCompressionProfiles

struct PDFCompressionSettings {
    PDFCompressionProfile profile = PDFCompressionProfile::recommended;
    int jpegQuality = 72;  // 1..100
    int scanDPI = 144;     // 36..300
    bool keepSmaller = true;
    QString fileSuffix = QStringLiteral("_compressed");

    bool operator==(const PDFCompressionSettings&) const = default;

    // Keys: profile, jpegQuality, scanDPI, keepSmaller, fileSuffix.
    QJsonObject toJson() const;
    static PDFCompressionSettings fromJson(const QJsonObject& object);

    // What decides a result, for caching: "recommended|72|144|true". The suffix only names
    // the saved copy, so it is not part of it.
    QString signature() const;
};

// The strength slider: 0 (lightest) to 100 (strongest) mapped to settings.
namespace PDFCompressionStrength {

int quality(double strength); // 90 down to 30
int dpi(double strength);     // 200 down to 36
// highQuality below 30, recommended below 62, extreme from 62; a profile that is not
// available becomes the last available one (recommended when none is).
PDFCompressionSettings apply(double strength, PDFCompressionSettings settings,
                             const std::vector<PDFCompressionProfile>& availableProfiles);

} // namespace PDFCompressionStrength
