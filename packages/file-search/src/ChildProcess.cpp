#include "ChildProcess.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace {

constexpr int kTerminationGraceMilliseconds = 1000;

// Waits up to the grace for the child to end, without reaping it.
void awaitExit(pid_t pid)
{
    const int pidFd = int(::syscall(SYS_pidfd_open, pid, 0));
    if (pidFd < 0) return;
    pollfd entry {pidFd, POLLIN, 0};
    while (::poll(&entry, 1, kTerminationGraceMilliseconds) < 0 && errno == EINTR) { }
    ::close(pidFd);
}

} // namespace

std::optional<ChildProcess> ChildProcess::start(const std::vector<std::string>& arguments)
{
    if (arguments.empty()) return std::nullopt;
    int pipeFds[2];
    if (::pipe2(pipeFds, O_CLOEXEC) != 0) return std::nullopt;

    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    posix_spawn_file_actions_init(&actions);
    posix_spawnattr_init(&attributes);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, pipeFds[1], STDOUT_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    // The calling thread may block or ignore signals (SIGPIPE, say); the tool starts
    // with none blocked and every one at its default.
    sigset_t none, all;
    sigemptyset(&none);
    sigfillset(&all);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &all);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);

    std::vector<char*> argv;
    for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    pid_t pid = -1;
    const int failed = ::posix_spawn(&pid, argv[0], &actions, &attributes, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    ::close(pipeFds[1]);
    if (failed != 0) {
        ::close(pipeFds[0]);
        return std::nullopt;
    }
    return ChildProcess(pid, pipeFds[0]);
}

ChildProcess::ChildProcess(ChildProcess&& other) noexcept : pid_(other.pid_), output_(other.output_)
{
    other.pid_ = -1;
    other.output_ = -1;
}

ChildProcess::~ChildProcess()
{
    terminate();
}

ChildProcess::ReadResult ChildProcess::read(char* buffer, std::size_t size, int wakeFd)
{
    if (output_ < 0) return {ReadStatus::endOfOutput};
    pollfd entries[2] = {{output_, POLLIN, 0}, {wakeFd, POLLIN, 0}};
    for (;;) {
        if (::poll(entries, wakeFd >= 0 ? 2 : 1, -1) < 0) {
            if (errno == EINTR) continue;
            return {ReadStatus::failed};
        }
        if (wakeFd >= 0 && (entries[1].revents & POLLIN)) return {ReadStatus::woken};
        const ssize_t got = ::read(output_, buffer, size);
        if (got > 0) return {ReadStatus::data, std::size_t(got)};
        if (got == 0) {
            ::close(output_);
            output_ = -1;
            return {ReadStatus::endOfOutput};
        }
        if (errno != EINTR && errno != EAGAIN) return {ReadStatus::failed};
    }
}

int ChildProcess::wait()
{
    if (output_ >= 0) {
        ::close(output_);
        output_ = -1;
    }
    if (pid_ <= 0) return -1;
    int status = 0;
    pid_t reaped;
    while ((reaped = ::waitpid(pid_, &status, 0)) < 0 && errno == EINTR) { }
    pid_ = -1;
    if (reaped < 0) return -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

void ChildProcess::terminate()
{
    if (output_ >= 0) {
        // Closed first: a tool still writing then gets SIGPIPE instead of blocking.
        ::close(output_);
        output_ = -1;
    }
    if (pid_ <= 0) return;
    ::kill(pid_, SIGTERM);
    awaitExit(pid_);
    int status = 0;
    if (::waitpid(pid_, &status, WNOHANG) == 0) {
        ::kill(pid_, SIGKILL);
        while (::waitpid(pid_, &status, 0) < 0 && errno == EINTR) { }
    }
    pid_ = -1;
}
