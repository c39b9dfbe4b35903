#include "Models/VelmoViewOptions.h"
#include "State/FavoriteStore.h"
#include "State/FolderViewStateStore.h"
#include "State/VelmoStore.h"
#include "Support/InMemoryDefaultsStore.h"
#include "TestSupport.h"

#include <QDirIterator>

#include <gtest/gtest.h>

// Damaged documents kept from the generator (bench/velmo-fuzz-documents): each
// decodes or is refused without a crash, and a store started from any of them
// comes up with its fallback.
TEST(StoredDocumentCorpus, DamagedDocumentsLoadWithoutACrash)
{
    TemporaryFolder home;
    int replayed = 0;
    QDirIterator files(QStringLiteral(QT_TESTCASE_SOURCEDIR "/State/corpus"), QDir::Files, QDirIterator::Subdirectories);
    while (files.hasNext()) {
        const QString path = files.next();
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::ReadOnly)) << path.toStdString();
        const QByteArray bytes = file.readAll();
        const QString kind = QFileInfo(path).dir().dirName();
        auto defaults = std::make_shared<InMemoryDefaultsStore>();
        if (kind == u"session") defaults->setData(VelmoSessionStore::key, bytes);
        else if (kind == u"favorites") defaults->setData("velmo.favorites", bytes);
        else if (kind == u"folderViewStates") defaults->setData("velmo.folderViewStates", bytes);
        else defaults->setData("velmo.viewOptions", bytes);
        (void)VelmoSessionState::decode(bytes);
        (void)FavoriteStore::decode(bytes);
        (void)FolderViewStateStore::decode(bytes);
        (void)VelmoViewOptions::decode(bytes);
        VelmoStoreDependencies d;
        d.defaults = defaults;
        d.listingServiceFactory = [](PaneID) { return std::make_shared<FakeListingService>(); };
        d.directoryWatcherFactory = [](PaneID) { return std::make_shared<FakeDirectoryWatcher>(); };
        d.defaultFolderURL = home.path();
        d.restoresSession = true;
        VelmoStore store(std::move(d));
        EXPECT_GE(store.tabs().size(), 1u) << path.toStdString();
        ++replayed;
    }
    EXPECT_GT(replayed, 40);
}
