#include "ImageSourceFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

QByteArray imageNativePath(QStringView path)
{
    QByteArray bytes;
    bytes.reserve(path.size() * 3);
    for (qsizetype i = 0; i < path.size(); ++i) {
        const char16_t unit = path[i].unicode();
        if (unit >= 0xDC80 && unit <= 0xDCFF) {
            bytes.append(static_cast<char>(unit - 0xDC00));
            continue;
        }
        qsizetype length = 1;
        if (QChar::isHighSurrogate(unit) && i + 1 < path.size() && path[i + 1].isLowSurrogate()) length = 2;
        bytes.append(path.mid(i, length).toUtf8());
        i += length - 1;
    }
    return bytes;
}

std::optional<ImageSourceFile> ImageSourceFile::open(const QString& path)
{
    const QByteArray native = imageNativePath(path);
    struct stat before {};
    if (native.isEmpty() || ::stat(native.constData(), &before) != 0 || !S_ISREG(before.st_mode)) return std::nullopt;
    const int fd = ::open(native.constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    if (fd < 0) return std::nullopt;
    struct stat after {};
    if (::fstat(fd, &after) != 0 || !S_ISREG(after.st_mode)) {
        ::close(fd);
        return std::nullopt;
    }
    auto file = std::make_unique<QFile>();
    if (!file->open(fd, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle)) {
        ::close(fd);
        return std::nullopt;
    }
    return ImageSourceFile(std::move(file), static_cast<qint64>(after.st_size));
}

QByteArray ImageSourceFile::head(qint64 length)
{
    const QByteArray bytes = file_->peek(length);
    file_->seek(0);
    return bytes;
}

std::optional<QByteArray> ImageSourceFile::readAll(qint64 limit)
{
    if (size_ > limit || !file_->seek(0)) return std::nullopt;
    QByteArray bytes = file_->read(size_);
    // A file that changed size while being read is refused rather than half-read.
    const bool grew = !file_->read(1).isEmpty();
    file_->seek(0);
    if (bytes.size() != size_ || grew) return std::nullopt;
    return bytes;
}
