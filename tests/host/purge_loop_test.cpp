#include <gtest/gtest.h>

#include <cstdint>

#include "KO/KO.h"
#include "host_test_support.h"

namespace {

using hosttest::Books;
using hosttest::FailNth;

struct Allocation {
  void* block = nullptr;
  size_t asked = 0;
  int32_t calls = 0;
  int32_t fail_first = 0;  // calls that fail before one succeeds
};

HOST_Err allocate_block(void* context, size_t bytes) {
  auto* a = static_cast<Allocation*>(context);
  ++a->calls;
  a->asked = bytes;
  if (a->calls <= a->fail_first) return KO_Err_OutOfMemory;
  a->block = KO_AllocatePtrQuiet(bytes);
  return a->block ? KO_Err_None : KO_Err_OutOfMemory;
}

struct Purges {
  int32_t calls = 0;
  int32_t can_free = 0;  // how many purges free something
  size_t wanted = 0;
};

int32_t purge(void* refcon, size_t bytes) {
  auto* p = static_cast<Purges*>(refcon);
  ++p->calls;
  p->wanted = bytes;
  return p->calls <= p->can_free ? 1 : 0;
}

struct PurgeProc {
  explicit PurgeProc(Purges* p) { RXHost_SetPurgeProc(&purge, p); }
  ~PurgeProc() { RXHost_SetPurgeProc(nullptr, nullptr); }
};

TEST(KoPurgeLoop, RunsTheAllocatorOnceWhenItSucceeds) {
  const Books before;
  Allocation a;
  EXPECT_EQ(KO_PurgeLoop(96, &allocate_block, &a, 0), KO_Err_None);
  EXPECT_EQ(a.calls, 1);
  EXPECT_EQ(a.asked, 96u);
  ASSERT_NE(a.block, nullptr);
  EXPECT_EQ(KO_GetPtrSize(a.block), 96u);
  KO_FreePtr(a.block);
  EXPECT_TRUE(before.unchanged());
}

TEST(KoPurgeLoop, WithNothingToPurgeAFailureIsTheResult) {
  Allocation a;
  a.fail_first = 1;
  EXPECT_EQ(KO_PurgeLoop(16, &allocate_block, &a, 0), KO_Err_OutOfMemory);
  EXPECT_EQ(a.calls, 1);
  EXPECT_EQ(a.block, nullptr);
}

TEST(KoPurgeLoop, RetriesWhilePurgingFreesSomething) {
  Purges purges;
  purges.can_free = 5;
  PurgeProc proc(&purges);
  Allocation a;
  a.fail_first = 2;
  EXPECT_EQ(KO_PurgeLoop(40, &allocate_block, &a, 0), KO_Err_None);
  EXPECT_EQ(a.calls, 3);
  EXPECT_EQ(purges.calls, 2);
  EXPECT_EQ(purges.wanted, 40u);
  KO_FreePtr(a.block);
}

TEST(KoPurgeLoop, StopsWhenPurgingFreesNothingMore) {
  Purges purges;
  purges.can_free = 1;
  PurgeProc proc(&purges);
  Allocation a;
  a.fail_first = 10;
  EXPECT_EQ(KO_PurgeLoop(40, &allocate_block, &a, 0), KO_Err_OutOfMemory);
  EXPECT_EQ(a.calls, 2);
  EXPECT_EQ(purges.calls, 2);
}

TEST(KoPurgeLoop, AnotherErrorOfTheAllocatorIsNotRetried) {
  Purges purges;
  purges.can_free = 5;
  PurgeProc proc(&purges);
  EXPECT_EQ(KO_PurgeLoop(8, [](void*, size_t) -> HOST_Err { return KO_Err_Internal; }, nullptr, 0),
            KO_Err_Internal);
  EXPECT_EQ(purges.calls, 0);
}

TEST(KoPurgeLoop, NullAllocatorIsABadArgument) {
  EXPECT_EQ(KO_PurgeLoop(8, nullptr, nullptr, 0), KO_Err_Internal);
}

TEST(KoPurgeLoop, TheFailHookReachesAnAllocatorThatTakesKoMemory) {
  const Books before;
  FailNth hook(1);
  Allocation a;
  EXPECT_EQ(KO_PurgeLoop(8, &allocate_block, &a, 0), KO_Err_OutOfMemory);
  EXPECT_EQ(a.calls, 1);
  EXPECT_TRUE(before.unchanged());
}

}  // namespace
