// The rx tool run as a person runs it: on files the test writes, with the
// results read back and compared with RX_TransferRect called directly on
// the same pixels; and on bad input, where one line on stderr and a
// non-zero status are all that may come out. The runs happen in process
// through rxtool::run; the program itself is started only where the
// process matters (its exit status, --help).
#include <OpenImageIO/imageio.h>
#include <lcms2.h>

#include <algorithm>

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <vector>

#include "commands/commands.h"
#include "interrupts.h"
#include "linear_tables.h"
#include "package_calls.h"
#include "picture.h"
#include "rx_test_support.h"
#include "tool.h"
#include "tool_test_support.h"
#include "tool_error.h"

namespace {

namespace fs = std::filesystem;

using rxtest::ToolRun;

class RxTool : public rxtest::ToolTest {};

// RGBA files of any type, straight alpha, as OpenImageIO writes them.
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
std::vector<T> read_rgba(const std::string& path, OIIO::TypeDesc type, int* w, int* h) {
  OIIO::ImageSpec config;
  config.attribute("oiio:UnassociatedAlpha", 1);
  auto in = OIIO::ImageInput::open(path, &config);
  EXPECT_TRUE(in) << path;
  if (!in) return {};
  const OIIO::ImageSpec& layout = in->spec();
  *w = layout.width;
  *h = layout.height;
  EXPECT_EQ(layout.nchannels, 4);
  std::vector<T> rgba(size_t(*w) * size_t(*h) * 4);
  EXPECT_TRUE(in->read_image(0, 0, 0, 4, type, rgba.data()));
  return rgba;
}

// A world of pixels from RGBA values, and back.
template <class Px, class T, class Convert>
rxtest::TestWorld<Px> world_from(const std::vector<T>& rgba, int w, int h, Convert convert) {
  rxtest::TestWorld<Px> world(w, h);
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      const T* v = &rgba[(size_t(y) * size_t(w) + size_t(x)) * 4];
      world.at(x, y) = Px{convert(v[3]), convert(v[0]), convert(v[1]), convert(v[2])};
    }
  }
  return world;
}

std::vector<uint8_t> random_rgba8(std::mt19937& rng, int w, int h) {
  std::vector<uint8_t> v(size_t(w) * size_t(h) * 4);
  for (size_t i = 0; i < v.size(); ++i) {
    const bool alpha = i % 4 == 3;
    const uint32_t pick = rng() % 4;
    v[i] = alpha && pick == 0 ? 0 : alpha && pick == 1 ? 255 : uint8_t(rng());
  }
  return v;
}

TEST_F(RxTool, CompositeWritesWhatTheTransferRectangleGivesAt8Bits) {
  std::mt19937 rng(42);
  const auto background = random_rgba8(rng, 37, 23), layer = random_rgba8(rng, 19, 13), matte = random_rgba8(rng, 19, 13);
  write_rgba(at("bg.png"), 37, 23, background, OIIO::TypeDesc::UINT8);
  write_rgba(at("layer.png"), 19, 13, layer, OIIO::TypeDesc::UINT8);
  write_rgba(at("matte.png"), 19, 13, matte, OIIO::TypeDesc::UINT8);
  struct Case {
    const char* options;
    int32_t mode, field, kind;
    float opacity;
    bool keep, linear, with_matte;
    int32_t seed;
  };
  const Case cases[] = {
      {"--mode over", RX_Xfer_Over, 0, 0, 1.0f, false, false, false, 0},
      {"--mode multiply --opacity 0.5", RX_Xfer_Multiply, 0, 0, 0.5f, false, false, false, 0},
      {"--mode 13 --linear", RX_Xfer_Hue, 0, 0, 1.0f, false, true, false, 0},
      {"--mode Screen --matte MATTE --matte-kind luma-inverted --field odd", RX_Xfer_Screen, 2, 3, 1.0f, false, false,
       true, 0},
      {"--mode dissolve --seed 99 --keep-alpha --opacity 0.7", RX_Xfer_Dissolve, 0, 0, 0.7f, true, false, false, 99},
      {"--mode RX_Xfer_Difference --matte MATTE --field even", RX_Xfer_Difference, 1, 0, 1.0f, false, false, true, 0},
  };
  for (const Case& c : cases) {
    std::string options = c.options;
    if (const auto p = options.find("MATTE"); p != std::string::npos) options.replace(p, 5, at("matte.png"));
    const ToolRun run = rx("composite " + at("bg.png") + " " + at("layer.png") + " -o " + at("out.png") + " --at 9,-3 " +
                       options);
    ASSERT_EQ(run.status, 0) << c.options << ": " << run.err;
    EXPECT_EQ(run.err, "");

    rxtest::Born born;
    auto same = [](uint8_t v) { return v; };
    auto dst = world_from<RX_Pixel8>(background, 37, 23, same);
    auto src = world_from<RX_Pixel8>(layer, 19, 13, same);
    auto mask_world = world_from<RX_Pixel8>(matte, 19, 13, same);
    const RX_MaskWorld mask{*mask_world.def(), 9, -3, c.kind};
    // Linear light on the default working space, sRGB, as the colour settings give it.
    TIN_VIZ_ProfilePool pool;
    RX_ColorSettings settings(&pool);
    settings.SetProfile(TIN_VIZ_GetDefaultProfile());
    settings.SetLinearBlending(true);
    const RX_LinearBlendingTables* tables = settings.GetLinearBlendingTables(false);
    const RX_CompositeModePlus mode(c.mode, c.opacity, nullptr, c.keep, c.seed);
    ASSERT_EQ(RX_TransferRect(nullptr, 0, 0, c.field, GE_LRect{0, 0, 19, 13}, src.def(), &mode,
                              c.linear ? tables : nullptr, c.with_matte ? &mask : nullptr, 9, -3, dst.def()),
              RX_Result_OK);
    int w = 0, h = 0;
    const auto result = read_rgba<uint8_t>(at("out.png"), OIIO::TypeDesc::UINT8, &w, &h);
    ASSERT_EQ(w, 37);
    ASSERT_EQ(h, 23);
    int differing = 0;
    for (int y = 0; y < h; ++y) {
      for (int x = 0; x < w; ++x) {
        const uint8_t* v = &result[(size_t(y) * 37 + size_t(x)) * 4];
        const RX_Pixel8 got{v[3], v[0], v[1], v[2]};
        differing += !rxtest::same_pixel(got, dst.at(x, y));
      }
    }
    EXPECT_EQ(differing, 0) << c.options;
  }
}

TEST_F(RxTool, SixteenBitFilesScale65535To32768AndBackAndFloatFilesStayFloat) {
  std::mt19937 rng(7);
  std::vector<uint16_t> background(12 * 8 * 4), layer(5 * 4 * 4);
  for (auto& v : background) v = uint16_t(rng());
  for (auto& v : layer) v = uint16_t(rng());
  write_rgba(at("bg.tif"), 12, 8, background, OIIO::TypeDesc::UINT16);
  write_rgba(at("layer.tif"), 5, 4, layer, OIIO::TypeDesc::UINT16);
  const ToolRun run = rx("composite " + at("bg.tif") + " " + at("layer.tif") + " -o " + at("out.tif") +
                     " --mode overlay --at 3,2");
  ASSERT_EQ(run.status, 0) << run.err;

  std::vector<float> fbg(6 * 5 * 4), flayer(6 * 5 * 4);
  for (auto& v : fbg) v = float(rng() % 1000) / 999.0f;
  for (auto& v : flayer) v = float(rng() % 1000) / 999.0f;
  write_rgba(at("bg.exr"), 6, 5, fbg, OIIO::TypeDesc::FLOAT);
  write_rgba(at("layer.exr"), 6, 5, flayer, OIIO::TypeDesc::FLOAT);
  ASSERT_EQ(rx("info " + at("bg.exr")).out, at("bg.exr") + ": 6x5, 4 channels, float, with alpha\n" + at("bg.exr") +
                                              ": guessed alpha: not guessed (only 8-bit images are)\n");
  const ToolRun frun = rx("composite " + at("bg.exr") + " " + at("layer.exr") + " -o " + at("out.exr") + " --mode add");
  ASSERT_EQ(frun.status, 0) << frun.err;

  rxtest::Born born;
  auto in = [](uint16_t v) { return uint16_t((uint32_t(v) * 32768 + 32767) / 65535); };
  auto dst = world_from<RX_Pixel16>(background, 12, 8, in);
  auto src = world_from<RX_Pixel16>(layer, 5, 4, in);
  const RX_CompositeModePlus mode(RX_Xfer_Overlay, 1.0f, nullptr, false, 0);
  ASSERT_EQ(RX_TransferRect(nullptr, 0, 0, 0, GE_LRect{0, 0, 5, 4}, src.def(), &mode, nullptr, nullptr, 3, 2, dst.def()),
            RX_Result_OK);
  int w = 0, h = 0;
  const auto result = read_rgba<uint16_t>(at("out.tif"), OIIO::TypeDesc::UINT16, &w, &h);
  ASSERT_EQ(w * h, 96);
  for (int i = 0; i < w * h; ++i) {
    const RX_Pixel16& p = dst.at(i % w, i / w);
    const uint16_t want[4] = {p.red, p.green, p.blue, p.alpha};
    for (int k = 0; k < 4; ++k) {
      EXPECT_EQ(result[size_t(i) * 4 + size_t(k)], (uint32_t(want[k]) * 65535 + 16384) >> 15) << i << " " << k;
    }
  }

  auto as_is = [](float v) { return v; };
  auto fdst = world_from<RX_PixelFloat>(fbg, 6, 5, as_is);
  auto fsrc = world_from<RX_PixelFloat>(flayer, 6, 5, as_is);
  const RX_CompositeModePlus add(RX_Xfer_Add, 1.0f, nullptr, false, 0);
  ASSERT_EQ(RX_TransferRect(nullptr, 0, 0, 0, GE_LRect{0, 0, 6, 5}, fsrc.def(), &add, nullptr, nullptr, 0, 0, fdst.def()),
            RX_Result_OK);
  const auto fresult = read_rgba<float>(at("out.exr"), OIIO::TypeDesc::FLOAT, &w, &h);
  for (int i = 0; i < 30; ++i) {
    const RX_PixelFloat& p = fdst.at(i % 6, i / 6);
    EXPECT_EQ(fresult[size_t(i) * 4 + 0], p.red);
    EXPECT_EQ(fresult[size_t(i) * 4 + 3], p.alpha);
  }
}

TEST_F(RxTool, ConvertChangesDepthThroughThePackage) {
  std::mt19937 rng(3);
  const auto rgba = random_rgba8(rng, 9, 7);
  write_rgba(at("in.png"), 9, 7, rgba, OIIO::TypeDesc::UINT8);
  ASSERT_EQ(rx("convert " + at("in.png") + " -o " + at("out.tif") + " --depth 16").status, 0);
  ASSERT_EQ(rx("info " + at("out.tif")).out, at("out.tif") + ": 9x7, 4 channels, uint16, with alpha\n" + at("out.tif") +
                                               ": guessed alpha: not guessed (only 8-bit images are)\n");
  ASSERT_EQ(rx("convert " + at("out.tif") + " -o " + at("back.png") + " --depth 8").status, 0);
  int w = 0, h = 0;
  // 8 to 16 to 8 bits is exact in the package.
  EXPECT_EQ(read_rgba<uint8_t>(at("back.png"), OIIO::TypeDesc::UINT8, &w, &h), rgba);
}

TEST_F(RxTool, FilesWithoutAlphaLoadOpaqueAndGreyFilesGiveGreyColour) {
  for (int channels : {1, 3}) {
    const std::string path = at("plain" + std::to_string(channels) + ".png");
    auto out = OIIO::ImageOutput::create(path);
    ASSERT_TRUE(out);
    const OIIO::ImageSpec layout(2, 1, channels, OIIO::TypeDesc::UINT8);
    ASSERT_TRUE(out->open(path, layout));
    const uint8_t values[6] = {10, 20, 30, 40, 50, 60};
    ASSERT_TRUE(out->write_image(OIIO::TypeDesc::UINT8, values));
    ASSERT_TRUE(out->close());
    ASSERT_EQ(rx("convert " + path + " -o " + at("rgba.png") + " --depth 8").status, 0);
    int w = 0, h = 0;
    const auto rgba = read_rgba<uint8_t>(at("rgba.png"), OIIO::TypeDesc::UINT8, &w, &h);
    ASSERT_EQ(rgba.size(), 8u);
    if (channels == 1) {
      EXPECT_EQ(rgba, (std::vector<uint8_t>{10, 10, 10, 255, 20, 20, 20, 255}));
    } else {
      EXPECT_EQ(rgba, (std::vector<uint8_t>{10, 20, 30, 255, 40, 50, 60, 255}));
    }
  }
}

TEST_F(RxTool, ModesListsEveryNumberedModeByName) {
  const ToolRun run = rx("modes");
  EXPECT_EQ(run.status, 0);
  EXPECT_NE(run.out.find("-3 replaceraw\n"), std::string::npos);
  EXPECT_NE(run.out.find("5 multiply\n"), std::string::npos);
  EXPECT_NE(run.out.find("38 divide\n"), std::string::npos);
  EXPECT_EQ(run.out.find("-1 "), std::string::npos);
  EXPECT_EQ(std::count(run.out.begin(), run.out.end(), '\n'), 41);
}

std::vector<uint8_t> icc_of(const std::string& path);  // below, with the metadata tests

TEST_F(RxTool, DemoWritesEveryResult) {
  const ToolRun run = rx("demo --out " + at("demo"));
  ASSERT_EQ(run.status, 0) << run.err;
  for (const char* name : {"over.png", "multiply.png", "screen-luma-matte.png", "dissolve.png", "hue-linear.tif",
                           "difference-even.exr", "background-16.tif", "background.exr", "dithered.png",
                           "layer-on-white.png", "over-auto-alpha.png", "outline.png", "shadow.png",
                           "drop-shadow.png", "edges.png", "large-matte.png", "feathered-matte.png",
                           "feathered-alpha.png", "rotated.png", "motion-blur.png", "crossfade.png", "background-prophoto.png",
                           "background-round-trip.png", "background-linear.exr", "background-encoded.png",
                           "over-linear-light.png"}) {
    EXPECT_TRUE(fs::exists(at("demo") + "/" + name)) << name;
  }
  EXPECT_EQ(std::count(run.out.begin(), run.out.end(), '\n'), 38);
  // Only the tiles of the large matte under the layer (and the feather's
  // margin) are read.
  EXPECT_NE(run.out.find("tiles of the matte made (64 x 64)               28 of 192\n"), std::string::npos) << run.out;
  EXPECT_NE(run.out.find("layer-on-white.png: guessed alpha         premultiplied against white\n"), std::string::npos)
      << run.out;
  // To a wide-gamut profile and back at 8 bits lands within a few levels,
  // with the profiles embedded on the way; to linear float and back is exact.
  EXPECT_NE(run.out.find("rx info background-prophoto.png: profile          ProPhoto RGB\n"), std::string::npos)
      << run.out;
  const std::string demo = at("demo") + "/";
  EXPECT_EQ(icc_of(demo + "background-prophoto.png"), TIN_VIZ_Profile::FromCode(VIZ_Profile_ProPhotoRGB).GetICCData());
  EXPECT_EQ(icc_of(demo + "background-round-trip.png"), TIN_VIZ_Profile::FromCode(VIZ_Profile_sRGB).GetICCData());
  int w = 0, h = 0;
  const auto original = read_rgba<uint8_t>(demo + "background.png", OIIO::TypeDesc::UINT8, &w, &h);
  const auto round_trip = read_rgba<uint8_t>(demo + "background-round-trip.png", OIIO::TypeDesc::UINT8, &w, &h);
  ASSERT_EQ(original.size(), round_trip.size());
  int worst = 0;
  for (size_t i = 0; i < original.size(); ++i) worst = std::max(worst, std::abs(int(original[i]) - int(round_trip[i])));
  EXPECT_LE(worst, 4);
  EXPECT_EQ(read_rgba<uint8_t>(demo + "background-encoded.png", OIIO::TypeDesc::UINT8, &w, &h), original);
}

// ---- bad input: one line, a non-zero status, no crash ----

TEST_F(RxTool, MissingFileIsOneLineAndStatusOne) {
  write_rgba(at("bg.png"), 2, 2, std::vector<uint8_t>(16, 200), OIIO::TypeDesc::UINT8);
  const ToolRun run = rx("composite " + at("bg.png") + " " + at("nowhere.png") + " -o " + at("out.png"));
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.err.rfind("rx: cannot read " + at("nowhere.png") + ": ", 0), 0u) << run.err;
  EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
  EXPECT_FALSE(fs::exists(at("out.png")));
}

TEST_F(RxTool, UnreadableFileIsOneLineAndStatusOne) {
  std::ofstream(at("text.png")) << "not a picture\n";
  const ToolRun run = rx("info " + at("text.png"));
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.err.rfind("rx: cannot read " + at("text.png") + ": ", 0), 0u) << run.err;
  EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
}

TEST_F(RxTool, UnknownModeNamesItself) {
  write_rgba(at("a.png"), 2, 2, std::vector<uint8_t>(16, 200), OIIO::TypeDesc::UINT8);
  ToolRun run = rx("composite " + at("a.png") + " " + at("a.png") + " -o " + at("out.png") + " --mode sparkle");
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.err, "rx: unknown mode 'sparkle' (see rx modes)\n");
  run = rx("composite " + at("a.png") + " " + at("a.png") + " -o " + at("out.png") + " --mode 39");
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.err, "rx: unknown mode 39 (modes are numbered -3 to 38, see rx modes)\n");
}

TEST_F(RxTool, APackageReportIsShownAsTheLine) {
  write_rgba(at("a.png"), 2, 2, std::vector<uint8_t>(16, 200), OIIO::TypeDesc::UINT8);
  // Mode -1 has a number but no function: the package refuses it.
  const ToolRun run = rx("composite " + at("a.png") + " " + at("a.png") + " -o " + at("out.png") + " --mode -1");
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.err, "rx: compositing " + at("a.png") + " onto " + at("a.png") + ": unimplemented blending mode.\n");
}

TEST_F(RxTool, BadOptionsAreRefusedBeforeAnyWork) {
  write_rgba(at("a.png"), 2, 2, std::vector<uint8_t>(16, 200), OIIO::TypeDesc::UINT8);
  const std::string base = "composite " + at("a.png") + " " + at("a.png") + " -o " + at("out.png");
  ToolRun run = rx(base + " --opacity 2");
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.err, "rx: opacity must lie between 0 and 1\n");
  run = rx(base + " --at 3");
  EXPECT_EQ(run.err, "rx: --at wants X,Y, such as 120,60; got '3'\n");
  run = rx(base + " --field sometimes");
  EXPECT_EQ(run.err, "rx: unknown field 'sometimes' (one of all, even, odd)\n");
  run = rx("convert " + at("a.png") + " -o " + at("b.png") + " --depth 12");
  EXPECT_NE(run.status, 0);
  EXPECT_NE(run.err.find("--depth"), std::string::npos) << run.err;
  EXPECT_FALSE(fs::exists(at("out.png")));
}

TEST_F(RxTool, CtrlCStopsACompositeWithStatus130AndWritesNothing) {
  write_rgba(at("a.png"), 300, 300, std::vector<uint8_t>(300 * 300 * 4, 200), OIIO::TypeDesc::UINT8);
  rxtool::CompositeOptions options;
  options.background = options.layer = at("a.png");
  options.output = at("out.png");
  rxtool::PackageSession package;
  rxtool::catch_interrupts();
  std::raise(SIGINT);  // as if Ctrl-C came while the files were read
  ASSERT_TRUE(rxtool::interrupted());
  try {
    rxtool::composite(options);
    ADD_FAILURE() << "the composite ran to its end";
  } catch (const rxtool::ToolError& e) {
    EXPECT_STREQ(e.what(), "interrupted");
    EXPECT_EQ(e.status, 130);
  }
  EXPECT_FALSE(fs::exists(at("out.png")));
}

TEST_F(RxTool, HelpSaysWhatEachSubcommandDoes) {
  const ToolRun run = rx_program("--help");
  EXPECT_EQ(run.status, 0);
  for (const char* word : {"composite", "transform", "crossfade", "convert", "info", "modes", "demo"}) {
    EXPECT_NE(run.out.find(word), std::string::npos) << word;
  }
  const ToolRun composite = rx("composite --help");
  EXPECT_EQ(composite.status, 0);
  for (const char* option : {"--mode", "--opacity", "--at", "--matte", "--matte-kind", "--field", "--keep-alpha",
                             "--seed", "--linear", "--depth", "--premultiplied"}) {
    EXPECT_NE(composite.out.find(option), std::string::npos) << option;
  }
}

// The program itself: a run's status becomes the exit status, and a
// failure is one line on stderr and nothing on stdout.
TEST_F(RxTool, TheProgramExitsWithTheStatusOfItsRunAndOneLine) {
  ToolRun run = rx_program("modes");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out, rx("modes").out);
  EXPECT_EQ(run.err, "");
  run = rx_program("info " + at("nowhere.png"));
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err.rfind("rx: cannot read " + at("nowhere.png") + ": ", 0), 0u) << run.err;
  EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
}

// An sRGB profile as LittleCMS writes it: a real profile, which PNG accepts.
std::vector<uint8_t> srgb_profile() {
  cmsHPROFILE profile = cmsCreate_sRGBProfile();
  cmsUInt32Number size = 0;
  cmsSaveProfileToMem(profile, nullptr, &size);
  std::vector<uint8_t> bytes(size);
  cmsSaveProfileToMem(profile, bytes.data(), &size);
  cmsCloseProfile(profile);
  return bytes;
}

void write_with_colour(const std::string& path, const std::vector<uint8_t>& icc, const std::string& colour_space) {
  auto out = OIIO::ImageOutput::create(path);
  ASSERT_TRUE(out) << path;
  OIIO::ImageSpec layout(3, 2, 4, OIIO::TypeDesc::UINT8);
  layout.alpha_channel = 3;
  layout.attribute("ICCProfile", OIIO::TypeDesc(OIIO::TypeDesc::UINT8, int(icc.size())), icc.data());
  layout.attribute("oiio:ColorSpace", colour_space);
  ASSERT_TRUE(out->open(path, layout));
  const std::vector<uint8_t> pixels(3 * 2 * 4, 180);
  ASSERT_TRUE(out->write_image(OIIO::TypeDesc::UINT8, pixels.data()));
  ASSERT_TRUE(out->close());
}

std::vector<uint8_t> icc_of(const std::string& path) {
  auto in = OIIO::ImageInput::open(path);
  if (!in) return {};
  const OIIO::ParamValue* icc = in->spec().find_attribute("ICCProfile");
  if (!icc) return {};
  const auto* bytes = static_cast<const uint8_t*>(icc->data());
  return {bytes, bytes + icc->type().size() * size_t(icc->nvalues())};
}

std::string colour_space_of(const std::string& path) {
  auto in = OIIO::ImageInput::open(path);
  return in ? in->spec().get_string_attribute("oiio:ColorSpace") : "";
}

TEST_F(RxTool, APictureCarriesItsColourMetadataFromReadingToWriting) {
  const std::vector<uint8_t> icc = srgb_profile();
  ASSERT_GT(icc.size(), 128u);
  write_with_colour(at("in.png"), icc, "Rec709");

  const rxtool::Picture picture = rxtool::load_picture(at("in.png"), false);
  EXPECT_EQ(picture.colour.icc_profile, icc);
  EXPECT_EQ(picture.colour.colour_space, "Rec709");

  ASSERT_EQ(rx("convert " + at("in.png") + " -o " + at("deep.tif") + " --depth 16").status, 0);
  EXPECT_EQ(icc_of(at("deep.tif")), icc);
  ASSERT_EQ(rx("convert " + at("deep.tif") + " -o " + at("back.png") + " --depth 8").status, 0);
  EXPECT_EQ(icc_of(at("back.png")), icc);

  // The composite's picture is the background's, and so is its metadata.
  write_rgba(at("layer.png"), 2, 2, std::vector<uint8_t>(16, 90), OIIO::TypeDesc::UINT8);
  const ToolRun run = rx("composite " + at("in.png") + " " + at("layer.png") + " -o " + at("out.png"));
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(icc_of(at("out.png")), icc);
  EXPECT_EQ(colour_space_of(at("out.png")), "Rec709");

  // A format without profiles takes the picture without a word, also from
  // the libraries beneath.
  const ToolRun exr = rx_program("convert " + at("in.png") + " -o " + at("out.exr") + " --depth 32");
  EXPECT_EQ(exr.status, 0) << exr.err;
  EXPECT_EQ(exr.out, "");
  EXPECT_EQ(exr.err, "");
}

}  // namespace
