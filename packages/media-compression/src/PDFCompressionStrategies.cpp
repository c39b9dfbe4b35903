#include "PDFCompressionStrategies.h"

#include "MediaCompression/RasterizedPDFWriter.h"

#include <algorithm>

namespace PDFCompressionStrategies {

QStringList mutoolArguments(const QString& mutool, const QString& variant, const QString& input, const QString& output)
{
    QStringList arguments {mutool, QStringLiteral("clean"), QStringLiteral("-gggg"), QStringLiteral("-z"),
                           QStringLiteral("-c"), QStringLiteral("-t"), QStringLiteral("-Z"), QStringLiteral("-m")};
    if (variant == QLatin1String("medium"))
        arguments << QStringLiteral("-f") << QStringLiteral("-i") << QStringLiteral("-e") << QStringLiteral("100")
                  << QStringLiteral("--color-lossless-image-recompress-method") << QStringLiteral("lossless")
                  << QStringLiteral("--gray-lossless-image-recompress-method") << QStringLiteral("lossless");
    return arguments << input << output;
}

QStringList ghostscriptArguments(const QString& gs, const QString& preset, bool scanMode, const PDFCompressionSettings& settings,
                                 const QString& input, const QString& output)
{
    QStringList arguments {gs,
                           QStringLiteral("-sDEVICE=pdfwrite"),
                           QStringLiteral("-dCompatibilityLevel=1.4"),
                           QStringLiteral("-q"),
                           QStringLiteral("-dNOPAUSE"),
                           QStringLiteral("-dBATCH"),
                           QStringLiteral("-dSAFER"),
                           QStringLiteral("-dPreserveMarkedContent=false"),
                           QStringLiteral("-dDetectDuplicateImages=true"),
                           QStringLiteral("-dCompressFonts=true"),
                           QStringLiteral("-dSubsetFonts=true"),
                           QStringLiteral("-dPDFSETTINGS=/") + preset,
                           QStringLiteral("-dJPEGQ=") + QString::number(std::clamp(settings.jpegQuality, 1, 100)),
                           QStringLiteral("-dAutoFilterColorImages=false"),
                           QStringLiteral("-dColorImageFilter=/DCTEncode"),
                           QStringLiteral("-dAutoFilterGrayImages=false"),
                           QStringLiteral("-dGrayImageFilter=/DCTEncode")};
    if (scanMode)
        arguments << QStringLiteral("-sColorConversionStrategy=Gray") << QStringLiteral("-dProcessColorModel=/DeviceGray")
                  << QStringLiteral("-dDownsampleGrayImages=true")
                  << QStringLiteral("-dGrayImageResolution=") + QString::number(settings.scanDPI)
                  << QStringLiteral("-dGrayImageDownsampleThreshold=1.0")
                  << QStringLiteral("-dGrayImageDownsampleType=/Bicubic");
    // Ghostscript reads "%d" in an output name as a page number; a folder may contain "%".
    QString escapedOutput = output;
    escapedOutput.replace(QLatin1Char('%'), QStringLiteral("%%"));
    return arguments << QStringLiteral("-sOutputFile=") + escapedOutput << input;
}

namespace {

// MuPDF before 1.22 knows neither object streams (-Z), tidying (-t) nor image
// recompression (-e and the --*-recompress-method options) and refuses to start with them;
// it still does the rest of the work with what remains.
QStringList legacyMutoolArguments(const QStringList& arguments)
{
    QStringList kept;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString& argument = arguments[i];
        if (argument == QLatin1String("-t") || argument == QLatin1String("-Z")) continue;
        if (argument == QLatin1String("-e") || argument.startsWith(QLatin1String("--"))) {
            ++i; // and its value
            continue;
        }
        kept << argument;
    }
    return kept;
}

PDFCompressionStrategy commandStrategy(const QString& name, std::function<QStringList(const QString&)> arguments,
                                       const std::shared_ptr<PDFCompressionCommandRunning>& runner)
{
    return {name, [arguments = std::move(arguments), runner](const QString& output, std::stop_token stop,
                                                             const std::function<void(double)>&)
                      -> std::expected<void, PDFCompressionError> {
                const QStringList command = arguments(output);
                auto result = runner->run(command, stop);
                const bool olderMuPDF = !result && result.error().kind == PDFCompressionError::Kind::processFailed
                    && command.value(1) == QLatin1String("clean")
                    && result.error().detail.contains(QLatin1String("unknown option"));
                if (olderMuPDF) result = runner->run(legacyMutoolArguments(command), stop);
                if (!result) return std::unexpected(result.error());
                return {};
            }};
}

bool rasterises(const PDFCompressionSettings& settings)
{
    return settings.profile == PDFCompressionProfile::scans || settings.jpegQuality <= 60 || settings.scanDPI <= 130;
}

} // namespace

std::expected<std::vector<PDFCompressionStrategy>, PDFCompressionError>
candidates(const QString& source, const PDFCompressionSettings& settings, const PDFCompressionToolPaths& tools,
           const std::shared_ptr<PDFCompressionCommandRunning>& runner)
{
    const PDFCompressionProfile profile = settings.profile;
    std::vector<PDFCompressionStrategy> list;
    const auto addMuPDF = [&](const QStringList& variants) {
        if (!tools.mutool) return;
        for (const QString& variant : variants)
            list.push_back(commandStrategy(QStringLiteral("MuPDF ") + variant, [=, mutool = *tools.mutool](const QString& output) {
                return mutoolArguments(mutool, variant, source, output);
            }, runner));
    };
    const auto addGhostscript = [&](const QStringList& presets, bool scanMode) {
        if (!tools.ghostscript) return;
        for (const QString& preset : presets)
            list.push_back(commandStrategy(QStringLiteral("Ghostscript ") + preset, [=, gs = *tools.ghostscript](const QString& output) {
                return ghostscriptArguments(gs, preset, scanMode, settings, source, output);
            }, runner));
    };

    switch (profile) {
    case PDFCompressionProfile::recommended:
        addMuPDF({QStringLiteral("medium")});
        addGhostscript({QStringLiteral("ebook"), QStringLiteral("printer")}, false);
        break;
    case PDFCompressionProfile::highQuality:
        if (!tools.mutool && !tools.ghostscript)
            return std::unexpected(PDFCompressionError::missingTool(QStringLiteral("Ghostscript or MuPDF")));
        addMuPDF({QStringLiteral("light"), QStringLiteral("medium")});
        addGhostscript({QStringLiteral("printer"), QStringLiteral("prepress")}, false);
        break;
    case PDFCompressionProfile::extreme:
        if (!tools.ghostscript) return std::unexpected(PDFCompressionError::missingTool(QStringLiteral("Ghostscript")));
        addGhostscript({QStringLiteral("screen"), QStringLiteral("ebook")}, false);
        addMuPDF({QStringLiteral("medium")});
        break;
    case PDFCompressionProfile::scans:
        if (!tools.ghostscript) return std::unexpected(PDFCompressionError::missingTool(QStringLiteral("Ghostscript")));
        addGhostscript({QStringLiteral("screen"), QStringLiteral("ebook")}, true);
        break;
    }

    if (rasterises(settings)) {
        const RasterizedPDFColorMode mode = profile == PDFCompressionProfile::scans ? RasterizedPDFColorMode::grayscale
                                                                                   : RasterizedPDFColorMode::rgb;
        list.push_back({QString::fromLatin1(RasterizedPDFWriter::kStrategyName),
                        [=](const QString& output, std::stop_token stop, const std::function<void(double)>& progress) {
                            return RasterizedPDFWriter::rasterize(source, output, settings.jpegQuality, settings.scanDPI,
                                                                  mode, stop, progress);
                        }});
    }
    // Always last: a cheap lossless candidate, so that the result is never larger than a
    // plain rewrite of the source, and the one compressor that needs no installed tool.
    list.push_back({PDFCompressionProcessor::kLosslessRewriteName,
                    [=](const QString& output, std::stop_token, const std::function<void(double)>&) {
                        return rewriteLosslessly(source, output);
                    }});
    return list;
}

} // namespace PDFCompressionStrategies
