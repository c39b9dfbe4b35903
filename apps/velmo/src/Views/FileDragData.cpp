#include "Views/FileDragData.h"

#include "PathKit/FilePaths.h"
#include "Support/FileURIList.h"

#include <QDropEvent>
#include <QGuiApplication>
#include <QMimeData>

namespace {

const QString kURIList = QStringLiteral("text/uri-list");
const QString kInternal = QStringLiteral("com.orvane.velmo.internal-drag");

} // namespace

namespace FileDragData {

QMimeData* make(const QStringList& paths)
{
    auto* data = new QMimeData;
    data->setData(kURIList, FileURIList::uriList(paths));
    data->setData(kInternal, QByteArray::number(QCoreApplication::applicationPid()));
    // Text editors and terminals take the paths as text.
    QStringList lines;
    for (const QString& path : paths) lines.append(FilePaths::displayName(path));
    data->setText(lines.join(u'\n'));
    return data;
}

QStringList paths(const QMimeData* data)
{
    if (!data || !data->hasFormat(kURIList)) return {};
    return FileURIList::pathsInURIList(data->data(kURIList));
}

bool isInternal(const QMimeData* data)
{
    return data && data->data(kInternal) == QByteArray::number(QCoreApplication::applicationPid());
}

std::optional<FileDropPolicy::Operation> operation(const QDropEvent* event, const QString& destination)
{
    const QStringList sources = paths(event->mimeData());
    const bool internal = isInternal(event->mimeData());
    // Lexical checks only: the drag must stay fluid, and the transfer itself
    // refuses (and reports) what it can't do.
    qsizetype transferable = 0;
    for (const QString& source : sources)
        if (!FilePaths::isAncestorOrSelf(FilePaths::standardized(source), destination)) ++transferable;
    const Qt::DropActions possible = event->possibleActions();
    const Qt::KeyboardModifiers keys = QGuiApplication::queryKeyboardModifiers();
    auto result = FileDropPolicy::fileTransferOperation(
        internal, transferable,
        {possible.testFlag(Qt::CopyAction), possible.testFlag(Qt::MoveAction), possible.testFlag(Qt::LinkAction)},
        {keys.testFlag(Qt::ControlModifier), keys.testFlag(Qt::ShiftModifier)});
    // Moving items into the folder that holds them all would do nothing.
    if (result == FileDropPolicy::Operation::move) {
        bool anyElsewhere = false;
        for (const QString& source : sources)
            if (FilePaths::parent(FilePaths::standardized(source)) != destination) anyElsewhere = true;
        if (!anyElsewhere) return std::nullopt;
    }
    return result;
}

} // namespace FileDragData
