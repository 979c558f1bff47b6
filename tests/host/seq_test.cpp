#include <gtest/gtest.h>

#include <cstdint>

#include "KO/KO.h"
#include "SEQ/SEQ.h"
#include "host_test_support.h"

namespace {

using hosttest::Books;
using hosttest::FailNth;

struct Pair {
  int32_t a, b;
};

// A list of the values, read through SEQ_GetAddress.
std::vector<int32_t> values(SEQ_List list) {
  std::vector<int32_t> out;
  for (int32_t i = 0; i < SEQ_Count(list); ++i) out.push_back(static_cast<Pair*>(SEQ_GetAddress(list, i))->a);
  return out;
}

SEQ_List make(int32_t initial = 1, int32_t grow = 1) {
  SEQ_List list = nullptr;
  EXPECT_EQ(SEQ_New(2, sizeof(Pair), initial, grow, &list), KO_Err_None);
  return list;
}

void insert(SEQ_List list, int32_t index, int32_t value) {
  const Pair p{value, -value};
  ASSERT_EQ(SEQ_Insert(list, index, &p), KO_Err_None);
}

TEST(SeqLists, NewListIsEmptyAndCounted) {
  const Books before;
  SEQ_List list = make(4, 4);
  ASSERT_NE(list, nullptr);
  EXPECT_EQ(SEQ_Count(list), 0);
  EXPECT_EQ(SEQ_GetAddress(list, 0), nullptr);
  EXPECT_GT(RXHost_LiveBlocks(), before.blocks);
  EXPECT_EQ(SEQ_Dispose(list), KO_Err_None);
  EXPECT_TRUE(before.unchanged());
}

TEST(SeqLists, InsertAtHeadMiddleAndTail) {
  SEQ_List list = make();
  insert(list, 0, 2);  // [2]
  insert(list, 0, 1);  // [1 2]
  insert(list, 2, 4);  // [1 2 4]
  insert(list, 2, 3);  // [1 2 3 4]
  EXPECT_EQ(values(list), (std::vector<int32_t>{1, 2, 3, 4}));
  EXPECT_EQ(static_cast<Pair*>(SEQ_GetAddress(list, 3))->b, -4);
  SEQ_Dispose(list);
}

TEST(SeqLists, InsertOutsideTheListIsRejected) {
  SEQ_List list = make();
  const Pair p{1, 1};
  EXPECT_EQ(SEQ_Insert(list, 1, &p), KO_Err_Internal);
  EXPECT_EQ(SEQ_Insert(list, -1, &p), KO_Err_Internal);
  EXPECT_EQ(SEQ_Insert(list, 0, nullptr), KO_Err_Internal);
  EXPECT_EQ(SEQ_Insert(nullptr, 0, &p), KO_Err_Internal);
  EXPECT_EQ(SEQ_Count(list), 0);
  SEQ_Dispose(list);
}

TEST(SeqLists, GrowsPastItsInitialRoom) {
  const Books before;
  SEQ_List list = make(0, 3);
  for (int32_t i = 0; i < 100; ++i) insert(list, i, i);
  ASSERT_EQ(SEQ_Count(list), 100);
  for (int32_t i = 0; i < 100; ++i) EXPECT_EQ(static_cast<Pair*>(SEQ_GetAddress(list, i))->a, i);
  SEQ_Dispose(list);
  EXPECT_TRUE(before.unchanged());
}

TEST(SeqLists, RemoveRangeClosesTheGap) {
  SEQ_List list = make();
  for (int32_t i = 0; i < 6; ++i) insert(list, i, i);
  EXPECT_EQ(SEQ_RemoveRange(list, 1, 2), KO_Err_None);
  EXPECT_EQ(values(list), (std::vector<int32_t>{0, 3, 4, 5}));
  EXPECT_EQ(SEQ_RemoveRange(list, 3, 1), KO_Err_None);
  EXPECT_EQ(SEQ_RemoveRange(list, 0, 0), KO_Err_None);
  EXPECT_EQ(values(list), (std::vector<int32_t>{0, 3, 4}));
  EXPECT_EQ(SEQ_RemoveRange(list, 2, 2), KO_Err_Internal);
  EXPECT_EQ(SEQ_RemoveRange(list, -1, 1), KO_Err_Internal);
  EXPECT_EQ(SEQ_RemoveRange(list, 0, -1), KO_Err_Internal);
  EXPECT_EQ(SEQ_RemoveRange(list, 0, 3), KO_Err_None);
  EXPECT_EQ(SEQ_Count(list), 0);
  SEQ_Dispose(list);
}

TEST(SeqLists, CompactShrinksTheRoomToTheCount) {
  const Books before;
  SEQ_List list = make(64, 1);
  insert(list, 0, 7);
  const int64_t with_room = RXHost_LiveBytes();
  EXPECT_EQ(SEQ_Compact(list), KO_Err_None);
  EXPECT_EQ(RXHost_LiveBytes(), with_room - 63 * int64_t{sizeof(Pair)});
  EXPECT_EQ(values(list), (std::vector<int32_t>{7}));
  SEQ_Dispose(list);
  EXPECT_TRUE(before.unchanged());
}

TEST(SeqLists, ALockedListKeepsItsElementsInPlace) {
  SEQ_List list = make(2, 1);
  insert(list, 0, 1);
  ASSERT_EQ(SEQ_Lock(list), KO_Err_None);
  void* const first = SEQ_GetAddress(list, 0);
  insert(list, 1, 2);  // still room
  const Pair p{3, 3};
  EXPECT_EQ(SEQ_Insert(list, 2, &p), KO_Err_Internal);  // would have to grow
  EXPECT_EQ(SEQ_Compact(list), KO_Err_Internal);
  EXPECT_EQ(SEQ_GetAddress(list, 0), first);
  ASSERT_EQ(SEQ_Unlock(list), KO_Err_None);
  EXPECT_EQ(SEQ_Insert(list, 2, &p), KO_Err_None);
  EXPECT_EQ(SEQ_Count(list), 3);
  SEQ_Dispose(list);
}

TEST(SeqLists, LocksNest) {
  SEQ_List list = make(1, 1);
  insert(list, 0, 1);
  ASSERT_EQ(SEQ_Lock(list), KO_Err_None);
  ASSERT_EQ(SEQ_Lock(list), KO_Err_None);
  ASSERT_EQ(SEQ_Unlock(list), KO_Err_None);
  const Pair p{2, 2};
  EXPECT_EQ(SEQ_Insert(list, 1, &p), KO_Err_Internal);
  ASSERT_EQ(SEQ_Unlock(list), KO_Err_None);
  EXPECT_EQ(SEQ_Unlock(list), KO_Err_Internal);  // not locked any more
  EXPECT_EQ(SEQ_Insert(list, 1, &p), KO_Err_None);
  SEQ_Dispose(list);
}

TEST(SeqLists, SetCountGrowsWithZeroElementsAndShrinksKeepingTheHead) {
  const Books before;
  SEQ_List list = make(1, 1);
  insert(list, 0, 5);
  ASSERT_EQ(SEQ_SetCount(list, 40), KO_Err_None);
  ASSERT_EQ(SEQ_Count(list), 40);
  EXPECT_EQ(static_cast<Pair*>(SEQ_GetAddress(list, 0))->a, 5);
  for (int32_t i = 1; i < 40; ++i) {
    const Pair* p = static_cast<Pair*>(SEQ_GetAddress(list, i));
    EXPECT_EQ(p->a, 0);
    EXPECT_EQ(p->b, 0);
  }
  static_cast<Pair*>(SEQ_GetAddress(list, 39))->a = 7;
  ASSERT_EQ(SEQ_SetCount(list, 2), KO_Err_None);
  EXPECT_EQ(values(list), (std::vector<int32_t>{5, 0}));
  // Growing again within the room zeroes what was there before.
  ASSERT_EQ(SEQ_SetCount(list, 40), KO_Err_None);
  EXPECT_EQ(static_cast<Pair*>(SEQ_GetAddress(list, 39))->a, 0);
  ASSERT_EQ(SEQ_SetCount(list, 0), KO_Err_None);
  EXPECT_EQ(SEQ_Count(list), 0);
  SEQ_Dispose(list);
  EXPECT_TRUE(before.unchanged());
}

TEST(SeqLists, SetCountRefusesWhatItCannotDo) {
  SEQ_List list = make(2, 1);
  EXPECT_EQ(SEQ_SetCount(nullptr, 1), KO_Err_Internal);
  EXPECT_EQ(SEQ_SetCount(list, -1), KO_Err_Internal);
  ASSERT_EQ(SEQ_Lock(list), KO_Err_None);
  EXPECT_EQ(SEQ_SetCount(list, 2), KO_Err_None);  // within the room
  EXPECT_EQ(SEQ_SetCount(list, 3), KO_Err_Internal);  // would move a locked list
  EXPECT_EQ(SEQ_Count(list), 2);
  ASSERT_EQ(SEQ_Unlock(list), KO_Err_None);
  EXPECT_EQ(SEQ_SetCount(list, 3), KO_Err_None);
  SEQ_Dispose(list);
}

TEST(SeqLists, NullListsAreRejected) {
  EXPECT_EQ(SEQ_Dispose(nullptr), KO_Err_Internal);
  EXPECT_EQ(SEQ_Count(nullptr), 0);
  EXPECT_EQ(SEQ_Lock(nullptr), KO_Err_Internal);
  EXPECT_EQ(SEQ_Unlock(nullptr), KO_Err_Internal);
  EXPECT_EQ(SEQ_GetAddress(nullptr, 0), nullptr);
  EXPECT_EQ(SEQ_RemoveRange(nullptr, 0, 0), KO_Err_Internal);
  EXPECT_EQ(SEQ_Compact(nullptr), KO_Err_Internal);
}

TEST(SeqLists, BadShapesAreRejected) {
  SEQ_List list = nullptr;
  EXPECT_EQ(SEQ_New(0, 0, 1, 1, &list), KO_Err_Internal);
  EXPECT_EQ(SEQ_New(0, 8, -1, 1, &list), KO_Err_Internal);
  EXPECT_EQ(SEQ_New(0, 8, 1, 1, nullptr), KO_Err_Internal);
  EXPECT_EQ(list, nullptr);
}

TEST(SeqLists, AllocationFailureLeavesNothingBehind) {
  const Books before;
  for (int n : {1, 2}) {
    SEQ_List list = nullptr;
    FailNth hook(n);
    EXPECT_EQ(SEQ_New(0, 16, 4, 4, &list), KO_Err_OutOfMemory) << n;
    EXPECT_EQ(list, nullptr);
    EXPECT_TRUE(before.unchanged());
  }
}

}  // namespace
