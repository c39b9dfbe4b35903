#include "FileSizeScanner/ScanTreeBuilder.h"

#include "FileSizeScanner/StableScanNodeID.h"
#include "sg_scan_internal.h"

#include <PathKit/FilePaths.h>

#include <QStringList>
#include <QtGlobal>

#include <cstring>
#include <limits>
#include <string>
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
// difference to every ancestor. Done on the flat records before any tree record exists,
// so that the records are built with their final sizes in one pass.
void sizePackages(sg_flat_node_t* nodes, int32_t count, const QString& rootPath, const FileSystemProviding& fileSystem,
                  const std::stop_token& stop)
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

} // namespace

std::optional<ScanTree> ScanTreeBuilder::fromScanResult(sg_scan_result_t* result, const QString& rootPath,
                                                        const FileSystemProviding& packageFileSystem, std::stop_token stop)
{
    if (!result || !result->nodes || result->node_count < 1) return std::nullopt;
    const int32_t count = result->node_count;
    sg_flat_node_t* nodes = result->nodes;
    sizePackages(nodes, count, rootPath, packageFileSystem, stop);

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
    PathChain chain(rootPath, count);
    ScanTree tree;
    tree.nodesByID.reserve(count);
    for (int32_t i = 0; i < count; ++i) {
        const PathChain::Step step = chain.add(i, nodes[i]);
        ScanNodeRecord record = makeRecord(i, nodes[i], step, chain, rootPath);
        if (record.parentID) tree.childIDsByParentID[*record.parentID].append(record.id);
        tree.nodesByID.insert(record.id, std::move(record));
    }
    tree.rootID = chain.id(0);
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
