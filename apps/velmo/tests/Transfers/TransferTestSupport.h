#pragma once

#include "TestSupport.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <functional>
#include <map>
#include <ostream>

#include <sys/types.h>

namespace TestTree {

// A memory file system for tests that make and delete many small trees, else
// TMPDIR: disks slow down creating files right after deleting many.
QString memoryScratchBase();

void makeLink(const QByteArray& target, const QString& path);
void makeFifo(const QString& path);
void setModifiedTime(const QString& path, qint64 secondsSinceEpoch);
QString linkTarget(const QString& path);

// A tree that tries the awkward cases: nested, empty and read-only folders with
// their own modes and times, empty, small, sparse and multi-megabyte files, a
// file owned by someone else, extended attributes, links to files, folders and
// nowhere, and names with spaces, quotes, a newline, a leading dash and bytes
// that are not UTF-8.
void buildSampleTree(const QString& root, qint64 bigFileSize = 1536 * 1024 + 7);
// Bytes every file of the sample tree holds, for a quick size check.
qint64 sampleTreeFileBytes(qint64 bigFileSize = 1536 * 1024 + 7);
// Blocks (of 512 bytes) the item takes on disk.
qint64 allocatedBlocks(const QString& path);

// What a tree holds, item by item: kind, content digest or link target, owner,
// mode, modification time (to the nanosecond) and user attributes. The root
// itself counts by kind only: its content changes its times.
struct Item {
    char kind = '?'; // d, f, l, o(ther)
    QByteArray digest;
    mode_t mode = 0;
    uid_t owner = 0;
    qint64 modifiedNanoseconds = 0;
    QByteArray attributes;
    bool operator==(const Item&) const = default;
};
using Snapshot = std::map<QByteArray, Item>; // relative native path ("" is the root itself)

Snapshot snapshot(const QString& root);
// A readable list of what differs, empty when the two are equal.
QString differences(const Snapshot& expected, const Snapshot& actual);
// The items of `whole` below `relative` (the root of the part becomes "").
Snapshot part(const Snapshot& whole, const QByteArray& relative);

} // namespace TestTree

namespace TestPrivileges {

// Runs `body` on a thread whose file-system ids are nobody's, so that modes
// stop reads and writes even when the tests run as root.
void runAsNobody(const std::function<void()>& body);

// Runs `body` on a thread with its own mount namespace, where a tmpfs of
// `sizeBytes` is mounted at `mountPoint` (an existing folder). Returns false,
// without running `body`, when mounting is not permitted.
bool runWithSmallFileSystem(const QString& mountPoint, qint64 sizeBytes, const std::function<void()>& body);

} // namespace TestPrivileges
