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
        "open", "create", "close", "closeWritten", "fileStatus", "linkStatus", "status", "isReadable", "read",
        "write", "copyRange", "clone", "setMode", "setTimes", "makeDirectory", "removeDirectory", "unlink",
        "readLink", "makeSymbolicLink", "makeNode", "renameExclusive", "link", "listDirectory", "any"};
    return names[int(call)];
}

std::optional<int> FaultInjectingFileSystemCalls::enter(Call call, const QByteArray& path)
{
    const int occurrences[] = {++counts[Call::any], ++counts[call]};
    const Call kinds[] = {Call::any, call};
    for (int kind = 0; kind < 2; ++kind) {
        for (Fault& fault : faults) {
            if (fault.call != kinds[kind]) continue;
            const bool hits = fault.occurrence == 0
                ? !path.isEmpty() && FilePaths::fromNative(path).contains(fault.fragment)
                : fault.occurrence == occurrences[kind];
            if (!hits) continue;
            if (!fault.action) return fault.error;
            fault.action();
        }
    }
    return std::nullopt;
}
