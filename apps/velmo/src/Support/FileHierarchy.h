#pragma once

#include "Models/FileEntry.h"

#include <QString>
#include <QStringList>

#include <vector>

// Path helpers for acting on selections and following renames.
class FileHierarchy {
public:
    // Keeps the order and drops every entry that lies below another one of the list.
    static std::vector<FileEntry> strippingDescendants(const std::vector<FileEntry>& entries);
    static QStringList strippingDescendants(const QStringList& urls);
    // `path` with the prefix `oldPath` replaced by `newPath`, when it is or lies below it.
    static QString rewriting(const QString& path, const QString& oldPath, const QString& newPath);

private:
    template <typename Item, typename PathOf>
    static std::vector<Item> strippingNested(const std::vector<Item>& items, PathOf pathOf);
};
