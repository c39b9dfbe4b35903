// The processor: which compressors run for which profile, how the winner is chosen, and
// real runs with the installed tools on LaTeX manuals.
#include "MediaCompression/PDFCompressionProcessor.h"
#include "MediaCompression/RasterizedPDFWriter.h"

#include "PdfTestSupport.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <map>

using namespace PdfTestSupport;

namespace {

// Stands in for the external tools: copies a prepared file to the output path the command
// names, or fails, and records every command line.
class ScriptedRunner final : public PDFCompressionCommandRunning {
public:
    std::map<QString, QString> outputsByTool; // tool path -> file to copy; absent: fail
    std::vector<QStringList> commands;

    std::expected<PDFCompressionCommandResult, PDFCompressionError> run(const QStringList& arguments, std::stop_token) override
    {
        commands.push_back(arguments);
        const auto found = outputsByTool.find(arguments.first());
        if (found == outputsByTool.end()) return std::unexpected(PDFCompressionError::processFailed(QStringLiteral("no")));
        QString output = arguments.last();
        for (const QString& argument : arguments)
            if (argument.startsWith(QLatin1String("-sOutputFile="))) output = argument.mid(13).replace(QStringLiteral("%%"), QStringLiteral("%"));
        if (!QFile::copy(found->second, output)) return std::unexpected(PDFCompressionError::failedToCreateOutput());
        return PDFCompressionCommandResult {};
    }
};

const QString kMutool = QStringLiteral("/fake/mutool");
const QString kGs = QStringLiteral("/fake/gs");

PDFCompressionSettings settings(PDFCompressionProfile profile, int quality, int dpi, bool keepSmaller = true)
{
    PDFCompressionSettings result;
    result.profile = profile;
    result.jpegQuality = quality;
    result.scanDPI = dpi;
    result.keepSmaller = keepSmaller;
    return result;
}

QString imageDocument(const QString& folder, const QString& name, int pages, int side)
{
    const QString path = folder + QLatin1Char('/') + name;
    const RasterizedPDFPage page {612, 792, side, side, RasterizedPDFColorMode::rgb, jpeg(side, side, false)};
    PDFImageDocumentWriter::write(std::vector<RasterizedPDFPage>(std::size_t(pages), page), path);
    return path;
}

QByteArray digest(const QString& path)
{
    return QCryptographicHash::hash(readAll(path), QCryptographicHash::Sha256);
}

} // namespace

struct StrategyCase {
    const char* name;
    PDFCompressionSettings settings;
    bool mutool;
    bool gs;
    QStringList expected;   // empty when an error is expected
    QString expectedError;
};

class PdfStrategyList : public ::testing::TestWithParam<StrategyCase> { };

TEST_P(PdfStrategyList, FollowsProfileAndInstalledTools)
{
    const StrategyCase& c = GetParam();
    PDFCompressionToolPaths tools;
    if (c.mutool) tools.mutool = kMutool;
    if (c.gs) tools.ghostscript = kGs;
    const PDFCompressionProcessor processor(tools, std::make_shared<ScriptedRunner>());
    const auto names = processor.candidateStrategyNames(c.settings);
    if (c.expected.isEmpty()) {
        ASSERT_FALSE(names.has_value());
        EXPECT_EQ(names.error().errorDescription(), c.expectedError);
    } else {
        ASSERT_TRUE(names.has_value());
        EXPECT_EQ(*names, c.expected);
    }
}

const QString kRaster = QStringLiteral("Rasterized JPEG pages");
const QString kLossless = QStringLiteral("Lossless rewrite");

INSTANTIATE_TEST_SUITE_P(
    Profiles, PdfStrategyList,
    ::testing::Values(
        StrategyCase {"recommended", settings(PDFCompressionProfile::recommended, 72, 144), true, true,
                      {"MuPDF medium", "Ghostscript ebook", "Ghostscript printer", kLossless}, {}},
        StrategyCase {"recommendedWithoutTools", settings(PDFCompressionProfile::recommended, 72, 144), false, false, {kLossless}, {}},
        StrategyCase {"recommendedAt130DPI", settings(PDFCompressionProfile::recommended, 72, 130), false, true,
                      {"Ghostscript ebook", "Ghostscript printer", kRaster, kLossless}, {}},
        StrategyCase {"recommendedAtQuality60", settings(PDFCompressionProfile::recommended, 60, 144), true, false,
                      {"MuPDF medium", kRaster, kLossless}, {}},
        StrategyCase {"highQualityMuPDFOnly", settings(PDFCompressionProfile::highQuality, 88, 144), true, false,
                      {"MuPDF light", "MuPDF medium", kLossless}, {}},
        StrategyCase {"highQuality", settings(PDFCompressionProfile::highQuality, 88, 144), true, true,
                      {"MuPDF light", "MuPDF medium", "Ghostscript printer", "Ghostscript prepress", kLossless}, {}},
        StrategyCase {"highQualityWithoutTools", settings(PDFCompressionProfile::highQuality, 88, 144), false, false, {},
                      "Ghostscript or MuPDF is required for this PDF compression profile."},
        StrategyCase {"extreme", settings(PDFCompressionProfile::extreme, 45, 96), true, true,
                      {"Ghostscript screen", "Ghostscript ebook", "MuPDF medium", kRaster, kLossless}, {}},
        StrategyCase {"extremeWithMuPDFOnly", settings(PDFCompressionProfile::extreme, 45, 96), true, false, {},
                      "Ghostscript is required for this PDF compression profile."},
        StrategyCase {"scans", settings(PDFCompressionProfile::scans, 90, 200), true, true,
                      {"Ghostscript screen", "Ghostscript ebook", kRaster, kLossless}, {}},
        StrategyCase {"scansWithoutGhostscript", settings(PDFCompressionProfile::scans, 58, 110), true, false, {},
                      "Ghostscript is required for this PDF compression profile."}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(PdfCompressionProcessor, CommandLinesAreExact)
{
    QTemporaryDir folder;
    const QString source = imageDocument(folder.path(), QStringLiteral("source.pdf"), 1, 64);
    auto runner = std::make_shared<ScriptedRunner>();
    const PDFCompressionProcessor processor({kMutool, kGs}, runner);
    const QString output = folder.filePath(QStringLiteral("100% done"));
    QString escaped = output;
    escaped.replace('%', QStringLiteral("%%"));
    ASSERT_TRUE(processor.compressPDF(source, settings(PDFCompressionProfile::scans, 58, 110), output).has_value());
    ASSERT_EQ(runner->commands.size(), 2u);
    QStringList scan = runner->commands[0];
    ASSERT_TRUE(scan.size() > 2 && scan[scan.size() - 2].startsWith(QLatin1String("-sOutputFile=") + escaped + '/'));
    scan[scan.size() - 2] = QStringLiteral("-sOutputFile=OUT");
    EXPECT_EQ(scan.join(' '), kGs + " -sDEVICE=pdfwrite -dCompatibilityLevel=1.4 -q -dNOPAUSE -dBATCH -dSAFER"
                              " -dPreserveMarkedContent=false -dDetectDuplicateImages=true -dCompressFonts=true"
                              " -dSubsetFonts=true -dPDFSETTINGS=/screen -dJPEGQ=58 -dAutoFilterColorImages=false"
                              " -dColorImageFilter=/DCTEncode -dAutoFilterGrayImages=false -dGrayImageFilter=/DCTEncode"
                              " -sColorConversionStrategy=Gray -dProcessColorModel=/DeviceGray -dDownsampleGrayImages=true"
                              " -dGrayImageResolution=110 -dGrayImageDownsampleThreshold=1.0"
                              " -dGrayImageDownsampleType=/Bicubic -sOutputFile=OUT " + source);

    runner->commands.clear();
    ASSERT_TRUE(processor.compressPDF(source, settings(PDFCompressionProfile::recommended, 72, 144), folder.path()).has_value());
    QStringList medium = runner->commands.at(0);
    medium.last() = QStringLiteral("OUT");
    EXPECT_EQ(medium.join(' '), kMutool + " clean -gggg -z -c -t -Z -m -f -i -e 100 --color-lossless-image-recompress-method"
                                          " lossless --gray-lossless-image-recompress-method lossless " + source + " OUT");
    EXPECT_FALSE(runner->commands.at(1).contains(QStringLiteral("-sColorConversionStrategy=Gray")));
}

struct ChoiceCase {
    const char* name;
    bool keepSmaller;
    const char* mutoolOutput; // "small", "smallTwoPages", "source", "large" or "" to fail
    const char* gsOutput;
    QString expectedStrategy;
};

class PdfCandidateChoice : public ::testing::TestWithParam<ChoiceCase> { };

// The source is a document the lossless rewrite cannot shrink further, so sizes can tie.
TEST_P(PdfCandidateChoice, SmallestReadableCandidateWithAllPagesWins)
{
    const ChoiceCase& c = GetParam();
    QTemporaryDir folder;
    const QString cache = folder.filePath(QStringLiteral("cache"));
    const auto rewritten = PDFCompressionProcessor({}, std::make_shared<ScriptedRunner>())
                               .compressPDF(imageDocument(folder.path(), QStringLiteral("image.pdf"), 1, 300),
                                            settings(PDFCompressionProfile::recommended, 72, 144, false), folder.path());
    ASSERT_TRUE(rewritten.has_value());
    const QString source = rewritten->filePath;
    const std::map<QString, QString> files {
        {QStringLiteral("small"), imageDocument(folder.path(), QStringLiteral("small.pdf"), 1, 8)},
        {QStringLiteral("smallTwoPages"), imageDocument(folder.path(), QStringLiteral("two.pdf"), 2, 8)},
        {QStringLiteral("large"), imageDocument(folder.path(), QStringLiteral("large.pdf"), 1, 900)},
        {QStringLiteral("source"), source}};
    auto runner = std::make_shared<ScriptedRunner>();
    if (*c.mutoolOutput) runner->outputsByTool[kMutool] = files.at(QString::fromLatin1(c.mutoolOutput));
    if (*c.gsOutput) runner->outputsByTool[kGs] = files.at(QString::fromLatin1(c.gsOutput));
    const QByteArray before = digest(source);

    const auto result = PDFCompressionProcessor({kMutool, kGs}, runner)
                            .compressPDF(source, settings(PDFCompressionProfile::recommended, 72, 144, c.keepSmaller), cache);
    ASSERT_TRUE(result.has_value()) << result.error().errorDescription().toStdString();
    EXPECT_EQ(result->usedStrategy, c.expectedStrategy);
    EXPECT_EQ(result->keptOriginal, c.expectedStrategy == QLatin1String("Original kept"));
    EXPECT_EQ(result->sizeBytes, QFileInfo(result->filePath).size());
    EXPECT_EQ(result->pageCount, 1);
    EXPECT_EQ(result->outputFileExtension, QStringLiteral("pdf"));
    EXPECT_TRUE(result->filePath.endsWith(QLatin1String("-compressed.pdf")));
    if (result->keptOriginal) {
        EXPECT_EQ(digest(result->filePath), before);
    }
    EXPECT_EQ(digest(source), before);
    // Only the result is left in the output folder.
    EXPECT_EQ(QDir(cache).entryList(QDir::Files), QStringList {QFileInfo(result->filePath).fileName()});
}

INSTANTIATE_TEST_SUITE_P(
    Rules, PdfCandidateChoice,
    ::testing::Values(ChoiceCase {"otherPageCountIsDropped", true, "smallTwoPages", "small", "Ghostscript ebook"},
                      ChoiceCase {"equalSizesKeepTheEarlier", false, "source", "source", "MuPDF medium"},
                      ChoiceCase {"tieWithSourceKeepsIt", true, "source", "source", "Original kept"},
                      ChoiceCase {"failingToolsLeaveTheRewrite", false, "", "", "Lossless rewrite"},
                      ChoiceCase {"largerCandidateLoses", false, "large", "", "Lossless rewrite"}),
    [](const auto& info) { return std::string(info.param.name); });

struct RealRunCase {
    const char* manual;
    PDFCompressionProfile profile;
};

class PdfRealCompression : public ::testing::TestWithParam<RealRunCase> { };

// With the installed tools: the result is valid, never larger, and has every page.
TEST_P(PdfRealCompression, ShrinksAManualWithTheInstalledTools)
{
    const QString source = manual(QString::fromLatin1(GetParam().manual));
    if (source.isEmpty()) GTEST_SKIP() << "manual not installed";
    QTemporaryDir folder;
    const PDFCompressionProcessor processor(PDFCompressionToolPaths::discover(qEnvironmentVariable("PATH")),
                                            std::make_shared<SystemPDFCompressionCommandRunner>(300));
    const PDFCompressionProfile profile = GetParam().profile;
    const auto supported = processor.supportedProfiles();
    if (std::ranges::find(supported, profile) == supported.end())
        GTEST_SKIP() << "tools for this profile are not installed";
    std::vector<double> progress;
    const auto result = processor.compressPDF(source,
                                              settings(profile, PDFCompressionProfiles::defaultJPEGQuality(profile),
                                                       PDFCompressionProfiles::defaultScanDPI(profile)),
                                              folder.path(), {}, [&](double value) { progress.push_back(value); });
    ASSERT_TRUE(result.has_value()) << result.error().errorDescription().toStdString();
    EXPECT_LE(result->sizeBytes, QFileInfo(source).size());
    EXPECT_EQ(result->pageCount, processor.info(source)->pageCount);
    EXPECT_EQ(validationComplaints(result->filePath).toStdString(), std::string());
    ASSERT_FALSE(progress.empty());
    EXPECT_TRUE(std::ranges::is_sorted(progress));
    EXPECT_EQ(progress.back(), 1.0);
}

INSTANTIATE_TEST_SUITE_P(Manuals, PdfRealCompression,
                         ::testing::Values(RealRunCase {"ltx3info.pdf", PDFCompressionProfile::recommended},
                                           RealRunCase {"modguide.pdf", PDFCompressionProfile::extreme}),
                         [](const auto& info) { return std::string(info.param.profile == PDFCompressionProfile::extreme ? "extreme" : "recommended"); });

TEST(PdfCompressionProcessor, ToolsAreFoundInPathOrderBeforeSystemFolders)
{
    QTemporaryDir first, second;
    writeScript(first.path(), QStringLiteral("gs"), QStringLiteral("exit 0"));
    writeScript(second.path(), QStringLiteral("gs"), QStringLiteral("exit 0"));
    writeAll(first.filePath(QStringLiteral("mutool")), "not executable");
    QDir(second.path()).mkdir(QStringLiteral("mutool"));

    const auto tools = PDFCompressionToolPaths::discover(QStringLiteral("::") + first.path() + ':' + second.path());
    EXPECT_EQ(tools.ghostscript, first.filePath(QStringLiteral("gs")));
    // A file without execute permission, or a folder, is passed over for the system's.
    EXPECT_NE(tools.mutool, first.filePath(QStringLiteral("mutool")));
    EXPECT_NE(tools.mutool, second.filePath(QStringLiteral("mutool")));
    EXPECT_EQ(tools.mutool.has_value(), QFileInfo::exists(QStringLiteral("/usr/bin/mutool")) || QFileInfo::exists(QStringLiteral("/usr/local/bin/mutool")) || QFileInfo::exists(QStringLiteral("/bin/mutool")));

    const PDFCompressionProcessor onlyGs({std::nullopt, first.filePath(QStringLiteral("gs"))}, nullptr);
    EXPECT_EQ(onlyGs.supportedProfiles(), (std::vector {PDFCompressionProfile::recommended, PDFCompressionProfile::highQuality,
                                                        PDFCompressionProfile::extreme, PDFCompressionProfile::scans}));
    const PDFCompressionProcessor onlyMutool({kMutool, std::nullopt}, nullptr);
    EXPECT_EQ(onlyMutool.supportedProfiles(), (std::vector {PDFCompressionProfile::recommended, PDFCompressionProfile::highQuality}));
}

TEST(PdfCompressionProcessor, OlderMuPDFIsRetriedWithoutTheOptionsItLacks)
{
    QTemporaryDir folder;
    const QString calls = folder.filePath(QStringLiteral("calls"));
    // Like MuPDF 1.21: refuses -t, otherwise copies its input to its output.
    const QString mutool = writeScript(folder.path(), QStringLiteral("mutool"), QStringLiteral(
        "echo \"$*\" >> '%1'\n"
        "for a in \"$@\"; do [ \"$a\" = -t ] && { echo 'clean: unknown option -t' >&2; exit 1; }; done\n"
        "eval in=\\${$(($# - 1))}; eval out=\\${$#}; cp \"$in\" \"$out\"").arg(calls));
    const QString source = writeTextPdf(folder.path(), QStringLiteral("source.pdf"), 2);
    const auto result = PDFCompressionProcessor({mutool, std::nullopt}, std::make_shared<SystemPDFCompressionCommandRunner>(60))
                            .compressPDF(source, settings(PDFCompressionProfile::recommended, 72, 144, false), folder.filePath("cache"));
    ASSERT_TRUE(result.has_value());
    // Its packed copy of the source ties with the lossless rewrite, and the earlier wins.
    EXPECT_EQ(result->usedStrategy, QStringLiteral("MuPDF medium"));
    const QStringList lines = QString::fromUtf8(readAll(calls)).split('\n', Qt::SkipEmptyParts);
    ASSERT_EQ(lines.size(), 2);
    EXPECT_TRUE(lines[1].startsWith(QStringLiteral("clean -gggg -z -c -m -f -i ") + source + ' '));
}
