#pragma once

#include <unistd.h>

// Owns an open descriptor and closes it when it goes; -1 is none.
class FileDescriptor {
public:
    explicit FileDescriptor(int fd = -1) : fd_(fd) { }
    ~FileDescriptor()
    {
        if (fd_ >= 0) ::close(fd_);
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    int get() const { return fd_; }

private:
    int fd_;
};
