#include "FileSizeScanner/ScanTreeBuilder.h"

#include "FileSizeScanner/StableScanNodeID.h"
#include "sg_scan_internal.h"

#include <PathKit/FilePaths.h>

#include <QStringList>
#include <QtGlobal>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <functional>
#include <limits>
#include <string>
#include <unordered_map>
#include <vector>

namespace {

qint64 clampedSize(uint64_t value)
{
    return value > uint64_t(std::numeric_limits<qint64>::max()) ? std::numeric_limits<qint64>::max() : qint64(value);
}

ScanNodeKind kindOf(uint8_t objType)
{
    switch (objType) {
    case SG_OBJ_DIRECTORY: return ScanNodeKind::directory;
    case SG_OBJ_PACKAGE: return ScanNodeKind::package;
    default: return ScanNodeKind::file;
    }
}

bool isFolderType(uint8_t objType)
{
    return objType == SG_OBJ_DIRECTORY || objType == SG_OBJ_PACKAGE;
}

qsizetype nameLength(const sg_flat_node_t& node)
{
    return qsizetype(strnlen(node.name, sizeof node.name));
}

// Paths and identifiers of the records in index order. Parents always precede children,
// so each path is its parent's path plus the record's name; only folders keep theirs,
// since only folders are parents.
class PathChain {
public:
    PathChain(const QString& rootPath, int32_t count)
        : rootPath_(rootPath)
        , rootNative_(FilePaths::toNative(rootPath).toStdString())
        , folderOrdinals_(size_t(count), -1)
        , ids_(size_t(count))
    {
    }

    struct Step {
        QString path;
        QString name;
    };

    Step add(int32_t index, const sg_flat_node_t& node)
    {
        const qsizetype length = nameLength(node);
        Step step {QString(), FilePaths::fromNative(node.name, length)};
        const int32_t parent = node.parent_index;
        const int32_t ordinal = parent >= 0 && parent < index ? folderOrdinals_[size_t(parent)] : -1;
        if (index == 0 || ordinal < 0) {
            step.path = rootPath_;
            native_ = rootNative_;
        } else {
            const Folder& folder = folders_[size_t(ordinal)];
            const bool atRoot = folder.native == "/";
            native_.assign(folder.native);
            if (!atRoot) native_.push_back('/');
            native_.append(node.name, size_t(length));
            step.path.reserve(folder.path.size() + 1 + step.name.size());
            step.path.append(folder.path);
            if (!atRoot) step.path.append(QLatin1Char('/'));
            step.path.append(step.name);
        }
        ids_[size_t(index)] = StableScanNodeID::forNativePath(native_.data(), qsizetype(native_.size()));
        if (isFolderType(node.obj_type)) {
            folderOrdinals_[size_t(index)] = int32_t(folders_.size());
            folders_.push_back({step.path, native_});
        }
        return step;
    }

    const QUuid& id(int32_t index) const { return ids_[size_t(index)]; }

private:
    struct Folder {
        QString path;
        std::string native;
    };
    QString rootPath_;
    std::string rootNative_;
    std::string native_; // scratch, reused for every record
    std::vector<int32_t> folderOrdinals_;
    std::vector<Folder> folders_;
    std::vector<QUuid> ids_;
};

QString displayNameOf(int32_t index, const QString& name, const QString& rootPath)
{
    if (index != 0 || !name.isEmpty()) return name;
    const QString last = FilePaths::lastComponent(rootPath);
    return last.isEmpty() ? rootPath : last;
}

ScanNodeRecord makeRecord(int32_t index, const sg_flat_node_t& node, const PathChain::Step& step, const PathChain& chain,
                          const QString& rootPath)
{
    ScanNodeRecord record;
    record.id = chain.id(index);
    if (node.parent_index >= 0 && node.parent_index < index) record.parentID = chain.id(node.parent_index);
    record.url = step.path;
    record.displayName = displayNameOf(index, step.name, rootPath);
    record.kind = kindOf(node.obj_type);
    record.isHidden = node.is_hidden != 0;
    record.isPackage = node.is_package != 0;
    record.isReadable = node.is_readable != 0;
    record.allocatedSize = clampedSize(node.allocated_size);
    record.logicalSize = clampedSize(node.logical_size);
    record.childCount = node.child_count;
    return record;
}

// The path of a flat record, from the names up its parent chain.
QString flatPath(const sg_flat_node_t* nodes, int32_t index, const QString& rootPath)
{
    QStringList names;
    for (int32_t i = index; i > 0 && nodes[i].parent_index >= 0 && nodes[i].parent_index < i; i = nodes[i].parent_index)
        names.prepend(FilePaths::fromNative(nodes[i].name, nameLength(nodes[i])));
    QString path = rootPath;
    for (const QString& name : names) path = FilePaths::appending(path, name);
    return path;
}

// Replaces each package's own size by the size of its whole content and adds the
// difference to every ancestor, on the flat records, so that any tree made of them has
// the final sizes.
void sizePackageRecords(sg_flat_node_t* nodes, int32_t count, const QString& rootPath,
                        const FileSystemProviding& fileSystem, const std::stop_token& stop)
{
    for (int32_t i = 0; i < count && !stop.stop_requested(); ++i) {
        if (nodes[i].obj_type != SG_OBJ_PACKAGE) continue;
        const qint64 ownAllocated = clampedSize(nodes[i].allocated_size);
        const qint64 ownLogical = clampedSize(nodes[i].logical_size);
        const auto size = ScanTreeBuilder::packageSize(flatPath(nodes, i, rootPath), ownAllocated, ownLogical, fileSystem, stop);
        if (!size) continue;
        // Never negative: a package's content only adds to its own size.
        const uint64_t allocatedDelta = uint64_t(std::max<qint64>(size->allocated - ownAllocated, 0));
        const uint64_t logicalDelta = uint64_t(std::max<qint64>(size->logical - ownLogical, 0));
        nodes[i].allocated_size = uint64_t(size->allocated);
        nodes[i].logical_size = uint64_t(size->logical);
        if (allocatedDelta == 0 && logicalDelta == 0) continue;
        for (int32_t child = i, ancestor = nodes[i].parent_index; ancestor >= 0 && ancestor < child;
             child = ancestor, ancestor = nodes[ancestor].parent_index) {
            nodes[ancestor].allocated_size = sg_size_add(nodes[ancestor].allocated_size, allocatedDelta);
            nodes[ancestor].logical_size = sg_size_add(nodes[ancestor].logical_size, logicalDelta);
        }
    }
}

// A tree of copied records whose parent indices point into the copies. The records at
// `standIns` (ascending) stand for no file-system object: they get no path, and their
// names, which hold a "/" no real name has, give them identifiers no real path has.
ScanTree treeOfCopies(const sg_flat_node_t* nodes, int32_t count, const QString& rootPath,
                      const std::vector<int32_t>& standIns = {}, QSet<QUuid>* standInIDs = nullptr)
{
    PathChain chain(rootPath, count);
    ScanTree tree;
    tree.nodesByID.reserve(count);
    auto standIn = standIns.begin();
    for (int32_t i = 0; i < count; ++i) {
        const PathChain::Step step = chain.add(i, nodes[i]);
        ScanNodeRecord record = makeRecord(i, nodes[i], step, chain, rootPath);
        if (standIn != standIns.end() && *standIn == i) {
            ++standIn;
            record.url.clear();
            record.displayName.clear();
            if (standInIDs) standInIDs->insert(record.id);
        }
        if (record.parentID) tree.childIDsByParentID[*record.parentID].append(record.id);
        tree.nodesByID.insert(record.id, std::move(record));
    }
    tree.rootID = chain.id(0);
    return tree;
}

// The records a chart draws from the root of a finished walk, copied parents first with
// their parent indices renumbered (see ScanTreeBuilder::drawableFromScanResult).
//
// Mirrors the chart's rules from the outside: a child is drawn when its share of its
// parent and its arc are big enough and it is among the parent's largest. The arc is taken
// at its widest (its share of the parent's arc, before gaps), so what is kept is never less
// than what is drawn; whatever is packed into a stand-in is surely not drawn.
class DrawableRecords {
public:
    DrawableRecords(const sg_scan_result_t& result, const ScanTreeBuilder::DrawableLimits& limits)
        : result_(result), limits_(limits)
    {
        plan(0, 0, limits.spanDegrees);
        choosePackedFolders();
        sg_flat_node_t root = result.nodes[0];
        root.parent_index = -1;
        records_.push_back(root);
        copyIndices_.emplace(0, 0);
        for (const Folder& folder : folders_) copyChildren(folder);
    }

    const std::vector<sg_flat_node_t>& records() const { return records_; }
    const std::vector<int32_t>& standIns() const { return standIns_; }

private:
    struct Folder {
        int32_t index = 0;
        std::vector<std::pair<int32_t, double>> drawn; // with the widest arc each can get
        std::vector<int32_t> undrawn;                  // with a size, packed if need be
        std::vector<int32_t> outranked;                // big enough but beyond the largest
        int32_t firstChild = -1;                       // kept when nothing else is
        bool packed = false;
    };

    std::pair<int32_t, int64_t> childRange(const sg_flat_node_t& parent) const
    {
        if (parent.child_count < 1 || parent.first_child < 0) return {0, 0};
        return {parent.first_child,
                std::min<int64_t>(int64_t(parent.first_child) + parent.child_count, result_.children_count)};
    }

    // Folders in pre-order, each with its children sorted as the chart will draw them.
    void plan(int32_t index, int depth, double span)
    {
        const sg_flat_node_t& parent = result_.nodes[index];
        const auto [first, end] = childRange(parent);
        if (depth >= limits_.rings || first >= end) return;
        Folder folder;
        folder.index = index;
        const double parentSize = double(clampedSize(parent.allocated_size));
        double childrenTotal = 0;
        for (int64_t k = first; k < end; ++k) {
            const int32_t child = result_.children[k];
            if (child > 0 && child < result_.node_count) childrenTotal += double(clampedSize(result_.nodes[child].allocated_size));
        }
        // A hair wider than the chart could make it, so that rounding never drops an arc.
        const double widest = span * (1 + 1e-9);
        for (int64_t k = first; k < end; ++k) {
            const int32_t child = result_.children[k];
            if (child <= 0 || child >= result_.node_count) continue;
            if (folder.firstChild < 0) folder.firstChild = child;
            const qint64 size = clampedSize(result_.nodes[child].allocated_size);
            if (size < 1) continue; // the chart neither draws nor counts it
            const double fraction = double(size) / parentSize;
            if (fraction < limits_.minimumFraction || widest * fraction < limits_.minimumAngleDegrees)
                folder.undrawn.push_back(child);
            else
                folder.drawn.emplace_back(child, childrenTotal > 0 ? span * double(size) / childrenTotal : span);
        }
        outrank(folder);
        const std::size_t at = folders_.size();
        folders_.push_back(std::move(folder));
        for (std::size_t i = 0; i < folders_[at].drawn.size(); ++i) {
            const auto [child, childSpan] = folders_[at].drawn[i];
            plan(child, depth + 1, childSpan);
        }
    }

    // Past the largest the chart draws of one parent, the rest join its smaller arc.
    // Children as large as the last one drawn stay, since the chart breaks such ties by name.
    void outrank(Folder& folder) const
    {
        const std::size_t cap = std::size_t(std::max(limits_.maximumVisibleChildren, 0));
        if (folder.drawn.size() <= cap) return;
        auto sizeOf = [this](const std::pair<int32_t, double>& entry) { return result_.nodes[entry.first].allocated_size; };
        uint64_t smallestDrawn = std::numeric_limits<uint64_t>::max();
        if (cap > 0) {
            std::vector<uint64_t> sizes;
            sizes.reserve(folder.drawn.size());
            for (const auto& entry : folder.drawn) sizes.push_back(sizeOf(entry));
            std::nth_element(sizes.begin(), sizes.begin() + std::ptrdiff_t(cap - 1), sizes.end(), std::greater<> {});
            smallestDrawn = sizes[cap - 1];
        }
        std::erase_if(folder.drawn, [&](const std::pair<int32_t, double>& entry) {
            if (sizeOf(entry) >= smallestDrawn) return false;
            folder.outranked.push_back(entry.first);
            return true;
        });
    }

    // Within the budget every undrawn child is kept; beyond it the folders with the most
    // are packed first.
    void choosePackedFolders()
    {
        qsizetype total = 0;
        std::vector<Folder*> byCount;
        for (Folder& folder : folders_) {
            total += qsizetype(folder.undrawn.size());
            byCount.push_back(&folder);
        }
        std::sort(byCount.begin(), byCount.end(),
                  [](const Folder* a, const Folder* b) { return a->undrawn.size() > b->undrawn.size(); });
        for (Folder* folder : byCount) {
            if (total <= limits_.undrawnChildrenBudget) break;
            total -= qsizetype(folder->undrawn.size());
            folder->packed = true;
        }
    }

    int32_t copy(int32_t index, int32_t parentCopy)
    {
        sg_flat_node_t node = result_.nodes[index];
        node.parent_index = parentCopy;
        records_.push_back(node);
        return int32_t(records_.size() - 1);
    }

    void copyChildren(const Folder& folder)
    {
        const int32_t parentCopy = copyIndices_.at(folder.index);
        const std::size_t before = records_.size();
        for (const auto& [child, span] : folder.drawn) copyIndices_.emplace(child, copy(child, parentCopy));
        for (const int32_t child : folder.outranked) copy(child, parentCopy);
        if (!folder.packed) {
            for (const int32_t child : folder.undrawn) copy(child, parentCopy);
        } else {
            pack(folder, parentCopy);
        }
        // A folder with content keeps some, so that the chart still sees a folder there.
        if (records_.size() == before && folder.firstChild >= 0) copy(folder.firstChild, parentCopy);
    }

    // The undrawn children in stand-ins, each below the drawable share. The first is kept
    // as itself, so that a folder of several small children never shows as one of a single.
    void pack(const Folder& folder, int32_t parentCopy)
    {
        if (folder.undrawn.empty()) return;
        copy(folder.undrawn.front(), parentCopy);
        const double parentSize = double(clampedSize(result_.nodes[folder.index].allocated_size));
        uint64_t bin = 0;
        auto flush = [&] {
            sg_flat_node_t standIn {};
            std::snprintf(standIn.name, sizeof standIn.name, "/%zu", standIns_.size());
            standIn.parent_index = parentCopy;
            standIn.allocated_size = standIn.logical_size = bin;
            standIn.obj_type = SG_OBJ_FILE;
            standIn.is_readable = 1;
            standIns_.push_back(int32_t(records_.size()));
            records_.push_back(standIn);
            bin = 0;
        };
        for (std::size_t i = 1; i < folder.undrawn.size(); ++i) {
            const uint64_t size = result_.nodes[folder.undrawn[i]].allocated_size;
            // A bin of several stays below the share the chart draws; one alone is undrawn anyway.
            if (bin > 0 && double(clampedSize(sg_size_add(bin, size))) / parentSize >= limits_.minimumFraction) flush();
            bin = sg_size_add(bin, size);
        }
        if (bin > 0) flush();
    }

    const sg_scan_result_t& result_;
    const ScanTreeBuilder::DrawableLimits limits_;
    std::vector<Folder> folders_;
    std::vector<sg_flat_node_t> records_;
    std::vector<int32_t> standIns_;
    std::unordered_map<int32_t, int32_t> copyIndices_; // of the drawn: walk index to copy index
};

} // namespace

void ScanTreeBuilder::sizePackages(sg_scan_result_t* result, const QString& rootPath,
                                   const FileSystemProviding& fileSystem, std::stop_token stop)
{
    if (!result || !result->nodes || result->node_count < 1) return;
    sizePackageRecords(result->nodes, result->node_count, rootPath, fileSystem, stop);
}

std::optional<ScanTree> ScanTreeBuilder::fromScanResult(sg_scan_result_t* result, const QString& rootPath,
                                                        std::stop_token stop)
{
    if (!result || !result->nodes || result->node_count < 1) return std::nullopt;
    const int32_t count = result->node_count;
    sg_flat_node_t* nodes = result->nodes;

    // The flat records are read once, front to back; what the children pass needs is kept
    // aside, so the records' memory goes back while the tree grows.
    constexpr int32_t kDiscardStride = 1 << 16;
    std::vector<std::pair<int32_t, int32_t>> childRanges(static_cast<size_t>(count)); // first_child, child_count
    PathChain chain(rootPath, count);
    ScanTree tree;
    tree.nodesByID.reserve(count);
    for (int32_t i = 0; i < count; ++i) {
        if (i % kDiscardStride == 0) {
            if (stop.stop_requested()) return std::nullopt;
            sg_discard_nodes_before(result, i);
        }
        const PathChain::Step step = chain.add(i, nodes[i]);
        childRanges[size_t(i)] = {nodes[i].first_child, nodes[i].child_count};
        ScanNodeRecord record = makeRecord(i, nodes[i], step, chain, rootPath);
        tree.nodesByID.insert(record.id, std::move(record));
    }
    sg_discard_nodes_before(result, count);

    for (int32_t i = 0; i < count; ++i) {
        const auto [firstChild, childCount] = childRanges[size_t(i)];
        if (childCount < 1 || firstChild < 0) continue;
        const int64_t end = std::min<int64_t>(int64_t(firstChild) + childCount, result->children_count);
        QList<QUuid> ids;
        ids.reserve(childCount);
        for (int64_t k = firstChild; k < end; ++k) {
            const int32_t child = result->children[k];
            if (child >= 0 && child < count) ids.append(chain.id(child));
        }
        tree.childIDsByParentID.insert(chain.id(i), std::move(ids));
    }
    tree.rootID = chain.id(0);
    return tree;
}

std::optional<ScanTree> ScanTreeBuilder::fromSnapshot(const sg_flat_node_t* nodes, int32_t count, const QString& rootPath)
{
    if (!nodes || count < 1) return std::nullopt;
    return treeOfCopies(nodes, count, rootPath);
}

std::optional<ScanTreeBuilder::DrawableTree> ScanTreeBuilder::drawableFromScanResult(const sg_scan_result_t* result,
                                                                                     const QString& rootPath,
                                                                                     const DrawableLimits& limits)
{
    if (!result || !result->nodes || result->node_count < 1) return std::nullopt;
    const DrawableRecords drawable(*result, limits);
    DrawableTree tree;
    tree.tree = treeOfCopies(drawable.records().data(), int32_t(drawable.records().size()), rootPath,
                             drawable.standIns(), &tree.standInIDs);
    return tree;
}

std::optional<NodeSize> ScanTreeBuilder::packageSize(const QString& path, qint64 fallbackAllocated, qint64 fallbackLogical,
                                                     const FileSystemProviding& fileSystem, std::stop_token stop)
{
    if (!fileSystem.resourceValues(path)) return std::nullopt;
    // Linux reports no totals for a folder, so the contents are always walked.
    NodeSize size {std::max<qint64>(fallbackAllocated, 0), std::max<qint64>(fallbackLogical, 0)};
    QList<QString> folders {path};
    while (!folders.isEmpty() && !stop.stop_requested()) {
        const auto entries = fileSystem.childEntries(folders.takeLast());
        if (!entries) continue;
        for (const ChildEntry& entry : *entries) {
            const qint64 logical = std::max<qint64>(entry.values.fileSize.value_or(0), 0);
            size.logical = addSizes(size.logical, logical);
            size.allocated = addSizes(size.allocated, std::max<qint64>(entry.values.fileAllocatedSize.value_or(logical), 0));
            if (entry.values.isDirectory) folders.append(entry.url);
        }
    }
    return size;
}

qint64 ScanTreeBuilder::addSizes(qint64 a, qint64 b)
{
    return qint64(sg_size_add(uint64_t(std::max<qint64>(a, 0)), uint64_t(std::max<qint64>(b, 0))));
}
