#include "Services/VolumeSpaceService.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

// Each answer is about the folder asked for, also the one that waited its turn: a
// missing folder says so rather than reporting the space of some other volume.
TEST(VolumeSpaceService, AnswersAreAboutTheFolderAsked)
{
    TemporaryFolder folder;
    auto executor = std::make_shared<ManualExecutor>();
    VolumeSpaceService service(executor);
    QObject context;
    std::vector<VolumeSpaceService::Result> answers;
    const auto record = [&](VolumeSpaceService::Result result) { answers.push_back(std::move(result)); };
    service.ask(folder / "missing", &context, record);
    executor->runAll();
    service.ask(folder.path(), &context, record);
    service.ask(folder / "gone", &context, record); // waits; the one before it is dropped
    do executor->runAll();
    while (!executor->queue.empty());
    ASSERT_EQ(answers.size(), 2u);
    EXPECT_FALSE(answers[0].has_value());
    EXPECT_FALSE(answers[1].has_value());
    EXPECT_TRUE(answers[1].error().startsWith(folder / "gone: ")) << answers[1].error().toStdString();
    service.ask(folder.path(), &context, record);
    executor->runAll();
    ASSERT_EQ(answers.size(), 3u);
    EXPECT_TRUE(answers[2].has_value());
}
