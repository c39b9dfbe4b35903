#pragma once

#include <QByteArray>
#include <QString>
#include <QTemporaryDir>

#include <functional>
#include <memory>
#include <string>

// Real folders for the scanner tests: a fresh temporary folder (under `base`, by default
// /dev/shm or else the system's temporary folder) and helpers that create entries in it
// with exact sizes.
class ScanTestTree {
public:
    explicit ScanTestTree(const QString& base = {});
    ~ScanTestTree();
    QString root() const { return dir_.path(); }
    std::string path(const std::string& relative = {}) const;

    void folder(const std::string& relative, unsigned mode = 0755) const;
    void file(const std::string& relative, qint64 bytes) const;
    void file(const std::string& relative, const std::string& content) const;
    void sparseFile(const std::string& relative, qint64 logicalBytes) const;
    void symlink(const std::string& target, const std::string& relative) const;
    void hardLink(const std::string& existing, const std::string& relative) const;
    void fifo(const std::string& relative) const;
    // `count` empty files named <prefix><n> in one folder.
    void manyFiles(const std::string& folderRelative, int count, const std::string& prefix = "f") const;
    // A chain `levels` deep of folders named `name`, each also holding two empty sibling
    // folders and a 4-byte file; the full paths grow far past what one system call takes.
    void deepChain(const std::string& relative, int levels, const std::string& name) const;

    // The awkward cases under "docs": empty and nested folders, a sparse file, a file and a hard
    // link to it, links to ".." and to nowhere, pipes (one named ".hidden", which a reader that
    // opened it would wait on for ever) and a package, "Tool.app", holding a file.
    void sample() const;

private:
    QTemporaryDir dir_;
};

// What du finds for a folder, hard links counted every time: logical (apparent) bytes
// and allocated bytes.
struct DuTotals {
    qint64 logical = -1;
    qint64 allocated = -1;
};
DuTotals duTotals(const std::string& path, const std::string& moreOptions = {});

// 400 folders of 250 empty files each, made once for the test program: a walk of it outlasts
// many live-tree polls and a cancel sent once it has begun.
const ScanTestTree& largeTree();

// Runs `body` in a forked child and returns its exit status (0 when every check passed; a
// signal gives 128 + its number). The child ends by SIGALRM after `seconds`, so a scan that
// hangs fails the test instead of stalling it.
int runInChild(const std::function<int()>& body, unsigned seconds = 60);
// The same with the user "nobody", so permissions hold even when the tests run as root.
int runAsNobody(const std::function<int()>& body);
