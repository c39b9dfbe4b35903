#pragma once

#include <QByteArray>
#include <QFile>
#include <QString>

#include <memory>
#include <optional>

// An image file opened for reading without ever blocking the calling worker: the item is
// looked at first and opened only when it is a regular file (a FIFO would wait for a writer,
// a device's driver would see an open), with O_NONBLOCK as a second guard, and looked at
// again through the descriptor in case it was swapped in between.
class ImageSourceFile {
public:
    // Nothing when the path names no readable regular file.
    static std::optional<ImageSourceFile> open(const QString& path);

    // Seekable, positioned at the start; owns the descriptor.
    QIODevice& device() { return *file_; }
    qint64 size() const { return size_; }
    // Up to `length` bytes from the start, for telling formats apart; the device is left at
    // the start.
    QByteArray head(qint64 length);
    // The whole file, or nothing when it is larger than `limit` or reading fails.
    std::optional<QByteArray> readAll(qint64 limit);

private:
    ImageSourceFile(std::unique_ptr<QFile> file, qint64 size) : file_(std::move(file)), size_(size) { }

    std::unique_ptr<QFile> file_;
    qint64 size_ = 0;
};

// The path's bytes on disk. Velmo keeps every byte of a name that is not UTF-8 as the lone
// surrogate U+DC80 + byte; this turns it back into that byte, and the rest into UTF-8.
QByteArray imageNativePath(QStringView path);
