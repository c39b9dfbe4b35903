#include "Models/FilePaneUndoAction.h"

QString FilePaneUndoAction::kindText() const
{
    static const char* const names[] = {"trash", "move", "rename", "renameBatch", "created"};
    return QString::fromLatin1(names[value.index()]);
}

QStringList FilePaneUndoAction::currentPaths() const
{
    QStringList paths;
    if (const auto* trash = std::get_if<Trash>(&value))
        for (const auto& item : trash->items) paths.append(item.trashedURL);
    else if (const auto* move = std::get_if<Move>(&value))
        for (const auto& item : move->items) paths.append(item.currentURL);
    else if (const auto* rename = std::get_if<Rename>(&value))
        paths.append(rename->currentURL);
    else if (const auto* batch = std::get_if<RenameBatch>(&value))
        for (const auto& item : batch->items) paths.append(item.currentURL);
    else
        paths = std::get<Created>(value).urls;
    return paths;
}
