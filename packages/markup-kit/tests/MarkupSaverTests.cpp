#include "MarkupKit/MarkupSaver.h"
#include "PathKit/FilePaths.h"

#include <QBuffer>
#include <QCryptographicHash>
#include <QFile>
#include <QImageReader>
#include <QRandomGenerator>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

QByteArray digest(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) return {};
    return QCryptographicHash::hash(file.readAll(), QCryptographicHash::Sha256);
}

// Noise compresses badly, so a JPEG of it is large for its size.
QImage noise(int width, int height)
{
    QImage image(width, height, QImage::Format_RGB32);
    auto* random = QRandomGenerator::global();
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) image.setPixel(x, y, random->generate() | 0xff000000);
    return image;
}

std::vector<MarkupAnnotation> oneRectangle()
{
    return {MarkupAnnotation {MarkupShape::rectShape(MarkupShape::Kind::rectangle, {0.1, 0.1, 0.5, 0.5})}};
}

} // namespace

TEST(DerivedImageOutput, NamesAndTypesOfCopies)
{
    QTemporaryDir folder;
    const QString source = folder.filePath("a.HEIC");
    EXPECT_EQ(DerivedImageOutput::outputImageExtension("HEIC"), "png");
    EXPECT_EQ(DerivedImageOutput::outputImageExtension("JPG"), "jpg");
    EXPECT_EQ(DerivedImageOutput::outputImageExtension(""), "png");
    EXPECT_EQ(DerivedImageOutput::makeImageCopyPath(source, "_markup", "png"), folder.filePath("a_markup.png"));
    for (const char* taken : {"a_markup.png", "a_markup2.png"}) {
        QFile file(folder.filePath(taken));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    }
    EXPECT_EQ(DerivedImageOutput::makeImageCopyPath(source, "_markup", "png"), folder.filePath("a_markup3.png"));
    // A name taken while the copy was written is not replaced.
    EXPECT_FALSE(DerivedImageOutput::writeNewFile("new", folder.filePath("a_markup.png")));
    QFile kept(folder.filePath("a_markup.png"));
    ASSERT_TRUE(kept.open(QIODevice::ReadOnly));
    EXPECT_TRUE(kept.readAll().isEmpty());
}

// The copy lands beside the source with the suffix, the source untouched; a JPEG may
// grow to half again its source's size; nothing is written without annotations.
TEST(MarkupSaver, SavesACopyBesideTheSourceWithinTheJpegBudget)
{
    QTemporaryDir folder;
    const QString source = folder.filePath("shot.JPG");
    ASSERT_TRUE(noise(600, 400).save(source, "JPEG", 50));
    const QByteArray before = digest(source);
    const qint64 sourceSize = QFileInfo(source).size();

    EXPECT_EQ(MarkupSaver::saveMarkupCopy(source, {}), std::nullopt);
    const auto saved = MarkupSaver::saveMarkupCopy(source, oneRectangle());
    ASSERT_TRUE(saved);
    EXPECT_EQ(*saved, folder.filePath("shot_markup.jpg"));
    EXPECT_LE(QFileInfo(*saved).size(), sourceSize * 3 / 2 + 1);
    EXPECT_EQ(QImageReader(*saved).size(), QSize(600, 400));
    EXPECT_EQ(digest(source), before);
    EXPECT_EQ(MarkupSaver::saveMarkupCopy(source, oneRectangle()), folder.filePath("shot_markup2.jpg"));
    EXPECT_EQ(QDir(folder.path()).entryList(QDir::Files).size(), 3);

    // A budget no quality can meet keeps the smallest attempt.
    const QByteArray tight = DerivedImageOutput::encodedData(noise(300, 200), "jpg", 10);
    const QByteArray loosest = DerivedImageOutput::encodedData(noise(300, 200), "jpg", std::nullopt);
    EXPECT_FALSE(tight.isEmpty());
    EXPECT_LT(tight.size(), loosest.size());
    EXPECT_EQ(MarkupSaver::saveMarkupCopy(folder.filePath("missing.png"), oneRectangle()), std::nullopt);
}

// A name that is not UTF-8 and a FIFO: the copy is named by the source's own bytes,
// and a FIFO in place of a picture is refused without waiting for a writer.
TEST(MarkupSaver, NamesAreBytesAndOnlyRegularFilesAreRead)
{
    QTemporaryDir folder;
    const QByteArray native = QFile::encodeName(folder.path()) + "/caf\xe9.png";
    const QString source = FilePaths::fromNative(native);
    QByteArray png;
    {
        QBuffer buffer(&png);
        buffer.open(QIODevice::WriteOnly);
        ASSERT_TRUE(noise(40, 30).save(&buffer, "PNG"));
    }
    const int fd = ::open(native.constData(), O_CREAT | O_WRONLY, 0644);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(::write(fd, png.constData(), size_t(png.size())), png.size());
    ::close(fd);
    const auto saved = MarkupSaver::saveMarkupCopy(source, oneRectangle());
    ASSERT_TRUE(saved);
    struct stat info;
    EXPECT_EQ(::stat(FilePaths::toNative(*saved).constData(), &info), 0);
    EXPECT_TRUE(FilePaths::toNative(*saved).endsWith("/caf\xe9_markup.png"));

    const QByteArray fifo = QFile::encodeName(folder.filePath("pipe.png"));
    ASSERT_EQ(::mkfifo(fifo.constData(), 0644), 0);
    EXPECT_EQ(MarkupSaver::saveMarkupCopy(folder.filePath("pipe.png"), oneRectangle()), std::nullopt);
}
