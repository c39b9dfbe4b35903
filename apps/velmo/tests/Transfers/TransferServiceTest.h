#pragma once

#include "FaultInjectingFileSystemCalls.h"
#include "PathKit/FilePaths.h"
#include "Services/PosixFileTransferService.h"
#include "TransferTestSupport.h"

#include <gtest/gtest.h>

#include <memory>

// The real service on real trees under a scratch folder, its platform calls
// open to injected faults; progress reports are recorded.
class TransferServiceTest : public ::testing::Test {
protected:
    using Call = FaultInjectingFileSystemCalls::Call;

    TemporaryFolder scratch;
    std::shared_ptr<FaultInjectingFileSystemCalls> calls = std::make_shared<FaultInjectingFileSystemCalls>();
    PosixFileTransferService service{calls};
    QString source = scratch / "src";
    QString destination = scratch / "dest";
    std::vector<FileTransferProgress> reports;
    std::stop_source stop;

    void SetUp() override
    {
        TestTree::makeFolder(source);
        TestTree::makeFolder(destination);
    }

    FileTransferProviding::ProgressHandler recorder()
    {
        return [this](const FileTransferProgress& progress) { reports.push_back(progress); };
    }
    QString src(const QString& relative) const { return source + u'/' + relative; }
    QString dst(const QString& relative) const { return destination + u'/' + relative; }

    auto copy(const QStringList& sources) { return service.copyItems(sources, destination, stop.get_token(), recorder()); }
    auto move(const QStringList& sources) { return service.moveItems(sources, destination, stop.get_token(), recorder()); }
    auto link(const QStringList& sources) { return service.linkItems(sources, destination, stop.get_token(), recorder()); }

    static FileTransferError systemError(int code, const QString& path) { return FileTransferSystemError{code, path}; }
    static int errorCode(const FileTransferError& error)
    {
        const auto* system = std::get_if<FileTransferSystemError>(&error);
        return system ? system->code : 0;
    }
};
