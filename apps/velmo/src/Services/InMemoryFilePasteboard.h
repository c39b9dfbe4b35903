#pragma once

#include "Services/FilePasteboardProviding.h"

#include <QMimeData>

// The clipboard contract on a store of its own: what a headless run or a test
// uses, and the record of what ClipboardFilePasteboard wrote. It also holds the
// rules by which any clipboard's content is read as files and as a cut.
class InMemoryFilePasteboard final : public FilePasteboardProviding {
public:
    // The formats written and read; desktops read them too.
    static constexpr auto kURIListType = "text/uri-list";
    static constexpr auto kCopiedFilesType = "x-special/gnome-copied-files";
    static constexpr auto kCutSelectionType = "application/x-kde-cutselection";
    static constexpr auto kCutOperationType = "com.orvane.velmo.file-cut-operation";

    qint64 clearContents() override;
    bool setString(const QString& text, const QString& type) override;
    bool writeFileURLs(const QStringList& paths) override;
    QStringList readFileURLs() const override { return filesOn(data_); }
    bool setCutOperationMarker() override;
    bool hasCutOperationMarker() const override { return isCut(data_); }
    qint64 changeCount() const override { return changeCount_; }

    const QMimeData& contents() const { return data_; }
    // A fresh copy of the contents, for a clipboard to own.
    QMimeData* copyOfContents() const;

    // The files on `data`: from its URI list, else from the copied-files form.
    static QStringList filesOn(const QMimeData& data);
    // Whether `data` says its files were cut, in any of the three ways
    // programs say it.
    static bool isCut(const QMimeData& data);

private:
    QMimeData data_;
    qint64 changeCount_ = 0;
};
