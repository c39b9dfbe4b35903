#pragma once

#include "Models/FileEntry.h"
#include "Models/FileEntrySortColumn.h"
#include "Models/FolderSizeState.h"
#include "Models/VelmoViewOptions.h"

#include <QDateTime>

// The text a list cell shows for an entry, as the view options ask. The table
// and the state dump both ask here, so what a reviewer reads is what a person sees.
namespace FilePaneCellText {

// A folder row's size and count, where the pane has them (null where not).
struct FolderStates {
    const FolderSizeState* size = nullptr;
    const FolderContentCountState* contents = nullptr;
};

QString text(const FileEntry& entry, FileEntrySortColumn column, const VelmoViewOptions& options = {},
             const QDateTime& now = QDateTime::currentDateTime(), FolderStates folder = {});

// "--" until a size is known: folders without a finished or running walk, and
// anything the system gives no size (devices, pipes, sockets). A walk in
// progress reads "Calculating..." and then its bytes so far with "...".
QString size(const FileEntry& entry, const FolderSizeState* folderState = nullptr);

// A folder's files and folders as "12 - 3" (compact numbers), "..." while
// counting, "--" for files and folders not counted.
QString contents(const FileEntry& entry, const FolderContentCountState* state);

// 999, 1K, 1.3K, 10K, 1.5M: at most three significant figures.
QString compactCount(qint64 n);

// Whether the name is shown (and edited) without its extension: only files that
// have one, and only when the options hide extensions.
bool hidesExtension(const FileEntry& entry, const VelmoViewOptions& options);

// The name as the Name column shows it, and as the rename editor starts.
QString name(const FileEntry& entry, const VelmoViewOptions& options);

// The full name an edit in the rename editor means: trimmed, and with the old
// extension put back when the editor showed only the stem. An empty edit stays
// empty, so the rename refuses it rather than making a name of a bare extension.
QString renamedFullName(const QString& editedText, const FileEntry& entry, const VelmoViewOptions& options);

} // namespace FilePaneCellText
