// Settings as saved in a session: forgiving decoding, the cache signature, and the
// strength slider's mapping.
#include "MediaCompression/PDFCompressionSettings.h"

#include <QJsonDocument>

#include <gtest/gtest.h>

struct DecodeCase {
    const char* name;
    const char* json;
    PDFCompressionSettings expected;
};

class PdfSettingsDecoding : public ::testing::TestWithParam<DecodeCase> { };

TEST_P(PdfSettingsDecoding, ForgivesEveryKey)
{
    const QJsonObject object = QJsonDocument::fromJson(GetParam().json).object();
    const PDFCompressionSettings decoded = PDFCompressionSettings::fromJson(object);
    EXPECT_EQ(decoded, GetParam().expected);
    EXPECT_EQ(PDFCompressionSettings::fromJson(decoded.toJson()), decoded);
}

namespace {
PDFCompressionSettings make(PDFCompressionProfile profile, int quality, int dpi, bool keep = true,
                            QString suffix = QStringLiteral("_compressed"))
{
    return {profile, quality, dpi, keep, suffix};
}
} // namespace

INSTANTIATE_TEST_SUITE_P(
    Json, PdfSettingsDecoding,
    ::testing::Values(
        DecodeCase {"empty", "{}", make(PDFCompressionProfile::recommended, 72, 144)},
        DecodeCase {"complete", R"({"profile":"scans","jpegQuality":40,"scanDPI":100,"keepSmaller":false,"fileSuffix":"-s"})",
                    make(PDFCompressionProfile::scans, 40, 100, false, QStringLiteral("-s"))},
        DecodeCase {"missingNumbersFollowTheProfile", R"({"profile":"extreme"})", make(PDFCompressionProfile::extreme, 45, 96)},
        DecodeCase {"unknownProfile", R"({"profile":"tiny","jpegQuality":50})", make(PDFCompressionProfile::recommended, 50, 144)},
        DecodeCase {"clampedHigh", R"({"profile":"highQuality","jpegQuality":500,"scanDPI":9000})",
                    make(PDFCompressionProfile::highQuality, 100, 300)},
        DecodeCase {"clampedLow", R"({"jpegQuality":-3,"scanDPI":0})", make(PDFCompressionProfile::recommended, 1, 36)},
        DecodeCase {"wrongTypes", R"({"profile":7,"jpegQuality":"80","scanDPI":null,"keepSmaller":"no","fileSuffix":3})",
                    make(PDFCompressionProfile::recommended, 72, 144)},
        DecodeCase {"emptySuffixStays", R"({"profile":"scans","fileSuffix":""})", make(PDFCompressionProfile::scans, 58, 110, true, {})}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(PdfSettings, EncodesItsKeysAndSignsWithoutTheSuffix)
{
    const PDFCompressionSettings settings = make(PDFCompressionProfile::highQuality, 88, 150, false, QStringLiteral("_x"));
    EXPECT_EQ(QJsonDocument(settings.toJson()).toJson(QJsonDocument::Compact),
              R"({"fileSuffix":"_x","jpegQuality":88,"keepSmaller":false,"profile":"highQuality","scanDPI":150})");
    EXPECT_EQ(settings.signature(), QStringLiteral("highQuality|88|150|false"));
    EXPECT_EQ(PDFCompressionSettings().signature(), QStringLiteral("recommended|72|144|true"));
    EXPECT_EQ(PDFCompressionProfiles::title(PDFCompressionProfile::scans), QStringLiteral("Scanned PDFs"));
    EXPECT_EQ(PDFCompressionProfiles::detail(PDFCompressionProfile::extreme), QStringLiteral("Smallest output for sharing and archiving."));
}

struct StrengthCase {
    double strength;
    std::vector<PDFCompressionProfile> available;
    PDFCompressionProfile profile;
    int quality;
    int dpi;
};

class PdfStrength : public ::testing::TestWithParam<StrengthCase> { };

TEST_P(PdfStrength, MapsToProfileQualityAndDPI)
{
    const StrengthCase& c = GetParam();
    const PDFCompressionSettings applied = PDFCompressionStrength::apply(c.strength, PDFCompressionSettings(), c.available);
    EXPECT_EQ(applied.profile, c.profile);
    EXPECT_EQ(applied.jpegQuality, c.quality);
    EXPECT_EQ(applied.scanDPI, c.dpi);
}

namespace {
const std::vector<PDFCompressionProfile> kAll = PDFCompressionProfiles::all();
const std::vector<PDFCompressionProfile> kNoGhostscript {PDFCompressionProfile::recommended, PDFCompressionProfile::highQuality};
} // namespace

INSTANTIATE_TEST_SUITE_P(Slider, PdfStrength,
                         ::testing::Values(StrengthCase {-5, kAll, PDFCompressionProfile::highQuality, 90, 200},
                                           StrengthCase {29.9, kAll, PDFCompressionProfile::highQuality, 72, 151},
                                           StrengthCase {30, kAll, PDFCompressionProfile::recommended, 72, 151},
                                           StrengthCase {62, kAll, PDFCompressionProfile::extreme, 53, 98},
                                           StrengthCase {250, kAll, PDFCompressionProfile::extreme, 30, 36},
                                           StrengthCase {62, kNoGhostscript, PDFCompressionProfile::highQuality, 53, 98},
                                           StrengthCase {10, {}, PDFCompressionProfile::recommended, 84, 184}));
