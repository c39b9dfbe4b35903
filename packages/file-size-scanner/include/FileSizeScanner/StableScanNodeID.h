#pragma once

#include <QStringView>
#include <QUuid>

// A deterministic identifier derived from a path, so the same path keeps its identifier
// across scans and between a live tree and the final one. Two 64-bit FNV-1a hashes of the
// path's bytes (forward and backward), mixed with the length, written big-endian and
// stamped as version 5, variant 1.
class StableScanNodeID {
public:
    // The path text as given; an empty path stands for "/". Hashes the path's native bytes
    // (UTF-8, and the original bytes of names that are not UTF-8).
    static QUuid forPath(QStringView path);
    // The path standardised first, so "/a/b/" and "/a/./b" give the identifier of "/a/b".
    static QUuid forUrl(QStringView path);
    static QUuid forNativePath(const char* bytes, qsizetype length);
};
