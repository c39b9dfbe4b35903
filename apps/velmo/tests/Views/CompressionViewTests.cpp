#include "PathKit/FilePaths.h"
#include "State/ImageCompressionSession.h"
#include "TestSupport.h"
#include "Views/ImageCompressionView.h"

#include <QComboBox>
#include <QImage>
#include <QLabel>
#include <QPushButton>
#include <QTreeWidget>

#include <gtest/gtest.h>

// The image tab as a user drives it: what could not be added or compressed is listed
// with its reason, a new format applies to the selected item and is what Save writes.
TEST(CompressionViews, ReasonsAreListedAndANewFormatIsWhatSaveWrites)
{
    TemporaryFolder folder;
    QImage picture(240, 160, QImage::Format_RGB32);
    picture.fill(Qt::darkGreen);
    ASSERT_TRUE(picture.save(folder / "a.png"));
    TestTree::writeFile(folder / "notes.png", "not a picture");
    ImageCompressionSession session({folder / "a.png", folder / "notes.png"}, std::nullopt, {},
                                    {nullptr, nullptr, folder / "cache", folder / "trash"});
    ImageCompressionView view(nullptr, &session);
    view.resize(1000, 600);
    view.show();
    auto* list = view.findChild<QTreeWidget*>(QStringLiteral("tasks"));
    auto* issues = view.findChild<QLabel*>(QStringLiteral("issues"));
    auto* status = view.findChild<QLabel*>(QStringLiteral("status"));
    ASSERT_TRUE(waitUntil([&] { return !session.tasks().empty() && session.tasks()[0].status == CompressionTaskStatus::done; }));
    ASSERT_EQ(list->topLevelItemCount(), 1);
    EXPECT_EQ(issues->text(), QStringLiteral("notes.png: Unsupported file type"));

    list->topLevelItem(0)->setSelected(true);
    auto* format = view.findChild<QComboBox*>(QStringLiteral("format"));
    format->setCurrentIndex(format->findData(rawValue(OutputFormat::png)));
    ASSERT_TRUE(waitUntil([&] {
        const auto& task = session.tasks()[0];
        return task.status == CompressionTaskStatus::done && task.outputFormat == OutputFormat::png;
    }));
    view.findChild<QPushButton*>(QStringLiteral("save"))->click();
    ASSERT_TRUE(waitUntil([&] { return !session.isSaving() && TestTree::exists(folder / "a_compressed.png"); }));
    EXPECT_EQ(QImage(folder / "a_compressed.png").pixelColor(5, 5), QColor(Qt::darkGreen));
    EXPECT_EQ(status->text(), QStringLiteral("Saved 1 image."));
}
