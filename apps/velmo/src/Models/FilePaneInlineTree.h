#pragma once

#include "Models/FilePaneRow.h"

#include <QHash>
#include <QSet>
#include <QString>
#include <QStringList>

#include <functional>

// What a pane knows of which folders have something to show, without listing them.
struct FilePaneInlineExpandabilityKnowledge {
    QSet<QString> childlessFolderPaths;
    QSet<QString> knownExpandableFolderPaths;

    bool isEmpty() const { return childlessFolderPaths.isEmpty() && knownExpandableFolderPaths.isEmpty(); }
    // Moves `path` into the one set and out of the other.
    void mark(const QString& path, bool hasVisibleChildren);
    bool operator==(const FilePaneInlineExpandabilityKnowledge&) const = default;
};

// The folders unfolded in place in a list, and what is known of them. Paths are
// entry ids. The same value, without loads, is what a folder keeps when it is left.
struct FilePaneInlineTree {
    QSet<QString> expandedFolderPaths;
    // Children as the listing gave them, unsorted.
    QHash<QString, FileEntryList> childrenByFolderPath;
    QSet<QString> loadingFolderPaths;
    FilePaneInlineExpandabilityKnowledge knowledge;

    bool isEmpty() const { return expandedFolderPaths.isEmpty() && knowledge.isEmpty(); }
    bool operator==(const FilePaneInlineTree& other) const;

    // Forgets `paths` and everything below them: sets, child lists, and the entries
    // naming them in their parents' lists.
    void removePaths(const QStringList& paths);
    // Follows a rename or move of `from` to `to`.
    void remap(const QString& from, const QString& to);
    // Drops every key equal to or below `path` from the expansion, the lists and
    // the loads; what is known of expandability stays.
    void collapse(const QString& path);

    // The rows on show: `base` at depth 0, each expanded folder with a list
    // followed by `display(children)` one level deeper, depth first.
    std::vector<FilePaneRow> flattened(const FileEntryList& base,
                                       const std::function<FileEntryList(const QString&, const FileEntryList&)>& display)
        const;
};

// An entry of a child list after its folder (or one above) moved from `from` to `to`.
FileEntryRef remappedEntry(const FileEntryRef& entry, const QString& from, const QString& to);

// What a pane remembers of the trees of the folders it has shown, keyed by folder:
// up to 64 whole trees (children included), and without limit the expanded paths
// and the expandability knowledge, which are only strings, so that a folder whose
// tree was evicted still opens its rows again (listing them anew).
class FilePaneInlineTreeMemory {
public:
    static constexpr int kSnapshotLimit = 64;

    // The tree to show on coming back to `folder`: its snapshot, or the remembered
    // expansion and knowledge with no children yet.
    FilePaneInlineTree treeFor(const QString& folder) const;

    void rememberExpansion(const QString& folder, const FilePaneInlineTree& tree);
    void rememberExpandability(const QString& folder, const FilePaneInlineTree& tree);
    void rememberSnapshot(const QString& folder, const FilePaneInlineTree& tree);
    // A folder just listed tells its parent whether it has anything to show.
    void rememberInParent(const QString& folder, bool hasVisibleChildren);

    void remap(const QString& from, const QString& to);
    void removePaths(const QStringList& paths);
    // Hidden files changed what is childless: every folder's knowledge goes.
    void forgetAllKnowledge();

    const QHash<QString, FilePaneInlineTree>& snapshots() const { return snapshots_; }
    const QStringList& recency() const { return recency_; }
    const QHash<QString, QSet<QString>>& expansions() const { return expansions_; }
    const QHash<QString, FilePaneInlineExpandabilityKnowledge>& expandability() const { return expandability_; }

private:
    void storeSnapshot(const QString& folder, FilePaneInlineTree tree);
    void touch(const QString& folder);
    void prune();

    QHash<QString, FilePaneInlineTree> snapshots_;
    QStringList recency_; // oldest first
    QHash<QString, QSet<QString>> expansions_;
    QHash<QString, FilePaneInlineExpandabilityKnowledge> expandability_;
};
