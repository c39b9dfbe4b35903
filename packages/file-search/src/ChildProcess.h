#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

// A tool run as a child process, its standard output read through a pipe; its standard
// input and error are /dev/null, so a chatty error stream can't block it. Whatever
// happens, the child is ended and reaped before this object goes: never a zombie, never
// a tool left running after its search.
class ChildProcess {
public:
    // `arguments[0]` is the program's path. Nothing when it could not be started.
    static std::optional<ChildProcess> start(const std::vector<std::string>& arguments);

    ChildProcess(ChildProcess&& other) noexcept;
    ChildProcess& operator=(ChildProcess&&) = delete;
    ~ChildProcess();

    enum class ReadStatus { data, endOfOutput, woken, failed };
    struct ReadResult {
        ReadStatus status;
        std::size_t bytes = 0;
    };
    // Waits until output arrives or `wakeFd` becomes readable, whichever is first.
    ReadResult read(char* buffer, std::size_t size, int wakeFd);

    // Waits for the child to end: its exit code, or -1 when a signal ended it.
    int wait();
    // Asks the child to end (SIGTERM), insists after a second (SIGKILL), and reaps it.
    void terminate();

    pid_t pid() const { return pid_; }

private:
    ChildProcess(pid_t pid, int output) : pid_(pid), output_(output) { }

    pid_t pid_ = -1;
    int output_ = -1;
};
