#include "Services/CrossDeviceMoveBatch.h"

#include "PathKit/FilePaths.h"

#include <sys/stat.h>

namespace {

constexpr size_t kMaximumWaitingItems = 1000;
constexpr qint64 kMaximumWaitingBytes = qint64(256) << 20;

} // namespace

void CrossDeviceMoveBatch::add(const QString& source, const QString& destination, mode_t type, qint64 size)
{
    waiting.push_back({{source, destination}, type == S_IFREG});
    touchedFolders.insert(FilePaths::parent(destination));
    waitingBytes += size;
}

void CrossDeviceMoveBatch::addFolder(const QString& path)
{
    touchedFolders.insert(path);
    touchedFolders.insert(FilePaths::parent(path));
}

bool CrossDeviceMoveBatch::isDue() const
{
    return waiting.size() >= kMaximumWaitingItems || waitingBytes >= kMaximumWaitingBytes;
}

CrossDeviceMoveBatch::Result CrossDeviceMoveBatch::flush(std::vector<FileMoveResult>& moved)
{
    if (waiting.empty()) {
        // Nothing crossed: folders made by renames need no flush.
        touchedFolders.clear();
        return {};
    }
    for (const Waiting& item : waiting)
        if (item.isRegularFile)
            if (const Result synced = items.syncFile(item.move.destinationURL); !synced) return synced;
    for (const QString& folder : std::as_const(touchedFolders))
        if (const Result synced = items.syncFolder(folder); !synced) return synced;
    touchedFolders.clear();
    size_t done = 0;
    Result removed;
    for (; done < waiting.size(); ++done) {
        removed = items.unlink(waiting[done].move.sourceURL);
        if (!removed) break;
        moved.push_back(waiting[done].move);
    }
    waiting.erase(waiting.begin(), waiting.begin() + qsizetype(done));
    waitingBytes = 0;
    return removed;
}

void CrossDeviceMoveBatch::discard()
{
    for (auto item = waiting.crbegin(); item != waiting.crend(); ++item) (void)items.unlink(item->move.destinationURL);
    waiting.clear();
    touchedFolders.clear();
    waitingBytes = 0;
}
