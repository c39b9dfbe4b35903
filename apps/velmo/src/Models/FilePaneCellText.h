#pragma once

#include "Models/FileEntry.h"
#include "Models/FileEntrySortColumn.h"
#include "Models/VelmoViewOptions.h"

#include <QDateTime>

// The text a list cell shows for an entry, as the view options ask. The table
// and the state dump both ask here, so what a reviewer reads is what a person sees.
namespace FilePaneCellText {

QString text(const FileEntry& entry, FileEntrySortColumn column, const VelmoViewOptions& options = {},
             const QDateTime& now = QDateTime::currentDateTime());

// "--" until a size is known: folders (their sizes come with their own states)
// and anything the system gives no size (devices, pipes, sockets).
QString size(const FileEntry& entry);

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
