// rx transform and rx crossfade on files they write, against direct calls
// of RX_TransformWorld and RX_Blend on the same pixels; without transform
// options the result is rx composite's file bit for bit; and each bad
// option is one line on stderr with a non-zero status.
#include <OpenImageIO/imageio.h>

#include <unistd.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <vector>

#include "commands/commands.h"
#include "rx_test_support.h"
#include "tool.h"

namespace {

namespace fs = std::filesystem;

struct ToolRun {
  int status;
  std::string out, err;
};

class RxTransformTool : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = fs::temp_directory_path() / ("rx-transform-test-" + std::to_string(::getpid()) + "-" +
                                        ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::create_directories(dir_);
  }
  void TearDown() override { fs::remove_all(dir_); }
  std::string at(const std::string& name) const { return (dir_ / name).string(); }

  ToolRun rx(const std::string& arguments) const {
    std::vector<std::string> words{"rx"};
    std::istringstream in(arguments);
    for (std::string word; in >> word;) words.push_back(word);
    std::ostringstream out, err;
    const int status = rxtool::run(words, {out, err});
    return {status, out.str(), err.str()};
  }

  fs::path dir_;
};

template <class T>
void write_rgba(const std::string& path, int w, int h, const std::vector<T>& rgba, OIIO::TypeDesc type) {
  auto out = OIIO::ImageOutput::create(path);
  ASSERT_TRUE(out) << path;
  OIIO::ImageSpec layout(w, h, 4, type);
  layout.alpha_channel = 3;
  layout.attribute("oiio:UnassociatedAlpha", 1);
  ASSERT_TRUE(out->open(path, layout));
  ASSERT_TRUE(out->write_image(type, rgba.data()));
  ASSERT_TRUE(out->close());
}

template <class T>
std::vector<T> read_rgba(const std::string& path, OIIO::TypeDesc type) {
  OIIO::ImageSpec config;
  config.attribute("oiio:UnassociatedAlpha", 1);
  auto in = OIIO::ImageInput::open(path, &config);
  EXPECT_TRUE(in) << path;
  if (!in) return {};
  const OIIO::ImageSpec& layout = in->spec();
  std::vector<T> rgba(size_t(layout.width) * size_t(layout.height) * 4);
  EXPECT_TRUE(in->read_image(0, 0, 0, 4, type, rgba.data()));
  return rgba;
}

std::vector<uint8_t> random_rgba8(std::mt19937& rng, int w, int h) {
  std::vector<uint8_t> v(size_t(w) * size_t(h) * 4);
  for (size_t i = 0; i < v.size(); ++i) {
    const uint32_t pick = rng() % 4;
    v[i] = i % 4 == 3 && pick == 0 ? 0 : i % 4 == 3 && pick == 1 ? 255 : uint8_t(rng());
  }
  return v;
}

// RGBA bytes as an 8-bit world, and the world's pixels as RGBA bytes.
rxtest::TestWorld<RX_Pixel8> world_of(const std::vector<uint8_t>& rgba, int w, int h) {
  rxtest::TestWorld<RX_Pixel8> world(w, h);
  for (int i = 0; i < w * h; ++i) {
    const uint8_t* v = &rgba[size_t(i) * 4];
    world.at(i % w, i / w) = RX_Pixel8{v[3], v[0], v[1], v[2]};
  }
  return world;
}
std::vector<uint8_t> rgba_of(rxtest::TestWorld<RX_Pixel8>& world) {
  std::vector<uint8_t> v;
  for (int y = 0; y < world.height(); ++y) {
    for (int x = 0; x < world.width(); ++x) {
      const RX_Pixel8& p = world.at(x, y);
      v.insert(v.end(), {p.red, p.green, p.blue, p.alpha});
    }
  }
  return v;
}

GE_Matrix3 affine(double a, double b, double tx, double c, double d, double ty) {
  return GE_Matrix3{{{a, b, tx}, {c, d, ty}, {0, 0, 1}}};
}

// The layer turned by degrees and scaled about (ax, ay), then moved, as
// the test writes it: p' = A + R S (p - A) + t.
GE_Matrix3 turned(double degrees, double sx, double sy, double ax, double ay, double tx, double ty) {
  const double r = degrees * M_PI / 180.0, c = std::cos(r), s = std::sin(r);
  const double a = c * sx, b = -s * sy, d = s * sx, e = c * sy;
  return affine(a, b, ax + tx - a * ax - b * ay, d, e, ay + ty - d * ax - e * ay);
}

class Transformed {
 public:
  Transformed(const std::vector<uint8_t>& background, int bw, int bh, const std::vector<uint8_t>& layer, int lw,
              int lh)
      : dst_(world_of(background, bw, bh)), src_(world_of(layer, lw, lh)) {}
  std::vector<uint8_t> through(const std::vector<GE_Matrix3>& matrices, int32_t quality = 1,
                               int32_t mode_number = RX_Xfer_Over, float opacity = 1.0f) {
    rxtest::Born born;
    const RX_CompositeModePlus mode(mode_number, opacity, nullptr, false, 0);
    EXPECT_EQ(RX_TransformWorld(nullptr, quality, 0, 0, src_.def(), &mode, nullptr, nullptr, matrices.data(),
                                int32_t(matrices.size()), 1, GE_LRect{0, 0, dst_.width(), dst_.height()}, dst_.def()),
              RX_Result_OK);
    return rgba_of(dst_);
  }

 private:
  rxtest::TestWorld<RX_Pixel8> dst_, src_;
};

class RxTransformFiles : public RxTransformTool {
 protected:
  void SetUp() override {
    RxTransformTool::SetUp();
    std::mt19937 rng(77);
    background_ = random_rgba8(rng, 41, 33);
    layer_ = random_rgba8(rng, 17, 12);
    write_rgba(at("bg.png"), 41, 33, background_, OIIO::TypeDesc::UINT8);
    write_rgba(at("layer.png"), 17, 12, layer_, OIIO::TypeDesc::UINT8);
  }
  std::string files() const { return "transform " + at("bg.png") + " " + at("layer.png") + " -o " + at("out.png"); }
  std::vector<uint8_t> written() const { return read_rgba<uint8_t>(at("out.png"), OIIO::TypeDesc::UINT8); }
  std::vector<uint8_t> expected(const std::vector<GE_Matrix3>& m, int32_t quality = 1, int32_t mode = RX_Xfer_Over,
                                float opacity = 1.0f) const {
    return Transformed(background_, 41, 33, layer_, 17, 12).through(m, quality, mode, opacity);
  }
  std::vector<uint8_t> background_, layer_;
};

TEST_F(RxTransformFiles, WithoutTransformOptionsTheLayerLandsWhereCompositePutsIt) {
  ASSERT_EQ(rx(files() + " --mode multiply --opacity 0.6").status, 0);
  const auto transformed = written();
  const ToolRun run = rx("composite " + at("bg.png") + " " + at("layer.png") + " -o " + at("out.png") +
                         " --mode multiply --opacity 0.6");
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(transformed, written());
}

TEST_F(RxTransformFiles, FeatherAlphaAndLinearLightGiveWhatCompositeGivesWithoutTransformOptions) {
  for (const char* options : {" --feather 3", " --alpha auto", " --alpha premultiplied --feather 1.5", " --linear"}) {
    ToolRun run = rx(files() + options);
    ASSERT_EQ(run.status, 0) << options << ": " << run.err;
    const auto transformed = written();
    run = rx("composite " + at("bg.png") + " " + at("layer.png") + " -o " + at("out.png") + options);
    ASSERT_EQ(run.status, 0) << options << ": " << run.err;
    EXPECT_EQ(transformed, written()) << options;
  }
}

TEST_F(RxTransformFiles, FeatherSoftensTheTurnedLayersEdges) {
  ASSERT_EQ(rx(files() + " --rotate 30").status, 0);
  const auto sharp = written();
  ASSERT_EQ(rx(files() + " --rotate 30 --feather 2").status, 0);
  EXPECT_NE(sharp, written());
}

TEST_F(RxTransformFiles, AutoAlphaIsToldWithVerbose) {
  const ToolRun run = rx(files() + " --alpha auto -v");
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out.rfind("layer alpha: ", 0), 0u) << run.out;
}

TEST_F(RxTransformFiles, TurnedScaledAndMovedAboutTheCentreAtBothQualities) {
  ToolRun run = rx(files() + " --rotate 30 --scale 1.5,0.75 --translate 9,4");
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(written(), expected({turned(30, 1.5, 0.75, 8.5, 6, 9, 4)}));
  run = rx(files() + " --rotate -12 --scale 0.5 --anchor 0,0 --quality draft --mode screen");
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(written(), expected({turned(-12, 0.5, 0.5, 0, 0, 0, 0)}, 0, RX_Xfer_Screen));
}

TEST_F(RxTransformFiles, ShearAndARawMatrix) {
  ASSERT_EQ(rx(files() + " --shear 0.25 --anchor 0,0").status, 0);
  EXPECT_EQ(written(), expected({affine(1, 0.25, 0, 0, 1, 0)}));
  ASSERT_EQ(rx(files() + " --matrix 0.9,0.3,5,-0.2,1.1,2").status, 0);
  EXPECT_EQ(written(), expected({affine(0.9, 0.3, 5, -0.2, 1.1, 2)}));
  ASSERT_EQ(rx(files() + " --matrix 0.9,0.3,5,-0.2,1.1,2,0,0,1").status, 0);
  EXPECT_EQ(written(), expected({affine(0.9, 0.3, 5, -0.2, 1.1, 2)}));
}

TEST_F(RxTransformFiles, MotionBlurTowardTheEndOfTheShutter) {
  ASSERT_EQ(rx(files() + " --translate 3,3 --to-translate 15,5").status, 0);
  EXPECT_EQ(written(), expected({turned(0, 1, 1, 8.5, 6, 3, 3), turned(0, 1, 1, 8.5, 6, 15, 5)}));
  ASSERT_EQ(rx(files() + " --rotate 10 --to-rotate 40 --to-scale 0.8 --samples 4").status, 0);
  std::vector<GE_Matrix3> path;
  for (int i = 0; i < 4; ++i) {
    const double t = i / 3.0, scale = 1.0 + (0.8 - 1.0) * t;
    path.push_back(turned(10 + 30 * t, scale, scale, 8.5, 6, 0, 0));
  }
  EXPECT_EQ(written(), expected(path));
}

TEST_F(RxTransformFiles, MotionBlurAlongAPathFile) {
  std::ofstream(at("path.txt")) << "# three positions\n1 0 0 0 1 0\n\n1,0,4, 0,1,1\n1 0 8 0 1 2 0 0 1\n";
  const ToolRun run = rx(files() + " --path " + at("path.txt") + " --quality draft");
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(written(), expected({affine(1, 0, 0, 0, 1, 0), affine(1, 0, 4, 0, 1, 1), affine(1, 0, 8, 0, 1, 2)}, 0));
}

TEST_F(RxTransformTool, ACanvasGivesATransparentBackground) {
  std::mt19937 rng(5);
  const auto layer = random_rgba8(rng, 9, 7);
  write_rgba(at("layer.png"), 9, 7, layer, OIIO::TypeDesc::UINT8);
  const ToolRun run = rx("transform --canvas 20x15 " + at("layer.png") + " -o " + at("out.png") + " --rotate 90");
  ASSERT_EQ(run.status, 0) << run.err;
  const auto want = Transformed(std::vector<uint8_t>(20 * 15 * 4, 0), 20, 15, layer, 9, 7)
                        .through({turned(90, 1, 1, 4.5, 3.5, 0, 0)});
  EXPECT_EQ(read_rgba<uint8_t>(at("out.png"), OIIO::TypeDesc::UINT8), want);
}

TEST_F(RxTransformTool, SixteenBitFilesTransformInSixteenBitWorlds) {
  std::mt19937 rng(6);
  std::vector<uint16_t> background(16 * 10 * 4), layer(8 * 6 * 4);
  for (auto& v : background) v = uint16_t(rng());
  for (auto& v : layer) v = uint16_t(rng());
  write_rgba(at("bg.tif"), 16, 10, background, OIIO::TypeDesc::UINT16);
  write_rgba(at("layer.tif"), 8, 6, layer, OIIO::TypeDesc::UINT16);
  const ToolRun run = rx("transform " + at("bg.tif") + " " + at("layer.tif") + " -o " + at("out.tif") +
                         " --rotate 45 --translate 4,2");
  ASSERT_EQ(run.status, 0) << run.err;
  auto world = [](const std::vector<uint16_t>& rgba, int w, int h) {
    rxtest::TestWorld<RX_Pixel16> out(w, h);
    auto in = [](uint16_t v) { return uint16_t((uint32_t(v) * 32768 + 32767) / 65535); };
    for (int i = 0; i < w * h; ++i) {
      const uint16_t* v = &rgba[size_t(i) * 4];
      out.at(i % w, i / w) = RX_Pixel16{in(v[3]), in(v[0]), in(v[1]), in(v[2])};
    }
    return out;
  };
  auto dst = world(background, 16, 10);
  auto src = world(layer, 8, 6);
  {
    rxtest::Born born;
    const RX_CompositeModePlus mode(RX_Xfer_Over, 1.0f, nullptr, false, 0);
    const GE_Matrix3 m = turned(45, 1, 1, 4, 3, 4, 2);
    ASSERT_EQ(RX_TransformWorld(nullptr, 1, 0, 0, src.def(), &mode, nullptr, nullptr, &m, 1, 1, {0, 0, 16, 10},
                                dst.def()),
              RX_Result_OK);
  }
  const auto result = read_rgba<uint16_t>(at("out.tif"), OIIO::TypeDesc::UINT16);
  ASSERT_EQ(result.size(), size_t(16 * 10 * 4));
  for (int i = 0; i < 160; ++i) {
    const RX_Pixel16& p = dst.at(i % 16, i / 16);
    const uint16_t want[4] = {p.red, p.green, p.blue, p.alpha};
    for (int k = 0; k < 4; ++k) {
      ASSERT_EQ(result[size_t(i) * 4 + size_t(k)], (uint32_t(want[k]) * 65535 + 16384) >> 15) << i << " " << k;
    }
  }
}

TEST_F(RxTransformTool, CrossfadeWritesWhatTheBlendGives) {
  std::mt19937 rng(8);
  const auto a = random_rgba8(rng, 13, 9), b = random_rgba8(rng, 13, 9);
  write_rgba(at("a.png"), 13, 9, a, OIIO::TypeDesc::UINT8);
  write_rgba(at("b.png"), 13, 9, b, OIIO::TypeDesc::UINT8);
  for (bool premultiplied : {false, true}) {
    const ToolRun run = rx("crossfade " + at("a.png") + " " + at("b.png") + " -o " + at("out.png") + " --ratio 0.3" +
                           (premultiplied ? " --premultiplied" : ""));
    ASSERT_EQ(run.status, 0) << run.err;
    auto first = world_of(a, 13, 9), second = world_of(b, 13, 9);
    rxtest::TestWorld<RX_Pixel8> out(13, 9);
    {
      rxtest::Born born;
      const int32_t ratio = int32_t(std::round(0.3 * 65536));
      ASSERT_EQ((premultiplied ? RX_Blend_Premul : RX_Blend)(nullptr, first.def(), second.def(), ratio, out.def()),
                RX_Result_OK);
    }
    EXPECT_EQ(read_rgba<uint8_t>(at("out.png"), OIIO::TypeDesc::UINT8), rgba_of(out)) << premultiplied;
  }
  // The ends are the pictures themselves.
  ASSERT_EQ(rx("crossfade " + at("a.png") + " " + at("b.png") + " -o " + at("out.png") + " --ratio 1").status, 0);
  EXPECT_EQ(read_rgba<uint8_t>(at("out.png"), OIIO::TypeDesc::UINT8), b);
}

// ---- bad options: one line, a non-zero status, nothing written ----

TEST_F(RxTransformFiles, EachBadOptionIsOneClearLine) {
  struct Case {
    const char* options;
    const char* line;
  };
  const Case cases[] = {
      {"--matrix 1,0,0,zero,1,0", "rx: --matrix: 'zero' is not a number\n"},
      {"--matrix 1,0,0,1", "rx: --matrix wants 6 or 9 numbers, row by row; got 4\n"},
      {"--scale 0", "rx: a scale of 0 flattens the layer to nothing\n"},
      {"--to-scale 1,0", "rx: a scale of 0 flattens the layer to nothing\n"},
      {"--to-translate 5,5 --samples 0", "rx: --samples wants at least 1; got 0\n"},
      {"--mode sparkle", "rx: unknown mode 'sparkle' (see rx modes)\n"},
      {"--quality fine", "rx: unknown quality 'fine' (one of draft, best)\n"},
      {"--translate 3", "rx: --translate wants X,Y; got '3'\n"},
      {"--feather -1", "rx: feather radius must lie between 0 and 1000 pixels\n"},
  };
  for (const Case& c : cases) {
    const ToolRun run = rx(files() + " " + c.options);
    EXPECT_EQ(run.status, 1) << c.options;
    EXPECT_EQ(run.err, c.line) << c.options;
    EXPECT_FALSE(fs::exists(at("out.png"))) << c.options;
  }
  std::ofstream(at("bad-path.txt")) << "1 0 0 0 1\n";
  const ToolRun run = rx(files() + " --path " + at("bad-path.txt"));
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.err, "rx: " + at("bad-path.txt") + " line 1 wants 6 or 9 numbers, row by row; got 5\n");
  const ToolRun canvas = rx("transform --canvas big " + at("layer.png") + " -o " + at("out.png"));
  EXPECT_EQ(canvas.status, 1);
  EXPECT_EQ(canvas.err, "rx: --canvas wants WxH, such as 1920x1080; got 'big'\n");
  const ToolRun sizes = rx("crossfade " + at("bg.png") + " " + at("layer.png") + " -o " + at("out.png"));
  EXPECT_EQ(sizes.status, 1);
  EXPECT_EQ(sizes.err, "rx: fading " + at("bg.png") + " into " + at("layer.png") +
                           ": RX_Blend requires width and height of all worlds to be the same\n");
}

}  // namespace
