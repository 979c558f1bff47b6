// rx and colour: convert --to-profile (built-in names, ICC files, the
// embedded profile), --linear and --encode, composite --linear on a working
// space, info's profile line; each result held against the package called
// directly on the same pixels, and every bad profile one line with a
// non-zero status.
#include <OpenImageIO/imageio.h>

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>

#include "rx_test_support.h"
#include "tool.h"

namespace {

namespace fs = std::filesystem;

const std::string kAdobe = "/usr/share/color/icc/colord/AdobeRGB1998.icc";
const std::string kGray = "/usr/share/color/icc/Gray.icc";

struct Outcome {
  int status;
  std::string out, err;
};

class RxColour : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = fs::temp_directory_path() / ("rx-colour-test-" + std::to_string(::getpid()) + "-" +
                                        ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::create_directories(dir_);
  }
  void TearDown() override { fs::remove_all(dir_); }
  std::string at(const std::string& name) const { return (dir_ / name).string(); }

  Outcome rx(const std::string& arguments) const {
    std::vector<std::string> words{"rx"};
    std::istringstream in(arguments);
    for (std::string w; in >> w;) words.push_back(w);
    std::ostringstream out, err;
    const int status = rxtool::run(words, {out, err});
    return {status, out.str(), err.str()};
  }

  fs::path dir_;
};

// RGBA pixels of a type, straight alpha, with an ICC profile when given.
template <class T>
void write_rgba(const std::string& path, int w, int h, const std::vector<T>& rgba, OIIO::TypeDesc type,
                const std::vector<uint8_t>& icc = {}) {
  auto out = OIIO::ImageOutput::create(path);
  ASSERT_TRUE(out) << path;
  OIIO::ImageSpec layout(w, h, 4, type);
  layout.alpha_channel = 3;
  layout.attribute("oiio:UnassociatedAlpha", 1);
  if (!icc.empty()) layout.attribute("ICCProfile", OIIO::TypeDesc(OIIO::TypeDesc::UINT8, int(icc.size())), icc.data());
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
  std::vector<T> rgba(size_t(in->spec().width) * size_t(in->spec().height) * 4);
  EXPECT_TRUE(in->read_image(0, 0, 0, 4, type, rgba.data()));
  return rgba;
}

std::vector<uint8_t> icc_of(const std::string& path) {
  auto in = OIIO::ImageInput::open(path);
  if (!in) return {};
  const OIIO::ParamValue* p = in->spec().find_attribute("ICCProfile");
  if (!p) return {};
  const auto* b = static_cast<const uint8_t*>(p->data());
  return std::vector<uint8_t>(b, b + p->type().size() * size_t(p->nvalues()));
}

std::vector<uint8_t> random_bytes(size_t n, uint32_t seed) {
  std::mt19937 rng(seed);
  std::vector<uint8_t> v(n);
  for (auto& x : v) x = uint8_t(rng());
  return v;
}

// RGBA bytes as an 8-bit world, and the world's pixels back as RGBA bytes.
rxtest::TestWorld<RX_Pixel8> world8(const std::vector<uint8_t>& rgba, int w, int h) {
  rxtest::TestWorld<RX_Pixel8> world(w, h);
  for (int i = 0; i < w * h; ++i) {
    const uint8_t* v = &rgba[size_t(i) * 4];
    world.at(i % w, i / w) = {v[3], v[0], v[1], v[2]};
  }
  return world;
}

std::vector<uint8_t> rgba8(rxtest::TestWorld<RX_Pixel8>& world) {
  std::vector<uint8_t> out;
  for (int y = 0; y < world.height(); ++y) {
    for (int x = 0; x < world.width(); ++x) {
      const RX_Pixel8& p = world.at(x, y);
      out.insert(out.end(), {p.red, p.green, p.blue, p.alpha});
    }
  }
  return out;
}

std::unique_ptr<RX_World> object(RX_LayerDef* def) { return std::unique_ptr<RX_World>(RX_World::NewReference(*def)); }

TEST_F(RxColour, ConvertToABuiltInProfileEqualsThePackageAndEmbedsTheProfile) {
  const std::vector<uint8_t> in = random_bytes(31 * 17 * 4, 1);
  write_rgba(at("in.png"), 31, 17, in, OIIO::TypeDesc::UINT8);
  const Outcome run = rx("convert " + at("in.png") + " -o " + at("out.png") + " --to-profile prophoto-rgb");
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.err, "");

  rxtest::Born born;
  auto world = world8(in, 31, 17);
  const auto o = object(world.def());
  RX_ConvertProfileToProfile(VIZ_Profile_sRGB, VIZ_Profile_ProPhotoRGB, o.get(), o.get(), false, nullptr);
  EXPECT_EQ(read_rgba<uint8_t>(at("out.png"), OIIO::TypeDesc::UINT8), rgba8(world));
  EXPECT_EQ(icc_of(at("out.png")), TIN_VIZ_Profile::FromCode(VIZ_Profile_ProPhotoRGB).GetICCData());
}

TEST_F(RxColour, TheEmbeddedProfileIsTheSourceWithoutFromProfile) {
  const std::vector<uint8_t> in = random_bytes(20 * 9 * 4, 2);
  write_rgba(at("in.png"), 20, 9, in, OIIO::TypeDesc::UINT8,
             TIN_VIZ_Profile::FromCode(VIZ_Profile_ProPhotoRGB).GetICCData());
  ASSERT_EQ(rx("convert " + at("in.png") + " -o " + at("out.png") + " --to-profile srgb").status, 0);
  // --from-profile overrides it.
  ASSERT_EQ(rx("convert " + at("in.png") + " -o " + at("forced.png") + " --to-profile srgb --from-profile srgb").status,
            0);

  rxtest::Born born;
  auto world = world8(in, 20, 9);
  const auto o = object(world.def());
  RX_ConvertProfileToProfile(VIZ_Profile_ProPhotoRGB, VIZ_Profile_sRGB, o.get(), o.get(), false, nullptr);
  EXPECT_EQ(read_rgba<uint8_t>(at("out.png"), OIIO::TypeDesc::UINT8), rgba8(world));
  EXPECT_EQ(read_rgba<uint8_t>(at("forced.png"), OIIO::TypeDesc::UINT8), in);  // sRGB to sRGB
}

TEST_F(RxColour, AnIccFileAtSixteenBitsEqualsThePackage) {
  std::mt19937 rng(3);
  std::vector<uint16_t> in(12 * 5 * 4);
  for (auto& v : in) v = uint16_t(rng());
  write_rgba(at("in.tif"), 12, 5, in, OIIO::TypeDesc::UINT16);
  const Outcome run = rx("convert " + at("in.tif") + " -o " + at("out.tif") + " --to-profile " + kAdobe);
  ASSERT_EQ(run.status, 0) << run.err;

  rxtest::Born born;
  // The tool's 16-bit scale: 0..65535 to 0..32768 to nearest, and back.
  rxtest::TestWorld<RX_Pixel16> world(12, 5);
  const auto in16 = [](uint16_t v) { return uint16_t((uint32_t(v) * 32768 + 32767) / 65535); };
  for (int i = 0; i < 60; ++i) {
    const uint16_t* v = &in[size_t(i) * 4];
    world.at(i % 12, i / 12) = {in16(v[3]), in16(v[0]), in16(v[1]), in16(v[2])};
  }
  const TIN_VIZ_Transform t = TIN_VIZ_Transform::Make(TIN_VIZ_Profile::FromCode(VIZ_Profile_sRGB),
                                                      TIN_VIZ_Profile::FromFile(kAdobe.c_str()), 1,
                                                      TIN_GetDefaultVIZOptions());
  const auto o = object(world.def());
  RX_VIZApplyTransform(t.Get(), o.get(), o.get(), false, nullptr);
  const std::vector<uint16_t> out = read_rgba<uint16_t>(at("out.tif"), OIIO::TypeDesc::UINT16);
  for (int i = 0; i < 60; ++i) {
    const RX_Pixel16& p = world.at(i % 12, i / 12);
    const uint16_t want[4] = {p.red, p.green, p.blue, p.alpha};
    for (int k = 0; k < 4; ++k) ASSERT_EQ(out[size_t(i) * 4 + size_t(k)], (uint32_t(want[k]) * 65535 + 16384) >> 15);
  }
  EXPECT_EQ(icc_of(at("out.tif")), TIN_VIZ_Profile::FromFile(kAdobe.c_str()).GetICCData());
}

TEST_F(RxColour, LinearAndEncodeGoThroughTheWorkingSpacesTables) {
  const std::vector<uint8_t> in = random_bytes(16 * 16 * 4, 4);
  write_rgba(at("in.png"), 16, 16, in, OIIO::TypeDesc::UINT8);
  for (const std::string space : {"srgb", "prophoto-rgb"}) {
    Outcome run = rx("convert " + at("in.png") + " -o " + at("linear.exr") + " --linear --working-space " + space);
    ASSERT_EQ(run.status, 0) << run.err;
    run = rx("convert " + at("linear.exr") + " -o " + at("back.png") + " --encode --depth 8 --working-space " + space);
    ASSERT_EQ(run.status, 0) << run.err;

    rxtest::Born born;
    TIN_VIZ_ProfilePool pool;
    RX_ColorSettings settings(&pool);
    settings.SetProfile(TIN_VIZ_SharedProfile(new TIN_VIZ_Profile(
        TIN_VIZ_Profile::FromCode(space == "srgb" ? VIZ_Profile_sRGB : VIZ_Profile_ProPhotoRGB))));
    settings.SetLinearBlending(true);
    const RX_LinearBlendingTables* tables = settings.GetLinearBlendingTables(false);
    auto world = world8(in, 16, 16);
    rxtest::TestWorld<RX_PixelFloat> linear(16, 16);
    const auto s = object(world.def()), d = object(linear.def());
    RX_DepthConvertWorld(tables, s.get(), d.get());
    const std::vector<float> got = read_rgba<float>(at("linear.exr"), OIIO::TypeDesc::FLOAT);
    for (int i = 0; i < 256; ++i) {
      const RX_PixelFloat& p = linear.at(i % 16, i / 16);
      ASSERT_EQ(got[size_t(i) * 4 + 0], p.red) << space << " " << i;
      ASSERT_EQ(got[size_t(i) * 4 + 3], p.alpha) << space << " " << i;
    }
    EXPECT_EQ(read_rgba<uint8_t>(at("back.png"), OIIO::TypeDesc::UINT8), in) << space;  // the way back is exact
  }
}

TEST_F(RxColour, CompositeInLinearLightUsesTheWorkingSpacesTables) {
  const std::vector<uint8_t> bg = random_bytes(13 * 11 * 4, 5), layer = random_bytes(7 * 6 * 4, 6);
  write_rgba(at("bg.png"), 13, 11, bg, OIIO::TypeDesc::UINT8);
  write_rgba(at("layer.png"), 7, 6, layer, OIIO::TypeDesc::UINT8);
  const Outcome run = rx("composite " + at("bg.png") + " " + at("layer.png") + " -o " + at("out.png") +
                     " --mode screen --at 2,3 --linear --working-space " + kAdobe);
  ASSERT_EQ(run.status, 0) << run.err;

  rxtest::Born born;
  TIN_VIZ_ProfilePool pool;
  RX_ColorSettings settings(&pool);
  settings.SetProfile(TIN_VIZ_SharedProfile(new TIN_VIZ_Profile(TIN_VIZ_Profile::FromFile(kAdobe.c_str()))));
  settings.SetLinearBlending(true);
  auto dst = world8(bg, 13, 11);
  auto src = world8(layer, 7, 6);
  const RX_CompositeModePlus mode(RX_Xfer_Screen, 1.0f, nullptr, false, 0);
  ASSERT_EQ(RX_TransferRect(nullptr, 0, 0, 0, GE_LRect{0, 0, 7, 6}, src.def(), &mode,
                            settings.GetLinearBlendingTables(false), nullptr, 2, 3, dst.def()),
            RX_Result_OK);
  EXPECT_EQ(read_rgba<uint8_t>(at("out.png"), OIIO::TypeDesc::UINT8), rgba8(dst));
}

TEST_F(RxColour, InfoShowsTheEmbeddedProfilesDescription) {
  write_rgba(at("pro.png"), 2, 2, random_bytes(16, 7), OIIO::TypeDesc::UINT8,
             TIN_VIZ_Profile::FromCode(VIZ_Profile_ProPhotoRGB).GetICCData());
  Outcome run = rx("info " + at("pro.png"));
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_NE(run.out.find(at("pro.png") + ": profile: ProPhoto RGB\n"), std::string::npos) << run.out;
  run = rx("info --json " + at("pro.png"));
  EXPECT_NE(run.out.find("\"profile\": \"ProPhoto RGB\""), std::string::npos) << run.out;
  // A damaged embedded profile is named so, and is no failure of info
  // (TIFF takes any bytes as a profile; PNG checks them).
  std::vector<uint8_t> junk(300, 0x41);
  write_rgba(at("junk.tif"), 2, 2, random_bytes(16, 8), OIIO::TypeDesc::UINT8, junk);
  run = rx("info " + at("junk.tif"));
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_NE(run.out.find(": profile: unreadable ("), std::string::npos) << run.out;
}

// One line on stderr, a non-zero status, nothing written.
void expect_one_line(const Outcome& run, const std::string& starts_with, const std::string& output) {
  EXPECT_NE(run.status, 0);
  EXPECT_EQ(run.out, "");
  ASSERT_FALSE(run.err.empty());
  EXPECT_EQ(run.err.find('\n'), run.err.size() - 1) << run.err;
  EXPECT_EQ(run.err.rfind(starts_with, 0), 0u) << run.err;
  EXPECT_FALSE(fs::exists(output));
}

TEST_F(RxColour, EveryBadProfileIsOneClearLine) {
  write_rgba(at("in.png"), 2, 2, random_bytes(16, 9), OIIO::TypeDesc::UINT8);
  const std::string convert = "convert " + at("in.png") + " -o " + at("out.png");
  expect_one_line(rx(convert + " --to-profile " + at("missing.icc")),
                  "rx: profile " + at("missing.icc") + " cannot be used: cannot open", at("out.png"));
  std::ofstream(at("junk.icc")) << std::string(500, 'x');
  expect_one_line(rx(convert + " --to-profile " + at("junk.icc")), "rx: profile " + at("junk.icc") + " cannot be used:",
                  at("out.png"));
  expect_one_line(rx(convert + " --to-profile fancy-rgb"),
                  "rx: unknown profile 'fancy-rgb': give an ICC file or one of srgb, linear-srgb,", at("out.png"));
  expect_one_line(rx(convert + " --to-profile " + kGray), "rx: profile " + kGray + " is for GRAY colour, not RGB",
                  at("out.png"));
  expect_one_line(rx(convert + " --to-profile srgb --from-profile " + kGray),
                  "rx: profile " + kGray + " is for GRAY colour, not RGB", at("out.png"));
  expect_one_line(rx("composite " + at("in.png") + " " + at("in.png") + " -o " + at("out.png") +
                     " --linear --working-space nothing"),
                  "rx: unknown profile 'nothing'", at("out.png"));
}

TEST_F(RxColour, ConversionsThatCannotBeDoneAreRefused) {
  write_rgba(at("in.png"), 2, 2, random_bytes(16, 10), OIIO::TypeDesc::UINT8);
  const std::string convert = "convert " + at("in.png") + " -o " + at("out.png");
  expect_one_line(rx(convert), "rx: nothing to convert", at("out.png"));
  expect_one_line(rx(convert + " --linear --encode"), "rx: --linear and --encode go opposite ways", at("out.png"));
  expect_one_line(rx(convert + " --encode"), "rx: --encode takes a float file", at("out.png"));
  expect_one_line(rx(convert + " --from-profile srgb"), "rx: --from-profile needs --to-profile", at("out.png"));
  write_rgba(at("junk.tif"), 2, 2, random_bytes(16, 11), OIIO::TypeDesc::UINT8, std::vector<uint8_t>(300, 0x41));
  expect_one_line(rx("convert " + at("junk.tif") + " -o " + at("out.png") + " --to-profile srgb"),
                  "rx: the profile embedded in " + at("junk.tif") + " cannot be used:", at("out.png"));
}

}  // namespace
