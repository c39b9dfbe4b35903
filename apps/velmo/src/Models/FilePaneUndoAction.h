#pragma once

#include "Models/FileActionModels.h"

#include <QString>
#include <QStringList>

#include <variant>
#include <vector>

// One finished operation of a pane that undo can take back. Each operation pushes
// exactly one; a part of a batch that could not be undone goes back as a new one.
struct FilePaneUndoAction {
    struct MovedFile {
        QString currentURL;
        QString originalURL;
        bool operator==(const MovedFile&) const = default;
    };
    struct RenamedFile {
        QString currentURL;
        QString previousName;
        bool operator==(const RenamedFile&) const = default;
    };
    struct Trash {
        std::vector<TrashedItem> items;
        bool operator==(const Trash&) const = default;
    };
    struct Move {
        std::vector<MovedFile> items;
        bool operator==(const Move&) const = default;
    };
    struct Rename {
        QString currentURL;
        QString previousName;
        bool operator==(const Rename&) const = default;
    };
    struct RenameBatch {
        std::vector<RenamedFile> items;
        bool operator==(const RenameBatch&) const = default;
    };
    struct Created {
        QStringList urls;
        bool operator==(const Created&) const = default;
    };

    std::variant<Trash, Move, Rename, RenameBatch, Created> value;

    bool operator==(const FilePaneUndoAction&) const = default;

    // "trash", "move", "rename", "renameBatch", "created".
    QString kindText() const;
    // The paths the action would act on now, in order.
    QStringList currentPaths() const;
};
