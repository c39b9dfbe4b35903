#include "FileSizeScanner/ScanUpdateChannel.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

ScanUpdate progress(int items)
{
    return {ProgressSnapshot {.itemsScanned = items}};
}

int itemsOf(const std::optional<ScanUpdate>& update)
{
    return update ? std::get<ProgressSnapshot>(update->value).itemsScanned : -1;
}

} // namespace

TEST(ScanUpdateChannel, ASlowReaderGetsTheNewestEightThenTheEnd)
{
    ScanUpdateChannel channel(8);
    for (int i = 1; i <= 20; ++i) EXPECT_TRUE(channel.send(progress(i)));
    channel.send({ScanUpdate::Cancelled {}});
    channel.finish();
    EXPECT_FALSE(channel.send(progress(99)));
    for (int i = 14; i <= 20; ++i) EXPECT_EQ(itemsOf(channel.receive()), i);
    const auto last = channel.receive();
    ASSERT_TRUE(last);
    EXPECT_TRUE(last->isTerminal());
    EXPECT_EQ(channel.receive(), std::nullopt);
}

TEST(ScanUpdateChannel, ClosingDropsWaitingUpdatesAndRefusesNewOnes)
{
    ScanUpdateChannel channel;
    channel.send(progress(1));
    channel.close();
    EXPECT_TRUE(channel.isClosed());
    EXPECT_FALSE(channel.send(progress(2)));
    EXPECT_EQ(channel.receive(), std::nullopt);
}

TEST(ScanUpdateChannel, ReceiveWaitsForTheProducer)
{
    ScanUpdateChannel channel;
    bool timedOut = false;
    EXPECT_EQ(channel.receive(std::chrono::milliseconds(1), &timedOut), std::nullopt);
    EXPECT_TRUE(timedOut);
    std::jthread producer([&] {
        channel.send(progress(7));
        channel.finish();
    });
    EXPECT_EQ(itemsOf(channel.receive()), 7);
    EXPECT_EQ(channel.receive(std::chrono::seconds(5), &timedOut), std::nullopt);
    EXPECT_FALSE(timedOut);
}
