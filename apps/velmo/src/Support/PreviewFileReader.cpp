#include "Support/PreviewFileReader.h"

#include "PathKit/FilePaths.h"
#include "Support/SystemErrorText.h"

#include <QBuffer>
#include <QImageReader>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

std::expected<void, QString> PreviewFileReader::checkRegularFile(const QString& path)
{
    const QByteArray native = FilePaths::toNative(path);
    const int fd = ::open(native.constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (fd < 0) return std::unexpected(SystemErrorText::describe(errno, path));
    struct stat info {};
    const bool regular = ::fstat(fd, &info) == 0 && S_ISREG(info.st_mode);
    ::close(fd);
    if (!regular) return std::unexpected(QStringLiteral("Not a regular file."));
    return {};
}

std::expected<QByteArray, QString> PreviewFileReader::readRegularFile(const QString& path, qint64 maximumBytes)
{
    const QByteArray native = FilePaths::toNative(path);
    // O_NONBLOCK: opening a FIFO never waits for a writer; it is refused just below.
    const int fd = ::open(native.constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (fd < 0) return std::unexpected(SystemErrorText::describe(errno, path));
    struct stat info {};
    if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) {
        ::close(fd);
        return std::unexpected(QStringLiteral("Not a regular file."));
    }
    if (info.st_size > maximumBytes) {
        ::close(fd);
        return std::unexpected(QStringLiteral("The file is too large to preview."));
    }
    ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) & ~O_NONBLOCK);
    QByteArray bytes;
    bytes.resize(qsizetype(info.st_size));
    qint64 done = 0;
    while (done < bytes.size()) {
        const ssize_t got = ::read(fd, bytes.data() + done, size_t(bytes.size() - done));
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) {
            const int failed = errno;
            ::close(fd);
            return std::unexpected(SystemErrorText::describe(failed, path));
        }
        if (got == 0) break; // the file shrank while it was read
        done += got;
    }
    ::close(fd);
    bytes.truncate(qsizetype(done));
    return bytes;
}

std::expected<PreviewFileReader::DecodedImage, QString> PreviewFileReader::decodeImage(const QByteArray& bytes, int maximumSide)
{
    QBuffer buffer;
    buffer.setData(bytes);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer);
    reader.setAutoTransform(true);
    const QSize size = reader.size();
    if (size.isValid() && std::max(size.width(), size.height()) > maximumSide)
        reader.setScaledSize(size.scaled(maximumSide, maximumSide, Qt::KeepAspectRatio));
    QImage image = reader.read();
    if (image.isNull()) return std::unexpected(QStringLiteral("The image could not be read: %1").arg(reader.errorString()));
    if (std::max(image.width(), image.height()) > maximumSide)
        image = image.scaled(maximumSide, maximumSide, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    // Turned upright the picture keeps its longer side.
    const int longSide = size.isValid() ? std::max(size.width(), size.height()) : std::max(image.width(), image.height());
    const QSize original = image.size().scaled(longSide, longSide, Qt::KeepAspectRatio);
    return DecodedImage {image, original};
}
