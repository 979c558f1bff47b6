// Premultiplying and unmultiplying worlds against a matte colour
// (RX_PremulColor, RX_PremulColor16, RX_PremulColorFloat and their Rect
// forms) at every depth, forward and reverse, against the row rules written
// out plainly; the conversion of the colour to the world's depth; a null
// colour as black; in place and between worlds; rectangles, cut to the
// world's width; the refusals of worlds of different or unknown depth.
#include <cmath>
#include <cstring>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

#include "painted_worlds.h"
#include "reference_arith.h"
#include "rx_test_support.h"

namespace {

namespace ref = rxtest::ref;

using rxtest::ReportCapture;
using rxtest::TestWorld;

using rxtest::kPaddingByte;
constexpr int32_t kGeneralLocation = 0x2503E7;

// ---- the row rules, written plainly ----

using rxtest::ref::m255;
using rxtest::ref::divide;

// 8 bits. Forward: m + m255((c - m) * a) on 32-bit wrap-around arithmetic,
// low byte kept; nothing when a is 255.
uint8_t forward8(uint32_t c, uint32_t m, uint32_t a) {
  if (a == 255) return uint8_t(c);
  const uint32_t x = (c - m) * a;  // wraps around when c < m
  return uint8_t(m + m255(x));
}
// Reverse: nothing for a of 0 or 255; else take away m * (255 - a), not
// below 0, and divide by a through the table.
uint8_t reverse8(uint32_t c, uint32_t m, uint32_t a) {
  if (a == 0 || a == 255) return uint8_t(c);
  const uint32_t k = m255(m * (255 - a));
  const uint32_t v = c > k ? c - k : 0;
  return uint8_t(divide(a, v));
}

// 16 bits. Forward: m + ((c - m) * a + 16383) >> 15, the difference signed
// and the shift arithmetic (a floor).
uint16_t forward16(int32_t c, int32_t m, int32_t a) {
  const int32_t p = (c - m) * a + 16383;
  const int32_t q = p >= 0 ? p / 32768 : -((-p + 32767) / 32768);  // floor(p / 32768)
  return uint16_t(m + q);
}
// Reverse: nothing for a of 0 or 32768; else m + (c - m) * 32768 / a
// rounded half up, i.e. floor(((c - m) * 65536 + a) / (2a)), clamped to
// 0..32768.
uint16_t reverse16(int32_t c, int32_t m, int32_t a) {
  if (a == 0 || a == 32768) return uint16_t(c);
  const int64_t num = int64_t(c - m) * 65536 + a;
  const int64_t den = int64_t(2) * a;
  const int64_t q = num >= 0 ? num / den : -((-num + den - 1) / den);  // floor
  int64_t v = m + q;
  if (v < 0) v = 0;
  if (v > 32768) v = 32768;
  return uint16_t(v);
}

// Float. Forward: nothing when a is exactly 1; else m + (c - m) * a.
float forwardf(float c, float m, float a) { return a == 1.0f ? c : m + (c - m) * a; }
// Reverse: nothing when a is 0; else m + (c - m) / a.
float reversef(float c, float m, float a) { return a == 0.0f ? c : m + (c - m) / a; }

template <class Px>
Px expected(const Px& p, const Px& m, bool forward) {
  if constexpr (sizeof(Px) == 4) {
    auto f = [&](uint8_t c, uint8_t mc) {
      return forward ? forward8(c, mc, p.alpha) : reverse8(c, mc, p.alpha);
    };
    return {p.alpha, f(p.red, m.red), f(p.green, m.green), f(p.blue, m.blue)};
  } else if constexpr (sizeof(Px) == 8) {
    auto f = [&](uint16_t c, uint16_t mc) {
      return forward ? forward16(c, mc, p.alpha) : reverse16(c, mc, p.alpha);
    };
    return {p.alpha, f(p.red, m.red), f(p.green, m.green), f(p.blue, m.blue)};
  } else {
    auto f = [&](float c, float mc) {
      return forward ? forwardf(c, mc, p.alpha) : reversef(c, mc, p.alpha);
    };
    return {p.alpha, f(p.red, m.red), f(p.green, m.green), f(p.blue, m.blue)};
  }
}

// ---- colour conversions, written plainly ----

float one_over_255() {
  const uint32_t bits = 0x3B808081u;
  float f;
  std::memcpy(&f, &bits, 4);
  return f;
}
float colour8_to_float(uint32_t c) { return float(c) * one_over_255(); }
float colour16_to_float(uint32_t c) { return float(c) * 3.0517578e-05f; }
// Float to an integer depth: 0 below 0, white above white, else rounded
// half up by truncation.
uint32_t colour_float_to(float c, float white) {
  const float v = c * white;
  if (v < 0.0f) return 0;
  if (v > white) return uint32_t(white);
  return uint32_t(v + 0.5f);
}

template <class Px>
Px converted8(const RX_Pixel8& m) {
  if constexpr (sizeof(Px) == 4) {
    return m;
  } else if constexpr (sizeof(Px) == 8) {
    return {ref::colour_8_to_16(m.alpha), ref::colour_8_to_16(m.red), ref::colour_8_to_16(m.green),
            ref::colour_8_to_16(m.blue)};
  } else {
    return {colour8_to_float(m.alpha), colour8_to_float(m.red), colour8_to_float(m.green),
            colour8_to_float(m.blue)};
  }
}
template <class Px>
Px converted16(const RX_Pixel16& m) {
  if constexpr (sizeof(Px) == 4) {
    return {ref::narrow_16_to_8(m.alpha), ref::narrow_16_to_8(m.red), ref::narrow_16_to_8(m.green),
            ref::narrow_16_to_8(m.blue)};
  } else if constexpr (sizeof(Px) == 8) {
    return m;
  } else {
    return {colour16_to_float(m.alpha), colour16_to_float(m.red), colour16_to_float(m.green),
            colour16_to_float(m.blue)};
  }
}
template <class Px>
Px converted_float(const RX_PixelFloat& m) {
  if constexpr (sizeof(Px) == 16) {
    return m;
  } else {
    using Cv = decltype(Px{}.red);
    const float white = sizeof(Px) == 4 ? 255.0f : 32768.0f;
    return {Cv(colour_float_to(m.alpha, white)), Cv(colour_float_to(m.red, white)),
            Cv(colour_float_to(m.green, white)), Cv(colour_float_to(m.blue, white))};
  }
}

// ---- worlds ----

bool same_float(float x, float y) { return (std::isnan(x) && std::isnan(y)) || x == y; }
template <class Px>
bool same(const Px& x, const Px& y) {
  if constexpr (sizeof(Px) == 16) {
    return same_float(x.alpha, y.alpha) && same_float(x.red, y.red) &&
           same_float(x.green, y.green) && same_float(x.blue, y.blue);
  } else {
    return rxtest::same_pixel(x, y);
  }
}

template <class Px>
std::string show(const Px& p) {
  std::ostringstream out;
  out.precision(9);
  out << "{" << +p.alpha << ", " << +p.red << ", " << +p.green << ", " << +p.blue << "}";
  return out.str();
}

// Values of each depth: alphas down the rows, colour values along them.
std::vector<float> float_spread() {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  return {0.0f,   1.0f,  0.5f,  0.25f, 0.75f,  1.0f / 3.0f, 0.1f, 0.9f, 0.999f, 1e-3f,
          -0.0f,  -0.5f, -1.0f, 1.5f,  2.0f,   10.0f,       1e-40f, 1e-30f, nan,
          0.49999997f, 0.50000006f, 128.0f / 255.0f, 0.3f, 0.7f};
}
template <class Px>
std::vector<double> make_alphas() {
  std::vector<double> v;
  if constexpr (sizeof(Px) == 4) {
    for (int a = 0; a < 256; ++a) v.push_back(a);
  } else if constexpr (sizeof(Px) == 8) {
    for (int a = 0; a <= 32768; a += 257) v.push_back(a);
    for (int a : {1, 2, 16383, 16384, 16385, 32767, 32768}) v.push_back(a);
  } else {
    for (float f : float_spread()) v.push_back(f);
  }
  return v;
}
template <class Px>
std::vector<double> make_values() {
  std::vector<double> v;
  if constexpr (sizeof(Px) == 4) {
    for (int c = 0; c < 256; ++c) v.push_back(c);
  } else if constexpr (sizeof(Px) == 8) {
    for (int c = 0; c <= 32768; c += 97) v.push_back(c);
    for (int c : {1, 16383, 16384, 16385, 32767, 32768}) v.push_back(c);
  } else {
    for (float f : float_spread()) v.push_back(f);
  }
  return v;
}
template <class Px>
const std::vector<double>& alphas() {
  static const std::vector<double> v = make_alphas<Px>();
  return v;
}
template <class Px>
const std::vector<double>& values() {
  static const std::vector<double> v = make_values<Px>();
  return v;
}

template <class Px>
Px source_pixel(double a, double c, size_t i) {
  const auto& v = values<Px>();
  using Cv = decltype(Px{}.red);
  return {Cv(a), Cv(c), Cv(v[(i * 7 + 3) % v.size()]), Cv(v[v.size() - 1 - i % v.size()])};
}

// A world holding every (alpha, value) pair of its depth, and a
// destination of the same size painted with a marker.
template <class Px>
struct Pair {
  std::vector<double> as = alphas<Px>();
  std::vector<double> cs = values<Px>();
  TestWorld<Px> src{int32_t(cs.size()), int32_t(as.size()), 12, int32_t(alignof(Px))};
  TestWorld<Px> dst{int32_t(cs.size()), int32_t(as.size()), 4 * int32_t(alignof(Px)), 4};

  Pair() {
    fill_src();
    mark(dst);
  }
  void fill_src() {
    std::memset(src.def()->data, kPaddingByte, size_t(src.def()->row_stride) * as.size());
    for (size_t y = 0; y < as.size(); ++y) {
      for (size_t x = 0; x < cs.size(); ++x) {
        src.at(int32_t(x), int32_t(y)) = source_pixel<Px>(as[y], cs[x], x + y);
      }
    }
  }
  static Px marker(int32_t x, int32_t y) {
    using Cv = decltype(Px{}.red);
    return {Cv(x % 3), Cv(y % 5), Cv(1), Cv((x + y) % 7)};
  }
  static void mark(TestWorld<Px>& w) {
    std::memset(w.def()->data, kPaddingByte, size_t(w.def()->row_stride) * w.height());
    for (int32_t y = 0; y < w.height(); ++y) {
      for (int32_t x = 0; x < w.width(); ++x) w.at(x, y) = marker(x, y);
    }
  }
};

using rxtest::padding_intact;

// out(x, y) is the rule applied to in(x, y) where inside(x, y), else
// untouched(x, y).
template <class Px, class In, class Untouched, class Inside>
void expect_result(TestWorld<Px>& out, In in, Untouched untouched, Inside inside, const Px& m,
                   bool forward) {
  int bad = 0;
  for (int32_t y = 0; y < out.height(); ++y) {
    for (int32_t x = 0; x < out.width(); ++x) {
      const Px want = inside(x, y) ? expected(in(x, y), m, forward) : untouched(x, y);
      if (!same(out.at(x, y), want) && bad++ < 6) {
        ADD_FAILURE() << "pixel " << x << ", " << y << " from " << show(in(x, y))
                      << " with colour " << show(m) << (forward ? " forward" : " reverse")
                      << ": expected " << show(want) << ", got " << show(out.at(x, y));
      }
    }
  }
  EXPECT_EQ(bad, 0);
  EXPECT_TRUE(padding_intact(out)) << "a byte between rows was written";
}

// The colour form of each depth, called with the colour type of its own.
RX_Err premul_colour(const RX_LayerDef* src, const RX_Pixel8* m, int32_t forward,
                     const GE_LRect* rect, RX_LayerDef* dst) {
  return rect ? RX_PremulColorRect(nullptr, src, m, forward, rect, dst)
              : RX_PremulColor(nullptr, src, m, forward, dst);
}
RX_Err premul_colour(const RX_LayerDef* src, const RX_Pixel16* m, int32_t forward,
                     const GE_LRect* rect, RX_LayerDef* dst) {
  return rect ? RX_PremulColorRect16(nullptr, src, m, forward, rect, dst)
              : RX_PremulColor16(nullptr, src, m, forward, dst);
}
RX_Err premul_colour(const RX_LayerDef* src, const RX_PixelFloat* m, int32_t forward,
                     const GE_LRect* rect, RX_LayerDef* dst) {
  return rect ? RX_PremulColorRectFloat(nullptr, src, m, forward, rect, dst)
              : RX_PremulColorFloat(nullptr, src, m, forward, dst);
}

// Matte colours of each depth (alpha is carried along and not used).
template <class Px>
std::vector<Px> colours() {
  if constexpr (sizeof(Px) == 4) {
    return {{99, 0, 0, 0}, {0, 255, 255, 255}, {255, 128, 64, 200}, {17, 7, 250, 77}};
  } else if constexpr (sizeof(Px) == 8) {
    return {{99, 0, 0, 0}, {0, 32768, 32768, 32768}, {32768, 16384, 1000, 30001},
            {5, 32767, 1, 12345}};
  } else {
    return {{0.5f, 0.0f, 0.0f, 0.0f}, {0.0f, 1.0f, 1.0f, 1.0f}, {1.0f, 0.5f, 0.25f, 2.0f},
            {0.2f, -0.5f, 0.3f, 1e-40f}};
  }
}

template <class Px>
class PremultiplyColour : public rxtest::BornPackage {};
TYPED_TEST_SUITE(PremultiplyColour, rxtest::AllPixelTypes);

TYPED_TEST(PremultiplyColour, EveryPairFollowsTheRowRulesBetweenWorlds) {
  using Px = TypeParam;
  for (const Px& m : colours<Px>()) {
    for (int forward = 0; forward <= 1; ++forward) {
      SCOPED_TRACE(::testing::Message() << "colour " << show(m) << (forward ? " forward" : " reverse"));
      Pair<Px> pair;
      EXPECT_EQ(premul_colour(pair.src.def(), &m, forward, nullptr, pair.dst.def()), RX_Result_OK);
      expect_result(
          pair.dst, [&](int32_t x, int32_t y) { return pair.src.at(x, y); },
          [](int32_t, int32_t) { return Px{}; }, [](int32_t, int32_t) { return true; }, m,
          forward);
      // The source is left as it was.
      TestWorld<Px>& src = pair.src;
      int changed = 0;
      for (int32_t y = 0; y < src.height(); ++y) {
        for (int32_t x = 0; x < src.width(); ++x) {
          if (!same(src.at(x, y), source_pixel<Px>(pair.as[size_t(y)], pair.cs[size_t(x)],
                                                   size_t(x + y)))) {
            ++changed;
          }
        }
      }
      EXPECT_EQ(changed, 0) << "the source was written";
    }
  }
}

TYPED_TEST(PremultiplyColour, InPlaceWithANullSourceOrTheWorldItself) {
  using Px = TypeParam;
  for (const Px& m : colours<Px>()) {
    for (int forward = 0; forward <= 1; ++forward) {
      for (bool null_source : {true, false}) {
        SCOPED_TRACE(::testing::Message() << "colour " << show(m)
                                          << (forward ? " forward" : " reverse")
                                          << (null_source ? ", null source" : ", same world"));
        Pair<Px> pair;
        RX_LayerDef* w = pair.src.def();
        EXPECT_EQ(premul_colour(null_source ? nullptr : w, &m, forward, nullptr, w),
                  RX_Result_OK);
        expect_result(
            pair.src,
            [&](int32_t x, int32_t y) {
              return source_pixel<Px>(pair.as[size_t(y)], pair.cs[size_t(x)], size_t(x + y));
            },
            [](int32_t, int32_t) { return Px{}; }, [](int32_t, int32_t) { return true; }, m,
            forward);
      }
    }
  }
}

TYPED_TEST(PremultiplyColour, NullColourIsBlack) {
  using Px = TypeParam;
  for (int forward = 0; forward <= 1; ++forward) {
    Pair<Px> with_null, with_black;
    Px black{};
    black.alpha = decltype(black.alpha)(1);  // the colour's alpha is not used
    EXPECT_EQ(premul_colour(nullptr, static_cast<const Px*>(nullptr), forward, nullptr,
                            with_null.src.def()),
              RX_Result_OK);
    EXPECT_EQ(premul_colour(nullptr, &black, forward, nullptr, with_black.src.def()),
              RX_Result_OK);
    for (int32_t y = 0; y < with_null.src.height(); ++y) {
      for (int32_t x = 0; x < with_null.src.width(); ++x) {
        ASSERT_TRUE(same(with_null.src.at(x, y), with_black.src.at(x, y))) << x << ", " << y;
      }
    }
  }
}

TYPED_TEST(PremultiplyColour, BlackInPlaceIsNotTheScanOfTheTable) {
  // Against black in place the rows still go through the colour rules: a
  // transparent pixel keeps its colour when unmultiplied, where the scans
  // would make it white.
  using Px = TypeParam;
  TestWorld<Px> world(3, 1);
  using Cv = decltype(Px{}.red);
  const Cv mid = Cv(sizeof(Px) == 4 ? 100 : sizeof(Px) == 8 ? 12800 : 0.4);
  for (int32_t x = 0; x < 3; ++x) world.at(x, 0) = {Cv(0), mid, mid, Cv(0)};
  const Px black{};
  EXPECT_EQ(premul_colour(nullptr, &black, 0, nullptr, world.def()), RX_Result_OK);
  for (int32_t x = 0; x < 3; ++x) {
    EXPECT_TRUE(same(world.at(x, 0), Px{Cv(0), mid, mid, Cv(0)})) << show(world.at(x, 0));
  }
}

TYPED_TEST(PremultiplyColour, RectangleChangesOnlyItsPixels) {
  using Px = TypeParam;
  const GE_LRect rects[] = {{3, 2, 9, 5}, {0, 0, 1, 1}, {5, 0, 6, 7}, {0, 6, 12, 7}};
  const Px m = colours<Px>()[2];
  for (const GE_LRect& r : rects) {
    for (int forward = 0; forward <= 1; ++forward) {
      SCOPED_TRACE(::testing::Message() << "rect " << r.left << "," << r.top << "," << r.right
                                        << "," << r.bottom << (forward ? " forward" : " reverse"));
      TestWorld<Px> src(12, 7, 8, 4), dst(12, 7, 16, 4);
      Pair<Px>::mark(dst);
      std::memset(src.def()->data, kPaddingByte, size_t(src.def()->row_stride) * 7);
      for (int32_t y = 0; y < 7; ++y) {
        for (int32_t x = 0; x < 12; ++x) {
          src.at(x, y) = source_pixel<Px>(alphas<Px>()[size_t(x * 5 + y) % alphas<Px>().size()],
                                          values<Px>()[size_t(x * 3 + y * 11) % values<Px>().size()],
                                          size_t(x));
        }
      }
      EXPECT_EQ(premul_colour(src.def(), &m, forward, &r, dst.def()), RX_Result_OK);
      expect_result(
          dst, [&](int32_t x, int32_t y) { return src.at(x, y); },
          [](int32_t x, int32_t y) { return Pair<Px>::marker(x, y); },
          [&](int32_t x, int32_t y) {
            return x >= r.left && x < r.right && y >= r.top && y < r.bottom;
          },
          m, forward);
    }
  }
}

TYPED_TEST(PremultiplyColour, RectanglePastTheRightEdgeIsCutToTheWorldsWidth) {
  using Px = TypeParam;
  const Px m = colours<Px>()[3];
  const GE_LRect r = {2, 1, 9, 3};  // the world is 6 wide
  for (int forward = 0; forward <= 1; ++forward) {
    TestWorld<Px> world(6, 4, 40, 4);
    Pair<Px>::mark(world);
    for (int32_t y = 0; y < 4; ++y) {
      for (int32_t x = 0; x < 6; ++x) {
        const auto as = alphas<Px>();
        const auto cs = values<Px>();
        world.at(x, y) = source_pixel<Px>(as[size_t(x * 7 + y * 3 + 2) % as.size()],
                                          cs[size_t(x * 13 + y + 1) % cs.size()], size_t(y));
      }
    }
    TestWorld<Px> before(6, 4, 40, 4);
    std::memcpy(before.def()->data, world.def()->data, size_t(world.def()->row_stride) * 4);
    EXPECT_EQ(premul_colour(nullptr, &m, forward, &r, world.def()), RX_Result_OK);
    expect_result(
        world, [&](int32_t x, int32_t y) { return before.at(x, y); },
        [&](int32_t x, int32_t y) { return before.at(x, y); },
        [&](int32_t x, int32_t y) { return x >= 2 && y >= 1 && y < 3; }, m, forward);
  }
}

TYPED_TEST(PremultiplyColour, TheProgressRecordIsNotRead) {
  using Px = TypeParam;
  struct Count {
    int calls = 0;
  } count;
  const RX_ProgressInfo progress = {
      &count, [](void* r) -> RX_Err { return ++static_cast<Count*>(r)->calls, RX_Result_Interrupted; },
      [](void* r, int32_t, int32_t) -> RX_Err {
        return ++static_cast<Count*>(r)->calls, RX_Result_Interrupted;
      }};
  TestWorld<Px> world(4, 3);
  const Px m = colours<Px>()[2];
  if constexpr (sizeof(Px) == 4) {
    EXPECT_EQ(RX_PremulColorRect(&progress, nullptr, &m, 1, nullptr, world.def()), RX_Result_OK);
    EXPECT_EQ(RX_PremulColor(&progress, nullptr, &m, 0, world.def()), RX_Result_OK);
  } else if constexpr (sizeof(Px) == 8) {
    EXPECT_EQ(RX_PremulColorRect16(&progress, nullptr, &m, 1, nullptr, world.def()), RX_Result_OK);
    EXPECT_EQ(RX_PremulColor16(&progress, nullptr, &m, 0, world.def()), RX_Result_OK);
  } else {
    EXPECT_EQ(RX_PremulColorRectFloat(&progress, nullptr, &m, 1, nullptr, world.def()),
              RX_Result_OK);
    EXPECT_EQ(RX_PremulColorFloat(&progress, nullptr, &m, 0, world.def()), RX_Result_OK);
  }
  EXPECT_EQ(count.calls, 0);
}

// ---- the colour converted to the world's depth ----
//
// Premultiplying a transparent pixel gives the matte colour itself, so
// forward on alpha 0 shows the colour as the world's depth holds it.

template <class Px, class Cv>
void expect_colour(const Px& got, Cv red, Cv green, Cv blue, const std::string& what) {
  EXPECT_TRUE(same(got, Px{got.alpha, red, green, blue}))
      << what << ": expected colour " << +red << ", " << +green << ", " << +blue << ", got "
      << show(got);
}

TYPED_TEST(PremultiplyColour, EightBitColourIsConvertedToTheWorldsDepth) {
  using Px = TypeParam;
  for (uint32_t c = 0; c < 256; ++c) {
    const RX_Pixel8 m = {uint8_t(c * 3), uint8_t(c), uint8_t(255 - c), uint8_t(c ^ 0x5A)};
    const Px want = converted8<Px>(m);
    for (int form = 0; form < 2; ++form) {
      TestWorld<Px> world(1, 1);
      EXPECT_EQ(form ? RX_PremulColorRect(nullptr, nullptr, &m, 1, nullptr, world.def())
                     : RX_PremulColor(nullptr, nullptr, &m, 1, world.def()),
                RX_Result_OK);
      expect_colour(world.at(0, 0), want.red, want.green, want.blue, "8-bit colour " + show(m));
    }
  }
}

TYPED_TEST(PremultiplyColour, SixteenBitColourIsConvertedToTheWorldsDepth) {
  using Px = TypeParam;
  for (uint32_t c = 0; c <= 32768; c += 61) {
    for (uint32_t d : {c, 32768 - c, (c * 7) % 32769, c | 1u}) {
      const RX_Pixel16 m = {uint16_t(c), uint16_t(d), uint16_t(32768 - d), uint16_t(c)};
      const Px want = converted16<Px>(m);
      TestWorld<Px> world(1, 1);
      EXPECT_EQ(RX_PremulColorRect16(nullptr, nullptr, &m, 1, nullptr, world.def()), RX_Result_OK);
      expect_colour(world.at(0, 0), want.red, want.green, want.blue, "16-bit colour " + show(m));
    }
  }
  // The exact halves of the 16-to-8 rule: 128 and 16384 + 64 round up.
  if constexpr (sizeof(Px) == 4) {
    const RX_Pixel16 m = {0, 64, 16384 + 64, 32768};
    TestWorld<Px> world(1, 1);
    EXPECT_EQ(RX_PremulColor16(nullptr, nullptr, &m, 1, world.def()), RX_Result_OK);
    EXPECT_EQ(world.at(0, 0).red, (64 * 255 + 16384) >> 15);
    EXPECT_EQ(world.at(0, 0).green, ((16384 + 64) * 255 + 16384) >> 15);
    EXPECT_EQ(world.at(0, 0).blue, 255);
  }
}

TYPED_TEST(PremultiplyColour, FloatColourIsConvertedToTheWorldsDepthAndClamped) {
  using Px = TypeParam;
  const auto s = float_spread();
  std::vector<float> v;
  for (float f : s) {
    if (!std::isnan(f)) v.push_back(f);
  }
  for (float f : {-1e30f, 1e30f, 0.5f / 255.0f, 1.5f / 255.0f, 0.5f / 32768.0f, 1.00001f}) {
    v.push_back(f);
  }
  for (size_t i = 0; i < v.size(); ++i) {
    const RX_PixelFloat m = {v[(i + 5) % v.size()], v[i], v[(i + 1) % v.size()],
                             v[(i + 2) % v.size()]};
    const Px want = converted_float<Px>(m);
    TestWorld<Px> world(1, 1);
    EXPECT_EQ(RX_PremulColorFloat(nullptr, nullptr, &m, 1, world.def()), RX_Result_OK);
    expect_colour(world.at(0, 0), want.red, want.green, want.blue, "float colour " + show(m));
  }
}

TYPED_TEST(PremultiplyColour, EachFormAgreesWithTheOthersOnAConvertedColour) {
  // The 8-bit colour on a deep world acts as the converted colour given to
  // the form of the world's own depth.
  using Px = TypeParam;
  const RX_Pixel8 m8 = {40, 200, 1, 129};
  const Px m = converted8<Px>(m8);
  for (int forward = 0; forward <= 1; ++forward) {
    Pair<Px> a, b;
    EXPECT_EQ(RX_PremulColorRect(nullptr, a.src.def(), &m8, forward, nullptr, a.dst.def()),
              RX_Result_OK);
    EXPECT_EQ(premul_colour(b.src.def(), &m, forward, nullptr, b.dst.def()), RX_Result_OK);
    expect_result(
        a.dst, [&](int32_t x, int32_t y) { return a.src.at(x, y); },
        [](int32_t, int32_t) { return Px{}; }, [](int32_t, int32_t) { return true; }, m, forward);
    for (int32_t y = 0; y < a.dst.height(); ++y) {
      for (int32_t x = 0; x < a.dst.width(); ++x) {
        ASSERT_TRUE(same(a.dst.at(x, y), b.dst.at(x, y))) << x << ", " << y;
      }
    }
  }
}

// ---- refusals ----

class PremultiplyColourRefusals : public rxtest::BornPackage {};

TEST_F(PremultiplyColourRefusals, WorldsOfDifferentDepthsAreRefusedWithTheFormsText) {
  {
    TestWorld<RX_Pixel8> w8(3, 2);
    TestWorld<RX_Pixel16> w16(3, 2);
    TestWorld<RX_PixelFloat> wf(3, 2);
    for (int32_t x = 0; x < 3; ++x) {
      w8.at(x, 1) = {100, 50, 60, 70};
      w16.at(x, 1) = {100, 50, 60, 70};
      wf.at(x, 1) = {0.5f, 0.25f, 0.125f, 0.75f};
    }
    const RX_Pixel8 c8 = {0, 10, 20, 30};
    const RX_Pixel16 c16 = {0, 10, 20, 30};
    const RX_PixelFloat cf = {0, 0.1f, 0.2f, 0.3f};
    const GE_LRect r = {0, 0, 2, 2};
    ReportCapture capture;
    EXPECT_EQ(RX_PremulColor(nullptr, w16.def(), &c8, 1, w8.def()), RX_Result_Internal);
    EXPECT_EQ(RX_PremulColorRect(nullptr, w8.def(), &c8, 0, &r, wf.def()), RX_Result_Internal);
    EXPECT_EQ(RX_PremulColor16(nullptr, w8.def(), &c16, 1, w16.def()), RX_Result_Internal);
    EXPECT_EQ(RX_PremulColorRect16(nullptr, wf.def(), &c16, 0, &r, w8.def()), RX_Result_Internal);
    EXPECT_EQ(RX_PremulColorFloat(nullptr, w16.def(), &cf, 1, wf.def()), RX_Result_Internal);
    EXPECT_EQ(RX_PremulColorRectFloat(nullptr, wf.def(), &cf, 0, &r, w16.def()),
              RX_Result_Internal);
    const auto reports = capture.errors();
    ASSERT_EQ(reports.size(), 6u);
    const char* const want[6] = {"worlds must be same bitdepth in RX_PremulColorRect()",
                                 "worlds must be same bitdepth in RX_PremulColorRect()",
                                 "worlds must be same bitdepth in RX_PremulColorRect16()",
                                 "worlds must be same bitdepth in RX_PremulColorRect16()",
                                 "worlds must be same bitdepth in RX_PremulColorRect16()",
                                 "worlds must be same bitdepth in RX_PremulColorRect16()"};
    for (size_t i = 0; i < 6; ++i) {
      EXPECT_EQ(reports[i].text, want[i]) << "report " << i;
      EXPECT_EQ(reports[i].location, kGeneralLocation) << "report " << i;
    }
    // Nothing was written.
    for (int32_t x = 0; x < 3; ++x) {
      EXPECT_TRUE(same(w8.at(x, 0), RX_Pixel8{}));
      EXPECT_TRUE(same(w8.at(x, 1), RX_Pixel8{100, 50, 60, 70}));
      EXPECT_TRUE(same(w16.at(x, 1), RX_Pixel16{100, 50, 60, 70}));
      EXPECT_TRUE(same(wf.at(x, 1), RX_PixelFloat{0.5f, 0.25f, 0.125f, 0.75f}));
    }
  }
}

class OddDepthWorld : public RX_WorldX<RX_Pixel8> {
 public:
  explicit OddDepthWorld(const RX_LayerDef& def) : RX_WorldX<RX_Pixel8>(def, false) {}
  int16_t Depth() const override { return 24; }
  RX_World* object() { return this; }
};

TEST_F(PremultiplyColourRefusals, WorldOfAnUnknownDepthIsReportedByEachForm) {
  {
    TestWorld<RX_Pixel8> world(3, 3);
    for (int32_t x = 0; x < 3; ++x) world.at(x, 1) = {100, 50, 60, 70};
    OddDepthWorld odd(*world.def());
    RX_LayerDef def = *world.def();
    def.world_object = odd.object();
    ReportCapture capture;
    EXPECT_EQ(RX_PremulColor(nullptr, nullptr, nullptr, 1, &def), RX_Result_Internal);
    EXPECT_EQ(RX_PremulColor16(nullptr, nullptr, nullptr, 1, &def), RX_Result_Internal);
    EXPECT_EQ(RX_PremulColorFloat(nullptr, nullptr, nullptr, 1, &def), RX_Result_Internal);
    const auto reports = capture.errors();
    ASSERT_EQ(reports.size(), 3u);
    EXPECT_EQ(reports[0].text, "Unknown world bitdepth in RX_PremulColorRect");
    EXPECT_EQ(reports[1].text, "Unknown world bitdepth in RX_PremulColorRect16");
    EXPECT_EQ(reports[2].text, "Unknown world bitdepth in RX_PremulColorRectFloat");
    for (const auto& r : reports) EXPECT_EQ(r.location, kGeneralLocation);
    for (int32_t x = 0; x < 3; ++x) {
      EXPECT_TRUE(same(world.at(x, 1), RX_Pixel8{100, 50, 60, 70}));
    }
  }
}

}  // namespace
