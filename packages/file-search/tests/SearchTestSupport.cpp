#include "SearchTestSupport.h"

#include "PathKit/FilePaths.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

SearchTestTree::SearchTestTree()
{
    // Removed by rm, which copes with names that are not UTF-8.
    dir_.setAutoRemove(false);
    // Readable by everyone, so that a child running as "nobody" can walk it.
    ::chmod(FilePaths::toNative(path()).constData(), 0755);
}

SearchTestTree::~SearchTestTree()
{
    const QByteArray folder = FilePaths::toNative(path());
    const QByteArray command = "chmod -R u+rwx '" + folder + "' 2>/dev/null; rm -rf '" + folder + "'";
    if (std::system(command.constData()) != 0) ADD_FAILURE() << "could not remove " << folder.constData();
}

QByteArray SearchTestTree::native(const QByteArray& relative) const
{
    return FilePaths::toNative(path()) + '/' + relative;
}

void SearchTestTree::folder(const QByteArray& relative, int mode) const
{
    QByteArray partial = FilePaths::toNative(path());
    for (const QByteArray& part : relative.split('/')) {
        partial += '/' + part;
        ::mkdir(partial.constData(), 0755);
    }
    ::chmod(partial.constData(), mode_t(mode));
}

void SearchTestTree::file(const QByteArray& relative, const QByteArray& content) const
{
    const qsizetype slash = relative.lastIndexOf('/');
    if (slash > 0) folder(relative.left(slash));
    const int fd = ::open(native(relative).constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    ASSERT_GE(fd, 0) << relative.constData();
    ASSERT_EQ(::write(fd, content.constData(), std::size_t(content.size())), content.size());
    ::close(fd);
}

std::vector<FileSearchResult> SearchRun::results() const
{
    std::vector<FileSearchResult> all;
    for (const FileSearchProgress& report : reports) all.insert(all.end(), report.newResults.begin(), report.newResults.end());
    return all;
}

QStringList SearchRun::relativePaths(const QString& root, std::optional<FileSearchPhase> phase) const
{
    QStringList paths;
    for (const FileSearchProgress& report : reports)
        if (!phase || report.phase == *phase)
            for (const FileSearchResult& result : report.newResults) paths << result.url.mid(root.size() + 1);
    paths.sort();
    return paths;
}

SearchRun runSearch(const FileNameSearchService& service, const FileSearchRequest& request, std::stop_token stop,
                    const std::function<void(const FileSearchProgress&)>& onReport)
{
    SearchRun run;
    run.outcome = service.searchResults(request, std::move(stop), [&](FileSearchProgress progress) {
        run.reports.push_back(progress);
        if (onReport) onReport(run.reports.back());
    });
    return run;
}

FileNameSearchService walkingService(int threads)
{
    FileNameSearchService::Configuration configuration;
    configuration.locateProgram.clear();
    configuration.walkThreads = threads;
    return FileNameSearchService(configuration);
}

int runAsNobody(const std::function<bool()>& body)
{
    const pid_t child = ::fork();
    if (child < 0) return -1;
    if (child == 0) {
        ::alarm(60); // a hang fails instead of stalling the tests
        if (::getuid() == 0 && (::setresgid(65534, 65534, 65534) != 0 || ::setresuid(65534, 65534, 65534) != 0))
            ::_exit(3);
        ::_exit(body() ? 0 : 1);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}
