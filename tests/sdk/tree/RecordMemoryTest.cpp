// SPDX-License-Identifier: MIT
#include "tree/RecordMemory.h"

#include "vemomtpsdk/Records.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <random>
#include <set>
#include <thread>

using mtpsdk::recordBytesFrom;

namespace {

bool isRecordBlock(const void* memory) {
    char first = 0;
    return mtpsdk::copyRecord(memory, &first, 1);
}

class RecordMemoryTest : public testing::Test {
protected:
    std::size_t _before = mtpRecordBytesInUse();
    [[nodiscard]] std::size_t used() const { return mtpRecordBytesInUse() - _before; }
};

std::byte* allocate(std::size_t size) {
    return static_cast<std::byte*>(mtpRecordAllocate(size));
}

bool isZero(const std::byte* memory, std::size_t size) {
    return std::all_of(memory, memory + size, [](std::byte byte) { return byte == std::byte{0}; });
}

TEST_F(RecordMemoryTest, handsOutAlignedZeroedBlocksOfEverySize) {
    for (const std::size_t size : {0, 1, 15, 16, 17, 48, 125, 1024, 1025, 4096, 32768, 32769, 65536, 65537, 3000000}) {
        std::byte* block = allocate(size);
        ASSERT_NE(block, nullptr);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % 16, 0U) << size;
        EXPECT_GT(block, mtpRecordMemoryBase());
        EXPECT_TRUE(isZero(block, size)) << size;
        std::fill_n(block, size, std::byte{0xA5});
        mtpRecordFree(block);
        std::byte* again = allocate(size);
        EXPECT_TRUE(isZero(again, size)) << size;
        mtpRecordFree(again);
    }
    EXPECT_EQ(used(), 0U);
    EXPECT_EQ(mtpRecordAllocate(std::size_t{1} << 32U), nullptr);
    EXPECT_EQ(mtpRecordAllocate(~std::size_t{0}), nullptr);
}

TEST_F(RecordMemoryTest, leavesAloneWhatItDidNotHandOut) {
    std::byte* first = allocate(48);
    std::byte* second = allocate(48);
    int onTheStack = 0;
    mtpRecordFree(nullptr);
    mtpRecordFree(&onTheStack);
    mtpRecordFree(second + 16); // inside a block
    mtpRecordFree(mtpRecordMemoryBase());
    mtpRecordFree(mtpRecordMemoryBase() + (std::size_t{1} << 31U));
    EXPECT_EQ(used(), 96U);
    mtpRecordFree(first);
    mtpRecordFree(first);
    EXPECT_EQ(used(), 48U);
    EXPECT_TRUE(isRecordBlock(second));
    EXPECT_FALSE(isRecordBlock(first));
    // A block released twice must not be handed out twice.
    std::byte* third = allocate(48);
    std::byte* fourth = allocate(48);
    EXPECT_NE(third, fourth);
    for (std::byte* block : {second, third, fourth}) {
        mtpRecordFree(block);
    }
}

TEST_F(RecordMemoryTest, knowsHowFarABlockReaches) {
    std::byte* block = allocate(30);
    EXPECT_EQ(recordBytesFrom(block), 30U);
    EXPECT_EQ(recordBytesFrom(block + 29), 1U);
    EXPECT_EQ(recordBytesFrom(block + 30), 0U);
    mtpRecordFree(block);
    EXPECT_EQ(recordBytesFrom(block), 0U);
    EXPECT_EQ(recordBytesFrom(nullptr), 0U);
    EXPECT_EQ(recordBytesFrom(mtpRecordMemoryBase() + 5), 0U);
}

TEST_F(RecordMemoryTest, neverOverlapsBlocksWhateverTheOrder) {
    std::mt19937 random(7);
    std::vector<std::pair<std::byte*, std::size_t>> live;
    std::set<const std::byte*> addresses;
    for (int round = 0; round < 20000; ++round) {
        if (live.empty() || random() % 5 != 0) {
            const std::size_t size = random() % 64 == 0 ? random() % 200000 + 1 : random() % 200 + 1;
            std::byte* block = allocate(size);
            ASSERT_TRUE(isZero(block, size));
            std::fill_n(block, size, static_cast<std::byte>(size % 251 + 1));
            live.emplace_back(block, size);
            ASSERT_TRUE(addresses.insert(block).second);
        } else {
            std::swap(live[random() % live.size()], live.back());
            const auto [block, size] = live.back();
            const auto mark = static_cast<std::byte>(size % 251 + 1);
            ASSERT_TRUE(std::all_of(block, block + size, [&](std::byte byte) { return byte == mark; }));
            mtpRecordFree(block);
            addresses.erase(block);
            live.pop_back();
        }
    }
    for (const auto& [block, size] : live) {
        mtpRecordFree(block);
    }
    EXPECT_EQ(used(), 0U);
}

TEST_F(RecordMemoryTest, servesThreadsAtOnce) {
    std::vector<std::thread> threads;
    for (unsigned seed = 0; seed < 4; ++seed) {
        threads.emplace_back([seed] {
            std::mt19937 random(seed);
            std::vector<RecordPtr<std::uint32_t>> mine;
            for (int round = 0; round < 5000; ++round) {
                RecordPtr<std::uint32_t> block(static_cast<std::uint32_t*>(mtpRecordAllocate(4 + random() % 100)));
                *block.get() = seed;
                mine.push_back(block);
                if (random() % 2 == 0) {
                    ASSERT_EQ(*mine.front().get(), seed);
                    mtpRecordFree(mine.front().get());
                    mine.erase(mine.begin());
                }
            }
            for (const auto& block : mine) {
                ASSERT_EQ(*block.get(), seed);
                mtpRecordFree(block.get());
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(used(), 0U);
}

} // namespace
