#include "MediaCompression/PDFCompressionProcessor.h"

#include "PDFCompressionStrategies.h"
#include "PDFSourceFile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QUuid>

#include <unistd.h>

namespace {

QString uuidName(const QString& suffix)
{
    return QUuid::createUuid().toString(QUuid::WithoutBraces) + suffix;
}

// Intermediate files of one run, removed whatever way the run ends.
class TemporaryFiles {
public:
    TemporaryFiles() = default;
    TemporaryFiles(const TemporaryFiles&) = delete;
    TemporaryFiles& operator=(const TemporaryFiles&) = delete;
    ~TemporaryFiles()
    {
        for (const QString& path : paths_) QFile::remove(path);
    }
    QString make(const QString& folder)
    {
        paths_.push_back(folder + QLatin1Char('/') + uuidName(QStringLiteral(".pdf")));
        return paths_.back();
    }

private:
    std::vector<QString> paths_;
};

struct Candidate {
    QString name;
    QString path;
    qint64 sizeBytes = 0;
};

// A result counts only when it is a readable PDF with every page of the source.
std::optional<Candidate> validated(const QString& name, const QString& path, int originalPages)
{
    const qint64 size = PDFSourceFile::regularFileSize(path);
    if (size < 1) return std::nullopt;
    const int pages = PDFSourceFile::pageCount(path);
    if (pages < 1 || (originalPages >= 1 && pages != originalPages)) return std::nullopt;
    return Candidate {name, path, size};
}

// The external compressors write PDF 1.4 with a plain cross-reference table and stream
// compression of their own choosing; packing their objects into compressed object
// streams takes a few more percent off without touching a page, so a candidate keeps the
// packed form when it is smaller and still valid.
Candidate tighten(const Candidate& candidate, const QString& packedPath, int originalPages)
{
    if (candidate.name == PDFCompressionProcessor::kLosslessRewriteName) return candidate;
    if (!PDFCompressionStrategies::rewriteLosslessly(candidate.path, packedPath)) return candidate;
    const auto packed = validated(candidate.name, packedPath, originalPages);
    if (!packed || packed->sizeBytes >= candidate.sizeBytes) return candidate;
    return *packed;
}

} // namespace

PDFCompressionToolPaths PDFCompressionToolPaths::discover(const QString& environmentPath)
{
    return {findExecutable(QStringLiteral("mutool"), environmentPath), findExecutable(QStringLiteral("gs"), environmentPath)};
}

std::optional<QString> PDFCompressionToolPaths::findExecutable(const QString& name, const QString& environmentPath)
{
    QStringList folders = environmentPath.split(QLatin1Char(':'), Qt::SkipEmptyParts);
    folders << QStringLiteral("/usr/local/bin") << QStringLiteral("/usr/bin") << QStringLiteral("/bin");
    for (const QString& folder : folders) {
        const QString path = QDir(folder).absoluteFilePath(name);
        if (PDFSourceFile::isRegularFile(path) && ::access(QFile::encodeName(path).constData(), X_OK) == 0)
            return QDir::cleanPath(path);
    }
    return std::nullopt;
}

PDFCompressionProcessor::PDFCompressionProcessor(PDFCompressionToolPaths toolPaths,
                                                 std::shared_ptr<PDFCompressionCommandRunning> runner)
    : toolPaths_(std::move(toolPaths)), runner_(std::move(runner))
{
    if (!runner_) runner_ = std::make_shared<SystemPDFCompressionCommandRunner>();
}

std::vector<PDFCompressionProfile> PDFCompressionProcessor::supportedProfiles() const
{
    std::vector<PDFCompressionProfile> profiles {PDFCompressionProfile::recommended};
    if (toolPaths_.mutool || toolPaths_.ghostscript) profiles.push_back(PDFCompressionProfile::highQuality);
    if (toolPaths_.ghostscript) {
        profiles.push_back(PDFCompressionProfile::extreme);
        profiles.push_back(PDFCompressionProfile::scans);
    }
    return profiles;
}

std::expected<PDFInfo, PDFCompressionError> PDFCompressionProcessor::info(const QString& path) const
{
    const QString source = QFileInfo(path).absoluteFilePath();
    const qint64 size = PDFSourceFile::regularFileSize(source);
    const int pages = size > 0 ? PDFSourceFile::pageCount(source) : -1;
    if (pages < 0) return std::unexpected(PDFCompressionError::failedToReadPDF());
    return PDFInfo {size, pages};
}

std::expected<QStringList, PDFCompressionError>
PDFCompressionProcessor::candidateStrategyNames(const PDFCompressionSettings& settings) const
{
    auto strategies = PDFCompressionStrategies::candidates(QString(), settings, toolPaths_, runner_);
    if (!strategies) return std::unexpected(strategies.error());
    QStringList names;
    for (const PDFCompressionStrategy& strategy : *strategies) names << strategy.name;
    return names;
}

std::expected<CompressedPDF, PDFCompressionError>
PDFCompressionProcessor::compressPDF(const QString& sourcePath, const PDFCompressionSettings& settings,
                                     const QString& outputDirectory, std::stop_token stop,
                                     std::function<void(double)> progress) const
{
    const auto report = [&](double value) { if (progress) progress(value); };
    const QString source = QDir::cleanPath(QFileInfo(sourcePath).absoluteFilePath());
    const auto original = info(source);
    if (!original) return std::unexpected(original.error());
    const QString folder = QDir::cleanPath(QFileInfo(outputDirectory).absoluteFilePath());
    if (!QDir().mkpath(folder)) return std::unexpected(PDFCompressionError::failedToCreateOutput());
    auto strategies = PDFCompressionStrategies::candidates(source, settings, toolPaths_, runner_);
    if (!strategies) return std::unexpected(strategies.error());

    TemporaryFiles temporaries;
    std::optional<Candidate> best;
    const double count = double(strategies->size());
    for (std::size_t index = 0; index < strategies->size(); ++index) {
        if (stop.stop_requested()) return std::unexpected(PDFCompressionError::cancelled());
        const PDFCompressionStrategy& strategy = (*strategies)[index];
        const QString path = temporaries.make(folder);
        report(index / count);
        const auto done = strategy.compress(path, stop, [&](double part) { report((index + part) / count); });
        if (!done) {
            if (done.error().isCancellation()) return std::unexpected(done.error());
            QFile::remove(path);
            continue; // one compressor failing costs only its own candidate
        }
        const auto candidate = validated(strategy.name, path, original->pageCount);
        if (!candidate) continue;
        const auto tightened = tighten(*candidate, temporaries.make(folder), original->pageCount);
        if (!best || tightened.sizeBytes < best->sizeBytes) best = tightened;
    }
    if (stop.stop_requested()) return std::unexpected(PDFCompressionError::cancelled());
    if (!best) return std::unexpected(PDFCompressionError::noSuccessfulCandidates());

    CompressedPDF result;
    result.filePath = folder + QLatin1Char('/') + uuidName(QStringLiteral("-compressed.pdf"));
    result.pageCount = original->pageCount;
    result.profile = settings.profile;
    if (settings.keepSmaller && best->sizeBytes >= original->sizeBytes) {
        if (!QFile::copy(source, result.filePath)) return std::unexpected(PDFCompressionError::failedToCreateOutput());
        result.sizeBytes = original->sizeBytes;
        result.usedStrategy = kOriginalKeptName;
        result.keptOriginal = true;
    } else {
        if (!QFile::rename(best->path, result.filePath)) return std::unexpected(PDFCompressionError::failedToCreateOutput());
        result.sizeBytes = best->sizeBytes;
        result.usedStrategy = best->name;
    }
    report(1.0);
    return result;
}
