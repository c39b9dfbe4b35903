#include "Services/ClipboardFilePasteboard.h"

ClipboardFilePasteboard::ClipboardFilePasteboard(QClipboard* clipboard) : clipboard_(clipboard)
{
    if (clipboard_)
        changes_ = QObject::connect(clipboard_, &QClipboard::dataChanged, [this] { ++changeCount_; });
}

ClipboardFilePasteboard::~ClipboardFilePasteboard()
{
    QObject::disconnect(changes_);
}

qint64 ClipboardFilePasteboard::clearContents()
{
    written_.clearContents();
    if (clipboard_) clipboard_->clear(QClipboard::Clipboard);
    return ++changeCount_;
}

bool ClipboardFilePasteboard::setString(const QString& text, const QString& type)
{
    if (!holdsOwnContent()) written_.clearContents();
    written_.setString(text, type);
    return publish();
}

bool ClipboardFilePasteboard::writeFileURLs(const QStringList& paths)
{
    if (!holdsOwnContent()) written_.clearContents();
    written_.writeFileURLs(paths);
    return publish();
}

QStringList ClipboardFilePasteboard::readFileURLs() const
{
    const QMimeData* data = clipboard_ ? clipboard_->mimeData(QClipboard::Clipboard) : nullptr;
    return data ? InMemoryFilePasteboard::filesOn(*data) : QStringList();
}

bool ClipboardFilePasteboard::setCutOperationMarker()
{
    if (!holdsOwnContent() || written_.readFileURLs().isEmpty()) return false;
    written_.setCutOperationMarker();
    return publish();
}

bool ClipboardFilePasteboard::hasCutOperationMarker() const
{
    const QMimeData* data = clipboard_ ? clipboard_->mimeData(QClipboard::Clipboard) : nullptr;
    return data && InMemoryFilePasteboard::isCut(*data);
}

bool ClipboardFilePasteboard::holdsOwnContent() const
{
    return clipboard_ && published_ && clipboard_->mimeData(QClipboard::Clipboard) == published_.data();
}

bool ClipboardFilePasteboard::publish()
{
    if (!clipboard_) return false;
    QMimeData* fresh = written_.copyOfContents();
    published_ = fresh;
    // The clipboard owns it from here and deletes it when replaced.
    clipboard_->setMimeData(fresh, QClipboard::Clipboard);
    return true;
}
