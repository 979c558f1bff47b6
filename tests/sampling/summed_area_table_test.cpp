// Summed-area tables against direct sums: every entry is the mean of the
// premultiplied rectangle up to it; the draft sampler gives whole-pixel box
// averages and the antialiased one the bilinear mix of its corners; the
// SSE2 build agrees with the plain build; allocation failure throws 4 and
// leaves nothing behind. Worlds have padded rows or are parts of others.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

#include "RX_AreaSampling.h"
#include "rx_test_support.h"
#include "sampling/area_sample.h"
#include "variant_forms.h"

namespace {

struct WorldDeleter {
  void operator()(RX_World* w) const { delete w; }
};
using WorldPtr = std::unique_ptr<RX_World, WorldDeleter>;

template <class Px>
constexpr double white_of() {
  if constexpr (std::is_same_v<Px, RX_Pixel8>)
    return 255.0;
  else if constexpr (std::is_same_v<Px, RX_Pixel16>)
    return 32768.0;
  else
    return 1.0;
}

template <class Px>
constexpr bool is_float = std::is_same_v<Px, RX_PixelFloat>;

template <class Px>
constexpr int16_t depth_of() {
  return sizeof(Px) == 4 ? 8 : sizeof(Px) == 8 ? 16 : 32;
}

// Entries of the table for a picture of Px, and the pixel a sample gives.
template <class Px>
using EntryOf =
    std::conditional_t<std::is_same_v<Px, RX_PixelFloat>, RX_PixelDouble, RX_PixelFloat>;

template <class P>
double ch(const P& p, int k) {
  return k == 0   ? double(p.alpha)
         : k == 1 ? double(p.red)
         : k == 2 ? double(p.green)
                  : double(p.blue);
}

template <class P>
std::string show(const P& p) {
  std::ostringstream s;
  s.precision(12);
  s << "(" << +p.alpha << ", " << +p.red << ", " << +p.green << ", " << +p.blue << ")";
  return s.str();
}

template <class Px>
Px random_pixel(std::mt19937& rng) {
  std::uniform_int_distribution<int> kind(0, 4);
  const int k = kind(rng);
  Px p{};
  if constexpr (std::is_same_v<Px, RX_PixelFloat>) {
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    p.alpha = k == 0 ? 0.0f : k == 1 ? 1.0f : unit(rng);
    // Premultiplied content, as float pixels enter the table as they are.
    p.red = p.alpha * unit(rng);
    p.green = p.alpha * unit(rng);
    p.blue = p.alpha * unit(rng);
  } else {
    using Cv = decltype(p.red);
    const int white = int(white_of<Px>());
    std::uniform_int_distribution<int> any(0, white);
    p.alpha = Cv(k == 0 ? 0 : k == 1 ? white : any(rng));
    p.red = Cv(any(rng));
    p.green = Cv(any(rng));
    p.blue = Cv(any(rng));
  }
  return p;
}

// A picture inside a larger owning world with padded rows: the table is
// built from a reference to the inner rectangle.
template <class Px>
struct Picture {
  WorldPtr parent;
  WorldPtr world;
  int32_t width, height;

  Picture(int32_t w, int32_t h, std::mt19937& rng) : width(w), height(h) {
    parent.reset(RX_World::New(w + 5, h + 3, depth_of<Px>(), RX_WorldFlag_Clear));
    for (int32_t j = 0; j < h + 3; ++j) {
      for (int32_t i = 0; i < w + 5; ++i) {
        Px p{};
        if constexpr (std::is_same_v<Px, RX_PixelFloat>)
          p = {1.0f, 1.0f, 1.0f, 1.0f};
        else
          p.alpha = p.red = p.green = p.blue = decltype(p.red)(white_of<Px>());
        at(*parent, i, j) = p;
      }
    }
    world.reset(RX_World::NewReference(*parent, GE_LRect{3, 2, 3 + w, 2 + h}));
    for (int32_t j = 0; j < h; ++j) {
      for (int32_t i = 0; i < w; ++i) at(*world, i, j) = random_pixel<Px>(rng);
    }
  }
  static Px& at(const RX_World& w, int32_t i, int32_t j) {
    return reinterpret_cast<Px*>(static_cast<char*>(w.Data()) + intptr_t{j} * w.RowStride())[i];
  }
  const Px& at(int32_t i, int32_t j) const { return at(*world, i, j); }

  // The pixel as the table takes it: premultiplied at its own scale, float
  // pixels as they are.
  RX_PixelDouble input(int32_t i, int32_t j) const {
    const Px& p = at(i, j);
    if constexpr (std::is_same_v<Px, RX_PixelFloat>) {
      return {p.alpha, p.red, p.green, p.blue};
    } else {
      const double a = p.alpha, white = white_of<Px>();
      return {a, p.red * a / white, p.green * a / white, p.blue * a / white};
    }
  }
  // Sum of the inputs of columns 0..cx-1 and rows 0..cy-1.
  RX_PixelDouble sum_before(int64_t cx, int64_t cy) const { return sum(0, 0, cx, cy); }
  RX_PixelDouble sum(int64_t x0, int64_t y0, int64_t x1, int64_t y1) const {
    RX_PixelDouble s{};
    for (int64_t j = std::max<int64_t>(y0, 0); j < std::min<int64_t>(y1, height); ++j) {
      for (int64_t i = std::max<int64_t>(x0, 0); i < std::min<int64_t>(x1, width); ++i) {
        const RX_PixelDouble p = input(int32_t(i), int32_t(j));
        s.alpha += p.alpha;
        s.red += p.red;
        s.green += p.green;
        s.blue += p.blue;
      }
    }
    return s;
  }
};

template <class Px>
const EntryOf<Px>* entries(const RX_SummedAreaTable& t) {
  if constexpr (std::is_same_v<Px, RX_PixelFloat>)
    return t.DoubleTable();
  else
    return t.Table();
}

// How far a sum read from a table may be from the exact sum: entries keep
// 24 bits (float) or 53 (double), and a box reads at most sixteen of them,
// each times at most the whole picture's pixel count.
template <class Px>
double sum_error(int32_t width, int32_t height) {
  const double eps = std::is_same_v<Px, RX_PixelFloat> ? 0x1p-53 : 0x1p-24;
  return 16.0 * eps * white_of<Px>() * 4.0 * width * height;
}

// Whether a channel holds value, known to within tolerance: limited to
// 0..white, then + 0.5 and truncated for integer pixels.
template <class Out>
bool holds(double got, double value, double tolerance) {
  const double white = white_of<Out>();
  const double lo = std::clamp(value - tolerance, 0.0, white);
  const double hi = std::clamp(value + tolerance, 0.0, white);
  if constexpr (std::is_same_v<Out, RX_PixelFloat>) {
    const double single = 1e-6 * std::max(1.0, std::fabs(value));
    return got >= lo - single && got <= hi + single;
  } else {
    constexpr double kHair = 1e-9;
    return got >= std::floor(lo + 0.5 - kHair) && got <= std::floor(hi + 0.5 + kHair);
  }
}

// A sample from exact sums over the box: alpha = sum / area, colours = sum
// × white / alpha sum; zero when the alpha sum is not above 0. Where the
// alpha sum is within the table's error of 0, only the alpha is held to it.
template <class Out>
::testing::AssertionResult matches(const Out& got, const RX_PixelDouble& s, double area,
                                   double error) {
  const double white = white_of<Out>();
  auto fail = [&](const char* what) {
    std::ostringstream m;
    m.precision(12);
    m << what << ": got " << show(got) << " sums " << show(s) << " area " << area;
    return ::testing::AssertionFailure() << m.str();
  };
  if (!holds<Out>(ch(got, 0), s.alpha / area, error / area)) return fail("alpha");
  if (s.alpha <= error) return ::testing::AssertionSuccess();
  const double colour_error = 2.0 * white * error / (s.alpha - error);
  for (int k = 1; k < 4; ++k) {
    if (!holds<Out>(ch(got, k), ch(s, k) * white / s.alpha, colour_error)) return fail("colour");
  }
  return ::testing::AssertionSuccess();
}

template <class Px>
class SummedAreaTable : public rxtest::BornPackage {};

using Depths = ::testing::Types<RX_Pixel8, RX_Pixel16, RX_PixelFloat>;
TYPED_TEST_SUITE(SummedAreaTable, Depths);

TYPED_TEST(SummedAreaTable, EntriesAreMeansOfTheRectangleUpToThem) {
  using Px = TypeParam;
  std::mt19937 rng(42);
  Picture<Px> pic(23, 17, rng);
  RX_SummedAreaTable table(pic.world.get());
  ASSERT_EQ(table.Width(), 23);
  ASSERT_EQ(table.Height(), 17);
  const auto* e = entries<Px>(table);
  ASSERT_NE(e, nullptr);
  if constexpr (std::is_same_v<Px, RX_PixelFloat>)
    EXPECT_EQ(table.Table(), nullptr);
  else
    EXPECT_EQ(table.DoubleTable(), nullptr);
  for (int32_t y = 0; y < 17; ++y) {
    for (int32_t x = 0; x < 23; ++x) {
      const RX_PixelDouble s = pic.sum_before(x + 1, y + 1);
      const double n = double(x + 1) * (y + 1);
      const auto& got = e[y * 23 + x];
      for (int k = 0; k < 4; ++k) {
        const double want = ch(s, k) / n;
        // Float entries: rounded to single precision; double: a few places.
        const double tolerance = std::is_same_v<Px, RX_PixelFloat>
                                     ? 1e-13 * std::max(1.0, want)
                                     : 1.2e-7 * std::max(1e-30, std::fabs(want));
        ASSERT_NEAR(ch(got, k), want, tolerance) << "entry " << x << "," << y << " channel " << k;
      }
    }
  }
}

TYPED_TEST(SummedAreaTable, PixelsEnterPremultipliedAtTheirOwnScale) {
  using Px = TypeParam;
  rxtest::TestWorld<Px> raw(2, 1, 16, 4);
  if constexpr (std::is_same_v<Px, RX_PixelFloat>) {
    // Float pixels enter as they are.
    raw.at(0, 0) = {0.5f, 0.8f, 0.25f, 2.0f};
    raw.at(1, 0) = {0.25f, 0.0f, 1.0f, 0.5f};
    WorldPtr world(RX_World::NewReference(*raw.def()));
    RX_SummedAreaTable table(world.get());
    EXPECT_EQ(table.DoubleTable()[0].red, double(0.8f));
    EXPECT_EQ(table.DoubleTable()[0].blue, 2.0);
    EXPECT_EQ(table.DoubleTable()[1].alpha, 0.375);
    EXPECT_EQ(table.DoubleTable()[1].green, 0.625);
  } else {
    using Cv = decltype(raw.at(0, 0).red);
    const double white = white_of<Px>();
    raw.at(0, 0) = {Cv(white * 0.6), Cv(white * 0.3), Cv(white), Cv(7)};
    raw.at(1, 0) = {Cv(white), Cv(white * 0.3), Cv(0), Cv(7)};
    WorldPtr world(RX_World::NewReference(*raw.def()));
    RX_SummedAreaTable table(world.get());
    const Px& p = raw.at(0, 0);
    const double a = p.alpha;
    EXPECT_EQ(table.Table()[0].alpha, float(a));
    EXPECT_EQ(table.Table()[0].red, float(p.red * a / white));
    EXPECT_EQ(table.Table()[0].green, float(p.green * a / white));
    EXPECT_EQ(table.Table()[0].blue, float(p.blue * a / white));
    // Opaque: colours as they are; the entry is the mean of the two.
    EXPECT_EQ(table.Table()[1].red, float((p.red * a / white + p.red) * 0.5));
    EXPECT_EQ(table.Table()[1].blue, float((p.blue * a / white + p.blue) * 0.5));
  }
}

TYPED_TEST(SummedAreaTable, DraftBoxesAverageTheirWholePixels) {
  using Px = TypeParam;
  std::mt19937 rng(77);
  Picture<Px> pic(19, 14, rng);
  RX_SummedAreaTable table(pic.world.get());
  std::uniform_int_distribution<int32_t> xs(-4, 23), ys(-4, 18);
  for (int n = 0; n < 4000; ++n) {
    int32_t x0 = xs(rng), x1 = xs(rng), y0 = ys(rng), y1 = ys(rng);
    if (n % 2) {
      if (x0 > x1) std::swap(x0, x1);
      if (y0 > y1) std::swap(y0, y1);
    }
    Px got;
    std::memset(&got, 0xCD, sizeof got);
    RX_SummedAreaTable_SampleDraft<Px, EntryOf<Px>>(19, 14, entries<Px>(table), x0, y0, x1, y1,
                                                    &got);
    const int64_t area = int64_t(x1 - x0) * (y1 - y0);
    if (area <= 0 || std::max(x0, 0) >= std::min(x1, 19) || std::max(y0, 0) >= std::min(y1, 14)) {
      const Px zero{};
      ASSERT_EQ(std::memcmp(&got, &zero, sizeof(Px)), 0)
          << x0 << " " << y0 << " " << x1 << " " << y1;
      continue;
    }
    ASSERT_TRUE(matches(got, pic.sum(x0, y0, x1, y1), double(area), sum_error<Px>(19, 14)))
        << x0 << " " << y0 << " " << x1 << " " << y1;
  }
}

// The antialiased form as stated: half a pixel onto every corner, limits
// at 0 and just short of the far edges, then each corner the bilinear mix
// of the whole-pixel sums around it, with the draft form's signs.
template <class Px>
RX_PixelDouble aa_reference(const Picture<Px>& pic, float x0, float y0, float x1, float y1,
                            double* area, bool* empty) {
  x0 += 0.5f, y0 += 0.5f, x1 += 0.5f, y1 += 0.5f;
  *area = (double(x1) - x0) * (double(y1) - y0);
  x0 = std::max(x0, 0.0f), y0 = std::max(y0, 0.0f);
  x1 = std::min(x1, float(pic.width) - 1e-5f), y1 = std::min(y1, float(pic.height) - 1e-5f);
  *empty = !(*area > 0) || !(x0 < x1) || !(y0 < y1);
  RX_PixelDouble s{};
  if (*empty) return s;
  auto corner = [&](float cx, float cy, double sign) {
    const double i = std::floor(cx), j = std::floor(cy), fx = cx - i, fy = cy - j;
    const double w[4] = {(1 - fx) * (1 - fy), fx * (1 - fy), (1 - fx) * fy, fx * fy};
    for (int t = 0; t < 4; ++t) {
      const RX_PixelDouble c = pic.sum_before(int64_t(i) + t % 2, int64_t(j) + t / 2);
      s.alpha += sign * w[t] * c.alpha;
      s.red += sign * w[t] * c.red;
      s.green += sign * w[t] * c.green;
      s.blue += sign * w[t] * c.blue;
    }
  };
  corner(x1, y1, 1);
  corner(x0, y0, 1);
  corner(x0, y1, -1);
  corner(x1, y0, -1);
  return s;
}

TYPED_TEST(SummedAreaTable, AntialiasedBoxesMixTheirCornersBilinearly) {
  using Px = TypeParam;
  std::mt19937 rng(31337);
  Picture<Px> pic(16, 13, rng);
  RX_SummedAreaTable table(pic.world.get());
  std::uniform_real_distribution<float> xs(-4.0f, 20.0f), ys(-4.0f, 17.0f);
  for (int n = 0; n < 3000; ++n) {
    float x0 = xs(rng), x1 = xs(rng), y0 = ys(rng), y1 = ys(rng);
    if (n % 4) {
      if (x0 > x1) std::swap(x0, x1);
      if (y0 > y1) std::swap(y0, y1);
    }
    if (n % 10 == 0) x0 = std::floor(x0) - 0.5f;  // whole-pixel edges now and then
    Px got;
    std::memset(&got, 0xCD, sizeof got);
    RX_SummedAreaTable_SampleAA<Px, EntryOf<Px>>(16, 13, entries<Px>(table), x0, y0, x1, y1, &got);
    double area;
    bool empty;
    const RX_PixelDouble s = aa_reference(pic, x0, y0, x1, y1, &area, &empty);
    if (empty) {
      const Px zero{};
      ASSERT_EQ(std::memcmp(&got, &zero, sizeof(Px)), 0)
          << x0 << " " << y0 << " " << x1 << " " << y1;
      continue;
    }
    ASSERT_TRUE(matches(got, s, area, sum_error<Px>(16, 13)))
        << x0 << " " << y0 << " " << x1 << " " << y1;
  }
}

TYPED_TEST(SummedAreaTable, AntialiasedBoxOnPixelEdgesEqualsTheDraftBox) {
  using Px = TypeParam;
  std::mt19937 rng(12);
  Picture<Px> pic(12, 10, rng);
  RX_SummedAreaTable table(pic.world.get());
  for (int32_t x0 = -1; x0 < 11; x0 += 2) {
    for (int32_t y0 = 0; y0 < 9; ++y0) {
      const int32_t x1 = std::min(x0 + 3, 11), y1 = y0 + 1;
      Px draft, aa;
      RX_SummedAreaTable_SampleDraft<Px, EntryOf<Px>>(12, 10, entries<Px>(table), x0, y0, x1, y1,
                                                      &draft);
      RX_SummedAreaTable_SampleAA<Px, EntryOf<Px>>(12, 10, entries<Px>(table), x0 - 0.5f, y0 - 0.5f,
                                                   x1 - 0.5f, y1 - 0.5f, &aa);
      for (int k = 0; k < 4; ++k) {
        EXPECT_NEAR(ch(aa, k), ch(draft, k), is_float<Px> ? 1e-6 : 1.0)
            << x0 << " " << y0 << " channel " << k;
      }
    }
  }
}

TYPED_TEST(SummedAreaTable, DraftBoxOfNoWidthGivesZero) {
  using Px = TypeParam;
  std::mt19937 rng(2);
  Picture<Px> pic(6, 5, rng);
  RX_SummedAreaTable table(pic.world.get());
  const Px zero{};
  for (int32_t x = -1; x <= 6; ++x) {
    Px got;
    std::memset(&got, 0xCD, sizeof got);
    RX_SummedAreaTable_SampleDraft<Px, EntryOf<Px>>(6, 5, entries<Px>(table), x, 0, x, 5, &got);
    EXPECT_EQ(std::memcmp(&got, &zero, sizeof(Px)), 0) << x;
    std::memset(&got, 0xCD, sizeof got);
    RX_SummedAreaTable_SampleAA<Px, EntryOf<Px>>(6, 5, entries<Px>(table), float(x), 0.0f, float(x),
                                                 5.0f, &got);
    EXPECT_EQ(std::memcmp(&got, &zero, sizeof(Px)), 0) << x;
  }
}

TYPED_TEST(SummedAreaTable, TransparentWorldGivesZeroForAnyBox) {
  using Px = TypeParam;
  WorldPtr world(RX_World::New(11, 9, depth_of<Px>(), RX_WorldFlag_Clear));
  // Colour under zero alpha must not show either.
  for (int32_t j = 0; j < 9; ++j) {
    for (int32_t i = 0; i < 11; ++i) {
      Px& p = Picture<Px>::at(*world, i, j);
      if constexpr (std::is_same_v<Px, RX_PixelFloat>)
        p = {0.0f, 0.0f, 0.0f, 0.0f};
      else
        p.red = p.green = p.blue = decltype(p.red)(white_of<Px>());
    }
  }
  RX_SummedAreaTable table(world.get());
  const Px zero{};
  std::mt19937 rng(4);
  std::uniform_int_distribution<int32_t> c(-3, 14);
  for (int n = 0; n < 300; ++n) {
    const int32_t x0 = c(rng), y0 = c(rng), x1 = c(rng), y1 = c(rng);
    Px got;
    std::memset(&got, 0xCD, sizeof got);
    RX_SummedAreaTable_SampleDraft<Px, EntryOf<Px>>(11, 9, entries<Px>(table), x0, y0, x1, y1,
                                                    &got);
    ASSERT_EQ(std::memcmp(&got, &zero, sizeof(Px)), 0);
    std::memset(&got, 0xCD, sizeof got);
    RX_SummedAreaTable_SampleAA<Px, EntryOf<Px>>(11, 9, entries<Px>(table), x0 * 0.7f, y0 * 1.3f,
                                                 x1 * 0.9f, y1 * 1.1f, &got);
    ASSERT_EQ(std::memcmp(&got, &zero, sizeof(Px)), 0);
  }
}

TYPED_TEST(SummedAreaTable, UniformOpaqueWorldGivesItsColourAndFadesAtEdges) {
  using Px = TypeParam;
  WorldPtr world(RX_World::New(10, 10, depth_of<Px>(), 0));
  Px colour{};
  if constexpr (std::is_same_v<Px, RX_PixelFloat>) {
    colour = {1.0f, 0.25f, 0.5f, 0.75f};
  } else {
    using Cv = decltype(colour.red);
    colour = {Cv(white_of<Px>()), Cv(white_of<Px>() / 4), Cv(white_of<Px>() / 2), Cv(3)};
  }
  for (int32_t j = 0; j < 10; ++j) {
    for (int32_t i = 0; i < 10; ++i) Picture<Px>::at(*world, i, j) = colour;
  }
  RX_SummedAreaTable table(world.get());
  const double tol = std::is_same_v<Px, RX_PixelFloat> ? 1e-6 : 0.0;
  Px got;
  RX_SummedAreaTable_SampleDraft<Px, EntryOf<Px>>(10, 10, entries<Px>(table), 2, 3, 7, 9, &got);
  for (int k = 0; k < 4; ++k) EXPECT_NEAR(ch(got, k), ch(colour, k), tol) << k;
  // Half the box outside: half alpha, same colour.
  RX_SummedAreaTable_SampleDraft<Px, EntryOf<Px>>(10, 10, entries<Px>(table), -3, 2, 3, 6, &got);
  EXPECT_NEAR(ch(got, 0), white_of<Px>() / 2 + (is_float<Px> ? 0.0 : 0.5),
              is_float<Px> ? 1e-6 : 0.5);
  for (int k = 1; k < 4; ++k) EXPECT_NEAR(ch(got, k), ch(colour, k), tol) << k;
  RX_SummedAreaTable_SampleAA<Px, EntryOf<Px>>(10, 10, entries<Px>(table), 1.25f, 2.5f, 6.75f, 8.0f,
                                               &got);
  for (int k = 0; k < 4; ++k)
    EXPECT_NEAR(ch(got, k), ch(colour, k), is_float<Px> ? 1e-5 : 0.0) << k;
}

// The entries of a picture built row by row with one form of the row
// builder, as the table's constructor builds them.
template <class Px>
std::vector<EntryOf<Px>> build_with(rx::TableRowBuilder<Px, EntryOf<Px>> build_row, const RX_World& world) {
  const int32_t width = world.Width(), height = world.Height();
  std::vector<RX_PixelDouble> above(size_t(width) + 1), current(size_t(width) + 1);
  std::vector<EntryOf<Px>> entries(size_t(width) * size_t(height));
  for (int32_t y = 0; y < height; ++y) {
    const auto* src =
        reinterpret_cast<const Px*>(static_cast<const char*>(world.Data()) + intptr_t{y} * world.RowStride());
    build_row(src, width, y, above.data(), current.data(), entries.data() + size_t(y) * size_t(width));
    std::swap(above, current);
  }
  return entries;
}

template <class Px>
const char* row_builder_name() {
  if constexpr (std::is_same_v<Px, RX_Pixel8>) return "summed_area_table.row8";
  else if constexpr (std::is_same_v<Px, RX_Pixel16>) return "summed_area_table.row16";
  else return "summed_area_table.row_float";
}

TYPED_TEST(SummedAreaTable, Sse2BuildAgreesWithThePlainBuildToTheLastPlace) {
  using Px = TypeParam;
  using Builder = rx::TableRowBuilder<Px, EntryOf<Px>>;
  std::mt19937 rng(606);
  Picture<Px> pic(37, 21, rng);
  const Builder plain_form = rxtest::form<Builder>(row_builder_name<Px>(), false);
  const Builder vector_form = rxtest::form<Builder>(row_builder_name<Px>(), true);
  ASSERT_NE(plain_form, nullptr);
  ASSERT_NE(vector_form, nullptr);
  const auto plain = build_with<Px>(plain_form, *pic.world);
  const auto vector = build_with<Px>(vector_form, *pic.world);
  // The table itself is built with the form birth chose.
  RX_SummedAreaTable table(pic.world.get());
  const auto* built = entries<Px>(table);
  const auto& chosen = rx::has_sse2() ? vector : plain;
  for (int32_t i = 0; i < 37 * 21; ++i) {
    EXPECT_EQ(std::memcmp(&built[i], &chosen[size_t(i)], sizeof built[i]), 0) << "entry " << i;
    for (int k = 0; k < 4; ++k) {
      const double x = ch(plain[size_t(i)], k), y = ch(vector[size_t(i)], k);
      using Real = decltype(plain[0].alpha);
      const Real ulp = std::nextafter(Real(std::fabs(x)), Real(INFINITY)) - Real(std::fabs(x));
      ASSERT_LE(std::fabs(x - y), double(ulp)) << "entry " << i << " channel " << k;
    }
  }
}

TYPED_TEST(SummedAreaTable, AllocationFailureThrowsOutOfMemoryAndKeepsNothing) {
  using Px = TypeParam;
  std::mt19937 rng(9);
  Picture<Px> pic(8, 6, rng);
  rxtest::ReportCapture capture;
  for (int32_t nth : {1, 2}) {
    const int64_t bytes = RXHost_LiveBytes(), blocks = RXHost_LiveBlocks();
    RXHost_FailNthAllocation(nth);
    RX_Err code = RX_Result_OK;
    try {
      RX_SummedAreaTable table(pic.world.get());
    } catch (RX_Err thrown) {
      code = thrown;
    }
    RXHost_FailNthAllocation(0);
    EXPECT_EQ(code, RX_Result_OutOfMemory) << nth;
    EXPECT_EQ(RXHost_LiveBytes(), bytes) << nth;
    EXPECT_EQ(RXHost_LiveBlocks(), blocks) << nth;
  }
  ASSERT_FALSE(capture.errors().empty());
  EXPECT_NE(capture.errors().back().text.find("memory for blurring"), std::string::npos)
      << capture.errors().back().text;
  // And a table that is had gives its memory back.
  const int64_t bytes = RXHost_LiveBytes();
  {
    RX_SummedAreaTable table(pic.world.get());
    EXPECT_GE(RXHost_LiveBytes(), bytes + int64_t(8 * 6 * sizeof(EntryOf<Px>)));
  }
  EXPECT_EQ(RXHost_LiveBytes(), bytes);
}

}  // namespace
