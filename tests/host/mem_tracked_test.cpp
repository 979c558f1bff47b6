#include <gtest/gtest.h>

#include <new>

#include "KO/KO.h"
#include "host_test_support.h"

namespace {

using hosttest::Books;
using hosttest::FailNth;
using hosttest::ReportCapture;

struct Tracked : KO_MemTrackedObject {
  char payload[100];
};

TEST(KoMemTrackedObject, ObjectsAreOnTheBooksWhileAlive) {
  const Books before;
  auto* object = new Tracked;
  EXPECT_EQ(RXHost_LiveBlocks(), before.blocks + 1);
  EXPECT_EQ(RXHost_LiveBytes(), before.bytes + int64_t{sizeof(Tracked)});
  EXPECT_EQ(KO_GetPtrSize(object), sizeof(Tracked));
  delete object;
  EXPECT_TRUE(before.unchanged());
}

TEST(KoMemTrackedObject, ThrowingFormThrowsBadAllocQuietly) {
  ReportCapture capture;
  const Books before;
  FailNth hook(1);
  EXPECT_THROW(new Tracked, std::bad_alloc);
  EXPECT_TRUE(before.unchanged());
  EXPECT_EQ(capture.size(), 0u);
}

TEST(KoMemTrackedObject, NothrowFormGivesNull) {
  const Books before;
  {
    FailNth hook(1);
    EXPECT_EQ(new (std::nothrow) Tracked, nullptr);
  }
  auto* object = new (std::nothrow) Tracked;
  ASSERT_NE(object, nullptr);
  delete object;
  EXPECT_TRUE(before.unchanged());
}

}  // namespace
