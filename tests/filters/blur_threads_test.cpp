#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <thread>

#include "RX.h"
#include "blur_reference.h"
#include "blur_test_support.h"
#include "parallel_iterate.h"
#include "rx_test_support.h"

namespace {

using blurtest::BlurParams;
using blurtest::Kind;
using blurtest::ParallelIterate;
using blurtest::Picture;

template <class Px>
class BlurThreads : public rxtest::BornPackage {};
TYPED_TEST_SUITE(BlurThreads, rxtest::AllPixelTypes);

// The destination's bytes after a blur through the iterate in slot 53.
template <class Px>
std::vector<uint8_t> blurred(Kind kind, Picture<Px>& src, const BlurParams& p, int32_t dst_w, int32_t dst_h) {
  Picture<Px> dst(dst_w, dst_h, 2 * int32_t(sizeof(Px)), 4, 0, 1);
  blurtest::run_blur(kind, src, dst, p);
  return dst.storage();
}

TYPED_TEST(BlurThreads, ManyThreadsWriteTheSameBytesAsTheSerialIterate) {
  using Px = TypeParam;
  std::mt19937 rng(515);
  Picture<Px> src(37, 23, int32_t(sizeof(Px)), 8, 2, -1);
  blurtest::fill_random(src, rng, false);

  const int32_t channel_sets[] = {15, RX_BLUR_ALPHA, RX_BLUR_RED | RX_BLUR_BLUE, 15 | RX_BLUR_RENORMALIZE, 0};
  struct Axes {
    uint32_t src_vertical, dst_vertical;
  };
  const Axes axes[] = {{0, 0}, {1, 1}, {0, 1}, {1, 0}};
  for (Kind kind : {Kind::kGaussian, Kind::kBox}) {
    for (const Axes& a : axes) {
      for (int32_t channels : channel_sets) {
        for (int variant = 0; variant < 3; ++variant) {
          BlurParams p;
          p.radius = kind == Kind::kGaussian ? 3.5f : 2.25f;
          p.passes = 3;
          p.channels = channels;
          p.src_vertical = a.src_vertical;
          p.dst_vertical = a.dst_vertical;
          p.src_premultiplied = variant == 1;  // straight sources take the scratch lines
          p.dst_premultiplied = variant != 2;
          p.force_copy = variant == 1;
          const int32_t dst_w = a.dst_vertical ? 23 : 37, dst_h = a.dst_vertical ? 37 : 23;
          const std::vector<uint8_t> serial = blurred(kind, src, p, dst_w, dst_h);
          for (int32_t threads : {1, 2, 3, 8}) {
            ParallelIterate parallel(threads);
            const std::vector<uint8_t> many = blurred(kind, src, p, dst_w, dst_h);
            EXPECT_EQ(blurtest::parallel_record().threads, threads);
            EXPECT_TRUE(many == serial) << (kind == Kind::kGaussian ? "gaussian " : "box ") << threads
                                        << " threads, " << blurtest::describe(p);
          }
        }
      }
    }
  }
}

struct AbortWatch {
  std::thread::id caller;
  std::atomic<int32_t> calls{0};
  std::atomic<int32_t> calls_elsewhere{0};
};

RX_Err abort_at_once(void* refcon) {
  auto* watch = static_cast<AbortWatch*>(refcon);
  ++watch->calls;
  if (std::this_thread::get_id() != watch->caller) ++watch->calls_elsewhere;
  return RX_Result_Interrupted;
}

TYPED_TEST(BlurThreads, AnAbortOnThreadZeroStopsTheOtherThreads) {
  using Px = TypeParam;
  std::mt19937 rng(516);
  Picture<Px> src(40, 64);
  blurtest::fill_random(src, rng, true);
  for (Kind kind : {Kind::kGaussian, Kind::kBox}) {
    Picture<Px> dst(40, 64);
    AbortWatch watch;
    watch.caller = std::this_thread::get_id();
    const RX_ProgressInfo progress{&watch, &abort_at_once, nullptr};
    BlurParams p;
    p.radius = 2.0f;
    p.passes = 2;
    p.src_premultiplied = 1;
    p.dst_premultiplied = 1;
    // Every line is handed out even after a failure, and the others start
    // once thread 0 has finished its first line: they can learn of the
    // abort only from the blur's own error word.
    ParallelIterate parallel(8, {true, true});
    try {
      blurtest::run_blur(kind, src, dst, p, &progress);
      ADD_FAILURE() << "no abort";
    } catch (RX_Err err) {
      EXPECT_EQ(err, RX_Result_Interrupted);
    }
    const blurtest::ParallelRecord& record = blurtest::parallel_record();
    EXPECT_EQ(watch.calls_elsewhere.load(), 0) << "only thread 0 asks the abort callback";
    int32_t others = 0;
    for (size_t i = 0; i < record.thread_of.size(); ++i) {
      if (record.thread_of[i] < 0) continue;
      // Every line ends in the abort's code: thread 0's from the callback,
      // the others' from the error word.
      EXPECT_EQ(record.result_of[i], RX_Result_Interrupted) << "line " << i << " on thread " << record.thread_of[i];
      if (record.thread_of[i] != 0) ++others;
    }
    EXPECT_GT(others, 0) << "the other threads ran no line";
  }
}

}  // namespace
