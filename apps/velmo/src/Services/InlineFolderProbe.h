#pragma once

#include <QString>

// Whether a folder has anything to show, reading at most one buffer of names.
// A folder that can't be opened answers false. Runs on the caller's thread.
class InlineFolderProbe {
public:
    static bool hasVisibleChildren(const QString& url, bool includingHiddenFiles);
};
