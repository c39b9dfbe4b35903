#include "FileSizeScanner/ScanTreeBuilder.h"

#include "FileSizeScanner/LocalFileSystemProvider.h"
#include "FileSizeScanner/NodeSizingService.h"
#include "FileSizeScanner/StableScanNodeID.h"

#include <PathKit/FilePaths.h>

#include <QtGlobal>

#include <cstring>
#include <limits>
#include <vector>

namespace {

qint64 checkedSize(uint64_t value)
{
    if (value > uint64_t(std::numeric_limits<qint64>::max())) qFatal("scan size out of range: %llu", (unsigned long long)value);
    return qint64(value);
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

// Paths and identifiers of the records in index order. Parents always precede children,
// so each path is its parent's path plus the record's name; only folders keep theirs,
// since only folders are parents.
class PathChain {
public:
    PathChain(const QString& rootPath, int32_t count)
        : rootPath_(rootPath)
        , rootNative_(FilePaths::toNative(rootPath))
        , paths_(size_t(count))
        , nativePaths_(size_t(count))
        , ids_(size_t(count))
    {
    }

    struct Step {
        QString path;
        QString name;
    };

    Step add(int32_t index, const sg_flat_node_t& node)
    {
        const qsizetype nameLength = qsizetype(strnlen(node.name, sizeof node.name));
        Step step {QString(), FilePaths::fromNative(node.name, nameLength)};
        QByteArray native;
        const int32_t parent = node.parent_index;
        if (index == 0 || parent < 0 || parent >= index) {
            step.path = rootPath_;
            native = rootNative_;
        } else {
            const QByteArray& parentNative = nativePaths_[size_t(parent)];
            const bool atRoot = parentNative == "/";
            native.reserve(parentNative.size() + 1 + nameLength);
            native.append(parentNative);
            if (!atRoot) native.append('/');
            native.append(node.name, nameLength);
            const QString& parentPath = paths_[size_t(parent)];
            step.path.reserve(parentPath.size() + 1 + step.name.size());
            step.path.append(parentPath);
            if (!atRoot) step.path.append(QLatin1Char('/'));
            step.path.append(step.name);
        }
        ids_[size_t(index)] = StableScanNodeID::forNativePath(native.constData(), native.size());
        if (isFolderType(node.obj_type)) {
            paths_[size_t(index)] = step.path;
            nativePaths_[size_t(index)] = std::move(native);
        }
        return step;
    }

    const QUuid& id(int32_t index) const { return ids_[size_t(index)]; }

private:
    QString rootPath_;
    QByteArray rootNative_;
    std::vector<QString> paths_;
    std::vector<QByteArray> nativePaths_;
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
    record.allocatedSize = checkedSize(node.allocated_size);
    record.logicalSize = checkedSize(node.logical_size);
    record.childCount = node.child_count;
    return record;
}

// Adds a package's newly found content to every ancestor, flat record and tree record alike.
void raiseAncestors(sg_flat_node_t* nodes, int32_t index, qint64 allocatedDelta, qint64 logicalDelta,
                    const PathChain& chain, ScanTree& tree)
{
    for (int32_t ancestor = nodes[index].parent_index; ancestor >= 0 && ancestor < index;
         index = ancestor, ancestor = nodes[ancestor].parent_index) {
        nodes[ancestor].allocated_size += uint64_t(allocatedDelta);
        nodes[ancestor].logical_size += uint64_t(logicalDelta);
        auto record = tree.nodesByID.find(chain.id(ancestor));
        if (record != tree.nodesByID.end()) {
            record->allocatedSize += allocatedDelta;
            record->logicalSize += logicalDelta;
        }
    }
}

} // namespace

std::optional<ScanTree> ScanTreeBuilder::fromScanResult(sg_scan_result_t* result, const QString& rootPath)
{
    if (!result || !result->nodes || result->node_count < 1) return std::nullopt;
    const int32_t count = result->node_count;
    sg_flat_node_t* nodes = result->nodes;
    PathChain chain(rootPath, count);
    ScanTree tree;
    tree.nodesByID.reserve(count);

    for (int32_t i = 0; i < count; ++i) {
        const PathChain::Step step = chain.add(i, nodes[i]);
        ScanNodeRecord record = makeRecord(i, nodes[i], step, chain, rootPath);
        if (nodes[i].obj_type == SG_OBJ_PACKAGE) {
            if (const auto size = packageSize(record.url, record.allocatedSize, record.logicalSize)) {
                const qint64 allocatedDelta = size->allocated - record.allocatedSize;
                const qint64 logicalDelta = size->logical - record.logicalSize;
                record.allocatedSize = size->allocated;
                record.logicalSize = size->logical;
                nodes[i].allocated_size = uint64_t(size->allocated);
                nodes[i].logical_size = uint64_t(size->logical);
                if (allocatedDelta != 0 || logicalDelta != 0)
                    raiseAncestors(nodes, i, allocatedDelta, logicalDelta, chain, tree);
            }
        }
        tree.nodesByID.insert(record.id, std::move(record));
    }

    for (int32_t i = 0; i < count; ++i) {
        const sg_flat_node_t& node = nodes[i];
        if (node.child_count < 1 || node.first_child < 0) continue;
        const int64_t end = std::min<int64_t>(int64_t(node.first_child) + node.child_count, result->children_count);
        QList<QUuid> ids;
        ids.reserve(node.child_count);
        for (int64_t k = node.first_child; k < end; ++k) {
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

std::optional<NodeSize> ScanTreeBuilder::packageSize(const QString& path, qint64 fallbackAllocated, qint64 fallbackLogical)
{
    const LocalFileSystemProvider fileSystem;
    if (!fileSystem.resourceValues(path)) return std::nullopt;
    // Linux reports no totals for a folder, so the contents are always walked.
    NodeSize size {std::max<qint64>(fallbackAllocated, 0), std::max<qint64>(fallbackLogical, 0)};
    QList<QString> folders {path};
    while (!folders.isEmpty()) {
        const auto entries = fileSystem.childEntries(folders.takeLast());
        if (!entries) continue;
        for (const ChildEntry& entry : *entries) {
            const qint64 logical = std::max<qint64>(entry.values.fileSize.value_or(0), 0);
            size.logical += logical;
            size.allocated += std::max<qint64>(entry.values.fileAllocatedSize.value_or(logical), 0);
            if (entry.values.isDirectory) folders.append(entry.url);
        }
    }
    return size;
}
