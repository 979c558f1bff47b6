// Fills of world objects at every depth: Clear (with the byte count of its
// contiguous case), ClearExceptRect, Fill of a float or 16-bit colour with
// alpha unclamped, FillAlpha and InvertAlpha.
#include <memory>
#include <vector>

#include "painted_worlds.h"
#include "rx_test_support.h"

namespace {

using rxtest::TestWorld;

using rxtest::kPaddingByte;

using rxtest::distinct_marker;
using rxtest::padding_intact;

// A world object over part of a larger painted test world, so that a
// write outside it shows in the parent.
template <class Px>
struct SubWorld : rxtest::PaintedSubWorld<Px> {
  std::unique_ptr<RX_WorldX<Px>> world;

  SubWorld(int32_t parent_width, int32_t parent_height, int32_t padding, int32_t misalign, GE_LRect where)
      : rxtest::PaintedSubWorld<Px>(parent_width, parent_height, padding, misalign, where),
        world(std::make_unique<RX_WorldX<Px>>(this->def, false)) {}
};

// Every pixel of the parent: changed(px, x, y) in sub-world coordinates
// for pixels of the sub-world, the marker elsewhere.
template <class Px, class Changed>
void expect_pixels(SubWorld<Px>& sub, Changed changed) {
  for (int32_t y = 0; y < sub.parent.height(); ++y) {
    for (int32_t x = 0; x < sub.parent.width(); ++x) {
      const int32_t sx = x - sub.place.left;
      const int32_t sy = y - sub.place.top;
      const bool inside = sx >= 0 && sy >= 0 && sx < sub.def.width && sy < sub.def.height;
      const Px expected = inside ? changed(distinct_marker<Px>(x, y), sx, sy) : distinct_marker<Px>(x, y);
      ASSERT_TRUE(rxtest::same_pixel(sub.parent.at(x, y), expected)) << "at " << x << ", " << y;
    }
  }
  EXPECT_TRUE(padding_intact(sub.parent));
}

// Cleared (or filled with colour) where inside(x, y), kept elsewhere.
template <class Px, class Inside>
auto set_where(const Px& colour, Inside inside) {
  return [=](const Px& old, int32_t x, int32_t y) { return inside(x, y) ? colour : old; };
}

template <class Px>
class WorldFills : public rxtest::BornPackage {};
TYPED_TEST_SUITE(WorldFills, rxtest::AllPixelTypes);

// ---- Clear ----

TYPED_TEST(WorldFills, ClearOfNullClearsTheWholeWorld) {
  for (int32_t misalign : {0, 4, 8}) {
    SubWorld<TypeParam> sub(9, 7, 12, misalign, {2, 1, 7, 6});
    sub.world->Clear(nullptr);
    expect_pixels(sub, set_where(TypeParam{}, [](int32_t, int32_t) { return true; }));
  }
}

TYPED_TEST(WorldFills, ClearOfARectangleOnPaddedRowsClearsOnlyIt) {
  SubWorld<TypeParam> sub(8, 6, 8, 4, {0, 0, 8, 6});
  const GE_LRect rect = {1, 2, 6, 5};
  sub.world->Clear(&rect);
  expect_pixels(sub, set_where(TypeParam{}, [](int32_t x, int32_t y) {
                  return x >= 1 && x < 6 && y >= 2 && y < 5;
                }));
}

TYPED_TEST(WorldFills, ClearClipsRectanglesOverTheEdges) {
  SubWorld<TypeParam> sub(10, 9, 4, 0, {2, 2, 8, 7});
  const GE_LRect rect = {-5, 3, 4, 20};
  sub.world->Clear(&rect);
  expect_pixels(sub, set_where(TypeParam{}, [](int32_t x, int32_t y) { return x < 4 && y >= 3; }));
}

TYPED_TEST(WorldFills, ClearOfAnEmptyOrBackwardsRectangleDoesNothing) {
  SubWorld<TypeParam> sub(6, 5, 0, 0, {0, 0, 6, 5});
  for (const GE_LRect rect :
       {GE_LRect{4, 1, 2, 3}, GE_LRect{1, 3, 5, 3}, GE_LRect{6, 0, 9, 5}, GE_LRect{0, -4, 6, 0}}) {
    sub.world->Clear(&rect);
  }
  expect_pixels(sub, set_where(TypeParam{}, [](int32_t, int32_t) { return false; }));
}

TYPED_TEST(WorldFills, ClearOfFullRowsOfAContiguousWorldClearsTheWorldOnly) {
  // Rows 2 to 6 of a contiguous parent; the rows around it stay.
  SubWorld<TypeParam> sub(4, 10, 0, 0, {0, 2, 4, 7});
  const GE_LRect everything = {0, 0, 4, 5};
  sub.world->Clear(&everything);
  expect_pixels(sub, set_where(TypeParam{}, [](int32_t, int32_t) { return true; }));
}

TYPED_TEST(WorldFills, ClearOfContiguousRowsCountsTheWholeWorldFromTheTopRow) {
  // A world of the parent's first 5 rows: a full-width rectangle of rows 2
  // and 3 clears width * height pixels from row 2, that is rows 2 to 6 of
  // the parent, two of them past the world's last row.
  SubWorld<TypeParam> sub(4, 10, 0, 0, {0, 0, 4, 5});
  const GE_LRect rows = {0, 2, 4, 4};
  sub.world->Clear(&rows);
  for (int32_t y = 0; y < 10; ++y) {
    for (int32_t x = 0; x < 4; ++x) {
      const TypeParam expected = y >= 2 && y < 7 ? TypeParam{} : distinct_marker<TypeParam>(x, y);
      ASSERT_TRUE(rxtest::same_pixel(sub.parent.at(x, y), expected)) << x << ", " << y;
    }
  }
}

// ---- ClearExceptRect ----

TYPED_TEST(WorldFills, ClearExceptRectKeepsOnlyTheRectangle) {
  SubWorld<TypeParam> sub(11, 9, 8, 4, {1, 1, 10, 8});
  sub.world->ClearExceptRect(GE_LRect{2, 1, 6, 5});
  expect_pixels(sub, set_where(TypeParam{}, [](int32_t x, int32_t y) {
                  return !(x >= 2 && x < 6 && y >= 1 && y < 5);
                }));
}

TYPED_TEST(WorldFills, ClearExceptRectClipsRectanglesOverTheEdges) {
  SubWorld<TypeParam> sub(9, 8, 0, 0, {0, 0, 9, 8});
  sub.world->ClearExceptRect(GE_LRect{4, -3, 30, 5});
  expect_pixels(sub,
                set_where(TypeParam{}, [](int32_t x, int32_t y) { return !(x >= 4 && y < 5); }));
}

TYPED_TEST(WorldFills, ClearExceptAnEmptyRectClearsEverything) {
  for (const GE_LRect empty :
       {GE_LRect{3, 3, 3, 6}, GE_LRect{6, 2, 1, 5}, GE_LRect{-9, -9, -1, -1}}) {
    SubWorld<TypeParam> sub(8, 7, 4, 4, {1, 1, 7, 6});
    sub.world->ClearExceptRect(empty);
    expect_pixels(sub, set_where(TypeParam{}, [](int32_t, int32_t) { return true; }));
  }
}

TYPED_TEST(WorldFills, ClearExceptTheWholeWorldDoesNothing) {
  SubWorld<TypeParam> sub(8, 7, 4, 4, {1, 1, 7, 6});
  sub.world->ClearExceptRect(GE_LRect{0, 0, 6, 5});
  sub.world->ClearExceptRect(GE_LRect{-2, -2, 60, 50});
  expect_pixels(sub, set_where(TypeParam{}, [](int32_t, int32_t) { return false; }));
}

// ---- Fill ----

// Rounded half up; colour channels clamped, alpha not: it wraps in the
// channel type.
int32_t clamped(float c, float white) {
  const float v = c * white;
  if (v < 0.0f) return 0;
  if (v > white) return int32_t(white);
  return int32_t(v + 0.5f);
}
int32_t unclamped(float c, float white) { return int32_t(c * white + 0.5f); }

template <class Px>
Px expected_of_float(const RX_PixelFloat& c) {
  if constexpr (sizeof(Px) == 16) {
    return c;
  } else {
    using Cv = decltype(Px{}.red);
    const float white = sizeof(Px) == 4 ? 255.0f : 32768.0f;
    return {Cv(unclamped(c.alpha, white)), Cv(clamped(c.red, white)), Cv(clamped(c.green, white)),
            Cv(clamped(c.blue, white))};
  }
}

template <class Px>
Px expected_of_16(const RX_Pixel16& c) {
  if constexpr (sizeof(Px) == 4) {
    auto to8 = [](uint32_t v) { return uint8_t((v * 255 + 16384) >> 15); };
    return {to8(c.alpha), to8(c.red), to8(c.green), to8(c.blue)};
  } else if constexpr (sizeof(Px) == 8) {
    return c;
  } else {
    auto to_float = [](uint32_t v) { return float(v) * 3.0517578e-05f; };
    return {to_float(c.alpha), to_float(c.red), to_float(c.green), to_float(c.blue)};
  }
}

TYPED_TEST(WorldFills, FloatFillLeavesAlphaUnclamped) {
  // Within the 32-bit integer range, so that the plain formula holds.
  const std::vector<float> v = {
      -100.0f,     -2.0f,  -0.5f, -1e-7f,  -0.0f, 0.0f, 0.5f / 255.0f, 0.5f,   1.0f / 65536.0f,
      1.0f / 3.0f, 0.999f, 1.0f,  1.0001f, 1.5f,  2.0f, 7.25f,         100.0f, 0.75f};
  const int32_t n = int32_t(v.size());
  SubWorld<TypeParam> sub(n, 1, 4, 4, {0, 0, n, 1});
  for (int32_t i = 0; i < n; ++i) {
    const RX_PixelFloat colour = {v[i], v[(i + 1) % n], v[(i + 2) % n], v[(i + 3) % n]};
    const GE_LRect pixel = {i, 0, i + 1, 1};
    sub.world->Fill(colour, &pixel);
  }
  for (int32_t i = 0; i < n; ++i) {
    const RX_PixelFloat colour = {v[i], v[(i + 1) % n], v[(i + 2) % n], v[(i + 3) % n]};
    ASSERT_TRUE(rxtest::same_pixel(sub.parent.at(i, 0), expected_of_float<TypeParam>(colour)))
        << v[i];
  }
}

TEST(WorldFloatFill, AlphaOfTwoWrapsToZeroAt16BitsWhereRedClamps) {
  TestWorld<RX_Pixel16> deep(2, 2);
  TestWorld<RX_Pixel8> byte(2, 2);
  RX_WorldX<RX_Pixel16> deep_world(*deep.def(), false);
  RX_WorldX<RX_Pixel8> byte_world(*byte.def(), false);
  deep_world.Fill(RX_PixelFloat{2.0f, 2.0f, -0.5f, 0.5f}, nullptr);
  byte_world.Fill(RX_PixelFloat{2.0f, 2.0f, -0.5f, 0.5f}, nullptr);
  EXPECT_TRUE(rxtest::same_pixel(deep.at(1, 1), RX_Pixel16{0, 32768, 0, 16384}));
  EXPECT_TRUE(rxtest::same_pixel(byte.at(1, 1), RX_Pixel8{254, 255, 0, 128}));  // 510 wraps
  // -0.5 as alpha is the 16-bit image of -16383.
  deep_world.Fill(RX_PixelFloat{-0.5f, 0.0f, 0.0f, 0.0f}, nullptr);
  EXPECT_EQ(deep.at(0, 0).alpha, uint16_t(-16383));
}

TEST(WorldFill16, SixteenBitColourMatchesTheRuleForEveryValue) {
  TestWorld<RX_Pixel8> byte(256, 256);
  TestWorld<RX_PixelFloat> floats(256, 256);
  RX_WorldX<RX_Pixel8> byte_world(*byte.def(), false);
  RX_WorldX<RX_PixelFloat> float_world(*floats.def(), false);
  auto colour_of = [](uint32_t c) {
    return RX_Pixel16{uint16_t(c), uint16_t(65535 - c), uint16_t(c ^ 0x5A5A), uint16_t(c * 7)};
  };
  for (int32_t c = 0; c < 65536; ++c) {
    const GE_LRect pixel = {c % 256, c / 256, c % 256 + 1, c / 256 + 1};
    byte_world.Fill(colour_of(c), &pixel);
    float_world.Fill(colour_of(c), &pixel);
  }
  for (int32_t c = 0; c < 65536; ++c) {
    ASSERT_TRUE(
        rxtest::same_pixel(byte.at(c % 256, c / 256), expected_of_16<RX_Pixel8>(colour_of(c))))
        << c;
    ASSERT_TRUE(rxtest::same_pixel(floats.at(c % 256, c / 256),
                                   expected_of_16<RX_PixelFloat>(colour_of(c))))
        << c;
  }
}

TYPED_TEST(WorldFills, FillsOfBothColourTypesCoverTheClippedRectangle) {
  const RX_Pixel16 colour16 = {32768, 16384, 0, 100};
  const RX_PixelFloat colour_float = {1.0f, 0.5f, 0.0f, 0.25f};
  {
    SubWorld<TypeParam> sub(10, 8, 8, 4, {1, 2, 9, 7});
    sub.world->Fill(colour16, nullptr);
    expect_pixels(
        sub, set_where(expected_of_16<TypeParam>(colour16), [](int32_t, int32_t) { return true; }));
  }
  {
    SubWorld<TypeParam> sub(10, 8, 8, 4, {1, 2, 9, 7});
    const GE_LRect rect = {-3, 2, 5, 30};
    sub.world->Fill(colour_float, &rect);
    expect_pixels(sub, set_where(expected_of_float<TypeParam>(colour_float),
                                 [](int32_t x, int32_t y) { return x < 5 && y >= 2; }));
  }
  {
    // A rectangle given backwards is empty here: nothing is filled.
    SubWorld<TypeParam> sub(10, 8, 8, 4, {1, 2, 9, 7});
    const GE_LRect backwards = {5, 4, 1, 1};
    sub.world->Fill(colour16, &backwards);
    sub.world->Fill(colour_float, &backwards);
    expect_pixels(sub, set_where(TypeParam{}, [](int32_t, int32_t) { return false; }));
  }
}

// ---- alpha ----

template <class Px>
auto white_alpha() {
  return decltype(Px{}.alpha)(sizeof(Px) == 4 ? 255 : sizeof(Px) == 8 ? 32768 : 1);
}

TYPED_TEST(WorldFills, FillAlphaMakesEveryPixelOpaqueAndKeepsColour) {
  SubWorld<TypeParam> sub(9, 7, 12, 4, {2, 1, 8, 6});
  sub.world->FillAlpha();
  expect_pixels(sub, [](TypeParam old, int32_t, int32_t) {
    old.alpha = white_alpha<TypeParam>();
    return old;
  });
}

TYPED_TEST(WorldFills, InvertAlphaTakesAlphaFromWhiteAndKeepsColour) {
  SubWorld<TypeParam> sub(9, 7, 12, 4, {2, 1, 8, 6});
  sub.world->InvertAlpha();
  expect_pixels(sub, [](TypeParam old, int32_t, int32_t) {
    using Cv = decltype(old.alpha);
    old.alpha = Cv(white_alpha<TypeParam>() - old.alpha);
    return old;
  });
}

TEST(WorldInvertAlpha, EightBitAlphaBecomes255Minus) {
  TestWorld<RX_Pixel8> world(256, 1);
  for (int32_t a = 0; a < 256; ++a) world.at(a, 0) = {uint8_t(a), 1, 2, 3};
  RX_WorldX<RX_Pixel8>(*world.def(), false).InvertAlpha();
  for (int32_t a = 0; a < 256; ++a) {
    ASSERT_EQ(world.at(a, 0).alpha, 255 - a);
    ASSERT_EQ(world.at(a, 0).alpha, uint8_t(~a));
  }
}

TEST(WorldInvertAlpha, SixteenBitAlphaBecomes32768MinusIn16Bits) {
  TestWorld<RX_Pixel16> world(256, 256);
  for (int32_t a = 0; a < 65536; ++a) world.at(a % 256, a / 256) = {uint16_t(a), 1, 2, 3};
  RX_WorldX<RX_Pixel16>(*world.def(), false).InvertAlpha();
  for (int32_t a = 0; a < 65536; ++a) {
    ASSERT_EQ(world.at(a % 256, a / 256).alpha, uint16_t(32768 - a)) << a;
  }
  EXPECT_EQ(world.at(0, 128).alpha, 0);        // 32768 gives 0
  EXPECT_EQ(world.at(0, 0).alpha, 32768);      // 0 gives white
  EXPECT_EQ(world.at(255, 255).alpha, 32769);  // 65535 wraps
}

TEST(WorldInvertAlpha, FloatAlphaBecomesOneMinus) {
  const std::vector<float> v = {-2.0f, -0.0f, 0.0f, 0.25f, 1.0f / 3.0f, 0.5f, 1.0f, 1.5f, 1e30f};
  const int32_t n = int32_t(v.size());
  TestWorld<RX_PixelFloat> world(n, 1);
  for (int32_t i = 0; i < n; ++i) world.at(i, 0) = {v[i], 1, 2, 3};
  RX_WorldX<RX_PixelFloat>(*world.def(), false).InvertAlpha();
  for (int32_t i = 0; i < n; ++i) ASSERT_EQ(world.at(i, 0).alpha, 1.0f - v[i]) << v[i];
}

// ---- through the base class ----

TYPED_TEST(WorldFills, MethodsWorkOnWorldsMadeByNew) {
  const int16_t depth = int16_t(TestWorld<TypeParam>::depth());
  std::unique_ptr<RX_World> world(RX_World::New(5, 4, depth, 0));
  ASSERT_TRUE(world);
  world->Fill(RX_Pixel16{16384, 32768, 0, 8192}, nullptr);
  world->ClearExceptRect(GE_LRect{1, 1, 3, 3});
  world->FillAlpha();
  world->InvertAlpha();
  const auto& typed = static_cast<const RX_WorldX<TypeParam>&>(*world);
  const TypeParam filled = expected_of_16<TypeParam>(RX_Pixel16{16384, 32768, 0, 8192});
  for (int32_t y = 0; y < 4; ++y) {
    for (int32_t x = 0; x < 5; ++x) {
      TypeParam expected = x >= 1 && x < 3 && y >= 1 && y < 3 ? filled : TypeParam{};
      expected.alpha = 0;  // opaque, then inverted
      ASSERT_TRUE(rxtest::same_pixel(typed.Row(y)[x], expected)) << x << ", " << y;
    }
  }
  world->Clear(nullptr);
  EXPECT_FALSE(world->SubWorldSafetyGutterHasBeenOverWritten());
}

}  // namespace
