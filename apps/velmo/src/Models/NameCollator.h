#pragma once

#include <QString>

#include <string>

struct UCollator;

// Natural, case-insensitive, locale-aware comparison of names ("file2" before
// "file10"). Keys go into one caller-owned arena and compare with strcmp, which
// is what makes sorting 100,000 names cheap. One collator per thread.
class NameCollator {
public:
    // The collator of the calling thread.
    static NameCollator& forThisThread();

    NameCollator();
    ~NameCollator();
    NameCollator(const NameCollator&) = delete;
    NameCollator& operator=(const NameCollator&) = delete;

    // Appends the NUL-terminated key of `name` to `arena`; returns where it starts.
    std::size_t appendKey(QStringView name, std::string& arena);
    int compare(QStringView a, QStringView b) const;

private:
    UCollator* collator_ = nullptr;
};
