// The bridge's progress, cache and stream factory interfaces.
#include <gtest/gtest.h>

#include <string>

#include "TIN/TIN.h"
#include "host_test_support.h"

namespace {

template <class Proc>
Proc method(const char* interface_name, const char* stem, const char* short_name) {
  NEX_LookupProc lookup = nullptr;
  EXPECT_EQ(TIN_GetNEXAddressProc(&lookup), 0);
  const std::string registered = std::string("NEX") + stem + short_name + "Proc";
  return reinterpret_cast<Proc>(lookup(interface_name, short_name, registered.c_str()));
}

HOST_Err count_updates(void* refcon, int32_t done, int32_t total) {
  auto* seen = static_cast<std::vector<std::pair<int32_t, int32_t>>*>(refcon);
  seen->emplace_back(done, total);
  return done == 13 ? 517 : 0;
}

TEST(NexProgress, ClientProgressPassesUpdatesOnAndNullProgressSwallowsThem) {
  const hosttest::Books before;
  auto null_progress = method<NEXProgressNewNullProgressProc>("NEXProgressInterface", "Progress", "NewNullProgress");
  auto client = method<NEXProgressNewClientProgressProc>("NEXProgressInterface", "Progress", "NewClientProgress");
  auto update = method<NEXProgressUpdateProc>("NEXProgressInterface", "Progress", "Update");
  auto add_ref = method<NEXProgressAddRefProc>("NEXProgressInterface", "Progress", "AddRef");
  auto release = method<NEXProgressReleaseProc>("NEXProgressInterface", "Progress", "Release");
  ASSERT_TRUE(null_progress && client && update && add_ref && release);
  std::vector<std::pair<int32_t, int32_t>> seen;
  NEX_Ref p = client(&seen, &count_updates);
  NEX_Ref n = null_progress();
  EXPECT_EQ(update(p, 3, 10), 0);
  EXPECT_EQ(update(p, 13, 20), 517);
  EXPECT_EQ(update(n, 5, 5), 0);
  EXPECT_EQ(update(nullptr, 5, 5), 3);
  EXPECT_EQ(seen, (std::vector<std::pair<int32_t, int32_t>>{{3, 10}, {13, 20}}));
  EXPECT_EQ(client(&seen, nullptr), nullptr);
  add_ref(p);
  release(p);
  release(p);
  release(n);
  EXPECT_TRUE(before.unchanged());
  {
    hosttest::ReportCapture quiet;
    hosttest::FailNth fail(1);
    EXPECT_EQ(null_progress(), nullptr);
  }
}

TEST(NexCache, IdentifiersCompareByTheirKeys) {
  const hosttest::Books before;
  auto make = method<NEXCacheNewIDProc>("NEXCacheInterface", "Cache", "NewID");
  auto equal = method<NEXCacheEqualProc>("NEXCacheInterface", "Cache", "Equal");
  auto release = method<NEXCacheReleaseProc>("NEXCacheInterface", "Cache", "Release");
  ASSERT_TRUE(make && equal && release);
  NEX_Ref a = make("frame 12", 8), b = make("frame 12", 8), c = make("frame 13", 8);
  EXPECT_EQ(equal(a, b), 1);
  EXPECT_EQ(equal(a, c), 0);
  EXPECT_EQ(make("", 0), nullptr);
  EXPECT_EQ(make(nullptr, 4), nullptr);
  release(a);
  release(b);
  release(c);
  EXPECT_TRUE(before.unchanged());
}

TEST(NexStream, MemoryStreamsReadAndSign) {
  const hosttest::Books before;
  auto make = method<NEXStreamFactoryNewMemoryStreamProc>("NEXStreamFactoryInterface", "StreamFactory", "NewMemoryStream");
  auto size = method<NEXStreamFactorySizeProc>("NEXStreamFactoryInterface", "StreamFactory", "Size");
  auto read = method<NEXStreamFactoryReadProc>("NEXStreamFactoryInterface", "StreamFactory", "Read");
  auto signature = method<NEXStreamFactorySignatureProc>("NEXStreamFactoryInterface", "StreamFactory", "Signature");
  auto release = method<NEXStreamFactoryReleaseProc>("NEXStreamFactoryInterface", "StreamFactory", "Release");
  ASSERT_TRUE(make && size && read && signature && release);
  NEX_Ref s = make("acspRGB data", 12);
  EXPECT_EQ(size(s), 12);
  uint32_t sig = 0;
  EXPECT_EQ(signature(s, &sig), 0);
  EXPECT_EQ(sig, 0x61637370u);  // "acsp"
  char buffer[8] = {};
  EXPECT_EQ(read(s, 4, buffer, 3), 3);
  EXPECT_EQ(std::string(buffer), "RGB");
  EXPECT_EQ(read(s, 10, buffer, 8), 2);
  EXPECT_EQ(read(s, 20, buffer, 8), 0);
  NEX_Ref short_stream = make("abc", 3);
  EXPECT_EQ(signature(short_stream, &sig), 3);
  release(s);
  release(short_stream);
  EXPECT_TRUE(before.unchanged());
}

}  // namespace
