#pragma once

#include <FileSizeScanner/ScanTree.h>
#include <FileSizeScanner/StableScanNodeID.h>

// Builds ScanTrees by path, as the scanner would: ids from the path, folder sizes given
// explicitly so tests can also make trees whose parts do not add up.
class SizeMapTestTree {
public:
    explicit SizeMapTestTree(qint64 rootSize, const QString& rootPath = QStringLiteral("/scan"))
    {
        tree.rootID = add(rootPath, std::nullopt, ScanNodeKind::directory, rootSize);
    }

    QUuid file(const QUuid& parent, const QString& name, qint64 size)
    {
        return add(tree.nodesByID[parent].url + u'/' + name, parent, ScanNodeKind::file, size);
    }
    QUuid folder(const QUuid& parent, const QString& name, qint64 size)
    {
        return add(tree.nodesByID[parent].url + u'/' + name, parent, ScanNodeKind::directory, size);
    }

    ScanTree tree;

private:
    QUuid add(const QString& path, std::optional<QUuid> parent, ScanNodeKind kind, qint64 size)
    {
        const QUuid id = StableScanNodeID::forPath(path);
        tree.nodesByID.insert(id, ScanNodeRecord {.id = id,
                                                  .parentID = parent,
                                                  .url = path,
                                                  .displayName = path.section(u'/', -1),
                                                  .kind = kind,
                                                  .allocatedSize = size,
                                                  .logicalSize = size});
        if (parent) {
            tree.childIDsByParentID[*parent].append(id);
            ++tree.nodesByID[*parent].childCount;
        }
        return id;
    }
};
