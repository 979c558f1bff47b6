// rx composite --feather run in process on files the test writes, against
// the package called directly on the same pixels: the coverage taken by
// RX_PrepTrackMatteUniv, blurred with the Gaussian uno scans, merged with
// RX_MergeMaskAlpha, then RX_TransferRect without the matte.
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <random>
#include <sstream>
#include <vector>

#include "commands/commands.h"
#include "picture.h"
#include "rx_test_support.h"
#include "tool.h"

namespace {

namespace fs = std::filesystem;
using rxtool::Picture;

struct ToolRun {
  int status;
  std::string out, err;
};

class RxFeather : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = fs::temp_directory_path() / ("rx-feather-test-" + std::to_string(::getpid()) + "-" +
                                        ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::create_directories(dir_);
  }
  void TearDown() override { fs::remove_all(dir_); }
  std::string at(const std::string& name) const { return (dir_ / name).string(); }
  ToolRun rx(const std::string& arguments) const {
    std::vector<std::string> words{"rx"};
    std::istringstream in(arguments);
    for (std::string w; in >> w;) words.push_back(w);
    std::ostringstream out, err;
    const int status = rxtool::run(words, {out, err});
    return {status, out.str(), err.str()};
  }
  fs::path dir_;
};

template <class Px>
Picture random_picture(std::mt19937& rng, int w, int h, int depth, bool opaque, bool smooth) {
  Picture p(w, h, depth);
  const double top = depth == 8 ? 255.0 : 32768.0;
  for (int y = 0; y < h; ++y) {
    Px* row = p.row<Px>(y);
    for (int x = 0; x < w; ++x) {
      using Cv = decltype(row[x].alpha);
      auto v = [&](double unit) { return Cv(std::lround(std::clamp(unit, 0.0, 1.0) * top)); };
      const double wave = 0.5 + 0.5 * std::sin(x * 0.31 + y * 0.17) * std::cos(y * 0.23);
      const double noise = double(rng() % 1000) / 999.0;
      row[x].alpha = opaque ? v(1.0) : v(smooth ? wave : noise);
      row[x].red = v(smooth ? wave : noise);
      row[x].green = v(double(rng() % 1000) / 999.0);
      row[x].blue = v(double(x) / w);
    }
  }
  return p;
}

// The feather and the composite, called directly.
template <class Px, class V>
void feather_directly(Picture& layer, const Picture* matte, int kind, double radius) {
  const int m = int(std::ceil(radius));
  const int w = layer.width() + 2 * m, h = layer.height() + 2 * m;
  const Picture& source = matte ? *matte : layer;
  RX_UnoBuffer* buffer = nullptr;
  ASSERT_EQ(sizeof(V) == 1 ? RX_NewUnoBuffer(w, h, &buffer) : RX_NewDeepUnoBuffer(w, h, &buffer), RX_Result_OK);
  auto* values = static_cast<V*>(*buffer->pixels);
  std::vector<Px> line(static_cast<size_t>(w));
  for (int y = 0; y < h; ++y) {
    const int sy = y - m;
    const Px* row = sy >= 0 && sy < source.height() ? source.row<Px>(sy) : nullptr;
    RX_PrepTrackMatteUniv(w, row, m, source.width(), matte ? kind : 0, sizeof(V) == 2, line.data());
    for (int x = 0; x < w; ++x) values[size_t(y) * w + x] = line[size_t(x)].alpha;
  }
  std::vector<V> scratch(size_t(std::max(w, h) + 4 * m + 8)), column(static_cast<size_t>(h));
  const int32_t r = int32_t(std::lround(radius * 65536.0));
  for (int y = 0; y < h; ++y) {
    if constexpr (sizeof(V) == 1) {
      ASSERT_EQ(RX_GBlurUnoScan(1, w, m, m + layer.width(), r, scratch.data(), values + size_t(y) * w), 0);
    } else {
      ASSERT_EQ(RX_GBlurDeepUnoScan(1, w, m, m + layer.width(), r, scratch.data(), values + size_t(y) * w), 0);
    }
  }
  for (int x = m; x < m + layer.width(); ++x) {
    for (int y = 0; y < h; ++y) column[size_t(y)] = values[size_t(y) * w + x];
    if constexpr (sizeof(V) == 1) {
      ASSERT_EQ(RX_GBlurUnoScan(1, h, m, m + layer.height(), r, scratch.data(), column.data()), 0);
    } else {
      ASSERT_EQ(RX_GBlurDeepUnoScan(1, h, m, m + layer.height(), r, scratch.data(), column.data()), 0);
    }
    for (int y = 0; y < h; ++y) values[size_t(y) * w + x] = column[size_t(y)];
  }
  RX_WorldX<Px> world(*layer.def(), false);
  RX_MergeMaskAlpha(nullptr, -m, -m, nullptr, buffer, nullptr, &world);
  RX_DisposeUnoBuffer(buffer);
}

template <class Px>
bool same_pictures(const Picture& a, const Picture& b) {
  if (a.width() != b.width() || a.height() != b.height() || a.depth() != b.depth()) return false;
  for (int y = 0; y < a.height(); ++y) {
    if (std::memcmp(a.row<Px>(y), b.row<Px>(y), size_t(a.width()) * sizeof(Px)) != 0) return false;
  }
  return true;
}

TEST_F(RxFeather, FeatheredMatteIsWhatThePackageGivesAt8Bits) {
  std::mt19937 rng(501);
  save_picture(random_picture<RX_Pixel8>(rng, 90, 70, 8, true, false), at("bg.png"), false);
  save_picture(random_picture<RX_Pixel8>(rng, 40, 30, 8, false, false), at("layer.png"), false);
  // A matte larger than the layer: only the tiles under it are read.
  save_picture(random_picture<RX_Pixel8>(rng, 300, 200, 8, true, true), at("matte.png"), false);
  const ToolRun run = rx("composite " + at("bg.png") + " " + at("layer.png") + " -o " + at("out.png") +
                         " --at 5,3 --matte " + at("matte.png") + " --matte-kind luma --feather 3.5 -v");
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_NE(run.out.find("feather: 1 of 20 tiles of the matte made"), std::string::npos) << run.out;

  ASSERT_EQ(RX_Birth(), RX_Result_OK);
  Picture background = rxtool::load_picture(at("bg.png"), false);
  Picture layer = rxtool::load_picture(at("layer.png"), false);
  const Picture matte = rxtool::load_picture(at("matte.png"), false);
  feather_directly<RX_Pixel8, uint8_t>(layer, &matte, RX_Mask_Luma, 3.5);
  const RX_CompositeModePlus mode(RX_Xfer_Over, 1.0f, nullptr, false, 0);
  ASSERT_EQ(RX_TransferRect(nullptr, 0, 0, 0, GE_LRect{0, 0, 40, 30}, layer.def(), &mode, nullptr, nullptr, 5, 3,
                            background.def()),
            RX_Result_OK);
  const Picture written = rxtool::load_picture(at("out.png"), false);
  EXPECT_TRUE(same_pictures<RX_Pixel8>(written, background));
  EXPECT_EQ(RX_Death(), RX_Result_OK);
}

TEST_F(RxFeather, FeatheredAlphaIsWhatThePackageGivesAt16Bits) {
  std::mt19937 rng(502);
  save_picture(random_picture<RX_Pixel16>(rng, 50, 40, 16, true, false), at("bg.tif"), false);
  save_picture(random_picture<RX_Pixel16>(rng, 33, 21, 16, false, true), at("layer.tif"), false);
  const ToolRun run = rx("composite " + at("bg.tif") + " " + at("layer.tif") + " -o " + at("out.tif") +
                         " --at -4,9 --mode multiply --feather 2");
  ASSERT_EQ(run.status, 0) << run.err;

  ASSERT_EQ(RX_Birth(), RX_Result_OK);
  Picture background = rxtool::load_picture(at("bg.tif"), false);
  Picture layer = rxtool::load_picture(at("layer.tif"), false);
  feather_directly<RX_Pixel16, uint16_t>(layer, nullptr, 0, 2.0);
  const RX_CompositeModePlus mode(RX_Xfer_Multiply, 1.0f, nullptr, false, 0);
  ASSERT_EQ(RX_TransferRect(nullptr, 0, 0, 0, GE_LRect{0, 0, 33, 21}, layer.def(), &mode, nullptr, nullptr, -4, 9,
                            background.def()),
            RX_Result_OK);
  EXPECT_TRUE(same_pictures<RX_Pixel16>(rxtool::load_picture(at("out.tif"), false), background));
  EXPECT_EQ(RX_Death(), RX_Result_OK);
}

TEST_F(RxFeather, FeatherChangesOnlyTheEdges) {
  // An opaque square with hard edges: feathered, its middle stays opaque and
  // its edges soften.
  Picture layer(40, 40, 8);
  for (int y = 0; y < 40; ++y) {
    for (int x = 0; x < 40; ++x) {
      const bool inside = x >= 10 && x < 30 && y >= 10 && y < 30;
      layer.row<RX_Pixel8>(y)[x] = {uint8_t(inside ? 255 : 0), 200, 100, 50};
    }
  }
  save_picture(layer, at("square.png"), false);
  Picture bg(40, 40, 8);
  for (int y = 0; y < 40; ++y) {
    for (int x = 0; x < 40; ++x) bg.row<RX_Pixel8>(y)[x] = {255, 0, 0, 0};
  }
  save_picture(bg, at("black.png"), false);
  ASSERT_EQ(rx("composite " + at("black.png") + " " + at("square.png") + " -o " + at("out.png") + " --feather 4").status, 0);
  const Picture out = rxtool::load_picture(at("out.png"), false);
  EXPECT_EQ(out.row<RX_Pixel8>(20)[20].red, 200);
  const int edge = out.row<RX_Pixel8>(20)[10].red;
  EXPECT_GT(edge, 20);
  EXPECT_LT(edge, 180);
  EXPECT_EQ(out.row<RX_Pixel8>(20)[5].red, 0);
}

TEST_F(RxFeather, NegativeRadiusIsOneLineAndANonZeroStatus) {
  std::mt19937 rng(503);
  save_picture(random_picture<RX_Pixel8>(rng, 8, 8, 8, true, false), at("a.png"), false);
  const ToolRun run = rx("composite " + at("a.png") + " " + at("a.png") + " -o " + at("out.png") + " --feather -2");
  EXPECT_NE(run.status, 0);
  EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
  EXPECT_NE(run.err.find("feather"), std::string::npos) << run.err;
  EXPECT_FALSE(fs::exists(at("out.png")));
}

}  // namespace
