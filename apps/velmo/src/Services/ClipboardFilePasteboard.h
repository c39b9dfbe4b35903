#pragma once

#include "Services/FilePasteboardProviding.h"
#include "Services/InMemoryFilePasteboard.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QMimeData>
#include <QPointer>

// The desktop clipboard as file actions use it. Setting the clipboard replaces
// all of it, so this object keeps what it wrote (files, texts by type, the cut
// marker) and publishes a fresh copy of that at each step. Other programs read
// the files as `text/uri-list`, the copied-files form and plain text, and a cut
// as any of the three markers desktops use. Main thread only.
class ClipboardFilePasteboard final : public FilePasteboardProviding {
public:
    // The application's clipboard unless told otherwise; it must outlive this.
    explicit ClipboardFilePasteboard(QClipboard* clipboard = QGuiApplication::clipboard());
    ~ClipboardFilePasteboard() override;
    ClipboardFilePasteboard(const ClipboardFilePasteboard&) = delete;
    ClipboardFilePasteboard& operator=(const ClipboardFilePasteboard&) = delete;

    qint64 clearContents() override;
    bool setString(const QString& text, const QString& type) override;
    bool writeFileURLs(const QStringList& paths) override;
    QStringList readFileURLs() const override;
    // Fails when what this object wrote is no longer on the clipboard: the
    // marker never joins another program's content.
    bool setCutOperationMarker() override;
    bool hasCutOperationMarker() const override;
    qint64 changeCount() const override { return changeCount_; }

private:
    // Whether the clipboard still shows what this object last published.
    bool holdsOwnContent() const;
    bool publish();

    QClipboard* clipboard_;
    InMemoryFilePasteboard written_;
    QPointer<QMimeData> published_;
    qint64 changeCount_ = 0;
    QMetaObject::Connection changes_;
};
