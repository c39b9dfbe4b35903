#include "MediaCompression/PDFCompressionCommandRunner.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStringDecoder>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace {

constexpr int kPollMilliseconds = 50;
constexpr int kTerminationGraceMilliseconds = 1000;
// What a failing tool says fits in far less; a runaway one must not fill memory.
constexpr qsizetype kOutputLimit = 4 * 1024 * 1024;

// A file only this process can reach: created without a name where the file system
// allows it, otherwise unlinked the moment it is open.
int privateTemporaryFile()
{
    const QByteArray folder = QFile::encodeName(QDir::tempPath());
    int fd = ::open(folder.constData(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
    if (fd >= 0) return fd;
    QByteArray pattern = folder + "/velmo-pdf-XXXXXX";
    fd = ::mkostemp(pattern.data(), O_CLOEXEC);
    if (fd >= 0) ::unlink(pattern.constData());
    return fd;
}

class FileDescriptor {
public:
    explicit FileDescriptor(int fd = -1) : fd_(fd) { }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    ~FileDescriptor() { if (fd_ >= 0) ::close(fd_); }
    int get() const { return fd_; }

private:
    int fd_;
};

QString readText(int fd)
{
    QByteArray bytes;
    char buffer[65536];
    if (::lseek(fd, 0, SEEK_SET) < 0) return {};
    for (;;) {
        const ssize_t got = ::read(fd, buffer, sizeof buffer);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) break;
        bytes.append(buffer, got);
        if (bytes.size() >= kOutputLimit) break;
    }
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = decoder(bytes);
    return decoder.hasError() ? QString() : text;
}

bool hasExited(pid_t pid)
{
    siginfo_t info {};
    return ::waitid(P_PID, id_t(pid), &info, WEXITED | WNOHANG | WNOWAIT) == 0 && info.si_pid == pid;
}

// Waits for the child to end or the interval to pass, without reaping it. Without a
// process descriptor (older kernels, sandboxes) it looks every 10 ms.
void awaitExit(pid_t pid, int pidFd, int milliseconds)
{
    if (pidFd >= 0) {
        pollfd entry {pidFd, POLLIN, 0};
        while (::poll(&entry, 1, milliseconds) < 0 && errno == EINTR) { }
        return;
    }
    for (int waited = 0; waited < milliseconds && !hasExited(pid); waited += 10) ::usleep(10 * 1000);
}

// Ends the child's whole group (a script's own children too): SIGTERM, a second's grace,
// SIGKILL. The leader is reaped only afterwards, so its group id cannot be reused meanwhile.
void terminateGroup(pid_t pid, int pidFd)
{
    ::kill(-pid, SIGTERM);
    if (!hasExited(pid)) awaitExit(pid, pidFd, kTerminationGraceMilliseconds);
    ::kill(-pid, SIGKILL);
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) { }
}

} // namespace

std::expected<PDFCompressionCommandResult, PDFCompressionError>
SystemPDFCompressionCommandRunner::run(const QStringList& arguments, std::stop_token stop)
{
    if (arguments.isEmpty()) return std::unexpected(PDFCompressionError::failedToCreateOutput());
    const QString toolName = QFileInfo(arguments.first()).fileName();
    if (stop.stop_requested()) return std::unexpected(PDFCompressionError::cancelled());

    const FileDescriptor output(privateTemporaryFile());
    const FileDescriptor errors(privateTemporaryFile());
    if (output.get() < 0 || errors.get() < 0)
        return std::unexpected(PDFCompressionError::processFailed(QString::fromLocal8Bit(std::strerror(errno))));

    std::vector<QByteArray> encoded;
    for (const QString& argument : arguments) encoded.push_back(QFile::encodeName(argument));
    std::vector<char*> argv;
    for (QByteArray& argument : encoded) argv.push_back(argument.data());
    argv.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    posix_spawn_file_actions_init(&actions);
    posix_spawnattr_init(&attributes);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, output.get(), STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, errors.get(), STDERR_FILENO);
    // The tool starts with no signal blocked or ignored, whatever the calling thread does,
    // and in a group of its own so that ending it ends everything it started.
    sigset_t none, all;
    sigemptyset(&none);
    sigfillset(&all);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &all);
    posix_spawnattr_setpgroup(&attributes, 0);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP);
    pid_t pid = -1;
    const int failure = ::posix_spawn(&pid, argv[0], &actions, &attributes, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    if (failure != 0)
        return std::unexpected(PDFCompressionError::processFailed(QString::fromLocal8Bit(std::strerror(failure))));

    const FileDescriptor pidFd(int(::syscall(SYS_pidfd_open, pid, 0)));
    const auto deadline = std::chrono::steady_clock::now()
        + std::chrono::duration_cast<std::chrono::steady_clock::duration>(std::chrono::duration<double>(timeoutSeconds_));
    int status = 0;
    for (;;) {
        const pid_t reaped = ::waitpid(pid, &status, WNOHANG);
        if (reaped == pid) break;
        if (reaped < 0 && errno != EINTR) return std::unexpected(PDFCompressionError::processFailed(toolName + QStringLiteral(" failed.")));
        if (stop.stop_requested()) {
            terminateGroup(pid, pidFd.get());
            return std::unexpected(PDFCompressionError::cancelled());
        }
        if (std::chrono::steady_clock::now() >= deadline) {
            terminateGroup(pid, pidFd.get());
            return std::unexpected(PDFCompressionError::processTimedOut(toolName));
        }
        awaitExit(pid, pidFd.get(), kPollMilliseconds);
    }

    PDFCompressionCommandResult result {readText(output.get()), readText(errors.get())};
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return result;
    const QString message = result.standardError.trimmed();
    return std::unexpected(PDFCompressionError::processFailed(message.isEmpty() ? toolName + QStringLiteral(" failed.") : message));
}
