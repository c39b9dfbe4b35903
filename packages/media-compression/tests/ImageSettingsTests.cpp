// Compression settings as session documents store them, and the output format names.
#include <MediaCompression/CompressionSettings.h>

#include <QJsonDocument>

#include <gtest/gtest.h>

namespace {

struct DecodeCase {
    const char* json;
    CompressionSettings expected;
};

class CompressionSettingsDecoding : public ::testing::TestWithParam<DecodeCase> { };

TEST_P(CompressionSettingsDecoding, EachKeyFallsBackOrClampsOnItsOwn)
{
    const QJsonObject object = QJsonDocument::fromJson(GetParam().json).object();
    EXPECT_EQ(CompressionSettings::fromJson(object), GetParam().expected) << GetParam().json;
}

INSTANTIATE_TEST_SUITE_P(
    Documents, CompressionSettingsDecoding,
    ::testing::Values(
        DecodeCase { R"({})", { OutputFormat::jpeg, 80, 100, "_compressed" } },
        DecodeCase { R"({"format":"avif","quality":35,"scalePercent":50,"fileSuffix":"-small"})",
                     { OutputFormat::avif, 35, 50, "-small" } },
        DecodeCase { R"({"format":"original","quality":0,"scalePercent":0})", { OutputFormat::original, 1, 1, "_compressed" } },
        DecodeCase { R"({"format":"webp","quality":250,"scalePercent":400})", { OutputFormat::webp, 100, 100, "_compressed" } },
        DecodeCase { R"({"quality":-7,"scalePercent":-1,"fileSuffix":""})", { OutputFormat::jpeg, 1, 1, "" } },
        // Unreadable values: each takes its default while the others still decode.
        DecodeCase { R"({"format":"gif","quality":"90","scalePercent":50})", { OutputFormat::jpeg, 80, 50, "_compressed" } },
        DecodeCase { R"({"format":7,"quality":42.5,"scalePercent":true,"fileSuffix":3})",
                     { OutputFormat::jpeg, 80, 100, "_compressed" } },
        DecodeCase { R"({"format":"PNG","quality":1e12,"scalePercent":null,"fileSuffix":"_x"})",
                     { OutputFormat::jpeg, 80, 100, "_x" } }));

TEST(CompressionSettings, EncodesAsItStandsAndDecodesBack)
{
    const CompressionSettings settings { OutputFormat::png, 0, 300, "_klein" };
    const QJsonObject object = settings.toJson();
    EXPECT_EQ(QJsonDocument(object).toJson(QJsonDocument::Compact),
              R"({"fileSuffix":"_klein","format":"png","quality":0,"scalePercent":300})");
    for (const OutputFormat format : allOutputFormats) {
        const CompressionSettings roundTrip { format, 55, 25, "_web" };
        EXPECT_EQ(CompressionSettings::fromJson(roundTrip.toJson()), roundTrip);
    }
}

TEST(CompressionSettings, SignatureIgnoresOnlyTheSuffix)
{
    const CompressionSettings base { OutputFormat::avif, 40, 75, "_a" };
    EXPECT_EQ(base.signature(), "avif|40|75");
    EXPECT_EQ(base.signature(), (CompressionSettings { OutputFormat::avif, 40, 75, "_b" }).signature());
    EXPECT_NE(base.signature(), (CompressionSettings { OutputFormat::avif, 41, 75, "_a" }).signature());
    EXPECT_NE(base.signature(), (CompressionSettings { OutputFormat::avif, 40, 74, "_a" }).signature());
    EXPECT_NE(base.signature(), (CompressionSettings { OutputFormat::webp, 40, 75, "_a" }).signature());
}

} // namespace
