#pragma once

#include <cstddef>
#include <vector>

// Reads a folder's names in large batches with getdents64, from an open
// descriptor. "." and ".." are skipped.
class DirectoryStream {
public:
    struct Name {
        const char* name;
        int length;
        unsigned char type; // DT_* from the file system, DT_UNKNOWN where it gives none
    };

    explicit DirectoryStream(int fd, std::size_t bufferSize = 256 * 1024) : fd_(fd), buffer_(bufferSize) { }

    // Calls `visit(const Name&)` for each name, until it returns false or the
    // folder ends. Returns 0, or the errno of a failed read.
    template <typename Visit>
    int forEach(Visit visit);

private:
    long readBatch();

    int fd_;
    std::vector<char> buffer_;
};

// Layout of the kernel's linux_dirent64, up to the name.
namespace DirectoryStreamDetail {
constexpr std::size_t kRecordLengthOffset = 16;
constexpr std::size_t kTypeOffset = 18;
constexpr std::size_t kNameOffset = 19;
} // namespace DirectoryStreamDetail

#include <cstring>

template <typename Visit>
int DirectoryStream::forEach(Visit visit)
{
    using namespace DirectoryStreamDetail;
    for (;;) {
        const long read = readBatch();
        if (read < 0) return -int(read);
        if (read == 0) return 0;
        for (long offset = 0; offset < read;) {
            const char* record = buffer_.data() + offset;
            unsigned short recordLength;
            std::memcpy(&recordLength, record + kRecordLengthOffset, sizeof recordLength);
            offset += recordLength;
            const char* name = record + kNameOffset;
            const int length = int(std::strlen(name));
            if (name[0] == '.' && (length == 1 || (length == 2 && name[1] == '.'))) continue;
            if (!visit(Name {name, length, static_cast<unsigned char>(record[kTypeOffset])})) return 0;
        }
    }
}
