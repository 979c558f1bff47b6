// The processor forms of the 8-bit rows against their plain bodies: Over
// and the matte modes without tables (SSSE3 and AVX2) and Copy (SSE2), on
// lines of every length up to 40 at every start offset of source and
// destination, and Over on every pair of alphas. The two forms come from
// the variant registry by name. Outside the line neither form may touch a
// byte.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "rx_test_support.h"
#include "variant_forms.h"

namespace {

constexpr int kMaxWidth = 40;
constexpr int kSlack = 8;  // pixels around a line that no row may touch

class BlendRowsVector : public rxtest::BornPackage {
 protected:
  void SetUp() override {
    RXHost_ResetCpuWords();
    BornPackage::SetUp();
    if (!__builtin_cpu_supports("ssse3")) GTEST_SKIP() << "no SSSE3 on this processor";
  }
  void TearDown() override {
    RXHost_ResetCpuWords();
    BornPackage::TearDown();
  }
};

std::string show(const RX_Pixel8& p) {
  std::ostringstream out;
  out << "(" << +p.alpha << ", " << +p.red << ", " << +p.green << ", " << +p.blue << ")";
  return out.str();
}

// The processor form of Over divides by the union alpha through a
// reciprocal and may land one step from the divide table; alpha and every
// other case are the scalar body's. Copy has no such licence.
int colour_steps_allowed(int32_t mode) { return mode == RX_Xfer_Over ? 1 : 0; }

bool same_within(const RX_Pixel8& a, const RX_Pixel8& b, int steps) {
  return a.alpha == b.alpha && std::abs(a.red - b.red) <= steps && std::abs(a.green - b.green) <= steps &&
         std::abs(a.blue - b.blue) <= steps;
}

// Pixels from a 16-byte boundary on, with room for an offset and slack.
class AlignedLine {
 public:
  explicit AlignedLine(size_t pixels) : storage_(pixels + 4) {
    const auto address = reinterpret_cast<uintptr_t>(storage_.data());
    base_ = storage_.data() + ((16 - address % 16) % 16) / sizeof(RX_Pixel8);
    size_ = pixels;
  }
  RX_Pixel8* base() { return base_; }
  size_t size() const { return size_; }
  void fill(const std::vector<RX_Pixel8>& pixels) { std::memcpy(base_, pixels.data(), size_ * sizeof(RX_Pixel8)); }

 private:
  std::vector<RX_Pixel8> storage_;
  RX_Pixel8* base_;
  size_t size_;
};

uint8_t any_byte(std::mt19937& rng) { return uint8_t(rng() & 255); }

// Alphas in groups of four of one kind, so that the vector loops meet
// wholly transparent, wholly opaque and mixed groups at every alignment.
constexpr uint8_t kEdgeAlphas[5] = {0, 255, 1, 254, 128};

std::vector<RX_Pixel8> grouped_pixels(std::mt19937& rng, size_t count) {
  std::vector<RX_Pixel8> out;
  while (out.size() < count) {
    const unsigned kind = rng() % 5;
    for (int k = 0; k < 4 && out.size() < count; ++k) {
      uint8_t alpha;
      switch (kind) {
        case 0: alpha = 0; break;
        case 1: alpha = 255; break;
        case 2: alpha = kEdgeAlphas[rng() % 5]; break;
        default: alpha = any_byte(rng); break;
      }
      out.push_back({alpha, any_byte(rng), any_byte(rng), any_byte(rng)});
    }
  }
  return out;
}

RX_InnerBlendingFunc<RX_Pixel8> row_of(int32_t mode, bool has_mask) {
  RX_InnerBlendingFunc<RX_Pixel8> f = nullptr;
  const RX_Err err = has_mask ? RX_GetInnerBlendingFunc<RX_Pixel8, true, false>(mode, &f)
                              : RX_GetInnerBlendingFunc<RX_Pixel8, false, false>(mode, &f);
  EXPECT_EQ(err, RX_Result_OK);
  return f;
}

// Which processor form runs against the plain body: the SSSE3 one, or the
// widest (AVX2 for Over and the matte modes; Copy has only SSE2).
enum class VectorForm { Ssse3, Widest };

const char* short_name(int32_t mode) {
  switch (mode) {
    case RX_Xfer_Copy: return "copy";
    case RX_Xfer_Over: return "over";
    case RX_Xfer_Add: return "add";
    case RX_Xfer_Multiply: return "multiply";
    case RX_Xfer_Screen: return "screen";
    case RX_Xfer_Overlay: return "overlay";
    case RX_Xfer_HardLight: return "hardlight";
    case RX_Xfer_Darken: return "darken";
    case RX_Xfer_Lighten: return "lighten";
    case RX_Xfer_Difference: return "difference";
    case RX_Xfer_Exclusion: return "exclusion";
    default: return "none";
  }
}

// The registry's name of a row form: "blend_rows8.over.mask.avx2".
std::string row_name(int32_t mode, bool has_mask, VectorForm form) {
  std::string name = std::string("blend_rows8.") + short_name(mode) + (has_mask ? ".mask" : "");
  if (form == VectorForm::Widest && mode != RX_Xfer_Copy) name += ".avx2";
  return name;
}

struct RowForms {
  RX_InnerBlendingFunc<RX_Pixel8> plain, vector;
};

RowForms row_forms(int32_t mode, bool has_mask, VectorForm form) {
  const std::string name = row_name(mode, has_mask, form);
  return {rxtest::form<RX_InnerBlendingFunc<RX_Pixel8>>(name, false),
          rxtest::form<RX_InnerBlendingFunc<RX_Pixel8>>(name, true)};
}

// Every length 0..40, every start offset 0..3 of src and of dst, opacity
// full, partial and 0, without a mask, with one, and in the mask form
// given none: the processor form and the plain body leave the same bytes
// in the whole dst buffer.
void check_vector_against_scalar(int32_t mode, VectorForm vector_form) {
  const RowForms plain_mask = row_forms(mode, false, vector_form), with_mask = row_forms(mode, true, vector_form);
  ASSERT_NE(plain_mask.vector, nullptr);
  ASSERT_NE(with_mask.vector, nullptr);
  std::mt19937 rng(uint32_t(5000 + mode));
  const size_t room = kMaxWidth + 2 * kSlack;
  AlignedLine src(room), mask(room), vector_dst(room), scalar_dst(room);
  int differing_runs = 0;
  for (int32_t width = 0; width <= kMaxWidth; ++width) {
    for (int src_offset = 0; src_offset < 4; ++src_offset) {
      const std::vector<RX_Pixel8> src_pixels = grouped_pixels(rng, room);
      const std::vector<RX_Pixel8> mask_pixels = grouped_pixels(rng, room);
      const std::vector<RX_Pixel8> dst_pixels = grouped_pixels(rng, room);
      src.fill(src_pixels);
      mask.fill(mask_pixels);
      for (int dst_offset = 0; dst_offset < 4; ++dst_offset) {
        for (uint8_t opacity : {uint8_t(255), uint8_t(157), uint8_t(0)}) {
          for (int form = 0; form < 3; ++form) {  // no mask; mask; mask form, no mask
            const RowForms& rows = form != 0 ? with_mask : plain_mask;
            RX_BlendingMode<RX_Pixel8> bm;
            bm.blend_mode = mode;
            bm.opacity = opacity;
            const RX_Pixel8* s = src.base() + kSlack + src_offset;
            const RX_Pixel8* m = form == 1 ? mask.base() + kSlack + (src_offset + 1) % 4 : nullptr;
            vector_dst.fill(dst_pixels);
            scalar_dst.fill(dst_pixels);
            EXPECT_EQ(rows.vector(width, &bm, nullptr, s, m, vector_dst.base() + kSlack + dst_offset), 0);
            EXPECT_EQ(rows.plain(width, &bm, nullptr, s, m, scalar_dst.base() + kSlack + dst_offset), 0);
            if (std::memcmp(vector_dst.base(), scalar_dst.base(), room * sizeof(RX_Pixel8)) == 0) continue;
            bool within = true;
            for (size_t i = 0; i < room; ++i) {
              const int at = int(i) - kSlack - dst_offset;
              const int steps = at >= 0 && at < width ? colour_steps_allowed(mode) : 0;
              within = within && same_within(vector_dst.base()[i], scalar_dst.base()[i], steps);
            }
            if (within) continue;
            if (++differing_runs > 5) continue;
            for (size_t i = 0; i < room; ++i) {
              const int at = int(i) - kSlack - dst_offset;
              const int steps = at >= 0 && at < width ? colour_steps_allowed(mode) : 0;
              if (same_within(vector_dst.base()[i], scalar_dst.base()[i], steps)) continue;
              std::ostringstream what;
              what << RX_TransferModeName(mode) << " width " << width << ", src offset " << src_offset
                   << ", dst offset " << dst_offset << ", opacity " << +opacity << ", form " << form << ": pixel "
                   << at << " ";
              if (at >= 0 && at < width) {
                what << "src " << show(s[at]) << (m ? " mask " + std::to_string(+m[at].alpha) : std::string())
                     << " dst " << show(dst_pixels[i]);
              } else {
                what << "(outside the line) dst " << show(dst_pixels[i]);
              }
              what << " -> vector " << show(vector_dst.base()[i]) << ", scalar " << show(scalar_dst.base()[i]);
              ADD_FAILURE() << what.str();
              break;
            }
          }
        }
      }
    }
  }
  EXPECT_EQ(differing_runs, 0) << RX_TransferModeName(mode) << ": runs where the two forms differ";
}

TEST_F(BlendRowsVector, OverLoopsStayWithinOneStepOfTheScalarBodyAtEveryLengthAndAlignment) {
  check_vector_against_scalar(RX_Xfer_Over, VectorForm::Ssse3);
}

TEST_F(BlendRowsVector, WideOverLoopsStayWithinOneStepOfTheScalarBodyAtEveryLengthAndAlignment) {
  if (!__builtin_cpu_supports("avx2")) GTEST_SKIP() << "no AVX2 on this processor";
  check_vector_against_scalar(RX_Xfer_Over, VectorForm::Widest);
}

// The same pixels give the same result wherever the line lies in memory:
// the vector Over's head and tail go through its own arithmetic.
TEST_F(BlendRowsVector, OverGivesTheSameLineAtEveryPlaceInMemory) {
  std::mt19937 rng(77);
  constexpr int32_t kWidth = 45;
  const std::vector<RX_Pixel8> src_pixels = grouped_pixels(rng, kWidth), dst_pixels = grouped_pixels(rng, kWidth);
  const auto row = row_of(RX_Xfer_Over, false);
  RX_BlendingMode<RX_Pixel8> bm;
  bm.blend_mode = RX_Xfer_Over;
  bm.opacity = 180;
  std::vector<RX_Pixel8> first;
  for (int offset = 0; offset < 8; ++offset) {
    AlignedLine src(kWidth + 8), dst(kWidth + 8);
    std::vector<RX_Pixel8> s(kWidth + 8), d(kWidth + 8);
    std::copy(src_pixels.begin(), src_pixels.end(), s.begin() + offset);
    std::copy(dst_pixels.begin(), dst_pixels.end(), d.begin() + offset);
    src.fill(s);
    dst.fill(d);
    ASSERT_EQ(row(kWidth, &bm, nullptr, src.base() + offset, nullptr, dst.base() + offset), 0);
    const std::vector<RX_Pixel8> result(dst.base() + offset, dst.base() + offset + kWidth);
    if (offset == 0) first = result;
    EXPECT_EQ(0, std::memcmp(result.data(), first.data(), sizeof(RX_Pixel8) * kWidth)) << "offset " << offset;
  }
}

// The matte modes without tables have vector rows equal to the scalar
// body, at both widths.
constexpr int32_t kVectorMatteModes[] = {RX_Xfer_Add,       RX_Xfer_Multiply, RX_Xfer_Screen,
                                         RX_Xfer_Overlay,   RX_Xfer_HardLight, RX_Xfer_Darken,
                                         RX_Xfer_Lighten,   RX_Xfer_Difference, RX_Xfer_Exclusion};

TEST_F(BlendRowsVector, MatteRowsEqualTheScalarBodyAtEveryLengthAndAlignment) {
  for (int32_t mode : kVectorMatteModes) check_vector_against_scalar(mode, VectorForm::Ssse3);
}

TEST_F(BlendRowsVector, WideMatteRowsEqualTheScalarBodyAtEveryLengthAndAlignment) {
  if (!__builtin_cpu_supports("avx2")) GTEST_SKIP() << "no AVX2 on this processor";
  for (int32_t mode : kVectorMatteModes) check_vector_against_scalar(mode, VectorForm::Widest);
}

TEST_F(BlendRowsVector, CopyLoopEqualsTheScalarBodyAtEveryLengthAndAlignment) {
  check_vector_against_scalar(RX_Xfer_Copy, VectorForm::Widest);
}

// Over on every pair (source weight, destination alpha), with colours
// that sweep the channel range: the reciprocal division stays within one
// step of the divide table. How many pixels are off by that step is
// recorded as the property "pixels_one_step_off".
void check_every_pair_of_alphas(VectorForm vector_form) {
  const size_t count = 65536;
  AlignedLine src(count), mask(count), vector_dst(count), scalar_dst(count);
  int differing = 0, one_step_off = 0;
  for (int pass = 0; pass < 6; ++pass) {
    std::vector<RX_Pixel8> s(count), m(count), d(count);
    for (size_t i = 0; i < count; ++i) {
      const uint8_t sa = uint8_t(i & 255), da = uint8_t(i >> 8);
      auto colour = [&](int k) {
        if (pass == 0) return uint8_t(k & 1 ? 255 : 0);
        return uint8_t((i * (37 + 2 * k) + size_t(pass) * 91 + size_t(k) * 53) & 255);
      };
      s[i] = {sa, colour(0), colour(1), colour(2)};
      d[i] = {da, colour(3), colour(4), colour(5)};
      m[i] = {uint8_t((i * 7 + size_t(pass)) & 255), 1, 2, 3};
    }
    src.fill(s);
    mask.fill(m);
    const bool with_mask = pass >= 4;
    const uint8_t opacity = pass % 2 ? 200 : 255;
    const RowForms rows = row_forms(RX_Xfer_Over, with_mask, vector_form);
    ASSERT_NE(rows.vector, nullptr);
    RX_BlendingMode<RX_Pixel8> bm;
    bm.blend_mode = RX_Xfer_Over;
    bm.opacity = opacity;
    vector_dst.fill(d);
    scalar_dst.fill(d);
    ASSERT_EQ(rows.vector(int32_t(count), &bm, nullptr, src.base(), with_mask ? mask.base() : nullptr,
                          vector_dst.base()),
              0);
    ASSERT_EQ(rows.plain(int32_t(count), &bm, nullptr, src.base(), with_mask ? mask.base() : nullptr,
                         scalar_dst.base()),
              0);
    for (size_t i = 0; i < count; ++i) {
      if (std::memcmp(&vector_dst.base()[i], &scalar_dst.base()[i], sizeof(RX_Pixel8)) == 0) continue;
      if (same_within(vector_dst.base()[i], scalar_dst.base()[i], 1)) {
        ++one_step_off;
        continue;
      }
      if (++differing <= 8) {
        ADD_FAILURE() << "opacity " << +opacity << (with_mask ? " mask " + std::to_string(+m[i].alpha) : "")
                      << ": src " << show(s[i]) << " dst " << show(d[i]) << " -> vector "
                      << show(vector_dst.base()[i]) << ", scalar " << show(scalar_dst.base()[i]);
      }
    }
  }
  EXPECT_EQ(differing, 0) << "pixels where the vector Over is more than one step from the scalar one";
  ::testing::Test::RecordProperty(vector_form == VectorForm::Ssse3 ? "pixels_one_step_off" : "wide_pixels_one_step_off",
                                  one_step_off);
}

TEST_F(BlendRowsVector, OverLoopsStayWithinOneStepOfTheScalarBodyForEveryPairOfAlphas) {
  check_every_pair_of_alphas(VectorForm::Ssse3);
}

TEST_F(BlendRowsVector, WideOverLoopsStayWithinOneStepOfTheScalarBodyForEveryPairOfAlphas) {
  if (!__builtin_cpu_supports("avx2")) GTEST_SKIP() << "no AVX2 on this processor";
  check_every_pair_of_alphas(VectorForm::Widest);
}

}  // namespace
