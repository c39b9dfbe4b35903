#pragma once

#include "Models/FileEntry.h"
#include "Models/FileEntrySortColumn.h"

// The text a list cell shows for an entry. The table and the state dump both
// ask here, so what a reviewer reads is what a person sees.
namespace FilePaneCellText {

QString text(const FileEntry& entry, FileEntrySortColumn column);

// "--" until a size is known: folders (their sizes come with their own states)
// and anything the system gives no size (devices, pipes, sockets).
QString size(const FileEntry& entry);

} // namespace FilePaneCellText
