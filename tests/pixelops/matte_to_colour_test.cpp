// RX_MatteBlackToMatteColorARGB and RX_MatteBlackToMatteColorBGRA: an
// 8-bit world premultiplied against black becomes one premultiplied against
// a colour, each colour byte gaining m255(colour * (255 - alpha)) with
// saturation at 255. Every (alpha, value) pair, untidy worlds, rows of
// every width at every offset, with the SSE2 word on and off; the black
// colour that changes nothing; the flag that is not read; the refusal of
// deeper worlds.
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "cpu_words.h"
#include "painted_worlds.h"
#include "reference_arith.h"
#include "rx_test_support.h"

namespace {

namespace ref = rxtest::ref;

using rxtest::ReportCapture;
using rxtest::TestWorld;

using rxtest::kCpuWordSSE2;
using rxtest::kPaddingByte;
constexpr int32_t kGeneralLocation = 0x2503E7;

using rxtest::ref::m255;

enum class Order { ARGB, BGRA };

// Byte positions of alpha, red, green, blue in a pixel of each order.
struct Layout {
  int alpha, red, green, blue;
};
Layout layout(Order order) { return order == Order::ARGB ? Layout{0, 1, 2, 3} : Layout{3, 2, 1, 0}; }

RX_Err to_colour(Order order, RX_LayerDef* world, const RX_Pixel8& colour, int32_t flag) {
  return order == Order::ARGB ? RX_MatteBlackToMatteColorARGB(world, colour, flag)
                              : RX_MatteBlackToMatteColorBGRA(world, colour, flag);
}
const char* name(Order order) {
  return order == Order::ARGB ? "RX_MatteBlackToMatteColorARGB" : "RX_MatteBlackToMatteColorBGRA";
}

// The rule on one pixel's four bytes.
void rule(Order order, const uint8_t* in, uint8_t* out, const RX_Pixel8& colour) {
  const Layout l = layout(order);
  const uint32_t a = in[l.alpha];
  std::memcpy(out, in, 4);
  auto add = [&](int at, uint32_t m) {
    const uint32_t v = in[at] + m255(m * (255 - a));
    out[at] = uint8_t(v > 255 ? 255 : v);
  };
  add(l.red, colour.red);
  add(l.green, colour.green);
  add(l.blue, colour.blue);
}

uint8_t* bytes_at(TestWorld<RX_Pixel8>& w, int32_t x, int32_t y) {
  return reinterpret_cast<uint8_t*>(&w.at(x, y));
}

std::string show(const uint8_t* p) {
  std::ostringstream out;
  out << +p[0] << " " << +p[1] << " " << +p[2] << " " << +p[3];
  return out.str();
}

void paint_padding(TestWorld<RX_Pixel8>& w) {
  std::memset(w.def()->data, kPaddingByte, size_t(w.def()->row_stride) * size_t(w.height()));
}

using rxtest::padding_intact;

// Checks every pixel of `after` against the rule applied to `before`
// where inside(x, y), and unchanged elsewhere.
template <class Inside>
void expect_world(Order order, TestWorld<RX_Pixel8>& before, TestWorld<RX_Pixel8>& after,
                  const RX_Pixel8& colour, Inside inside) {
  int bad = 0;
  for (int32_t y = 0; y < after.height(); ++y) {
    for (int32_t x = 0; x < after.width(); ++x) {
      uint8_t want[4];
      const uint8_t* in = bytes_at(before, x, y);
      if (inside(x, y)) {
        rule(order, in, want, colour);
      } else {
        std::memcpy(want, in, 4);
      }
      if (std::memcmp(bytes_at(after, x, y), want, 4) != 0 && bad++ < 6) {
        ADD_FAILURE() << name(order) << " pixel " << x << ", " << y << ": " << show(in)
                      << " gave " << show(bytes_at(after, x, y)) << ", expected " << show(want);
      }
    }
  }
  EXPECT_EQ(bad, 0);
  EXPECT_TRUE(padding_intact(after)) << "a byte between rows was written";
}

// A copy of a world's bytes in a world of the same layout.
void copy_world(TestWorld<RX_Pixel8>& from, TestWorld<RX_Pixel8>& to) {
  std::memcpy(to.def()->data, from.def()->data,
              size_t(from.def()->row_stride) * size_t(from.height()));
}

class MatteToColour : public rxtest::BornWithSse2Param {};

INSTANTIATE_TEST_SUITE_P(Sse2, MatteToColour, ::testing::Bool(),
                         [](const ::testing::TestParamInfo<bool>& info) {
                           return info.param ? std::string("On") : std::string("Off");
                         });

const RX_Pixel8 kColours[] = {
    {0, 255, 255, 255}, {0, 128, 64, 200}, {0, 1, 0, 0}, {255, 7, 250, 77}, {9, 0, 0, 255}};

TEST_P(MatteToColour, EveryPairGainsTheColourTimesOneMinusAlphaWithSaturation) {
  // Pixel (x, y): alpha y; colour bytes x, 255 - x and a mix, so each byte
  // meets every value under every alpha.
  for (Order order : {Order::ARGB, Order::BGRA}) {
    const Layout l = layout(order);
    for (const RX_Pixel8& colour : kColours) {
      for (int32_t flag : {0, 1}) {
        TestWorld<RX_Pixel8> before(256, 256, 12, 3), after(256, 256, 12, 3);
        paint_padding(before);
        for (int32_t y = 0; y < 256; ++y) {
          for (int32_t x = 0; x < 256; ++x) {
            uint8_t* p = bytes_at(before, x, y);
            p[l.alpha] = uint8_t(y);
            p[l.red] = uint8_t(x);
            p[l.green] = uint8_t(255 - x);
            p[l.blue] = uint8_t(x * 7 + y);
          }
        }
        copy_world(before, after);
        EXPECT_EQ(to_colour(order, after.def(), colour, flag), RX_Result_OK);
        SCOPED_TRACE(::testing::Message() << "colour " << +colour.red << " " << +colour.green
                                          << " " << +colour.blue << ", flag " << flag);
        expect_world(order, before, after, colour, [](int32_t, int32_t) { return true; });
      }
    }
  }
}

TEST_P(MatteToColour, BlackColourChangesNothing) {
  for (Order order : {Order::ARGB, Order::BGRA}) {
    for (const RX_Pixel8& black : {RX_Pixel8{0, 0, 0, 0}, RX_Pixel8{255, 0, 0, 0}}) {
      TestWorld<RX_Pixel8> before(17, 5, 8, 1), after(17, 5, 8, 1);
      paint_padding(before);
      for (int32_t y = 0; y < 5; ++y) {
        for (int32_t x = 0; x < 17; ++x) {
          uint8_t* p = bytes_at(before, x, y);
          for (int b = 0; b < 4; ++b) p[b] = uint8_t(x * 31 + y * 17 + b * 5);
        }
      }
      copy_world(before, after);
      EXPECT_EQ(to_colour(order, after.def(), black, 0), RX_Result_OK);
      EXPECT_EQ(0, std::memcmp(before.def()->data, after.def()->data,
                               size_t(before.def()->row_stride) * 5))
          << name(order);
    }
  }
}

TEST_P(MatteToColour, FlagIsNotRead) {
  for (Order order : {Order::ARGB, Order::BGRA}) {
    TestWorld<RX_Pixel8> first(9, 4, 4, 2), second(9, 4, 4, 2);
    for (int32_t y = 0; y < 4; ++y) {
      for (int32_t x = 0; x < 9; ++x) {
        for (int b = 0; b < 4; ++b) bytes_at(first, x, y)[b] = uint8_t(x * 41 + y * 3 + b * 90);
      }
    }
    copy_world(first, second);
    EXPECT_EQ(to_colour(order, first.def(), kColours[1], 0), RX_Result_OK);
    EXPECT_EQ(to_colour(order, second.def(), kColours[1], -12345), RX_Result_OK);
    EXPECT_EQ(0, std::memcmp(first.def()->data, second.def()->data,
                             size_t(first.def()->row_stride) * 4))
        << name(order);
  }
}

TEST_P(MatteToColour, SubWorldTouchesOnlyItsOwnPixels) {
  for (Order order : {Order::ARGB, Order::BGRA}) {
    TestWorld<RX_Pixel8> before(20, 9, 16, 5), parent(20, 9, 16, 5);
    paint_padding(before);
    for (int32_t y = 0; y < 9; ++y) {
      for (int32_t x = 0; x < 20; ++x) {
        for (int b = 0; b < 4; ++b) bytes_at(before, x, y)[b] = uint8_t(x * 13 + y * 71 + b * 33);
      }
    }
    copy_world(before, parent);
    const GE_LRect place = {3, 2, 18, 8};
    RX_LayerDef sub = *parent.def();
    sub.data = bytes_at(parent, place.left, place.top);
    sub.width = place.right - place.left;
    sub.height = place.bottom - place.top;
    EXPECT_EQ(to_colour(order, &sub, kColours[3], 0), RX_Result_OK);
    expect_world(order, before, parent, kColours[3], [&](int32_t x, int32_t y) {
      return x >= place.left && x < place.right && y >= place.top && y < place.bottom;
    });
  }
}

TEST_P(MatteToColour, RowsOfEveryWidthAtEveryOffset) {
  for (Order order : {Order::ARGB, Order::BGRA}) {
    const Layout l = layout(order);
    for (int32_t width = 1; width <= 40; ++width) {
      for (int32_t misalign = 0; misalign < 16; ++misalign) {
        TestWorld<RX_Pixel8> before(width, 2, 4 + misalign, misalign);
        TestWorld<RX_Pixel8> after(width, 2, 4 + misalign, misalign);
        paint_padding(before);
        for (int32_t y = 0; y < 2; ++y) {
          for (int32_t x = 0; x < width; ++x) {
            uint8_t* p = bytes_at(before, x, y);
            for (int b = 0; b < 4; ++b) p[b] = uint8_t(x * 59 + y * 101 + b * 23 + width);
            // Blocks of eight opaque, transparent and mixed pixels.
            const int kind = (x / 8 + y + width) % 3;
            if (kind == 0) p[l.alpha] = 255;
            if (kind == 1) p[l.alpha] = 0;
          }
        }
        copy_world(before, after);
        EXPECT_EQ(to_colour(order, after.def(), kColours[1], 0), RX_Result_OK);
        SCOPED_TRACE(::testing::Message() << "width " << width << ", misalign " << misalign);
        expect_world(order, before, after, kColours[1], [](int32_t, int32_t) { return true; });
        if (HasFailure()) return;
      }
    }
  }
}

TEST(MatteToColourBothWays, SameBytesWithAndWithoutSSE2) {
  std::vector<uint8_t> results[2][2];
  for (int sse2 = 0; sse2 <= 1; ++sse2) {
    RXHost_SetCpuWord(kCpuWordSSE2, uint32_t(sse2));
    ASSERT_EQ(RX_Birth(), RX_Result_OK);
    for (int o = 0; o < 2; ++o) {
      TestWorld<RX_Pixel8> world(37, 11, 12, 7);
      for (int32_t y = 0; y < 11; ++y) {
        for (int32_t x = 0; x < 37; ++x) {
          for (int b = 0; b < 4; ++b) bytes_at(world, x, y)[b] = uint8_t((x * 37 + y * 11) * (b + 3));
        }
      }
      EXPECT_EQ(to_colour(o ? Order::BGRA : Order::ARGB, world.def(), kColours[3], 0),
                RX_Result_OK);
      const auto* data = static_cast<const uint8_t*>(world.def()->data);
      results[sse2][o].assign(data, data + world.def()->row_stride * 11);
    }
    EXPECT_EQ(RX_Death(), RX_Result_OK);
  }
  RXHost_ResetCpuWords();
  EXPECT_EQ(results[0][0], results[1][0]);
  EXPECT_EQ(results[0][1], results[1][1]);
}

template <class Px>
void expect_refused(Order order, const RX_Pixel8& colour) {
  TestWorld<Px> world(5, 3);
  for (int32_t x = 0; x < 5; ++x) world.at(x, 1).red = decltype(Px{}.red)(3);
  ReportCapture capture;
  EXPECT_EQ(to_colour(order, world.def(), colour, 0), RX_Result_Internal);
  const auto reports = capture.errors();
  ASSERT_EQ(reports.size(), 1u);
  EXPECT_EQ(reports[0].text, std::string(name(order)) + " only works on 8bpc RX_EffectWorlds");
  EXPECT_EQ(reports[0].location, kGeneralLocation);
  for (int32_t x = 0; x < 5; ++x) {
    EXPECT_TRUE(rxtest::same_pixel(world.at(x, 0), Px{}));
    EXPECT_EQ(world.at(x, 1).red, decltype(Px{}.red)(3));
  }
}

TEST_P(MatteToColour, DeeperWorldsAreRefusedWithTheirText) {
  for (Order order : {Order::ARGB, Order::BGRA}) {
    // The depth is checked before the colour: a black colour is refused too.
    for (const RX_Pixel8& colour : {kColours[0], RX_Pixel8{0, 0, 0, 0}}) {
      expect_refused<RX_Pixel16>(order, colour);
      expect_refused<RX_PixelFloat>(order, colour);
    }
  }
}

}  // namespace
