#include "Services/FileCreationRecord.h"

#include "PathKit/FilePaths.h"

void FileCreationRecord::add(const QString& path, Kind kind)
{
    paths.append(FilePaths::toNative(path));
    paths.append('\0');
    items.push_back({paths.size(), kind});
}

void FileCreationRecord::append(FileCreationRecord&& other)
{
    const qsizetype base = paths.size();
    paths.append(other.paths);
    for (const Item& item : other.items) items.push_back({base + item.end, item.kind});
    other = {};
}

void FileCreationRecord::undo(FileSystemCalls& calls)
{
    const auto pathOf = [&](size_t index) {
        const qsizetype begin = index == 0 ? 0 : items[index - 1].end;
        return QByteArray::fromRawData(paths.constData() + begin, items[index].end - begin - 1);
    };
    // A folder copied from a read-only one is read-only by now: open it up first,
    // so that what it holds can go.
    for (size_t index = 0; index < items.size(); ++index)
        if (items[index].kind == Kind::folder) (void)calls.setModeAt(pathOf(index), 0700);
    for (size_t index = items.size(); index-- > 0;) {
        if (items[index].kind == Kind::folder)
            (void)calls.removeDirectory(pathOf(index));
        else
            (void)calls.unlink(pathOf(index));
    }
    *this = {};
}
