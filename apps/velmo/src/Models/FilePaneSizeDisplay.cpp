#include "Models/FilePaneSizeDisplay.h"

#include "Support/ByteCountFormatter.h"

QString FilePaneSizeDisplay::value(const FileEntry& entry)
{
    if (entry.isDirectory || !entry.byteSize) return QStringLiteral("--");
    if (*entry.byteSize == 0) return QStringLiteral("0 KB");
    return ByteCountFormatter::string(*entry.byteSize);
}
