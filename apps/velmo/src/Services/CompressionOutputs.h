#pragma once

#include "Services/FreedesktopTrash.h"

#include <QByteArray>
#include <QString>

#include <expected>

// Where a compression tab keeps its results and how it saves them beside their
// sources. Results live in a cache folder private to the tab (0700) until the tab
// closes; saving copies a result next to its source under a suffixed name. The
// source is never written, and a file already at the target name goes to the trash
// instead of being replaced, so saving never destroys anything. Plain system calls;
// any thread may call it.
class CompressionOutputs {
public:
    struct Error {
        int code = 0; // 2: bad suffix, 3: would overwrite the source, else an errno
        QString message;
    };

    // A new cache folder below `cacheRoot` (made private where missing), named after
    // `sessionID`.
    static std::expected<QString, Error> makeCacheFolder(const QString& cacheRoot, const QString& sessionID);
    // The per-user root: $XDG_CACHE_HOME/velmo/compression, by default ~/.cache/...
    static QString defaultCacheRoot();

    // The file a result is saved as: the source's base name, the suffix, "." and the
    // extension, in the source's folder. Refuses a suffix with "/" or ":" (code 2) and
    // a name equal to the source's (code 3).
    static std::expected<QString, Error> exportPath(const QString& sourcePath, const QString& suffix,
                                                    const QString& extension);

    // Writes `bytes` into `folder` under a temporary name and renames it into place
    // as a new file; answers its path.
    static std::expected<QString, Error> writeResult(const QString& folder, const QByteArray& bytes,
                                                     const QString& extension);

    // Copies `resultPath` to a hidden temporary file beside `targetPath`, flushes it,
    // moves a file already at `targetPath` to `trash`, and renames the copy into place
    // without replacing anything. On failure the temporary file is removed and the
    // old file, if trashed, is where the trash put it (and the error says so).
    static std::expected<void, Error> save(const QString& resultPath, const QString& targetPath,
                                           const FreedesktopTrash& trash);

    // Removes one result file, or the whole cache folder with the files this class
    // wrote into it (nothing else: a folder holding anything more stays).
    static void removeResult(const QString& path);
    static void removeCacheFolder(const QString& folder);
};
