// Many random operations on world objects (new worlds, sub-worlds,
// shrinking, copies by rectangle over every edge) checked against a plain
// model of the pixels, at all three depths.
#include <memory>
#include <random>

#include "rx_test_support.h"

namespace {

template <class Px>
struct Model {
  // Pixels of each owning world, and views into them.
  struct Owner {
    std::unique_ptr<RX_World> world;
    std::vector<Px> pixels;
    int32_t width, height;
  };
  struct View {
    std::unique_ptr<RX_World> world;  // null for an owner's own view
    size_t owner;
    int32_t x0, y0, width, height;
  };
  std::vector<Owner> owners;
  std::vector<View> views;

  RX_World& world_of(const View& v) { return v.world ? *v.world : *owners[v.owner].world; }
  Px& model_at(const View& v, int32_t x, int32_t y) {
    Owner& o = owners[v.owner];
    return o.pixels[size_t(v.y0 + y) * o.width + v.x0 + x];
  }
};

template <class Px>
Px random_pixel(std::mt19937& rng) {
  Px p;
  auto* bytes = reinterpret_cast<uint8_t*>(&p);
  for (size_t i = 0; i < sizeof p; ++i) bytes[i] = uint8_t(rng());
  return p;
}

template <class Px>
class WorldStress : public rxtest::BornPackage {};
TYPED_TEST_SUITE(WorldStress, rxtest::AllPixelTypes);

TYPED_TEST(WorldStress, RandomOperationsMatchAPlainModel) {
  using Px = TypeParam;
  const int16_t depth = int16_t(rxtest::TestWorld<Px>::depth());
  std::mt19937 rng(20261122);
  auto uniform = [&](int32_t lo, int32_t hi) {  // inclusive
    return std::uniform_int_distribution<int32_t>(lo, hi)(rng);
  };
  Model<Px> m;

  // Owners with random contents; some backed by bitmaps.
  for (int i = 0; i < 4; ++i) {
    const int32_t w = uniform(1, 40), h = uniform(1, 30);
    const uint32_t flags = (i % 2) ? uint32_t{RX_WorldFlag_Backed} : 0u;
    typename Model<Px>::Owner owner{std::unique_ptr<RX_World>(RX_World::New(w, h, depth, flags)),
                                    std::vector<Px>(size_t(w) * h), w, h};
    auto& wx = static_cast<RX_WorldX<Px>&>(*owner.world);
    for (int32_t y = 0; y < h; ++y) {
      for (int32_t x = 0; x < w; ++x) {
        owner.pixels[size_t(y) * w + x] = wx.Row(y)[x] = random_pixel<Px>(rng);
      }
    }
    m.owners.push_back(std::move(owner));
    m.views.push_back({nullptr, m.owners.size() - 1, 0, 0, w, h});
  }

  for (int step = 0; step < 400; ++step) {
    const int op = uniform(0, 2);
    if (op == 0 && m.views.size() < 24) {
      // A sub-world of a random view, sometimes shrunk further.
      const auto& parent = m.views[uniform(0, int32_t(m.views.size()) - 1)];
      const int32_t l = uniform(0, parent.width - 1), t = uniform(0, parent.height - 1);
      const int32_t r = uniform(l + 1, parent.width), b = uniform(t + 1, parent.height);
      typename Model<Px>::View view{
          std::unique_ptr<RX_World>(RX_World::NewReference(m.world_of(parent), GE_LRect{l, t, r, b})),
          parent.owner, parent.x0 + l, parent.y0 + t, r - l, b - t};
      if (uniform(0, 1)) {
        const int32_t sl = uniform(0, view.width - 1), st = uniform(0, view.height - 1);
        const int32_t sr = uniform(sl + 1, view.width), sb = uniform(st + 1, view.height);
        view.world->ShrinkToSubRect(GE_LRect{sl, st, sr, sb});
        view.x0 += sl, view.y0 += st, view.width = sr - sl, view.height = sb - st;
      }
      ASSERT_EQ(view.world->Width(), view.width);
      m.views.push_back(std::move(view));
    } else {
      // A copy by rectangle; the rectangle and the place hang over every edge.
      auto& src = m.views[uniform(0, int32_t(m.views.size()) - 1)];
      auto& dst = m.views[uniform(0, int32_t(m.views.size()) - 1)];
      const GE_LRect rect{uniform(-5, src.width), uniform(-5, src.height), uniform(-5, src.width + 5),
                          uniform(-5, src.height + 5)};
      const int32_t dst_x = uniform(-5, dst.width), dst_y = uniform(-5, dst.height);
      m.world_of(dst).CopyRect(m.world_of(src), rect, dst_x, dst_y);
      // The model: rows top to bottom, each row read whole before it is written.
      const int32_t dx = dst_x - rect.left, dy = dst_y - rect.top;
      const int32_t left = std::max(0, std::max(rect.left, 0) + dx);
      const int32_t right = std::min(dst.width, std::min(rect.right, src.width) + dx);
      const int32_t top = std::max(0, std::max(rect.top, 0) + dy);
      const int32_t bottom = std::min(dst.height, std::min(rect.bottom, src.height) + dy);
      for (int32_t y = top; y < bottom && left < right; ++y) {
        std::vector<Px> row;
        for (int32_t x = left; x < right; ++x) row.push_back(m.model_at(src, x - dx, y - dy));
        for (int32_t x = left; x < right; ++x) m.model_at(dst, x, y) = row[size_t(x - left)];
      }
    }
  }

  for (auto& owner : m.owners) {
    auto& wx = static_cast<RX_WorldX<Px>&>(*owner.world);
    for (int32_t y = 0; y < owner.height; ++y) {
      for (int32_t x = 0; x < owner.width; ++x) {
        ASSERT_TRUE(rxtest::same_pixel(wx.Row(y)[x], owner.pixels[size_t(y) * owner.width + x]))
            << x << "," << y;
      }
    }
    EXPECT_FALSE(owner.world->SubWorldSafetyGutterHasBeenOverWritten());
  }
  for (auto& view : m.views) {
    if (view.world) {
      EXPECT_TRUE(view.world->IsReference());
    }
  }
}

}  // namespace
