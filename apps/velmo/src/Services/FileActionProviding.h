#pragma once

#include "Models/FileActionModels.h"

#include <QString>
#include <QStringList>

#include <expected>
#include <optional>
#include <vector>

// The short file actions of a pane: clipboard, trash and restore, creation,
// rename, reveal, terminal. Clipboard and launching calls belong to the main
// thread; trash, restore, create and rename touch only the file system and may
// run on any thread.
class FileActionProviding {
public:
    virtual ~FileActionProviding() = default;

    // Shows the item in the desktop's file viewer.
    virtual void reveal(const QString& url) = 0;
    virtual std::expected<void, FileActionError> copyItemsToPasteboard(const QStringList& urls) = 0;
    // Only the marker: the files are not touched until a paste moves them.
    virtual std::expected<void, FileActionError> cutItemsToPasteboard(const QStringList& urls) = 0;
    virtual void openInTerminal(const QString& url) = 0;
    // A folder itself, otherwise its parent (also for an item that doesn't exist).
    virtual QString terminalTargetURL(const QString& url) const = 0;
    // One by one in order; the first failure ends the call, and items trashed
    // before it stay in the trash.
    virtual std::expected<std::vector<TrashedItem>, FileActionError> moveToTrash(const QStringList& urls) = 0;
    // Back to the old place, or to a numbered name beside it when that is taken;
    // the trash's record of the item goes with it. Answers the restored paths.
    virtual std::expected<QStringList, FileActionError> restoreTrashedItems(const std::vector<TrashedItem>& items) = 0;
    virtual std::expected<void, FileActionError> createDirectory(const QString& url) = 0;
    virtual std::expected<void, FileActionError> createFile(const QString& url) = 0;
    virtual std::optional<FilePasteIntent> pasteIntent() = 0;
    // Never replaces an item: a name in use is an error (EEXIST). A change of
    // case alone is always allowed. Answers the new path.
    virtual std::expected<QString, FileActionError> rename(const QString& url, const QString& name) = 0;
};
