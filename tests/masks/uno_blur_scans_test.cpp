// The uno blur scans against references written from their rules: the
// repeated fractional box (8 bits in integers, 16 bits in f32), the simple
// box with its stale scratch past the line's end, the kernel path over the
// cached weights; the choice of path, the kernel cache's reuse and rebuild,
// the forwarders through their slots, and the failures.
#include <algorithm>
#include <cmath>

#include "masks/uno_kernel_cache.h"
#include "uno_test_support.h"

namespace {

using namespace unotest;

constexpr double kFixed = 1.52587890625e-5;

template <class V>
using Scan = RX_Err (*)(int32_t, int32_t, int32_t, int32_t, int32_t, V*, V*);

// ---- references ----

// One pass of the repeated box, each column's sums taken afresh from the
// padded copy: full taps from the first m2 values and those the lead has
// reached, less those the trail has passed; a partial tap on each side
// unless it sits on the copy's first position or at or past its end.
template <class V>
void reference_repeated_box(int passes, int width, int left, int right, double r, double rel,
                            double margin_factor, std::vector<V>& line) {
  const int m = int(r * margin_factor);
  int L = left - (m + 3);
  if (L < 1) L = 0;
  const int R = std::min(right + 3 + m, width);
  const int n = std::max(int(rel + 1.0), 1);
  const double fraction = rel - std::trunc(rel);
  const int m2 = std::min(n - 1, R);
  const int end = R - 1 - L;
  for (int pass = 0; pass < passes; ++pass) {
    std::vector<int64_t> copy;
    for (int column = L; column <= R + n - 1; ++column) copy.push_back(line[size_t(std::min(column, R - 1))]);
    std::vector<V> out(line);
    for (int i = L; i < R; ++i) {
      const int j = i - L;
      int64_t s = 0;
      for (int k = 0; k < m2; ++k) s += copy[size_t(k)];
      for (int k = m2; k <= std::min(m2 + j, end); ++k) s += copy[size_t(k)];
      for (int k = 0; k <= j - n; ++k) s -= copy[size_t(k)];
      int64_t edge = 0;
      const bool left_tap = j - n > 0, right_tap = m2 + j + 1 < end;
      if (left_tap) edge += copy[size_t(j - n)];
      if (right_tap) edge += copy[size_t(m2 + j + 1)];
      if constexpr (sizeof(V) == 1) {
        const int64_t frac = int64_t(fraction * 255.0);
        const int64_t divisor = (left_tap ? frac : 0) + (right_tap ? frac : 0) - 255 + 510 * int64_t(n);
        out[size_t(i)] = V((s * 255 + 128 + edge * frac) / divisor);
      } else {
        const float frac = float(fraction * 32768.0);
        const float num = float(s) * 32768.0f + 16384.0f + float(edge) * frac;
        const float den = (left_tap ? frac : 0.0f) + float(n * 65536 - 32768) + (right_tap ? frac : 0.0f);
        out[size_t(i)] = V(int32_t(num / den));
      }
    }
    line = out;
  }
}

// The simple box: the copy starts 2h before left; columns before 0 read
// the first value, columns from width - 1 on keep what the scratch held.
template <class V>
void reference_simple_box(int width, int left, int right, int radius, const std::vector<V>& scratch_before,
                          std::vector<V>& line) {
  const int h = ((radius >> 1) + 0x8000) >> 16;
  const int taps = 2 * h + 1;
  std::vector<int64_t> copy;
  for (int column = left - 2 * h, k = 0; column <= right + 2 * h - 1; ++column, ++k) {
    if (column < 0) copy.push_back(line[0]);
    else if (column < width - 1) copy.push_back(line[size_t(column)]);
    else copy.push_back(scratch_before[size_t(k)]);
  }
  std::vector<V> out(line);
  for (int c = std::max(left - h, 0); c < std::min(right + h, width); ++c) {
    int64_t sum = 0;
    for (int t = 0; t < taps; ++t) sum += copy[size_t(c - left + h + t)];
    out[size_t(c)] = V(sum / taps);
  }
  line = out;
}

// The kernel: column c takes the weights over columns c - K/2 .. c + K/2,
// clamped to the line, rounded to nearest.
template <class V>
void reference_kernel(int width, int left, int right, const std::vector<int32_t>& weights, std::vector<V>& line) {
  const int size = int(weights.size());
  const int half = (size - 1) / 2;
  int64_t total = 0;
  for (int32_t w : weights) total += w;
  std::vector<V> out(line);
  for (int c = std::max(left - half, 0); c < std::min(right + half, width); ++c) {
    int64_t acc = 0;
    for (int j = 0; j < size; ++j) acc += int64_t(line[size_t(std::clamp(c - half + j, 0, width - 1))]) * weights[size_t(j)];
    out[size_t(c)] = V((acc + total / 2) / total);
  }
  line = out;
}

std::vector<int32_t> cached_weights() {
  const auto& cache = rx::uno::kernel_cache();
  if (!cache.weights) return {};
  const auto* w = static_cast<const int32_t*>(*cache.weights);
  return std::vector<int32_t>(w, w + cache.count);
}

template <class V>
std::vector<V> random_line(std::mt19937& rng, int width) {
  std::vector<V> line(static_cast<size_t>(width));
  const int top = sizeof(V) == 1 ? 255 : 32768;
  // Smooth stretches, steps and noise, so that sums see every kind of run.
  int value = int(rng() % unsigned(top + 1));
  for (auto& v : line) {
    const int p = int(rng() % 10);
    if (p == 0) value = int(rng() % unsigned(top + 1));
    else if (p < 4) value = std::clamp(value + int(rng() % 41) - 20, 0, top);
    v = V(value);
  }
  return line;
}

struct Range {
  int width, left, right, radius;
};

Range random_range(std::mt19937& rng, int max_radius_px) {
  Range g;
  g.width = 1 + int(rng() % 160);
  g.left = int(rng() % unsigned(g.width));
  g.right = g.left + 1 + int(rng() % unsigned(g.width - g.left));
  if (rng() % 5 == 0) {
    g.left = 0;
    g.right = g.width;
  }
  g.radius = 1 + int(rng() % unsigned(max_radius_px * 65536));
  return g;
}

// Scratch big enough for every path, filled with a pattern that the stale
// reads of the simple box pick up.
template <class V>
std::vector<V> scratch_for(const Range& g) {
  const int r = int(std::ceil(g.radius * kFixed));
  std::vector<V> scratch(size_t(g.width + 4 * r + 8));
  for (size_t i = 0; i < scratch.size(); ++i) scratch[i] = V(i * 37 % 200 + 11);
  return scratch;
}

template <class V>
Scan<V> box_scan() {
  if constexpr (sizeof(V) == 1) return RX_BoxBlurUnoScan;
  else return RX_BoxBlurDeepUnoScan;
}
template <class V>
Scan<V> g_scan() {
  if constexpr (sizeof(V) == 1) return RX_GBlurUnoScan;
  else return RX_GBlurDeepUnoScan;
}

template <class V>
double margin_factor_of(int kind) {
  if (kind == 0) return 0.6;
  return sizeof(V) == 1 ? 0.9 : 1.0;
}

// Runs the Box scan on random lines and ranges and compares with the path
// its kind and radius select.
template <class V>
void check_box_scan(unsigned seed) {
  std::mt19937 rng(seed);
  int repeated = 0, kernel = 0, simple = 0;
  for (int trial = 0; trial < 500; ++trial) {
    const int kind = int(rng() % 3);  // 0, 1, and 2 for "other"
    const Range g = random_range(rng, trial % 2 ? 30 : 4);
    std::vector<V> line = random_line<V>(rng, g.width);
    std::vector<V> scratch = scratch_for<V>(g);
    std::vector<V> expected = line;
    const std::vector<V> scratch_before = scratch;
    const double r = g.radius * kFixed;
    const double rel = (kind == 0 ? 1.4 : 1.0) * r / 2.71;
    ASSERT_EQ(box_scan<V>()(kind, g.width, g.left, g.right, g.radius, scratch.data(), line.data()), RX_Result_OK);
    if (rel > 1.0) {
      reference_repeated_box(kind == 0 ? 1 : 3, g.width, g.left, g.right, r, rel, margin_factor_of<V>(kind), expected);
      ++repeated;
    } else if (kind == 1) {
      ASSERT_EQ(rx::uno::kernel_cache().radius, g.radius);
      reference_kernel(g.width, g.left, g.right, cached_weights(), expected);
      ++kernel;
    } else {
      reference_simple_box(g.width, g.left, g.right, g.radius, scratch_before, expected);
      ++simple;
    }
    ASSERT_EQ(line, expected) << "trial " << trial << " kind " << kind << " radius " << g.radius << " range "
                              << g.left << ".." << g.right << " of " << g.width;
  }
  EXPECT_GT(repeated, 50);
  EXPECT_GT(kernel, 30);
  EXPECT_GT(simple, 50);
}

template <class V>
void check_g_scan(unsigned seed) {
  std::mt19937 rng(seed);
  for (int trial = 0; trial < 400; ++trial) {
    const int kind = int(rng() % 3);
    const Range g = random_range(rng, trial % 2 ? 25 : 3);
    std::vector<V> line = random_line<V>(rng, g.width);
    std::vector<V> scratch = scratch_for<V>(g);
    std::vector<V> expected = line;
    const std::vector<V> scratch_before = scratch;
    ASSERT_EQ(g_scan<V>()(kind, g.width, g.left, g.right, g.radius, scratch.data(), line.data()), RX_Result_OK);
    if (kind == 1) {
      reference_kernel(g.width, g.left, g.right, cached_weights(), expected);
    } else {
      reference_simple_box(g.width, g.left, g.right, g.radius, scratch_before, expected);
    }
    ASSERT_EQ(line, expected) << "trial " << trial << " kind " << kind << " radius " << g.radius;
  }
}

TEST_F(MaskTest, BoxScanOfEightBitsFollowsItsPaths) { check_box_scan<uint8_t>(401); }
TEST_F(MaskTest, BoxScanOfSixteenBitsFollowsItsPaths) { check_box_scan<uint16_t>(402); }
TEST_F(MaskTest, GScanOfEightBitsFollowsItsPaths) { check_g_scan<uint8_t>(403); }
TEST_F(MaskTest, GScanOfSixteenBitsFollowsItsPaths) { check_g_scan<uint16_t>(404); }

// Wide kernels at 16 bits sum in 64 bits, the others in 32: both agree
// with the reference.
TEST_F(MaskTest, WideKernelsMatchTheReferenceAtBothDepths) {
  std::mt19937 rng(405);
  for (int32_t radius_px : {1, 7, 70, 130}) {
    const int width = 400;
    std::vector<uint16_t> deep = random_line<uint16_t>(rng, width), deep_expected = deep;
    std::vector<uint8_t> line = random_line<uint8_t>(rng, width), expected = line;
    std::vector<uint16_t> deep_scratch(size_t(width + 4 * radius_px + 8));
    std::vector<uint8_t> scratch(size_t(width + 4 * radius_px + 8));
    ASSERT_EQ(RX_GBlurDeepUnoScan(1, width, 30, 350, radius_px * 65536, deep_scratch.data(), deep.data()), 0);
    reference_kernel(width, 30, 350, cached_weights(), deep_expected);
    EXPECT_EQ(deep, deep_expected) << radius_px;
    ASSERT_EQ(RX_GBlurUnoScan(1, width, 30, 350, radius_px * 65536, scratch.data(), line.data()), 0);
    reference_kernel(width, 30, 350, cached_weights(), expected);
    EXPECT_EQ(line, expected) << radius_px;
  }
}

// ---- the kernel ----

TEST_F(MaskTest, KernelComesFromTheGaussianKernelOfTheRadius) {
  std::vector<uint8_t> line(40, 100), scratch(80);
  const int32_t radius = 5 * 65536 + 20000;
  ASSERT_EQ(RX_GBlurUnoScan(1, 40, 0, 40, radius, scratch.data(), line.data()), RX_Result_OK);
  std::vector<int32_t> expected(13);
  uint32_t size = 0;
  ASSERT_EQ(RX_GaussianKernel(nullptr, radius * kFixed, 3, 1.0, &size, expected.data()), RX_Result_OK);
  ASSERT_EQ(size, 13u);
  EXPECT_EQ(cached_weights(), expected);
  // A flat line stays flat under a normalised kernel.
  for (uint8_t v : line) EXPECT_EQ(v, 100);
}

TEST_F(MaskTest, SameRadiusReusesTheKernelAndAnotherRebuildsIt) {
  std::vector<uint16_t> line(30, 1000), scratch(80);
  ASSERT_EQ(RX_GBlurDeepUnoScan(1, 30, 0, 30, 3 * 65536, scratch.data(), line.data()), RX_Result_OK);
  const KO_Handle first = rx::uno::kernel_cache().weights;
  ASSERT_NE(first, nullptr);
  // The same radius allocates nothing: a failing next allocation is not met.
  RXHost_FailNthAllocation(1);
  EXPECT_EQ(RX_GBlurUnoScan(1, 30, 0, 30, 3 * 65536, reinterpret_cast<uint8_t*>(scratch.data()),
                            reinterpret_cast<uint8_t*>(line.data())),
            RX_Result_OK);
  EXPECT_EQ(rx::uno::kernel_cache().weights, first);
  RXHost_FailNthAllocation(0);
  ASSERT_EQ(RX_GBlurDeepUnoScan(1, 30, 0, 30, 4 * 65536, scratch.data(), line.data()), RX_Result_OK);
  EXPECT_EQ(rx::uno::kernel_cache().radius, 4 * 65536);
  EXPECT_EQ(rx::uno::kernel_cache().count, 9);
}

TEST_F(MaskTest, BoxScanOfKindOneWithALargeRadiusMakesNoKernel) {
  rx::uno::release_kernel_cache();
  std::vector<uint8_t> line(100, 50), scratch(200);
  const int32_t radius = 3 * 65536;  // rel = 3 / 2.71 > 1
  ASSERT_EQ(RX_BoxBlurUnoScan(1, 100, 10, 90, radius, scratch.data(), line.data()), RX_Result_OK);
  EXPECT_EQ(rx::uno::kernel_cache().weights, nullptr);
  EXPECT_EQ(rx::uno::kernel_cache().radius, 0);
}

TEST_F(MaskTest, KernelThatCannotBeHadLeavesTheLineAndAnEmptyCache) {
  std::vector<uint8_t> line(20), scratch(60);
  for (size_t i = 0; i < line.size(); ++i) line[i] = uint8_t(i * 11);
  const auto before = line;
  const int64_t bytes = RXHost_LiveBytes(), blocks = RXHost_LiveBlocks();
  rx::uno::release_kernel_cache();
  const int64_t empty_bytes = RXHost_LiveBytes(), empty_blocks = RXHost_LiveBlocks();
  RXHost_FailNthAllocation(1);
  EXPECT_EQ(RX_GBlurUnoScan(1, 20, 0, 20, 2 * 65536, scratch.data(), line.data()), RX_Result_OutOfMemory);
  RXHost_FailNthAllocation(0);
  EXPECT_EQ(line, before);
  EXPECT_EQ(rx::uno::kernel_cache().weights, nullptr);
  EXPECT_EQ(rx::uno::kernel_cache().radius, 0);
  EXPECT_EQ(RXHost_LiveBytes(), empty_bytes);
  EXPECT_EQ(RXHost_LiveBlocks(), empty_blocks);
  EXPECT_LE(RXHost_LiveBlocks(), blocks);
  (void)bytes;
  bool named = false;
  for (const auto& r : reports.errors()) {
    if (r.text.find("gaussian weight array") != std::string::npos) named = true;
  }
  EXPECT_TRUE(named);
}

// ---- returns at once ----

TEST_F(MaskTest, RadiusBelowOneReturnsAtOnce) {
  for (int32_t radius : {0, -1, -65536}) {
    for (int kind : {0, 1, 2}) {
      std::vector<uint8_t> line = {1, 50, 200, 7, 90}, scratch(40, 3);
      std::vector<uint16_t> deep = {1, 5000, 32768, 7, 90}, deep_scratch(40, 3);
      EXPECT_EQ(RX_BoxBlurUnoScan(kind, 5, 0, 5, radius, scratch.data(), line.data()), RX_Result_OK);
      EXPECT_EQ(RX_GBlurUnoScan(kind, 5, 0, 5, radius, scratch.data(), line.data()), RX_Result_OK);
      EXPECT_EQ(RX_BoxBlurDeepUnoScan(kind, 5, 0, 5, radius, deep_scratch.data(), deep.data()), RX_Result_OK);
      EXPECT_EQ(RX_GBlurDeepUnoScan(kind, 5, 0, 5, radius, deep_scratch.data(), deep.data()), RX_Result_OK);
      EXPECT_EQ(line, (std::vector<uint8_t>{1, 50, 200, 7, 90}));
      EXPECT_EQ(deep, (std::vector<uint16_t>{1, 5000, 32768, 7, 90}));
      EXPECT_EQ(scratch, std::vector<uint8_t>(40, 3));
    }
  }
}

TEST_F(MaskTest, RangePastTheLineWritesNothing) {
  for (int kind : {0, 1, 2}) {
    for (int32_t radius : {65536, 3 * 65536, 20 * 65536}) {
      std::vector<uint8_t> line = {9, 90, 200, 7, 60, 61}, scratch(200, 5);
      const auto before = line;
      EXPECT_EQ(RX_BoxBlurUnoScan(kind, 6, 6, 9, radius, scratch.data(), line.data()), RX_Result_OK);
      EXPECT_EQ(RX_GBlurUnoScan(kind, 6, 8, 12, radius, scratch.data(), line.data()), RX_Result_OK);
      EXPECT_EQ(RX_BoxBlurUnoScan(kind, 6, 3, 3, radius, scratch.data(), line.data()), RX_Result_OK);
      EXPECT_EQ(RX_GBlurUnoScan(kind, 6, -5, -1, radius, scratch.data(), line.data()), RX_Result_OK);
      EXPECT_EQ(line, before) << kind << " " << radius;
    }
  }
}

// ---- slots ----

int g_slot_calls[118];
template <int Slot, class V>
RX_Err counting_scan(int32_t, int32_t, int32_t, int32_t, int32_t, V*, V*) {
  ++g_slot_calls[Slot];
  return Slot;
}

TEST_F(MaskTest, ScansGoThroughTheirSlots) {
  std::fill(std::begin(g_slot_calls), std::end(g_slot_calls), 0);
  EXPECT_EQ(RXp_G_OverFuncs[54], reinterpret_cast<RX_OverFunc>(&RX_BoxBlurUnoScan_S));
  EXPECT_EQ(RXp_G_OverFuncs[88], reinterpret_cast<RX_OverFunc>(&RX_GBlurUnoScan_S));
  EXPECT_EQ(RXp_G_OverFuncs[82], reinterpret_cast<RX_OverFunc>(&RX_GBlurUnoScan_S));
  EXPECT_EQ(RXp_G_OverFuncs[92], reinterpret_cast<RX_OverFunc>(&RX_BoxBlurDeepUnoScan_S));
  EXPECT_EQ(RXp_G_OverFuncs[89], reinterpret_cast<RX_OverFunc>(&RX_GBlurDeepUnoScan_S));
  RX_SetOverrideFunc(54, reinterpret_cast<RX_OverFunc>(&counting_scan<54, uint8_t>));
  RX_SetOverrideFunc(88, reinterpret_cast<RX_OverFunc>(&counting_scan<88, uint8_t>));
  RX_SetOverrideFunc(92, reinterpret_cast<RX_OverFunc>(&counting_scan<92, uint16_t>));
  RX_SetOverrideFunc(89, reinterpret_cast<RX_OverFunc>(&counting_scan<89, uint16_t>));
  uint8_t b = 0;
  uint16_t w = 0;
  EXPECT_EQ(RX_BoxBlurUnoScan(0, 1, 0, 1, 1, &b, &b), 54);
  EXPECT_EQ(RX_GBlurUnoScan(0, 1, 0, 1, 1, &b, &b), 88);
  EXPECT_EQ(RX_BoxBlurDeepUnoScan(0, 1, 0, 1, 1, &w, &w), 92);
  EXPECT_EQ(RX_GBlurDeepUnoScan(0, 1, 0, 1, 1, &w, &w), 89);
  EXPECT_EQ(g_slot_calls[54] + g_slot_calls[88] + g_slot_calls[92] + g_slot_calls[89], 4);
}

// ---- the callback route ----

TEST_F(MaskTest, CallbackAddressOfTheGaussianKernel) {
  RX_CallbackFunc f = nullptr;
  EXPECT_EQ(RX_GetCallbackAddr(nullptr, 1, 1, 11, &f), RX_Result_OK);
  EXPECT_EQ(f, reinterpret_cast<RX_CallbackFunc>(&RX_GaussianKernel));
  EXPECT_EQ(RX_GetCallbackAddr(nullptr, 0, 0, 11, &f), RX_Result_OK);
  EXPECT_EQ(f, reinterpret_cast<RX_CallbackFunc>(&RX_GaussianKernel));
}

TEST_F(MaskTest, InvalidCallbackSelectorsStoreNullAndFail) {
  for (int32_t selector : {38, 0, -7, -10, -14}) {
    RX_CallbackFunc f = reinterpret_cast<RX_CallbackFunc>(&RX_GaussianKernel);
    reports.clear();
    EXPECT_EQ(RX_GetCallbackAddr(nullptr, 1, 1, selector, &f), 515) << selector;
    EXPECT_EQ(f, nullptr);
    ASSERT_EQ(reports.errors().size(), 1u);
    EXPECT_EQ(reports.errors()[0].text, "invalid callback selector");
    EXPECT_EQ(reports.errors()[0].location, 0x250001);
    EXPECT_EQ(reports.errors()[0].report_class, 8);
  }
}

TEST_F(MaskTest, CallbackAddressWithANullOutIsABadParameter) {
  EXPECT_EQ(RX_GetCallbackAddr(nullptr, 1, 1, 11, nullptr), RX_Result_Internal);
  ASSERT_EQ(reports.errors().size(), 1u);
  EXPECT_EQ(reports.errors()[0].text, "bad parameter passed to effect callback");
  EXPECT_EQ(reports.errors()[0].location, 0x250001);
}

}  // namespace

namespace {

// A package's life with the kernel cache in use gives every block back.
TEST(MaskKernelCache, DeathGivesTheKernelBack) {
  const int64_t bytes = RXHost_LiveBytes(), blocks = RXHost_LiveBlocks();
  ASSERT_EQ(RX_Birth(), RX_Result_OK);
  std::vector<uint8_t> line(64, 9), scratch(128);
  ASSERT_EQ(RX_GBlurUnoScan(1, 64, 0, 64, 7 * 65536, scratch.data(), line.data()), RX_Result_OK);
  EXPECT_NE(rx::uno::kernel_cache().weights, nullptr);
  ASSERT_EQ(RX_Death(), RX_Result_OK);
  EXPECT_EQ(rx::uno::kernel_cache().weights, nullptr);
  EXPECT_EQ(RXHost_LiveBytes(), bytes);
  EXPECT_EQ(RXHost_LiveBlocks(), blocks);
}

}  // namespace
