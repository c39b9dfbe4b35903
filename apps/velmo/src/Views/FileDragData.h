#pragma once

#include "Models/FileDropPolicy.h"

#include <QStringList>

class QDropEvent;
class QMimeData;

// Files on a drag, as other programs read them (`text/uri-list`, byte-exact
// names) plus the mark of a drag that began in this program.
namespace FileDragData {

QMimeData* make(const QStringList& paths);
QStringList paths(const QMimeData* data);
bool isInternal(const QMimeData* data);

// The operation a drop of `data` onto `destination` would carry out, by the
// drop rules and the keys held now.
std::optional<FileDropPolicy::Operation> operation(const QDropEvent* event, const QString& destination);

} // namespace FileDragData
