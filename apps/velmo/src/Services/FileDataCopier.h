#pragma once

#include "Services/FileSystemCalls.h"

#include <QSet>

#include <memory>
#include <optional>

// Copies a regular file's bytes into a new, empty file, both descriptors at
// offset 0. Uses the cheapest way the file systems allow: a clone (shared
// extents), else in-kernel copying, else reading and writing. A file with holes
// is copied extent by extent (SEEK_DATA / SEEK_HOLE) so that its holes stay
// holes. It always reads on to the end of the file, so a file that grew is
// copied whole and an early stop of the kernel's copy is noticed.
//
// One instance serves one batch on one thread: it remembers the source devices
// whose file systems refused a clone or an in-kernel copy, so that a batch of
// many files asks once.
class FileDataCopier {
public:
    explicit FileDataCopier(FileSystemCalls& calls) : calls(calls) {}

    // The size of the copy, which the caller compares with the source's.
    FileSystemCalls::Result<qint64> copy(int sourceFd, int destinationFd, const struct stat& source);

private:
    // Copies `length` bytes (to the end of the file when negative) from both
    // descriptors' current offsets; answers how many it copied. `expectedSize`
    // is what the file said it held when opened.
    FileSystemCalls::Result<qint64> copyRun(int sourceFd, int destinationFd, qint64 length, dev_t device,
                                            qint64 expectedSize);
    FileSystemCalls::Result<qint64> copyByReading(int sourceFd, int destinationFd, qint64 length);
    // Copies the data extents and sets the size; nullopt when the file system
    // cannot tell where the holes are.
    std::optional<FileSystemCalls::Result<qint64>> copyExtents(int sourceFd, int destinationFd, dev_t device);

    FileSystemCalls& calls;
    QSet<dev_t> devicesWithoutCloning;
    QSet<dev_t> devicesWithoutRangeCopy;
    std::unique_ptr<char[]> buffer;
};
