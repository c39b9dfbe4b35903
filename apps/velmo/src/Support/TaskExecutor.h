#pragma once

#include <functional>
#include <memory>

// Somewhere to run background work (BackgroundTask::run takes any executor with
// start). Stores take one so that tests can hold work and run it when they like.
class TaskExecutor {
public:
    virtual ~TaskExecutor() = default;
    virtual void start(std::function<void()> work) = 0;

    // The program's pool for file operations: transfers, trash, undo.
    static std::shared_ptr<TaskExecutor> fileOperations();
    // Short reads that decide how rows look (does a folder have children?).
    static std::shared_ptr<TaskExecutor> folderProbes();
    // The program's pool for folder-size walks and content counts, below
    // interactive work in priority.
    static std::shared_ptr<TaskExecutor> folderSizes();
    // Searches: each runs for as long as it walks, so they have threads of their
    // own and a search stuck on a dead mount never holds back a copy or a trash.
    static std::shared_ptr<TaskExecutor> searches();
    // Image and PDF compression: one encode per core, below interactive work.
    static std::shared_ptr<TaskExecutor> compression();
    // Side previews: reading and decoding the file a pane shows large.
    static std::shared_ptr<TaskExecutor> previews();
};
