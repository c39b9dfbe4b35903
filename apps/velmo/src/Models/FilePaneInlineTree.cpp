#include "Models/FilePaneInlineTree.h"

#include "PathKit/FilePaths.h"
#include "Support/FileHierarchy.h"

namespace {

bool isAtOrBelowAny(const QString& path, const QStringList& roots)
{
    for (const QString& root : roots)
        if (FilePaths::isAncestorOrSelf(root, path)) return true;
    return false;
}

QSet<QString> remappedSet(const QSet<QString>& paths, const QString& from, const QString& to)
{
    QSet<QString> out;
    out.reserve(paths.size());
    for (const QString& path : paths) out.insert(FileHierarchy::rewriting(path, from, to));
    return out;
}

template <typename Set>
void removeBelow(Set& set, const QStringList& roots)
{
    for (auto it = set.begin(); it != set.end();) {
        if (isAtOrBelowAny(*it, roots)) it = set.erase(it);
        else ++it;
    }
}

void removeKeysBelow(auto& map, const QStringList& roots)
{
    for (auto it = map.begin(); it != map.end();) {
        if (isAtOrBelowAny(it.key(), roots)) it = map.erase(it);
        else ++it;
    }
}

FilePaneInlineExpandabilityKnowledge remappedKnowledge(const FilePaneInlineExpandabilityKnowledge& knowledge,
                                                       const QString& from, const QString& to)
{
    return {remappedSet(knowledge.childlessFolderPaths, from, to),
            remappedSet(knowledge.knownExpandableFolderPaths, from, to)};
}

} // namespace

void FilePaneInlineExpandabilityKnowledge::mark(const QString& path, bool hasVisibleChildren)
{
    if (hasVisibleChildren) {
        childlessFolderPaths.remove(path);
        knownExpandableFolderPaths.insert(path);
    } else {
        knownExpandableFolderPaths.remove(path);
        childlessFolderPaths.insert(path);
    }
}

bool FilePaneInlineTree::operator==(const FilePaneInlineTree& other) const
{
    if (expandedFolderPaths != other.expandedFolderPaths || loadingFolderPaths != other.loadingFolderPaths
        || knowledge != other.knowledge || childrenByFolderPath.size() != other.childrenByFolderPath.size())
        return false;
    for (auto it = childrenByFolderPath.cbegin(); it != childrenByFolderPath.cend(); ++it) {
        auto found = other.childrenByFolderPath.constFind(it.key());
        if (found == other.childrenByFolderPath.cend() || !sameEntries(*it, *found)) return false;
    }
    return true;
}

FileEntryRef remappedEntry(const FileEntryRef& entry, const QString& from, const QString& to)
{
    if (!FilePaths::isAncestorOrSelf(from, entry->id)) return entry;
    FileEntry moved = *entry;
    moved.id = FileHierarchy::rewriting(entry->id, from, to);
    moved.url = moved.id;
    moved.name = FilePaths::lastComponent(moved.id);
    if (moved.resolvedURL && FilePaths::isAncestorOrSelf(from, *moved.resolvedURL))
        moved.resolvedURL = FileHierarchy::rewriting(*moved.resolvedURL, from, to);
    return std::make_shared<const FileEntry>(std::move(moved));
}

void FilePaneInlineTree::removePaths(const QStringList& paths)
{
    if (paths.isEmpty()) return;
    removeBelow(expandedFolderPaths, paths);
    removeBelow(loadingFolderPaths, paths);
    removeBelow(knowledge.childlessFolderPaths, paths);
    removeBelow(knowledge.knownExpandableFolderPaths, paths);
    removeKeysBelow(childrenByFolderPath, paths);
    for (FileEntryList& children : childrenByFolderPath)
        std::erase_if(children, [&](const FileEntryRef& child) { return isAtOrBelowAny(child->id, paths); });
}

void FilePaneInlineTree::remap(const QString& from, const QString& to)
{
    expandedFolderPaths = remappedSet(expandedFolderPaths, from, to);
    loadingFolderPaths = remappedSet(loadingFolderPaths, from, to);
    knowledge = remappedKnowledge(knowledge, from, to);
    QHash<QString, FileEntryList> children;
    children.reserve(childrenByFolderPath.size());
    for (auto it = childrenByFolderPath.cbegin(); it != childrenByFolderPath.cend(); ++it) {
        FileEntryList list = *it;
        for (FileEntryRef& child : list) child = remappedEntry(child, from, to);
        children.insert(FileHierarchy::rewriting(it.key(), from, to), std::move(list));
    }
    childrenByFolderPath = std::move(children);
}

void FilePaneInlineTree::collapse(const QString& path)
{
    const QStringList root {path};
    removeBelow(expandedFolderPaths, root);
    removeBelow(loadingFolderPaths, root);
    removeKeysBelow(childrenByFolderPath, root);
}

std::vector<FilePaneRow> FilePaneInlineTree::flattened(
    const FileEntryList& base, const std::function<FileEntryList(const QString&, const FileEntryList&)>& display) const
{
    if (expandedFolderPaths.isEmpty()) return FilePaneRow::rows(base);
    std::vector<FilePaneRow> rows;
    rows.reserve(base.size());
    // Depth first with an explicit stack: a tree opened deep must not deepen the call stack.
    struct Level {
        FileEntryList entries;
        std::size_t next = 0;
    };
    std::vector<Level> stack;
    stack.push_back({base, 0});
    while (!stack.empty()) {
        Level& level = stack.back();
        if (level.next == level.entries.size()) {
            stack.pop_back();
            continue;
        }
        const FileEntryRef entry = level.entries[level.next++];
        const int depth = int(stack.size()) - 1;
        rows.push_back({entry, depth});
        if (!expandedFolderPaths.contains(entry->id)) continue;
        auto children = childrenByFolderPath.constFind(entry->id);
        if (children == childrenByFolderPath.cend()) continue;
        stack.push_back({display(entry->id, *children), 0});
    }
    return rows;
}

// ---------------------------------------------------------------- memory

FilePaneInlineTree FilePaneInlineTreeMemory::treeFor(const QString& folder) const
{
    if (auto it = snapshots_.constFind(folder); it != snapshots_.cend()) return *it;
    FilePaneInlineTree tree;
    tree.expandedFolderPaths = expansions_.value(folder);
    tree.knowledge = expandability_.value(folder);
    return tree;
}

void FilePaneInlineTreeMemory::rememberExpansion(const QString& folder, const FilePaneInlineTree& tree)
{
    if (tree.expandedFolderPaths.isEmpty()) expansions_.remove(folder);
    else expansions_.insert(folder, tree.expandedFolderPaths);
    rememberSnapshot(folder, tree);
}

void FilePaneInlineTreeMemory::rememberExpandability(const QString& folder, const FilePaneInlineTree& tree)
{
    if (tree.knowledge.isEmpty()) {
        expandability_.remove(folder);
        return;
    }
    expandability_.insert(folder, tree.knowledge);
    rememberSnapshot(folder, tree);
}

void FilePaneInlineTreeMemory::rememberSnapshot(const QString& folder, const FilePaneInlineTree& tree)
{
    if (tree.isEmpty()) {
        snapshots_.remove(folder);
        recency_.removeAll(folder);
        return;
    }
    FilePaneInlineTree snapshot = tree;
    // A load doesn't survive leaving the folder.
    snapshot.loadingFolderPaths.clear();
    storeSnapshot(folder, std::move(snapshot));
}

void FilePaneInlineTreeMemory::storeSnapshot(const QString& folder, FilePaneInlineTree tree)
{
    snapshots_.insert(folder, std::move(tree));
    touch(folder);
    prune();
}

void FilePaneInlineTreeMemory::touch(const QString& folder)
{
    recency_.removeAll(folder);
    recency_.append(folder);
}

void FilePaneInlineTreeMemory::prune()
{
    recency_.removeIf([this](const QString& key) { return !snapshots_.contains(key); });
    while (snapshots_.size() > kSnapshotLimit && !recency_.isEmpty()) snapshots_.remove(recency_.takeFirst());
}

void FilePaneInlineTreeMemory::rememberInParent(const QString& folder, bool hasVisibleChildren)
{
    const QString parent = FilePaths::parent(folder);
    if (parent == folder) return;
    FilePaneInlineExpandabilityKnowledge knowledge = expandability_.value(parent);
    knowledge.mark(folder, hasVisibleChildren);
    expandability_.insert(parent, knowledge);
    FilePaneInlineTree snapshot = treeFor(parent);
    snapshot.knowledge.mark(folder, hasVisibleChildren);
    storeSnapshot(parent, std::move(snapshot));
}

void FilePaneInlineTreeMemory::remap(const QString& from, const QString& to)
{
    QHash<QString, QSet<QString>> expansions;
    for (auto it = expansions_.cbegin(); it != expansions_.cend(); ++it)
        expansions[FileHierarchy::rewriting(it.key(), from, to)].unite(remappedSet(*it, from, to));
    expansions_ = std::move(expansions);

    QHash<QString, FilePaneInlineExpandabilityKnowledge> expandability;
    for (auto it = expandability_.cbegin(); it != expandability_.cend(); ++it) {
        auto& merged = expandability[FileHierarchy::rewriting(it.key(), from, to)];
        const auto moved = remappedKnowledge(*it, from, to);
        merged.childlessFolderPaths.unite(moved.childlessFolderPaths);
        merged.knownExpandableFolderPaths.unite(moved.knownExpandableFolderPaths);
    }
    expandability_ = std::move(expandability);

    QHash<QString, FilePaneInlineTree> snapshots;
    for (auto it = snapshots_.cbegin(); it != snapshots_.cend(); ++it) {
        const QString key = FileHierarchy::rewriting(it.key(), from, to);
        FilePaneInlineTree tree = *it;
        tree.remap(from, to);
        // Where two keys meet, the one that moved is the one that is true now.
        if (key != it.key() || !snapshots.contains(key)) snapshots.insert(key, std::move(tree));
    }
    snapshots_ = std::move(snapshots);
    for (QString& key : recency_) key = FileHierarchy::rewriting(key, from, to);
    recency_.removeDuplicates();
    prune();
}

void FilePaneInlineTreeMemory::removePaths(const QStringList& paths)
{
    if (paths.isEmpty()) return;
    removeKeysBelow(expansions_, paths);
    for (auto it = expansions_.begin(); it != expansions_.end();) {
        removeBelow(*it, paths);
        it = it->isEmpty() ? expansions_.erase(it) : std::next(it);
    }
    removeKeysBelow(expandability_, paths);
    for (auto it = expandability_.begin(); it != expandability_.end();) {
        removeBelow(it->childlessFolderPaths, paths);
        removeBelow(it->knownExpandableFolderPaths, paths);
        it = it->isEmpty() ? expandability_.erase(it) : std::next(it);
    }
    removeKeysBelow(snapshots_, paths);
    for (auto it = snapshots_.begin(); it != snapshots_.end();) {
        it->removePaths(paths);
        it = it->isEmpty() ? snapshots_.erase(it) : std::next(it);
    }
    prune();
}

void FilePaneInlineTreeMemory::forgetAllKnowledge()
{
    expandability_.clear();
    for (FilePaneInlineTree& tree : snapshots_) tree.knowledge = {};
}
