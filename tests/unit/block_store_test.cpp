#include "dns_proxy_mac/state/block_store.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr std::size_t kBlockSize = 8304;

std::string ContentOf(const void* block) {
  return std::string(static_cast<const char*>(block), kBlockSize);
}

const std::string kZeroes(kBlockSize, '\0');

// Both kinds, whatever the program is built with.
class BlockStoreOf : public ::testing::TestWithParam<BlockStore::Origin> {
 protected:
  BlockStore store_{kBlockSize, GetParam()};
};

INSTANTIATE_TEST_SUITE_P(Origins, BlockStoreOf,
                         ::testing::Values(BlockStore::Origin::kPages, BlockStore::Origin::kHeap));

}  // namespace

TEST_P(BlockStoreOf, BlockIsZeroed) {
  void* block = store_.Take();
  EXPECT_EQ(ContentOf(block), kZeroes);
  store_.GiveBack(block);
}

TEST_P(BlockStoreOf, BlockThatComesBackIsZeroedForTheNextObject) {
  void* first = store_.Take();
  std::memset(first, 0xFF, kBlockSize);
  store_.GiveBack(first);
  void* second = store_.Take();
  EXPECT_EQ(ContentOf(second), kZeroes);
  store_.GiveBack(second);
}

TEST_P(BlockStoreOf, BlocksAreApartFromEachOther) {
  std::vector<void*> blocks;
  for (int number = 0; number < 200; ++number) {
    blocks.push_back(store_.Take());
    std::memset(blocks.back(), number, kBlockSize);
  }
  for (int number = 0; number < 200; ++number) {
    EXPECT_EQ(ContentOf(blocks[static_cast<std::size_t>(number)]),
              std::string(kBlockSize, static_cast<char>(number)));
  }
  for (void* block : blocks) store_.GiveBack(block);
}

TEST_P(BlockStoreOf, NullIsNoBlock) {
  store_.GiveBack(nullptr);
  void* block = store_.Take();
  EXPECT_NE(block, nullptr);
  store_.GiveBack(block);
}

TEST_P(BlockStoreOf, BlockThatTheSystemDoesNotHaveIsBadAlloc) {
  BlockStore huge(std::numeric_limits<std::ptrdiff_t>::max(), GetParam());
  EXPECT_THROW(huge.Take(), std::bad_alloc);
}

TEST_P(BlockStoreOf, OneThreadGivesBackWhatAnotherHasTaken) {
  void* taken = nullptr;
  std::thread taker([&] {
    taken = store_.Take();
    std::memset(taken, 1, kBlockSize);
  });
  taker.join();
  std::thread giver([&] { store_.GiveBack(taken); });
  void* own = store_.Take();
  giver.join();
  void* next = store_.Take();
  EXPECT_EQ(ContentOf(own), kZeroes);
  EXPECT_EQ(ContentOf(next), kZeroes);
  EXPECT_NE(own, next);
  store_.GiveBack(own);
  store_.GiveBack(next);
}

TEST(BlockStoreOfPages, BlockThatComesBackIsTheNextOneGivenOut) {
  BlockStore store(kBlockSize, BlockStore::Origin::kPages);
  void* kept = store.Take();
  void* first = store.Take();
  store.GiveBack(first);
  EXPECT_EQ(store.Take(), first);
  EXPECT_NE(store.Take(), first);
  EXPECT_NE(kept, first);
}

TEST(BlockStoreOfPages, EveryBlockThatComesBackIsGivenOutAgain) {
  BlockStore store(kBlockSize, BlockStore::Origin::kPages);
  const std::set<void*> first = {store.Take(), store.Take(), store.Take()};
  for (void* block : first) store.GiveBack(block);
  const std::set<void*> second = {store.Take(), store.Take(), store.Take()};
  EXPECT_EQ(first, second);
}

TEST(BlockStoreOfPages, BlockLargerThanThePagesTakenAtATimeHasPagesOfItsOwn) {
  constexpr std::size_t kSize = std::size_t{1} << 20;
  BlockStore store(kSize, BlockStore::Origin::kPages);
  void* first = store.Take();
  std::memset(first, 0xFF, kSize);
  void* second = store.Take();
  EXPECT_EQ(std::string(static_cast<char*>(second), kSize), std::string(kSize, '\0'));
}
