#include "Services/InMemoryFilePasteboard.h"

#include "PathKit/FilePaths.h"
#include "Support/FileURIList.h"

qint64 InMemoryFilePasteboard::clearContents()
{
    data_.clear();
    return ++changeCount_;
}

bool InMemoryFilePasteboard::setString(const QString& text, const QString& type)
{
    data_.setData(type, text.toUtf8());
    ++changeCount_;
    return true;
}

bool InMemoryFilePasteboard::writeFileURLs(const QStringList& paths)
{
    QByteArray plain;
    for (const QString& path : paths) plain += FilePaths::toNative(path) + '\n';
    data_.setData(kURIListType, FileURIList::uriList(paths));
    data_.setData(kCopiedFilesType, FileURIList::copiedFiles(paths, false));
    // Editors and terminals paste the paths themselves.
    data_.setData(QStringLiteral("text/plain"), plain);
    ++changeCount_;
    return true;
}

bool InMemoryFilePasteboard::setCutOperationMarker()
{
    if (const auto copied = FileURIList::parseCopiedFiles(data_.data(kCopiedFilesType)))
        data_.setData(kCopiedFilesType, FileURIList::copiedFiles(copied->paths, true));
    data_.setData(kCutSelectionType, "1");
    data_.setData(kCutOperationType, "move");
    ++changeCount_;
    return true;
}

QMimeData* InMemoryFilePasteboard::copyOfContents() const
{
    auto* copy = new QMimeData;
    for (const QString& format : data_.formats()) copy->setData(format, data_.data(format));
    return copy;
}

QStringList InMemoryFilePasteboard::filesOn(const QMimeData& data)
{
    if (data.hasFormat(kURIListType)) {
        QStringList files = FileURIList::pathsInURIList(data.data(kURIListType));
        if (!files.isEmpty()) return files;
    }
    if (const auto copied = FileURIList::parseCopiedFiles(data.data(kCopiedFilesType))) return copied->paths;
    return {};
}

bool InMemoryFilePasteboard::isCut(const QMimeData& data)
{
    if (data.data(kCutOperationType) == "move" || data.data(kCutSelectionType) == "1") return true;
    const auto copied = FileURIList::parseCopiedFiles(data.data(kCopiedFilesType));
    return copied && copied->isCut;
}
