#pragma once

#include "Models/FileEntry.h"

// The text of the size column. Folder sizes come with their own states later;
// until one is known a folder shows "--".
class FilePaneSizeDisplay {
public:
    static QString value(const FileEntry& entry);
};
