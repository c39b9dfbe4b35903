#include "MarkupKit/MarkupSaver.h"

#include "MarkupKit/MarkupRendering.h"
#include "PathKit/FilePaths.h"

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImageReader>
#include <QImageWriter>
#include <QPainter>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

QByteArray writerFormat(const QString& extension)
{
    const QString e = extension.toLower();
    if (DerivedImageOutput::isJPEGExtension(e)) return "jpeg";
    if (e == u"gif") return "gif";
    if (e == u"tif" || e == u"tiff") return "tiff";
    if (e == u"bmp") return "bmp";
    return "png";
}

QByteArray encode(const QImage& image, const QByteArray& format, int quality)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, format);
    if (quality >= 0) writer.setQuality(quality);
    // JPEG holds no alpha: the picture goes on white.
    QImage opaque = image;
    if (format == "jpeg" && image.hasAlphaChannel()) {
        opaque = QImage(image.size(), QImage::Format_RGB32);
        opaque.fill(Qt::white);
        QPainter(&opaque).drawImage(0, 0, image);
    }
    if (!writer.write(opaque)) return {};
    return bytes;
}

} // namespace

namespace {

// Names are handled as their bytes: a name that is not UTF-8 still names its file.
bool nameTaken(const QString& path)
{
    struct stat info;
    return ::lstat(FilePaths::toNative(path).constData(), &info) == 0;
}

QString folderOf(const QString& path)
{
    const qsizetype slash = path.lastIndexOf(u'/');
    return slash <= 0 ? QStringLiteral("/") : path.left(slash);
}

QString nameOf(const QString& path) { return path.mid(path.lastIndexOf(u'/') + 1); }

QString extensionOf(const QString& path)
{
    const QString name = nameOf(path);
    const qsizetype dot = name.lastIndexOf(u'.');
    return dot > 0 ? name.mid(dot + 1) : QString();
}

} // namespace

QString DerivedImageOutput::makeImageCopyPath(const QString& source, const QString& suffixBase, const QString& extension)
{
    const QString folder = folderOf(source);
    const QString name = nameOf(source);
    const qsizetype dot = name.lastIndexOf(u'.');
    const QString stem = dot > 0 ? name.left(dot) : name;
    QString candidate = folder + u'/' + stem + suffixBase + u'.' + extension;
    for (int n = 2; nameTaken(candidate); ++n)
        candidate = folder + u'/' + stem + suffixBase + QString::number(n) + u'.' + extension;
    return candidate;
}

QString DerivedImageOutput::outputImageExtension(const QString& originalExtension)
{
    const QString e = originalExtension.toLower();
    static const QStringList kept {"jpg", "jpeg", "jpe", "png", "gif", "tiff", "tif", "bmp"};
    return kept.contains(e) ? e : QStringLiteral("png");
}

bool DerivedImageOutput::isJPEGExtension(const QString& extension)
{
    const QString e = extension.toLower();
    return e == u"jpg" || e == u"jpeg" || e == u"jpe";
}

QByteArray DerivedImageOutput::encodedData(const QImage& image, const QString& extension, std::optional<qint64> maximumFileSize)
{
    const QByteArray format = writerFormat(extension);
    // Qt's writers have no GIF encoder here: such a copy is refused rather than mislabelled.
    if (!QImageWriter::supportedImageFormats().contains(format)) return {};
    if (format != "jpeg") return encode(image, format, -1);
    if (!maximumFileSize) return encode(image, format, 82);
    QByteArray smallest;
    for (int quality : {82, 72, 62, 52, 42, 32}) {
        QByteArray bytes = encode(image, format, quality);
        if (bytes.isEmpty()) continue;
        if (bytes.size() <= *maximumFileSize) return bytes;
        if (smallest.isEmpty() || bytes.size() < smallest.size()) smallest = std::move(bytes);
    }
    return smallest;
}

namespace {

bool writeAll(int fd, const QByteArray& bytes)
{
    const char* data = bytes.constData();
    qint64 left = bytes.size();
    while (left > 0) {
        const ssize_t written = ::write(fd, data, size_t(left));
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        data += written;
        left -= written;
    }
    return ::fsync(fd) == 0;
}

} // namespace

bool DerivedImageOutput::writeNewFile(const QByteArray& bytes, const QString& path)
{
    if (bytes.isEmpty()) return false;
    const QByteArray folder = FilePaths::toNative(folderOf(path));
    const QByteArray target = FilePaths::toNative(path);
    // An unnamed file in the folder, linked under the name once complete: the name
    // never holds half a file, and an existing file is never replaced.
    int fd = ::open(folder.constData(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0644);
    if (fd >= 0) {
        const QByteArray procPath = "/proc/self/fd/" + QByteArray::number(fd);
        const bool done = writeAll(fd, bytes)
            && ::linkat(AT_FDCWD, procPath.constData(), AT_FDCWD, target.constData(), AT_SYMLINK_FOLLOW) == 0;
        ::close(fd);
        return done;
    }
    // File systems without unnamed files: a hidden temporary name, linked the same way.
    const QByteArray temporary = folder + "/." + target.mid(target.lastIndexOf('/') + 1) + ".part";
    fd = ::open(temporary.constData(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0644);
    if (fd < 0) return false;
    const bool done = writeAll(fd, bytes) && ::link(temporary.constData(), target.constData()) == 0;
    ::close(fd);
    ::unlink(temporary.constData());
    return done;
}

QImage MarkupSaver::loadSource(const QString& source)
{
    // A regular file only, opened without waiting: a FIFO in its place is refused.
    const int fd = ::open(FilePaths::toNative(source).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) return {};
    struct stat info;
    QFile file;
    if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode) || !file.open(fd, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle)) {
        ::close(fd);
        return {};
    }
    QImageReader reader(&file);
    reader.setAutoTransform(true);
    return reader.read();
}

std::optional<QString> MarkupSaver::saveMarkupCopy(const QString& source, const std::vector<MarkupAnnotation>& annotations)
{
    if (annotations.empty()) return std::nullopt;
    const QImage image = loadSource(source);
    if (image.isNull()) return std::nullopt;
    const QImage flattened = MarkupFlattener::flatten(annotations, image);
    if (flattened.isNull()) return std::nullopt;
    const QString extension = DerivedImageOutput::outputImageExtension(extensionOf(source));
    std::optional<qint64> budget;
    struct stat info;
    if (DerivedImageOutput::isJPEGExtension(extension) && ::stat(FilePaths::toNative(source).constData(), &info) == 0
        && info.st_size > 0)
        budget = std::max(qint64(info.st_size), qint64(std::llround(double(info.st_size) * 1.5)));
    const QByteArray bytes = DerivedImageOutput::encodedData(flattened, extension, budget);
    // A name taken between choosing and linking: the next free one.
    for (int attempt = 0; attempt < 5; ++attempt) {
        const QString path = DerivedImageOutput::makeImageCopyPath(source, QStringLiteral("_markup"), extension);
        if (DerivedImageOutput::writeNewFile(bytes, path)) return path;
        if (!nameTaken(path)) return std::nullopt;
    }
    return std::nullopt;
}
