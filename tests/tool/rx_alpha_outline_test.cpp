// rx info's guessed alpha, rx composite --alpha, and rx outline, run in
// process on files the test writes, against the package called directly
// on the same pixels.
#include <OpenImageIO/imageio.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <sstream>
#include <vector>

#include "rx_test_support.h"
#include "tool.h"
#include "tool_test_support.h"

namespace {

namespace fs = std::filesystem;

using rxtest::ToolRun;

// 8-bit RGBA pictures as the test holds them: pixels of the package.
struct Image {
  int w = 0, h = 0;
  std::vector<RX_Pixel8> px;
  RX_Pixel8& at(int x, int y) { return px[size_t(y) * size_t(w) + size_t(x)]; }
  const RX_Pixel8& at(int x, int y) const { return px[size_t(y) * size_t(w) + size_t(x)]; }
  RX_LayerDef def() {
    RX_LayerDef d{};
    d.data = px.data();
    d.width = w;
    d.height = h;
    d.row_stride = w * 4;
    d.content_rect = {0, 0, w, h};
    return d;
  }
};

class RxAlphaOutline : public rxtest::ToolTest {
 protected:
  static void write(const std::string& path, const Image& image, int channels = 4) {
    auto out = OIIO::ImageOutput::create(path);
    ASSERT_TRUE(out) << path;
    OIIO::ImageSpec layout(image.w, image.h, channels, OIIO::TypeDesc::UINT8);
    if (channels == 4) layout.alpha_channel = 3;
    layout.attribute("oiio:UnassociatedAlpha", 1);
    std::vector<uint8_t> values;
    for (const RX_Pixel8& p : image.px) {
      values.insert(values.end(), {p.red, p.green, p.blue});
      if (channels == 4) values.push_back(p.alpha);
    }
    ASSERT_TRUE(out->open(path, layout));
    ASSERT_TRUE(out->write_image(OIIO::TypeDesc::UINT8, values.data()));
    ASSERT_TRUE(out->close());
  }

  static Image read(const std::string& path) {
    OIIO::ImageSpec config;
    config.attribute("oiio:UnassociatedAlpha", 1);
    auto in = OIIO::ImageInput::open(path, &config);
    Image image;
    EXPECT_TRUE(in) << path;
    if (!in) return image;
    image.w = in->spec().width;
    image.h = in->spec().height;
    EXPECT_EQ(in->spec().nchannels, 4);
    std::vector<uint8_t> values(size_t(image.w) * size_t(image.h) * 4);
    EXPECT_TRUE(in->read_image(0, 0, 0, 4, OIIO::TypeDesc::UINT8, values.data()));
    for (size_t i = 0; i < values.size(); i += 4) {
      image.px.push_back({values[i + 3], values[i], values[i + 1], values[i + 2]});
    }
    return image;
  }
};

// A soft disc with colour gradients everywhere, transparent outside.
Image straight_disc(int w = 48, int h = 40) {
  Image image{w, h, std::vector<RX_Pixel8>(size_t(w) * size_t(h))};
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      const double a = std::clamp((14.0 - std::hypot(x - 22.0, y - 19.0)) / 4.0, 0.0, 1.0);
      image.at(x, y) = {uint8_t(std::lround(a * 255)), uint8_t(x * 5), uint8_t(200 - y * 4), uint8_t((x + y) * 2)};
    }
  }
  return image;
}

Image premultiplied(Image image, RX_Pixel8 matte) {
  rxtest::Born born;
  RX_LayerDef def = image.def();
  EXPECT_EQ(RX_PremulColor(nullptr, nullptr, &matte, 1, &def), RX_Result_OK);
  return image;
}

Image plain(int w, int h, RX_Pixel8 p) { return Image{w, h, std::vector<RX_Pixel8>(size_t(w) * size_t(h), p)}; }

TEST_F(RxAlphaOutline, InfoGivesThePackagesGuess) {
  const Image disc = straight_disc();
  struct Case {
    const char* name;
    Image image;
    const char* guess;
  } cases[] = {
      {"straight.png", disc, "straight"},
      {"white.png", premultiplied(disc, {255, 255, 255, 255}), "premultiplied against white"},
      {"black.png", premultiplied(disc, {255, 0, 0, 0}), "premultiplied against black"},
      {"grey.png", premultiplied(disc, {255, 128, 128, 128}), "premultiplied against (128,128,128)"},
      {"colour.png", premultiplied(disc, {255, 40, 200, 90}), "premultiplied against (40,200,90)"},
      {"clear.png", plain(5, 4, {0, 9, 9, 9}), "unable to guess (Unable to guess alpha channel.)"},
      {"flat.png", plain(5, 4, {255, 30, 60, 90}), "straight"},
  };
  for (const Case& c : cases) {
    write(at(c.name), c.image);
    const ToolRun run = rx("info " + at(c.name));
    ASSERT_EQ(run.status, 0) << run.err;
    const std::string second = run.out.substr(run.out.find('\n') + 1);
    EXPECT_EQ(second, at(c.name) + ": guessed alpha: " + c.guess + "\n") << c.name;
  }
  write(at("rgb.png"), disc, 3);
  EXPECT_NE(rx("info " + at("rgb.png")).out.find(": guessed alpha: not guessed (no alpha channel)\n"), std::string::npos);
}

TEST_F(RxAlphaOutline, InfoJsonIsOneObjectWithEverything) {
  write(at("white.png"), premultiplied(straight_disc(), {255, 255, 255, 255}));
  ToolRun run = rx("info --json " + at("white.png"));
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out, "{\"file\": \"" + at("white.png") +
                         "\", \"width\": 48, \"height\": 40, \"channels\": 4, \"type\": \"uint8\", \"depth\": 8, "
                         "\"alpha\": true, \"guessed_alpha\": {\"guess\": \"premultiplied\", \"text\": "
                         "\"premultiplied against white\", \"matte\": [255, 255, 255], \"message\": \"\"}}\n");
  write(at("clear.png"), plain(3, 3, {0, 0, 0, 0}));
  run = rx("info --json " + at("clear.png"));
  EXPECT_NE(run.out.find("\"guessed_alpha\": {\"guess\": \"unable\", \"text\": \"unable to guess\", \"message\": "
                         "\"Unable to guess alpha channel.\"}}\n"),
            std::string::npos)
      << run.out;
  write(at("rgb.png"), straight_disc(), 3);
  run = rx("info --json " + at("rgb.png"));
  EXPECT_NE(run.out.find("\"alpha\": false, \"guessed_alpha\": {\"guess\": \"not guessed\", \"text\": \"not guessed "
                         "(no alpha channel)\"}}"),
            std::string::npos)
      << run.out;
}

// The largest difference of any channel between two pictures.
int largest_difference(const Image& a, const Image& b) {
  EXPECT_EQ(a.px.size(), b.px.size());
  int most = 0;
  for (size_t i = 0; i < std::min(a.px.size(), b.px.size()); ++i) {
    for (auto m : {&RX_Pixel8::alpha, &RX_Pixel8::red, &RX_Pixel8::green, &RX_Pixel8::blue}) {
      most = std::max(most, std::abs(int(a.px[i].*m) - int(b.px[i].*m)));
    }
  }
  return most;
}

Image background() {
  Image bg{60, 50, {}};
  for (int y = 0; y < 50; ++y) {
    for (int x = 0; x < 60; ++x) bg.px.push_back({255, uint8_t(x * 4), uint8_t(y * 5), uint8_t(128)});
  }
  return bg;
}

TEST_F(RxAlphaOutline, AutoAlphaOfAWhitePremultipliedLayerCompositesAsTheStraightLayer) {
  const Image straight = straight_disc();
  write(at("bg.png"), background());
  write(at("straight.png"), straight);
  write(at("white.png"), premultiplied(straight, {255, 255, 255, 255}));
  ASSERT_EQ(rx("composite " + at("bg.png") + " " + at("straight.png") + " -o " + at("want.png") + " --at 5,4").status, 0);
  const ToolRun run =
      rx("composite " + at("bg.png") + " " + at("white.png") + " -o " + at("auto.png") + " --at 5,4 --alpha auto -v");
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out, "layer alpha: premultiplied against white (guessed), unmultiplied\n");
  // Unmultiplying a faint pixel magnifies its rounding, which compositing
  // by the same alpha scales back down: a step or two at most.
  EXPECT_LE(largest_difference(read(at("auto.png")), read(at("want.png"))), 2);
  // Taken as straight, the white fringe shows.
  ASSERT_EQ(rx("composite " + at("bg.png") + " " + at("white.png") + " -o " + at("as-is.png") +
               " --at 5,4 --alpha straight -v")
                .status,
            0);
  EXPECT_GT(largest_difference(read(at("as-is.png")), read(at("want.png"))), 40);
}

TEST_F(RxAlphaOutline, AlphaChoicesAreTold) {
  const Image straight = straight_disc();
  write(at("bg.png"), background());
  write(at("straight.png"), straight);
  write(at("black.png"), premultiplied(straight, {255, 0, 0, 0}));
  write(at("clear.png"), plain(6, 6, {0, 1, 2, 3}));
  auto told = [&](const std::string& layer, const std::string& options) {
    const ToolRun run = rx("composite " + at("bg.png") + " " + at(layer) + " -o " + at("out.png") + " " + options);
    EXPECT_EQ(run.status, 0) << run.err;
    return run.out;
  };
  EXPECT_EQ(told("straight.png", "--alpha auto --verbose"), "layer alpha: straight (guessed)\n");
  EXPECT_EQ(told("black.png", "--alpha auto -v"), "layer alpha: premultiplied against black (guessed), unmultiplied\n");
  EXPECT_EQ(told("clear.png", "--alpha auto -v"),
            "layer alpha: unable to guess (Unable to guess alpha channel.), taken as straight\n");
  EXPECT_EQ(told("black.png", "--alpha premultiplied -v"),
            "layer alpha: premultiplied against black (as asked), unmultiplied\n");
  EXPECT_EQ(told("straight.png", "-v"), "layer alpha: straight (as the files)\n");
  EXPECT_EQ(told("straight.png", "--alpha auto"), "");  // told only when asked
  // Premultiplied against black, as asked, is the straight layer again.
  ASSERT_EQ(rx("composite " + at("bg.png") + " " + at("straight.png") + " -o " + at("want.png")).status, 0);
  ASSERT_EQ(rx("composite " + at("bg.png") + " " + at("black.png") + " -o " + at("got.png") + " --alpha premultiplied")
                .status,
            0);
  EXPECT_LE(largest_difference(read(at("got.png")), read(at("want.png"))), 2);
  const ToolRun bad = rx("composite " + at("bg.png") + " " + at("black.png") + " -o " + at("x.png") + " --alpha maybe");
  EXPECT_NE(bad.status, 0);
  EXPECT_FALSE(fs::exists(at("x.png")));
}

// The points the package finds on the same pixels.
std::vector<GE_LPoint> wireframe_points(const Image& image, int32_t grid, int32_t max_points) {
  rxtest::Born born;
  const GE_Rect bounds{0, 0, int16_t(image.h), int16_t(image.w)};
  ZW_World bitmap = nullptr;
  EXPECT_EQ(ZW_NewWorld(0, 0, &bounds, 32, 0, 0, &bitmap), KO_Err_None);
  for (int y = 0; y < image.h; ++y) {
    std::memcpy(static_cast<uint8_t*>((*bitmap)->pixels) + intptr_t{y} * (*bitmap)->row_bytes, &image.at(0, y),
                size_t(image.w) * 4);
  }
  RX_Wireframe wf;
  EXPECT_EQ(RX_GenerateWireframe(nullptr, bitmap, grid, max_points, 0, nullptr, &wf), RX_Result_OK);
  std::vector<GE_LPoint> points;
  for (uint32_t i = 0; i < wf.point_count; ++i) points.push_back(*static_cast<GE_LPoint*>(SEQ_GetAddress(wf.points, int32_t(i))));
  RX_DisposeWireframe(&wf);
  ZW_DisposeWorld(bitmap);
  return points;
}

TEST_F(RxAlphaOutline, OutlineDrawsTheWireframeOverTheLayerAndCountsItsPoints) {
  const Image disc = straight_disc(64, 48);
  write(at("disc.png"), disc);
  const ToolRun run = rx("outline " + at("disc.png") + " -o " + at("out.png") + " --grid 3 --colour 0,1,0");
  ASSERT_EQ(run.status, 0) << run.err;
  const auto points = wireframe_points(disc, 3, 4000);
  ASSERT_GT(points.size(), 20u);
  EXPECT_EQ(run.out, at("out.png") + ": " + std::to_string(points.size()) + " points\n");
  const Image out = read(at("out.png"));
  // Every point is drawn, in the colour; every changed pixel is green and
  // lies near the disc's rim (radius 14 to 10 of the soft edge, 3 a step).
  for (const GE_LPoint& p : points) {
    const RX_Pixel8 q = out.at(p.x, p.y);
    EXPECT_TRUE(q.alpha == 255 && q.red == 0 && q.green == 255 && q.blue == 0) << p.x << ", " << p.y;
  }
  int changed = 0;
  for (int y = 0; y < out.h; ++y) {
    for (int x = 0; x < out.w; ++x) {
      if (rxtest::same_pixel(out.at(x, y), disc.at(x, y))) continue;
      ++changed;
      const RX_Pixel8 q = out.at(x, y);
      EXPECT_TRUE(q.red == 0 && q.green == 255 && q.blue == 0);
      const double r = std::hypot(x - 22.0, y - 19.0);
      EXPECT_TRUE(r > 12.0 - 4.5 && r < 12.0 + 4.5) << x << ", " << y << " at " << r;
    }
  }
  EXPECT_GE(changed, int(points.size()));
}

TEST_F(RxAlphaOutline, OutlineMovesLikeATransformOverABackground) {
  const Image disc = straight_disc(64, 48);
  write(at("disc.png"), disc);
  write(at("bg.png"), background());
  // Turned a half turn about the layer's centre (32, 24) and moved by
  // (-4, 2): the disc's centre (22, 19) lands at (42 - 4, 29 + 2).
  const ToolRun run = rx("outline " + at("disc.png") + " -o " + at("out.png") + " --background " + at("bg.png") +
                         " --grid 2 --rotate 180 --translate -4,2 --colour 1,1,1");
  ASSERT_EQ(run.status, 0) << run.err;
  const Image out = read(at("out.png")), bg = background();
  int changed = 0;
  for (int y = 0; y < out.h; ++y) {
    for (int x = 0; x < out.w; ++x) {
      if (rxtest::same_pixel(out.at(x, y), bg.at(x, y))) continue;
      ++changed;
      const double r = std::hypot(x - 38.0, y - 31.0);
      EXPECT_TRUE(r > 12.0 - 3.5 && r < 12.0 + 3.5) << x << ", " << y << " at " << r;
    }
  }
  EXPECT_GT(changed, 40);
}

TEST_F(RxAlphaOutline, OutlineLabelIsPrintedTopLeftInTheFont) {
  write(at("disc.png"), straight_disc(64, 48));
  ASSERT_EQ(rx("outline " + at("disc.png") + " -o " + at("plain.png") + " --grid 4 --colour 0,0,1").status, 0);
  ASSERT_EQ(rx("outline " + at("disc.png") + " -o " + at("label.png") + " --grid 4 --label Hi --colour 0,0,1").status, 0);
  const Image plain_out = read(at("plain.png")), labelled = read(at("label.png"));
  // "Hi" at pen (4, 2): the cells cover columns 4 to 15 and rows 3 to 12.
  // The H's left stroke is column 1 of its cell, rows 2 to 8 from the
  // bottom: pixels (5, 4) to (5, 10).
  int changed = 0;
  for (int y = 0; y < labelled.h; ++y) {
    for (int x = 0; x < labelled.w; ++x) {
      if (rxtest::same_pixel(labelled.at(x, y), plain_out.at(x, y))) continue;
      ++changed;
      EXPECT_TRUE(x >= 4 && x < 16 && y >= 3 && y <= 12) << x << ", " << y;
      EXPECT_EQ(labelled.at(x, y).blue, 255);
    }
  }
  for (int y = 4; y <= 10; ++y) EXPECT_EQ(labelled.at(5, y).blue, 255) << y;
  EXPECT_GT(changed, 15);
}

TEST_F(RxAlphaOutline, OutlineRefusesWhatItCannotDo) {
  write(at("disc.png"), straight_disc());
  std::vector<float> rgba(4 * 4 * 4, 0.5f);
  {
    auto out = OIIO::ImageOutput::create(at("float.exr"));
    OIIO::ImageSpec layout(4, 4, 4, OIIO::TypeDesc::FLOAT);
    layout.alpha_channel = 3;
    ASSERT_TRUE(out->open(at("float.exr"), layout));
    ASSERT_TRUE(out->write_image(OIIO::TypeDesc::FLOAT, rgba.data()));
    ASSERT_TRUE(out->close());
  }
  struct Case {
    std::string options, says;
  } cases[] = {
      {at("float.exr") + " --label x", "--label draws on 8- or 16-bit pictures"},
      {at("disc.png") + " --colour red", "--colour wants R,G,B"},
      {at("disc.png") + " --grid 0", "--grid must be 1 or more"},
      {at("disc.png") + " --scale 0", "--scale must be above 0"},
      {at("disc.png") + " --translate 5", "--translate wants X,Y"},
  };
  for (const Case& c : cases) {
    const ToolRun run = rx("outline " + c.options + " -o " + at("out.png"));
    EXPECT_EQ(run.status, 1) << c.options;
    EXPECT_NE(run.err.find(c.says), std::string::npos) << run.err;
    EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
    EXPECT_FALSE(fs::exists(at("out.png")));
  }
}

}  // namespace
