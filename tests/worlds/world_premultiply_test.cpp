// Premultiplication through world objects: Premultiply, Unmultiply,
// PremulColor and UnmulColor of worlds made by RX_World::New give at 8 and
// 16 bits the pixels the flat operations give (RX_Premul for the first two,
// RX_PremulColorRectFloat in place for the colour ones); sub-worlds keep to
// their rectangle; an abort is thrown as its code; float worlds throw
// RX_Result_Internal.
#include <cmath>
#include <cstring>
#include <memory>
#include <vector>

#include "rx_test_support.h"

namespace {

using rxtest::ReportCapture;

constexpr uint8_t kPaddingByte = 0x5A;

template <class Px>
int16_t depth_of() {
  return sizeof(Px) == 4 ? 8 : sizeof(Px) == 8 ? 16 : 32;
}

template <class Px>
Px* row(RX_World& w, int32_t y) {
  return reinterpret_cast<Px*>(static_cast<char*>(w.Data()) + intptr_t{y} * w.RowStride());
}

// Transparent, opaque and partial pixels, colours above and below alpha.
template <class Px>
Px marker(int32_t x, int32_t y) {
  const uint32_t h = uint32_t(x * 89 + y * 113 + x * y * 5 + 3);
  if constexpr (sizeof(Px) == 4) {
    const uint8_t a = h % 7 == 0 ? 0 : h % 7 == 1 ? 255 : uint8_t(h * 41);
    return {a, uint8_t(h * 17), uint8_t(h * 23 + 9), uint8_t(h >> 1)};
  } else if constexpr (sizeof(Px) == 8) {
    const uint16_t a = h % 7 == 0 ? 0 : h % 7 == 1 ? 32768 : uint16_t((h * 2039) % 32769);
    return {a, uint16_t((h * 1021) % 32769), uint16_t((h * 6007) % 32769),
            uint16_t((h * 29) % 32769)};
  } else {
    const float a = h % 7 == 0 ? 0.0f : h % 7 == 1 ? 1.0f : float(h % 97) / 96.0f;
    return {a, float(h % 31) / 30.0f, float(h % 41) / 40.0f, float(h % 11) / 10.0f};
  }
}

// Paints every byte of every row (padding included), then the pixels.
template <class Px>
void paint(RX_World& w) {
  for (int32_t y = 0; y < w.Height(); ++y) {
    std::memset(row<Px>(w, y), kPaddingByte, size_t(w.RowStride()));
    for (int32_t x = 0; x < w.Width(); ++x) row<Px>(w, y)[x] = marker<Px>(x, y);
  }
}

// Two worlds hold the same bytes, padding included.
bool same_bytes(RX_World& a, RX_World& b) {
  if (a.Width() != b.Width() || a.Height() != b.Height() || a.RowStride() != b.RowStride()) {
    return false;
  }
  for (int32_t y = 0; y < a.Height(); ++y) {
    const char* ra = static_cast<const char*>(a.Data()) + intptr_t{y} * a.RowStride();
    const char* rb = static_cast<const char*>(b.Data()) + intptr_t{y} * b.RowStride();
    if (std::memcmp(ra, rb, size_t(a.RowStride())) != 0) return false;
  }
  return true;
}

template <class Px>
class WorldPremultiply : public rxtest::BornPackage {
 protected:
  // Two worlds with the same pixels: one for the method, one for the flat
  // operation.
  std::unique_ptr<RX_World> make(int32_t w, int32_t h) {
    std::unique_ptr<RX_World> world(RX_World::New(w, h, depth_of<Px>(), 0));
    paint<Px>(*world);
    return world;
  }
};

using IntegerPixelTypes = ::testing::Types<RX_Pixel8, RX_Pixel16>;
TYPED_TEST_SUITE(WorldPremultiply, IntegerPixelTypes);

TYPED_TEST(WorldPremultiply, PremultiplyAndUnmultiplyEqualTheFlatOperation) {
  for (auto [w, h] : {std::pair{13, 7}, std::pair{1, 1}, std::pair{33, 4}}) {
    for (int forward = 0; forward <= 1; ++forward) {
      auto by_method = this->make(w, h);
      auto by_flat = this->make(w, h);
      ASSERT_TRUE(same_bytes(*by_method, *by_flat));
      if (forward) {
        by_method->Premultiply(nullptr);
      } else {
        by_method->Unmultiply(nullptr);
      }
      EXPECT_EQ(RX_Premul(nullptr, forward, &by_flat->LayerDef()), RX_Result_OK);
      EXPECT_TRUE(same_bytes(*by_method, *by_flat))
          << w << " x " << h << (forward ? " premultiplied" : " unmultiplied");
      // And something did happen.
      auto untouched = this->make(w, h);
      if (w * h > 1) {
        EXPECT_FALSE(same_bytes(*by_method, *untouched));
      }
    }
  }
}

TYPED_TEST(WorldPremultiply, ColourFormsEqualTheFlatFloatColourFormInPlace) {
  // Colours inside and outside 0..1, which the integer worlds clamp.
  const RX_PixelFloat colours[] = {{1.0f, 0.0f, 0.0f, 0.0f},
                                   {0.5f, 0.2f, 0.7f, 1.0f},
                                   {0.0f, 1.5f, -0.3f, 0.5f},
                                   {2.0f, 0.0019607844f, 0.5f / 32768.0f, 0.99999f}};
  for (const RX_PixelFloat& colour : colours) {
    for (int forward = 0; forward <= 1; ++forward) {
      auto by_method = this->make(11, 6);
      auto by_flat = this->make(11, 6);
      if (forward) {
        by_method->PremulColor(colour, nullptr);
      } else {
        by_method->UnmulColor(colour, nullptr);
      }
      EXPECT_EQ(RX_PremulColorRectFloat(nullptr, nullptr, &colour, forward, nullptr,
                                        &by_flat->LayerDef()),
                RX_Result_OK);
      EXPECT_TRUE(same_bytes(*by_method, *by_flat))
          << "colour " << colour.red << " " << colour.green << " " << colour.blue
          << (forward ? " forward" : " reverse");
      auto untouched = this->make(11, 6);
      EXPECT_FALSE(same_bytes(*by_method, *untouched));
    }
  }
}

TYPED_TEST(WorldPremultiply, SubWorldKeepsToItsRectangle) {
  auto parent = this->make(14, 9);
  auto expected = this->make(14, 9);
  const GE_LRect rect = {3, 2, 11, 8};
  std::unique_ptr<RX_World> sub(RX_World::NewReference(*parent, rect));
  sub->Premultiply(nullptr);
  RX_LayerDef flat = expected->LayerDef();
  EXPECT_EQ(RX_PremulRect(nullptr, 1, &rect, &flat), RX_Result_OK);
  EXPECT_TRUE(same_bytes(*parent, *expected));
  sub->UnmulColor({0.0f, 0.25f, 0.5f, 0.75f}, nullptr);
  const RX_PixelFloat colour = {0.0f, 0.25f, 0.5f, 0.75f};
  EXPECT_EQ(RX_PremulColorRectFloat(nullptr, nullptr, &colour, 0, &rect, &flat), RX_Result_OK);
  EXPECT_TRUE(same_bytes(*parent, *expected));
}

struct AbortAt {
  int calls = 0;
  int stop_at = 0;
};

RX_Err abort_at(void* refcon) {
  auto* a = static_cast<AbortAt*>(refcon);
  return ++a->calls == a->stop_at ? RX_Result_Interrupted : RX_Result_OK;
}

TYPED_TEST(WorldPremultiply, AbortIsThrownAsItsCode) {
  auto world = this->make(6, 8);
  auto expected = this->make(6, 8);
  AbortAt abort;
  abort.stop_at = 4;
  const RX_ProgressInfo progress = {&abort, &abort_at, nullptr};
  RX_Err thrown = 0;
  try {
    world->Premultiply(&progress);
  } catch (RX_Err e) {
    thrown = e;
  }
  EXPECT_EQ(thrown, RX_Result_Interrupted);
  EXPECT_EQ(abort.calls, 4);
  // The three rows before the abort are done, the rest not.
  const GE_LRect done = {0, 0, 6, 3};
  RX_LayerDef flat = expected->LayerDef();
  EXPECT_EQ(RX_PremulRect(nullptr, 1, &done, &flat), RX_Result_OK);
  EXPECT_TRUE(same_bytes(*world, *expected));
}

TYPED_TEST(WorldPremultiply, ColourFormsDoNotReadTheProgressRecord) {
  auto world = this->make(5, 5);
  AbortAt abort;
  abort.stop_at = 1;
  const RX_ProgressInfo progress = {&abort, &abort_at, nullptr};
  EXPECT_NO_THROW(world->PremulColor({0.0f, 0.5f, 0.5f, 0.5f}, &progress));
  EXPECT_NO_THROW(world->UnmulColor({0.0f, 0.5f, 0.5f, 0.5f}, &progress));
  EXPECT_EQ(abort.calls, 0);
}

class WorldPremultiplyFloat : public rxtest::BornPackage {};

TEST_F(WorldPremultiplyFloat, EveryMethodThrowsInternal) {
  {
    std::unique_ptr<RX_World> world(RX_World::New(4, 3, 32, 0));
    paint<RX_PixelFloat>(*world);
    std::unique_ptr<RX_World> untouched(RX_World::New(4, 3, 32, 0));
    paint<RX_PixelFloat>(*untouched);
    ReportCapture capture;  // whatever is reported stays out of the log
    const RX_PixelFloat colour = {0.0f, 0.5f, 0.25f, 1.0f};
    for (int method = 0; method < 4; ++method) {
      RX_Err thrown = 0;
      try {
        switch (method) {
          case 0: world->Premultiply(nullptr); break;
          case 1: world->Unmultiply(nullptr); break;
          case 2: world->PremulColor(colour, nullptr); break;
          default: world->UnmulColor(colour, nullptr); break;
        }
      } catch (RX_Err e) {
        thrown = e;
      }
      EXPECT_EQ(thrown, RX_Result_Internal) << "method " << method;
    }
    EXPECT_TRUE(same_bytes(*world, *untouched));
  }
}

}  // namespace
