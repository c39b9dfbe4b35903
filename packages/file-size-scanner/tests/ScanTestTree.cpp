#include "ScanTestTree.h"

#include <QDir>

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <stdexcept>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

void check(bool ok, const std::string& what)
{
    if (!ok) throw std::runtime_error("test tree: " + what);
}

qint64 firstNumberOf(const std::string& command)
{
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) return -1;
    long long value = -1;
    if (std::fscanf(pipe, "%lld", &value) != 1) value = -1;
    pclose(pipe);
    return value;
}

// Memory-backed when the system has it: creating and removing tens of thousands of entries
// there takes a fraction of what it takes on a disk that discards freed blocks.
QString templateIn(const QString& base)
{
    const QString folder = !base.isEmpty() ? base
        : access("/dev/shm", W_OK) == 0     ? QStringLiteral("/dev/shm")
                                            : QDir::tempPath();
    return folder + QStringLiteral("/velmo-scan-XXXXXX");
}

} // namespace

ScanTestTree::ScanTestTree(const QString& base)
    : dir_(templateIn(base))
{
    check(dir_.isValid(), "temporary folder");
    dir_.setAutoRemove(false); // removed by rm, which also copes with paths longer than PATH_MAX
    // Readable by everyone, so a child running as "nobody" can walk it.
    chmod(dir_.path().toLocal8Bit().constData(), 0755);
}

ScanTestTree::~ScanTestTree()
{
    const std::string command = "chmod -R u+rwx '" + path() + "' 2>/dev/null; rm -rf '" + path() + "'";
    if (std::system(command.c_str()) != 0) std::fprintf(stderr, "could not remove %s\n", path().c_str());
}

std::string ScanTestTree::path(const std::string& relative) const
{
    std::string base = dir_.path().toStdString();
    return relative.empty() ? base : base + "/" + relative;
}

void ScanTestTree::folder(const std::string& relative, unsigned mode) const
{
    check(mkdir(path(relative).c_str(), 0755) == 0, "mkdir " + relative);
    check(chmod(path(relative).c_str(), mode) == 0, "chmod " + relative);
}

void ScanTestTree::file(const std::string& relative, qint64 bytes) const
{
    const int fd = open(path(relative).c_str(), O_WRONLY | O_CREAT | O_EXCL, 0644);
    check(fd >= 0, "create " + relative);
    std::vector<char> data(size_t(bytes), 'x');
    check(write(fd, data.data(), data.size()) == ssize_t(data.size()), "write " + relative);
    close(fd);
}

void ScanTestTree::file(const std::string& relative, const std::string& content) const
{
    const int fd = open(path(relative).c_str(), O_WRONLY | O_CREAT | O_EXCL, 0644);
    check(fd >= 0 && write(fd, content.data(), content.size()) == ssize_t(content.size()), "write " + relative);
    close(fd);
}

void ScanTestTree::sample() const
{
    folder("docs");
    folder("docs/empty");
    folder("docs/more");
    sparseFile("docs/sparse.img", 5 << 20);
    file("docs/a.txt", 70000);
    hardLink("docs/a.txt", "docs/more/a-again.txt");
    symlink("..", "docs/link-to-folder");
    symlink("missing", "docs/dangling");
    fifo("docs/pipe");
    fifo("docs/more/.hidden");
    folder("docs/Tool.app");
    folder("docs/Tool.app/Contents");
    file("docs/Tool.app/Contents/binary", 90000);
}

void ScanTestTree::sparseFile(const std::string& relative, qint64 logicalBytes) const
{
    const int fd = open(path(relative).c_str(), O_WRONLY | O_CREAT | O_EXCL, 0644);
    check(fd >= 0 && ftruncate(fd, logicalBytes) == 0, "sparse " + relative);
    close(fd);
}

void ScanTestTree::symlink(const std::string& target, const std::string& relative) const
{
    check(::symlink(target.c_str(), path(relative).c_str()) == 0, "symlink " + relative);
}

void ScanTestTree::hardLink(const std::string& existing, const std::string& relative) const
{
    check(link(path(existing).c_str(), path(relative).c_str()) == 0, "link " + relative);
}

void ScanTestTree::fifo(const std::string& relative) const
{
    check(mkfifo(path(relative).c_str(), 0644) == 0, "mkfifo " + relative);
}

void ScanTestTree::manyFiles(const std::string& folderRelative, int count, const std::string& prefix) const
{
    const std::string base = path(folderRelative) + "/" + prefix;
    for (int i = 0; i < count; ++i) {
        const int fd = open((base + std::to_string(i)).c_str(), O_WRONLY | O_CREAT | O_EXCL, 0644);
        check(fd >= 0, "create many");
        close(fd);
    }
}

void ScanTestTree::deepChain(const std::string& relative, int levels, const std::string& name) const
{
    int fd = open(path(relative).c_str(), O_RDONLY | O_DIRECTORY);
    for (int level = 0; level < levels && fd >= 0; ++level) {
        // One sibling made before the chain's next folder and one after: in either directory
        // order a sibling still waits while the walk goes deeper, so every level stays open.
        const std::string side = std::to_string(level);
        check(mkdirat(fd, ("a" + side).c_str(), 0755) == 0 && mkdirat(fd, name.c_str(), 0755) == 0
                  && mkdirat(fd, ("b" + side).c_str(), 0755) == 0,
              "chain folders");
        const int file = openat(fd, "f", O_WRONLY | O_CREAT | O_EXCL, 0644);
        check(file >= 0 && write(file, "data", 4) == 4, "chain file");
        close(file);
        const int next = openat(fd, name.c_str(), O_RDONLY | O_DIRECTORY);
        close(fd);
        fd = next;
    }
    check(fd >= 0, "deep chain");
    close(fd);
}

DuTotals duTotals(const std::string& path, const std::string& moreOptions)
{
    const std::string arguments = moreOptions + " '" + path + "' 2>/dev/null";
    return {firstNumberOf("du -s -l --apparent-size --bytes " + arguments), firstNumberOf("du -s -l -B1 " + arguments)};
}

const ScanTestTree& largeTree()
{
    static const auto tree = [] {
        auto made = std::make_unique<ScanTestTree>();
        for (int d = 0; d < 400; ++d) {
            made->folder("d" + std::to_string(d));
            made->manyFiles("d" + std::to_string(d), 250);
        }
        return made;
    }();
    return *tree;
}

int runInChild(const std::function<int()>& body, unsigned seconds)
{
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        alarm(seconds);
        _exit(body());
    }
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child) return -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

int runAsNobody(const std::function<int()>& body)
{
    return runInChild([&] {
        const uid_t nobody = 65534;
        if (geteuid() == 0 && (setresgid(nobody, nobody, nobody) != 0 || setresuid(nobody, nobody, nobody) != 0))
            return 100;
        return body();
    });
}
