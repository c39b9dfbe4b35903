#include "PathKit/HiddenFileList.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

class HiddenFolder {
public:
    HiddenFolder() { fd_ = ::open(dir_.path().toLocal8Bit().constData(), O_RDONLY | O_DIRECTORY); }
    ~HiddenFolder() { ::close(fd_); }
    int fd() const { return fd_; }
    QByteArray path(const char* name) const { return dir_.path().toLocal8Bit() + '/' + name; }

private:
    QTemporaryDir dir_;
    int fd_ = -1;
};

} // namespace

TEST(HiddenFileList, ReadsOneNamePerLineFromARegularFileOnly)
{
    HiddenFolder folder;
    EXPECT_TRUE(HiddenFileList::read(folder.fd()).isEmpty());
    const QByteArray list = folder.path(".hidden");
    const int fd = ::open(list.constData(), O_WRONLY | O_CREAT, 0644);
    ASSERT_EQ(::write(fd, "a\n\nb c\n\xff", 8), 8);
    ::close(fd);
    EXPECT_EQ(HiddenFileList::read(folder.fd()), (QSet<QByteArray> {"a", "b c", "\xff"}));

    // A link named ".hidden" is not read, even when it points at a real list.
    HiddenFolder linked;
    ASSERT_EQ(::symlink(list.constData(), linked.path(".hidden").constData()), 0);
    EXPECT_TRUE(HiddenFileList::read(linked.fd()).isEmpty());
}

TEST(HiddenFileList, APipeNamedHiddenNeverBlocks)
{
    HiddenFolder folder;
    ASSERT_EQ(::mkfifo(folder.path(".hidden").constData(), 0644), 0);
    // Opening a FIFO for reading without O_NONBLOCK waits for a writer forever:
    // the alarm turns such a regression into a failure instead of a hang.
    ::alarm(10);
    EXPECT_TRUE(HiddenFileList::read(folder.fd()).isEmpty());
    ::alarm(0);
}
