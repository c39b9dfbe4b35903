#include "FaultInjectingFileSystemCalls.h"

#include "PathKit/FilePaths.h"

using Call = FaultInjectingFileSystemCalls::Call;

std::vector<Call> FaultInjectingFileSystemCalls::failableCalls()
{
    std::vector<Call> calls;
    for (int call = 0; call < int(Call::any); ++call)
        if (Call(call) != Call::close && Call(call) != Call::status && Call(call) != Call::isReadable)
            calls.push_back(Call(call));
    return calls;
}

const char* FaultInjectingFileSystemCalls::name(Call call)
{
    static const char* const names[] = {
        "open", "create", "createUnnamed", "linkUnnamed", "close", "closeWritten", "fileStatus", "linkStatus",
        "status", "isReadable", "read", "write", "copyRange", "clone", "seek", "truncate", "syncData", "sync",
        "setOwner", "setMode", "setTimes", "setAttribute", "setOwnerAt", "setModeAt", "setTimesAt", "attributeNames",
        "attribute", "makeDirectory", "removeDirectory", "unlink", "readLink", "makeSymbolicLink", "makeNode",
        "renameExclusive", "link", "listDirectory", "any"};
    static_assert(std::size(names) == size_t(Call::any) + 1);
    return names[int(call)];
}

std::optional<FaultInjectingFileSystemCalls::Instead> FaultInjectingFileSystemCalls::enter(Call call,
                                                                                         const QByteArray& path)
{
    log.emplace_back(call, path);
    const int occurrences[] = {++counts[Call::any], ++counts[call]};
    const Call kinds[] = {Call::any, call};
    for (int kind = 0; kind < 2; ++kind) {
        for (Fault& fault : faults) {
            if (fault.call != kinds[kind]) continue;
            const bool hits = fault.occurrence == 0
                ? fault.fragment.isEmpty() || (!path.isEmpty() && FilePaths::fromNative(path).contains(fault.fragment))
                : fault.occurrence == occurrences[kind];
            if (!hits) continue;
            if (fault.endsEarly) return Instead{0};
            if (!fault.action) return Instead{fault.error};
            fault.action();
        }
    }
    return std::nullopt;
}

FileSystemCalls::Result<void> FaultInjectingFileSystemCalls::cloneByCopying(int from, int to)
{
    for (;;) {
        const auto copied = real.copyRange(from, to, qint64(1) << 30);
        if (!copied) return std::unexpected(copied.error());
        if (*copied == 0) break;
    }
    // A clone leaves both offsets where they were.
    if (!real.seek(from, 0, SEEK_SET) || !real.seek(to, 0, SEEK_SET)) return std::unexpected(EIO);
    return {};
}
