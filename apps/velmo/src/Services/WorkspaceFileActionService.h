#pragma once

#include "Services/FileActionProviding.h"
#include "Services/FilePasteboardProviding.h"
#include "Services/FreedesktopTrash.h"

#include <memory>

// The short file actions on Linux: the clipboard through FilePasteboardProviding,
// the freedesktop trash, creation and rename by plain system calls that never
// replace an item, the file viewer over D-Bus and a terminal emulator.
class WorkspaceFileActionService final : public FileActionProviding {
public:
    explicit WorkspaceFileActionService(std::shared_ptr<FilePasteboardProviding> pasteboard,
                                        FreedesktopTrash trash = FreedesktopTrash());

    // Asks the desktop's file viewer (org.freedesktop.FileManager1) to show the
    // item without waiting for it; when none answers, opens the item's folder.
    void reveal(const QString& url) override;
    std::expected<void, FileActionError> copyItemsToPasteboard(const QStringList& urls) override;
    std::expected<void, FileActionError> cutItemsToPasteboard(const QStringList& urls) override;
    // Starts x-terminal-emulator, else $TERMINAL, else xterm, in the folder.
    void openInTerminal(const QString& url) override;
    QString terminalTargetURL(const QString& url) const override;
    std::expected<std::vector<TrashedItem>, FileActionError> moveToTrash(const QStringList& urls) override;
    std::expected<QStringList, FileActionError> restoreTrashedItems(const std::vector<TrashedItem>& items) override;
    // mkdir 0777 (the umask applies), without missing parents.
    std::expected<void, FileActionError> createDirectory(const QString& url) override;
    // A new empty file (0666 less the umask); an existing item is an error and
    // is never truncated.
    std::expected<void, FileActionError> createFile(const QString& url) override;
    std::optional<FilePasteIntent> pasteIntent() override;
    // A name that is empty, "." or "..", or holds "/" or NUL is refused (EINVAL).
    std::expected<QString, FileActionError> rename(const QString& url, const QString& name) override;

private:
    std::expected<void, FileActionError> writeToPasteboard(const QStringList& urls, bool cut);

    std::shared_ptr<FilePasteboardProviding> pasteboard_;
    FreedesktopTrash trash_;
};
