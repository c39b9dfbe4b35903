// Inputs a user can drop on the queue by accident or malice: each ends in a clear error or
// a correct result, never a crash, a hang, a leftover file, or a changed source.
#include "MediaCompression/PDFCompressionProcessor.h"
#include "MediaCompression/RasterizedPDFWriter.h"

#include "PdfTestSupport.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <thread>

using namespace PdfTestSupport;

namespace {

PDFCompressionProcessor installedTools(double timeoutSeconds = 300)
{
    return PDFCompressionProcessor(PDFCompressionToolPaths::discover(qEnvironmentVariable("PATH")),
                                   std::make_shared<SystemPDFCompressionCommandRunner>(timeoutSeconds));
}

QString encrypted(const QString& folder, const QString& name, const QString& userPassword)
{
    const QString path = folder + QLatin1Char('/') + name;
    const QString source = writeTextPdf(folder, name + QStringLiteral(".plain.pdf"), 2);
    runTool(QStringLiteral("qpdf"), {QStringLiteral("--encrypt"), userPassword, QStringLiteral("owner-secret"),
                                     QStringLiteral("256"), QStringLiteral("--"), source, path});
    return path;
}

QStringList leftovers(const QString& folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden);
}

} // namespace

struct HostileCase {
    const char* name;
    std::function<QString(const QString& folder)> make;
};

class PdfUnreadableInput : public ::testing::TestWithParam<HostileCase> { };

TEST_P(PdfUnreadableInput, IsRefusedAsUnreadable)
{
    QTemporaryDir folder;
    const QString source = GetParam().make(folder.path());
    if (source.isEmpty()) GTEST_SKIP() << "needs a tool that is not installed";
    const QString cache = folder.filePath(QStringLiteral("cache"));
    const auto processor = installedTools();
    EXPECT_EQ(processor.info(source).error().errorDescription(), QStringLiteral("PDF could not be read."));
    const auto result = processor.compressPDF(source, PDFCompressionSettings(), cache);
    ASSERT_FALSE(result.has_value());
    EXPECT_EQ(result.error(), PDFCompressionError::failedToReadPDF());
    EXPECT_EQ(leftovers(cache), QStringList());
}

INSTANTIATE_TEST_SUITE_P(
    Inputs, PdfUnreadableInput,
    ::testing::Values(
        HostileCase {"zeroBytes", [](const QString& folder) {
                         writeAll(folder + QStringLiteral("/empty.pdf"), {});
                         return folder + QStringLiteral("/empty.pdf");
                     }},
        HostileCase {"notAPdf", [](const QString& folder) {
                         writeAll(folder + QStringLiteral("/text.pdf"), QByteArray(5000, 'x'));
                         return folder + QStringLiteral("/text.pdf");
                     }},
        HostileCase {"missing", [](const QString& folder) { return folder + QStringLiteral("/absent.pdf"); }},
        HostileCase {"folder", [](const QString& folder) {
                         QDir(folder).mkdir(QStringLiteral("folder.pdf"));
                         return folder + QStringLiteral("/folder.pdf");
                     }},
        // Opening a FIFO for reading would wait for a writer that never comes.
        HostileCase {"fifo", [](const QString& folder) {
                         const QString path = folder + QStringLiteral("/pipe.pdf");
                         ::mkfifo(QFile::encodeName(path).constData(), 0600);
                         return path;
                     }},
        HostileCase {"userPassword", [](const QString& folder) {
                         return hasTool(QStringLiteral("qpdf")) ? encrypted(folder, QStringLiteral("locked.pdf"), QStringLiteral("user-secret"))
                                                                : QString();
                     }}),
    [](const auto& info) { return std::string(info.param.name); });

struct DamagedCase {
    const char* name;
    std::function<QString(const QString& folder)> make;
};

class PdfDamagedInput : public ::testing::TestWithParam<DamagedCase> { };

// Damaged or protected files that a reader can still open: either a clear error or a
// result with every page, and the source is left exactly as it was.
TEST_P(PdfDamagedInput, GivesAResultWithEveryPageOrAClearError)
{
    QTemporaryDir folder;
    const QString source = GetParam().make(folder.path());
    if (source.isEmpty()) GTEST_SKIP() << "needs a manual or tool that is not installed";
    const QByteArray before = readAll(source);
    const QString cache = folder.filePath(QStringLiteral("cache"));
    const auto processor = installedTools();
    const auto info = processor.info(source);
    const auto result = processor.compressPDF(source, PDFCompressionSettings(), cache);
    if (result) {
        ASSERT_TRUE(info.has_value());
        EXPECT_EQ(processor.info(result->filePath).value_or(PDFInfo {}).pageCount, info->pageCount);
        EXPECT_EQ(leftovers(cache), QStringList {QFileInfo(result->filePath).fileName()});
    } else {
        EXPECT_TRUE(result.error() == PDFCompressionError::failedToReadPDF()
                    || result.error() == PDFCompressionError::noSuccessfulCandidates())
            << result.error().errorDescription().toStdString();
        EXPECT_EQ(leftovers(cache), QStringList());
    }
    EXPECT_EQ(readAll(source), before);
}

INSTANTIATE_TEST_SUITE_P(
    Inputs, PdfDamagedInput,
    ::testing::Values(
        DamagedCase {"truncatedManual", [](const QString& folder) {
                         const QByteArray whole = readAll(manual(QStringLiteral("ltx3info.pdf")));
                         if (whole.isEmpty()) return QString();
                         writeAll(folder + QStringLiteral("/cut.pdf"), whole.left(whole.size() * 2 / 3));
                         return folder + QStringLiteral("/cut.pdf");
                     }},
        DamagedCase {"brokenCrossReference", [](const QString& folder) {
                         QByteArray bytes = readAll(writeTextPdf(folder, QStringLiteral("whole.pdf"), 3));
                         bytes.replace("xref", "xxxx");
                         writeAll(folder + QStringLiteral("/broken.pdf"), bytes);
                         return folder + QStringLiteral("/broken.pdf");
                     }},
        DamagedCase {"ownerPasswordOnly", [](const QString& folder) {
                         return hasTool(QStringLiteral("qpdf")) ? encrypted(folder, QStringLiteral("owner.pdf"), QString())
                                                                : QString();
                     }}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(PdfHostileInput, ThousandPagesKeepEveryPage)
{
    QTemporaryDir folder;
    const QString source = folder.filePath(QStringLiteral("long.pdf"));
    const RasterizedPDFPage page {595, 842, 16, 16, RasterizedPDFColorMode::grayscale, jpeg(16, 16, true)};
    ASSERT_TRUE(PDFImageDocumentWriter::write(std::vector<RasterizedPDFPage>(1000, page), source));
    // Our own path end to end (opening, rewriting, checking every candidate's pages); the
    // external tools' way with long files is theirs.
    const auto result = PDFCompressionProcessor({}, nullptr)
                            .compressPDF(source, PDFCompressionSettings(), folder.filePath(QStringLiteral("cache")));
    ASSERT_TRUE(result.has_value()) << result.error().errorDescription().toStdString();
    EXPECT_EQ(result->pageCount, 1000);
    EXPECT_EQ(PDFCompressionProcessor({}, nullptr).info(result->filePath).value_or(PDFInfo {}).pageCount, 1000);
    EXPECT_LE(result->sizeBytes, QFileInfo(source).size());
}

// Tools that never end: past the deadline each loses only its own candidate; a stop
// request ends the run at once and leaves nothing behind.
TEST(PdfHostileInput, HangingToolsCostOnlyTheirCandidateOrEndOnStop)
{
    QTemporaryDir folder;
    const QString marker = folder.filePath(QStringLiteral("started"));
    const QString hanging = QStringLiteral("echo $$ >> '%1'\nsleep 600 &\nwait").arg(marker);
    const PDFCompressionToolPaths tools {writeScript(folder.path(), QStringLiteral("mutool"), hanging),
                                         writeScript(folder.path(), QStringLiteral("gs"), hanging)};
    const QString source = writeTextPdf(folder.path(), QStringLiteral("source.pdf"), 2);

    const QString cache = folder.filePath(QStringLiteral("cache"));
    const auto result = PDFCompressionProcessor(tools, std::make_shared<SystemPDFCompressionCommandRunner>(0.2))
                            .compressPDF(source, PDFCompressionSettings(), cache);
    ASSERT_TRUE(result.has_value()) << result.error().errorDescription().toStdString();
    EXPECT_TRUE(result->usedStrategy == QLatin1String("Lossless rewrite") || result->keptOriginal);
    EXPECT_EQ(readAll(marker).count('\n'), 3); // MuPDF medium, Ghostscript ebook and printer each ran
    EXPECT_EQ(leftovers(cache).size(), 1);

    QFile::remove(marker);
    const QString stoppedCache = folder.filePath(QStringLiteral("stopped"));
    std::stop_source stop;
    std::expected<CompressedPDF, PDFCompressionError> stopped;
    std::thread worker([&] {
        stopped = PDFCompressionProcessor(tools, std::make_shared<SystemPDFCompressionCommandRunner>(600))
                      .compressPDF(source, PDFCompressionSettings(), stoppedCache, stop.get_token());
    });
    const bool started = waitUntil([&] { return QFileInfo(marker).size() > 0; }, 5000);
    stop.request_stop();
    worker.join();
    ASSERT_TRUE(started);
    ASSERT_FALSE(stopped.has_value());
    EXPECT_TRUE(stopped.error().isCancellation());
    EXPECT_EQ(leftovers(stoppedCache), QStringList());
}
