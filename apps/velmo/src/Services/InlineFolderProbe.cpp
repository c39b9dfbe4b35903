#include "Services/InlineFolderProbe.h"

#include "PathKit/FilePaths.h"
#include "Support/DirectoryStream.h"
#include "PathKit/HiddenFileList.h"

#include <fcntl.h>
#include <optional>
#include <unistd.h>

bool InlineFolderProbe::hasVisibleChildren(const QString& url, bool includingHiddenFiles)
{
    const int fd = ::open(FilePaths::toNative(FilePaths::standardized(url)).constData(),
                          O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) return false;
    bool found = false;
    std::optional<QSet<QByteArray>> hidden;
    DirectoryStream(fd, 16384).forEach([&](const DirectoryStream::Name& d) {
        if (!includingHiddenFiles && d.name[0] == '.') return true;
        if (!includingHiddenFiles) {
            // The hidden list is read only once a candidate turns up.
            if (!hidden) hidden = HiddenFileList::read(fd);
            if (hidden->contains(QByteArray::fromRawData(d.name, d.length))) return true;
        }
        found = true;
        return false;
    });
    ::close(fd);
    return found;
}
