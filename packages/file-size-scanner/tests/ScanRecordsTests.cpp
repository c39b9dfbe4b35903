#include "FileSizeScanner/NodeSizingService.h"
#include "FileSizeScanner/ScanTree.h"
#include "FileSizeScanner/StableScanNodeID.h"

#include <PathKit/FilePaths.h>

#include <gtest/gtest.h>

TEST(StableScanNodeID, BytesAreFixed)
{
    // Computed independently from the definition: two FNV-1a passes over the bytes, mixed
    // with the length, big-endian, version and variant bits stamped.
    EXPECT_EQ(StableScanNodeID::forPath(u"/"), QUuid(QStringLiteral("af63a24c-8601-59ff-97bd-445e7ce79fd7")));
    EXPECT_EQ(StableScanNodeID::forPath(u"/tmp/a"), QUuid(QStringLiteral("6cc13bdd-f274-5ce1-b18f-03e31e67453f")));
    EXPECT_EQ(StableScanNodeID::forPath(u"/Users/me/Documents"),
              QUuid(QStringLiteral("0af24e6d-0598-57d3-9bea-e26c9dfd32d7")));
    EXPECT_EQ(StableScanNodeID::forPath(u"/tmp/caf\u00e9"), QUuid(QStringLiteral("699584ed-3154-5e28-b4c3-e4d06fcb49cc")));
    // A name that is not UTF-8 hashes its original bytes.
    EXPECT_EQ(StableScanNodeID::forPath(FilePaths::fromNative(QByteArray("/tmp/\xff"))),
              QUuid(QStringLiteral("6cc0a1dd-f273-573f-93d0-85fd192c27dd")));
    EXPECT_EQ(StableScanNodeID::forPath(u""), StableScanNodeID::forPath(u"/"));
}

TEST(NodeSizingService, PrefersTotalsThenFileValuesAndNeverGoesNegative)
{
    struct Case {
        NodeResourceValues values;
        NodeSize expected;
    };
    const NodeSizingService sizing;
    const Case cases[] = {
        {{}, {0, 0}},
        {{.totalFileSize = 100}, {100, 100}},
        {{.fileAllocatedSize = 4096, .fileSize = 10}, {4096, 10}},
        {{.totalFileAllocatedSize = 8192, .fileAllocatedSize = 4096, .totalFileSize = 20, .fileSize = 10}, {8192, 20}},
        {{.fileSize = -5}, {0, 0}},
        {{.fileAllocatedSize = -1, .fileSize = 7}, {0, 7}},
    };
    for (const Case& c : cases) EXPECT_EQ(sizing.resolveSize(c.values), c.expected);
}

namespace {

ScanNodeRecord record(const QString& path, std::optional<QUuid> parent)
{
    ScanNodeRecord node;
    node.id = StableScanNodeID::forPath(path);
    node.parentID = parent;
    node.url = path;
    node.displayName = FilePaths::lastComponent(path);
    return node;
}

} // namespace

TEST(ScanTree, QueriesFollowTheMapsAndSurviveBrokenData)
{
    ScanTree tree;
    const auto root = record("/r", std::nullopt);
    const auto a = record("/r/a", root.id);
    const auto b = record("/r/a/b", a.id);
    const QUuid ghost = StableScanNodeID::forPath(u"/r/ghost");
    tree.rootID = root.id;
    for (const auto& node : {root, a, b}) tree.nodesByID.insert(node.id, node);
    tree.childIDsByParentID.insert(root.id, {a.id, ghost});
    tree.childIDsByParentID.insert(a.id, {b.id});

    EXPECT_EQ(tree.rootNode(), root);
    EXPECT_EQ(tree.node(std::nullopt), std::nullopt);
    EXPECT_EQ(tree.node(ghost), std::nullopt);
    EXPECT_EQ(tree.children(root.id), QList<ScanNodeRecord> {a}); // the ghost is skipped
    EXPECT_TRUE(tree.children(b.id).isEmpty());
    EXPECT_TRUE(tree.children(ghost).isEmpty());
    EXPECT_EQ(tree.pathTo(b.id), (QList<ScanNodeRecord> {root, a, b}));
    EXPECT_EQ(tree.pathTo(root.id), QList<ScanNodeRecord> {root});
    EXPECT_TRUE(tree.pathTo(ghost).isEmpty());

    // A cycle in the parents ends the walk instead of looping.
    ScanTree cyclic = tree;
    cyclic.nodesByID[root.id].parentID = b.id;
    EXPECT_EQ(cyclic.pathTo(b.id).size(), 3);
    // A parent without a record ends the chain there.
    ScanTree orphan = tree;
    orphan.nodesByID.remove(a.id);
    EXPECT_EQ(orphan.pathTo(b.id), QList<ScanNodeRecord> {b});
}
