// The generic iterate: a caller's function run a number of times, in order
// on the calling thread by default, through slot 53.
#include <thread>
#include <tuple>

#include "iterate_helpers.h"

namespace {

using rxtest::ReportCapture;

using GenericEntry = RX_Err (*)(int32_t, void*, RX_GenericIterFunc);

struct GenericLog {
  struct Call {
    void* refcon;
    int32_t thread_index, i, count;
    std::thread::id thread;
  };
  std::vector<Call> calls;
  std::vector<RX_Err> returns;  // by call index; 0 past the end

  static RX_Err func(void* refcon, int32_t thread_index, int32_t i, int32_t count) {
    auto* self = static_cast<GenericLog*>(refcon);
    const size_t index = self->calls.size();
    self->calls.push_back({refcon, thread_index, i, count, std::this_thread::get_id()});
    return index < self->returns.size() ? self->returns[index] : RX_Result_OK;
  }
};

class IterateGeneric : public rxtest::BornPackage {};

TEST_F(IterateGeneric, IterationsRunInOrderOnTheCallingThreadWithThreadIndexZero) {
  for (GenericEntry entry : {GenericEntry{RX_IterateGeneric}, GenericEntry{RX_IterateGeneric_Static}}) {
    GenericLog log;
    EXPECT_EQ(entry(6, &log, &GenericLog::func), RX_Result_OK);
    ASSERT_EQ(log.calls.size(), 6u);
    for (int32_t i = 0; i < 6; ++i) {
      EXPECT_EQ(log.calls[i].refcon, &log);
      EXPECT_EQ(log.calls[i].thread_index, 0);
      EXPECT_EQ(log.calls[i].i, i);
      EXPECT_EQ(log.calls[i].count, 6);
      EXPECT_EQ(log.calls[i].thread, std::this_thread::get_id());
    }
  }
}

TEST_F(IterateGeneric, CountOfMinusOneCallsOnceAsTheOnlyIterationAndReturnsItsResult) {
  for (GenericEntry entry : {GenericEntry{RX_IterateGeneric}, GenericEntry{RX_IterateGeneric_Static}}) {
    for (RX_Err code : {RX_Err{0}, RX_Err{9}}) {
      GenericLog log;
      log.returns = {code};
      EXPECT_EQ(entry(-1, &log, &GenericLog::func), code);
      ASSERT_EQ(log.calls.size(), 1u);
      EXPECT_EQ(log.calls[0].thread_index, 0);
      EXPECT_EQ(log.calls[0].i, 0);
      EXPECT_EQ(log.calls[0].count, 1);
      EXPECT_EQ(log.calls[0].refcon, &log);
    }
  }
}

TEST_F(IterateGeneric, CountsBelowOneOtherThanMinusOneMakeNoCall) {
  for (GenericEntry entry : {GenericEntry{RX_IterateGeneric}, GenericEntry{RX_IterateGeneric_Static}}) {
    for (int32_t count : {0, -2, -100, INT32_MIN}) {
      GenericLog log;
      log.returns = {7};
      EXPECT_EQ(entry(count, &log, &GenericLog::func), RX_Result_OK) << count;
      EXPECT_TRUE(log.calls.empty()) << count;
    }
  }
}

TEST_F(IterateGeneric, FirstNonZeroResultStopsAndIsReturned) {
  for (GenericEntry entry : {GenericEntry{RX_IterateGeneric}, GenericEntry{RX_IterateGeneric_Static}}) {
    GenericLog log;
    log.returns = {0, 0, 0, 13, 0, 14};
    EXPECT_EQ(entry(8, &log, &GenericLog::func), 13);
    ASSERT_EQ(log.calls.size(), 4u);
    EXPECT_EQ(log.calls.back().i, 3);
  }
}

TEST_F(IterateGeneric, NonZeroResultOfTheLastIterationIsReturned) {
  GenericLog log;
  log.returns = {0, 0, RX_Result_Interrupted};
  EXPECT_EQ(RX_IterateGeneric(3, &log, &GenericLog::func), RX_Result_Interrupted);
  EXPECT_EQ(log.calls.size(), 3u);
}

TEST_F(IterateGeneric, NullFunctionIsRefusedWithLocation70) {
  for (GenericEntry entry : {GenericEntry{RX_IterateGeneric}, GenericEntry{RX_IterateGeneric_Static}}) {
    for (int32_t count : {5, 1, 0, -1}) {
      ReportCapture capture;
      EXPECT_EQ(entry(count, nullptr, nullptr), RX_Result_Internal) << count;
      itest::expect_bad_parameter(capture, itest::kBadParameterGeneric);
    }
  }
}

// ---- slot 53 ----

int g_generic_override_calls = 0;
std::tuple<int32_t, void*, RX_GenericIterFunc> g_generic_override_args;

RX_Err replacement_generic(int32_t count, void* refcon, RX_GenericIterFunc func) {
  ++g_generic_override_calls;
  g_generic_override_args = {count, refcon, func};
  return 246;
}

TEST_F(IterateGeneric, ExportedEntryReachesTheFunctionInSlot53) {
  g_generic_override_calls = 0;
  ASSERT_EQ(RX_SetOverrideFunc(RX_Slot_IterateGeneric,
                               reinterpret_cast<RX_OverFunc>(&replacement_generic)),
            RX_Result_OK);
  GenericLog log;
  EXPECT_EQ(RX_IterateGeneric(4, &log, &GenericLog::func), 246);
  EXPECT_EQ(g_generic_override_calls, 1);
  EXPECT_EQ(std::get<0>(g_generic_override_args), 4);
  EXPECT_EQ(std::get<1>(g_generic_override_args), &log);
  EXPECT_EQ(std::get<2>(g_generic_override_args), &GenericLog::func);
  EXPECT_TRUE(log.calls.empty());
  // The default entry is not affected by the slot.
  EXPECT_EQ(RX_IterateGeneric_Static(2, &log, &GenericLog::func), RX_Result_OK);
  EXPECT_EQ(log.calls.size(), 2u);

  ASSERT_EQ(RX_SetOverrideFunc(RX_Slot_IterateGeneric,
                               reinterpret_cast<RX_OverFunc>(&RX_IterateGeneric_Static)),
            RX_Result_OK);
  EXPECT_EQ(RX_IterateGeneric(3, &log, &GenericLog::func), RX_Result_OK);
  EXPECT_EQ(log.calls.size(), 5u);
  EXPECT_EQ(g_generic_override_calls, 1);
}

TEST(IterateGenericRebirth, BirthRestoresTheDefaultInSlot53) {
  ASSERT_EQ(RX_Birth(), RX_Result_OK);
  ASSERT_EQ(RX_SetOverrideFunc(RX_Slot_IterateGeneric,
                               reinterpret_cast<RX_OverFunc>(&replacement_generic)),
            RX_Result_OK);
  ASSERT_EQ(RX_Death(), RX_Result_OK);
  ASSERT_EQ(RX_Birth(), RX_Result_OK);
  g_generic_override_calls = 0;
  GenericLog log;
  EXPECT_EQ(RX_IterateGeneric(3, &log, &GenericLog::func), RX_Result_OK);
  EXPECT_EQ(log.calls.size(), 3u);
  EXPECT_EQ(g_generic_override_calls, 0);
  EXPECT_EQ(RX_Death(), RX_Result_OK);
}

}  // namespace
