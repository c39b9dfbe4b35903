#include "PathKit/FilePaths.h"
#include "State/ImageCompressionSession.h"
#include "State/PDFCompressionSession.h"
#include "TestSupport.h"

#include <QCryptographicHash>
#include <QImage>
#include <QImageReader>
#include <QPdfDocument>

#include <gtest/gtest.h>

#include <sys/stat.h>

using namespace TestTree;

// The two tabs' sessions over the real processors, on material no one here wrote:
// the photographs and PDF manuals the set-up installs.
namespace {

const QString kPhoto = QStringLiteral("/usr/share/backgrounds/gnome/wood-d.webp");
const QString kManual = QStringLiteral("/usr/share/texlive/texmf-dist/doc/latex/base/lamport-manual.pdf");

QByteArray digest(const QString& path)
{
    return QCryptographicHash::hash(readFile(path), QCryptographicHash::Sha256);
}

struct CompressionSessionFixture : ::testing::Test {
    TemporaryFolder folder;
    std::shared_ptr<ManualExecutor> executor = std::make_shared<ManualExecutor>();

    QString path(const QString& name) const { return FilePaths::appending(folder.path(), name); }
    template <typename Session>
    typename Session::Dependencies dependencies() const
    {
        return {nullptr, executor, path("cache"), path("trash")};
    }
    void settle()
    {
        do executor->runAll();
        while (!executor->queue.empty());
    }
    void copyIn(const QString& from, const QString& name) const { ASSERT_TRUE(QFile::copy(from, path(name))); }
};

TEST_F(CompressionSessionFixture, ImagesCompressIntoTheCacheAndSaveBesideTheSourceWithoutTouchingIt)
{
    if (!exists(kPhoto)) GTEST_SKIP() << "the set-up installs the photographs";
    copyIn(kPhoto, "wood.webp");
    QImage small(300, 200, QImage::Format_RGB32);
    small.fill(Qt::darkCyan);
    ASSERT_TRUE(small.save(path("small.png")));
    writeFile(path("notes.jpg"), "not a picture");
    ASSERT_EQ(mkfifo(path("pipe.png").toLocal8Bit().constData(), 0600), 0);
    const QByteArray before = digest(path("wood.webp"));

    ImageCompressionSession session({path("wood.webp"), path("small.png"), path("notes.jpg"), path("pipe.png")},
                                    std::nullopt, {.format = OutputFormat::webp, .quality = 60},
                                    dependencies<ImageCompressionSession>());
    settle();
    ASSERT_EQ(session.tasks().size(), 2u);
    EXPECT_EQ(session.importIssues().size(), 2u) << "the text file and the FIFO are refused, not read";
    const auto& wood = session.tasks()[0];
    EXPECT_EQ(wood.status, CompressionTaskStatus::done) << wood.errorMessage.value_or(QString()).toStdString();
    EXPECT_GT(wood.originalWidth, 1000);
    EXPECT_LT(*wood.compressedSize, wood.originalSize);
    EXPECT_EQ(ImageCompressionSession::metadataSummaryText(wood).left(7), QStringLiteral("WEBP - "));

    // Saving twice: the second copy replaces the first, which goes to the trash.
    for (int round = 0; round < 2; ++round) {
        session.saveTasks({session.tasks()[0].id, session.tasks()[1].id});
        settle();
        EXPECT_EQ(session.statusMessage(), QStringLiteral("Saved 2 images."));
    }
    QImageReader saved(path("wood_compressed.webp"));
    EXPECT_EQ(saved.size(), QSize(wood.originalWidth, wood.originalHeight));
    EXPECT_EQ(QImage(path("small_compressed.webp")).size(), small.size());
    EXPECT_EQ(childNames(path("trash/files")), QStringList({"small_compressed.webp", "wood_compressed.webp"}));
    EXPECT_EQ(digest(path("wood.webp")), before);
}

TEST_F(CompressionSessionFixture, APDFManualComesOutSmallerAndReadableAndADamagedOneIsRefused)
{
    if (!exists(kManual)) GTEST_SKIP() << "the set-up installs the PDF manuals";
    copyIn(kManual, "manual.pdf");
    writeFile(path("damaged.pdf"), readFile(kManual).left(20000));
    const QByteArray before = digest(path("manual.pdf"));

    PDFCompressionSession session({path("manual.pdf"), path("damaged.pdf")}, std::nullopt, {},
                                  dependencies<PDFCompressionSession>());
    settle();
    ASSERT_EQ(session.tasks().size(), 1u);
    EXPECT_EQ(session.importIssues(), (std::vector<CompressionIssue> {{"damaged.pdf", "Unsupported file type"}}));
    const auto& manual = session.tasks()[0];
    ASSERT_EQ(manual.status, CompressionTaskStatus::done) << manual.errorMessage.value_or(QString()).toStdString();
    EXPECT_TRUE(manual.compressionStrategy.has_value());
    EXPECT_LE(*manual.compressedSize, manual.originalSize);

    session.saveTasks({manual.id});
    settle();
    EXPECT_EQ(session.statusMessage(), QStringLiteral("Saved 1 PDF."));
    QPdfDocument document;
    document.load(path("manual_compressed.pdf"));
    EXPECT_EQ(document.status(), QPdfDocument::Status::Ready);
    EXPECT_EQ(document.pageCount(), manual.pageCount);
    EXPECT_EQ(digest(path("manual.pdf")), before);
}

} // namespace
