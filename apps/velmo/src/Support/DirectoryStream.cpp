#include "Support/DirectoryStream.h"

#include <cerrno>
#include <sys/syscall.h>
#include <unistd.h>

long DirectoryStream::readBatch()
{
    const long read = ::syscall(SYS_getdents64, fd_, buffer_.data(), buffer_.size());
    return read < 0 ? -long(errno) : read;
}
