// rx blur and rx convolve on files the test writes, against the package
// called directly on the same pixels; and their bad options, which give one
// line on stderr and a non-zero status.
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <sstream>
#include <vector>

#include "RX.h"
#include "commands/commands.h"
#include "package_calls.h"
#include "picture.h"
#include "tool.h"

namespace {

namespace fs = std::filesystem;

struct ToolRun {
  int status;
  std::string out, err;
};

class RxFilters : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = fs::temp_directory_path() / ("rx-filters-test-" + std::to_string(::getpid()) + "-" +
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

  // A picture of random straight pixels at a depth, written to a file:
  // PNG for 8 and 16 bits, EXR for float.
  std::string write_random(const std::string& name, int32_t depth, std::mt19937& rng) const {
    rxtool::Picture p(29, 17, depth);
    for (int32_t y = 0; y < p.height(); ++y) {
      for (int32_t x = 0; x < p.width(); ++x) {
        const uint32_t r = rng();
        const int pick = int(r % 5);
        if (depth == 8) {
          const uint8_t alpha = pick == 0 ? 0 : pick == 1 ? 255 : uint8_t(r >> 8);
          p.row<RX_Pixel8>(y)[x] = {alpha, uint8_t(r >> 16), uint8_t(r >> 24), uint8_t(rng())};
        } else if (depth == 16) {
          const uint16_t alpha = pick == 0 ? 0 : pick == 1 ? 32768 : uint16_t((r >> 8) % 32769);
          p.row<RX_Pixel16>(y)[x] = {alpha, uint16_t(rng() % 32769), uint16_t(rng() % 32769),
                                     uint16_t(rng() % 32769)};
        } else {
          const float alpha = pick == 0 ? 0.0f : pick == 1 ? 1.0f : float(r >> 8) / 16777216.0f;
          p.row<RX_PixelFloat>(y)[x] = {alpha, float(rng() >> 8) / 16777216.0f, float(rng() >> 8) / 16777216.0f,
                                        float(rng() >> 8) / 16777216.0f};
        }
      }
    }
    const std::string path = at(name);
    rxtool::save_picture(p, path, false);
    return path;
  }

  fs::path dir_;
};

bool same_pixels(const rxtool::Picture& a, const rxtool::Picture& b) {
  if (a.width() != b.width() || a.height() != b.height() || a.depth() != b.depth()) return false;
  const size_t row = size_t(a.width()) * size_t(a.depth() / 2);
  for (int32_t y = 0; y < a.height(); ++y) {
    if (std::memcmp(a.row<uint8_t>(y), b.row<uint8_t>(y), row) != 0) return false;
  }
  return true;
}

std::unique_ptr<RX_World> world_of(const rxtool::Picture& p) {
  return std::unique_ptr<RX_World>(RX_World::NewReference(*p.def()));
}

// What the tool should write: the file's pixels blurred along rows into
// premultiplied pixels, then along columns back to straight ones.
rxtool::Picture blurred_directly(const std::string& file, bool box, float rx, float ry, uint32_t passes,
                                 int32_t channels) {
  rxtool::PackageSession package;
  const rxtool::Picture input = rxtool::load_picture(file, false);
  rxtool::Picture middle(input.width(), input.height(), input.depth());
  rxtool::Picture output(input.width(), input.height(), input.depth());
  auto src = world_of(input), mid = world_of(middle), dst = world_of(output);
  auto pass = [&](const RX_World* from, float radius, uint32_t vertical, int32_t from_pre, uint32_t to_pre,
                  RX_World* to) {
    if (box) {
      RX_BoxBlur1D(nullptr, from, radius, passes, channels, vertical, from_pre, vertical, to_pre, 0, to);
    } else {
      RX_GaussianBlur1D(nullptr, from, radius, channels, vertical, from_pre, vertical, to_pre, 0, to);
    }
  };
  if (rx > 0 && ry > 0) {
    pass(src.get(), rx, 0, 0, 1, mid.get());
    pass(mid.get(), ry, 1, 1, 0, dst.get());
  } else {
    pass(src.get(), rx > 0 ? rx : ry, rx > 0 ? 0 : 1, 0, 0, dst.get());
  }
  return output;
}

TEST_F(RxFilters, BlurWritesWhatTheBlursGiveAtEveryDepth) {
  std::mt19937 rng(1501);
  const char* extensions[] = {"png", "png", "exr"};
  const int32_t depths[] = {8, 16, 32};
  for (int d = 0; d < 3; ++d) {
    const std::string in = write_random(std::string("in.") + extensions[d], depths[d], rng);
    const std::string out = at(std::string("out.") + extensions[d]);
    struct Case {
      std::string options;
      bool box;
      float rx, ry;
      uint32_t passes;
      int32_t channels;
    };
    const Case cases[] = {
        {"--radius 3", false, 3, 3, 1, 15},
        {"--radius 2.5,4 --channels rgb --renormalize", false, 2.5f, 4, 1, 14 | RX_BLUR_RENORMALIZE},
        {"--radius 0,3 --channels ab", false, 0, 3, 1, RX_BLUR_ALPHA | RX_BLUR_BLUE},
        {"--kind box --radius 2", true, 2, 2, 3, 15},
        {"--kind box --radius 1.5,0 --passes 2 --channels a", true, 1.5f, 0, 2, RX_BLUR_ALPHA},
    };
    for (const Case& c : cases) {
      const ToolRun run = rx("blur " + in + " -o " + out + " " + c.options);
      ASSERT_EQ(run.status, 0) << run.err;
      rxtool::PackageSession package;
      const rxtool::Picture got = rxtool::load_picture(out, false);
      const rxtool::Picture want = blurred_directly(in, c.box, c.rx, c.ry, c.passes, c.channels);
      EXPECT_TRUE(same_pixels(got, want)) << depths[d] << " bits, " << c.options;
    }
  }
}

rxtool::Picture convolved_directly(const std::string& file, const std::vector<int32_t>& kernel, int32_t size,
                                   uint32_t flags, int32_t channels) {
  rxtool::PackageSession package;
  const rxtool::Picture input = rxtool::load_picture(file, false);
  rxtool::Picture output(input.width(), input.height(), input.depth());
  const int32_t entries = size * size;
  std::vector<int32_t> identity(size_t(entries), 0);
  identity[size_t(entries / 2)] = (flags & RX_CONVOLVE_NORMALIZE) ? 1 : entries * 256;
  const int32_t* k[4];
  for (int c = 0; c < 4; ++c) k[c] = (channels & (1 << c)) ? kernel.data() : identity.data();
  auto src = world_of(input), dst = world_of(output);
  EXPECT_EQ(RX_Convolve(nullptr, src.get(), nullptr, flags, size, k[0], k[1], k[2], k[3], dst.get()), RX_Result_OK);
  return output;
}

TEST_F(RxFilters, ConvolveWritesWhatTheConvolutionGives) {
  std::mt19937 rng(1502);
  for (int32_t depth : {8, 16}) {
    const std::string in = write_random("in.png", depth, rng);
    const std::string out = at("out.png");
    {
      std::ofstream file(at("k.txt"));
      file << "# a skewed blur\n1, 2, 3, 0, 1\n2 4 6 1 0\n3 6 9 2 1\n0 1 2 1 0\n1 0 1 0 1\n";
    }
    const std::vector<int32_t> skewed{1, 2, 3, 0, 1, 2, 4, 6, 1, 0, 3, 6, 9, 2, 1, 0, 1, 2, 1, 0, 1, 0, 1, 0, 1};
    struct Case {
      std::string options;
      std::vector<int32_t> kernel;
      int32_t size;
      uint32_t flags;
      int32_t channels;
    };
    const Case cases[] = {
        {"--kernel sharpen", {0, -1, 0, -1, 5, -1, 0, -1, 0}, 3, RX_CONVOLVE_NORMALIZE, 14},
        {"--kernel edge --channels argb", {-1, -1, -1, -1, 8, -1, -1, -1, -1}, 3, RX_CONVOLVE_NORMALIZE, 15},
        {"--kernel emboss --no-clamp", {-2, -1, 0, -1, 1, 1, 0, 1, 2}, 3,
         RX_CONVOLVE_NORMALIZE | RX_CONVOLVE_NO_CLAMP, 14},
        {"--kernel " + at("k.txt"), skewed, 5, 0, 14},
        {"--kernel " + at("k.txt") + " --normalize --channels g", skewed, 5, RX_CONVOLVE_NORMALIZE, 4},
    };
    for (const Case& c : cases) {
      const ToolRun run = rx("convolve " + in + " -o " + out + " " + c.options);
      ASSERT_EQ(run.status, 0) << run.err;
      rxtool::PackageSession package;
      const rxtool::Picture got = rxtool::load_picture(out, false);
      // Through a file of the same kind, as the tool's result went: 16-bit
      // values beyond 32768 (unclamped) do not survive a file.
      rxtool::save_picture(convolved_directly(in, c.kernel, c.size, c.flags, c.channels), at("want.png"), false);
      const rxtool::Picture want = rxtool::load_picture(at("want.png"), false);
      EXPECT_TRUE(same_pixels(got, want)) << depth << " bits, " << c.options;
    }
  }
}

TEST_F(RxFilters, ConvolveWithTheBellUsesTheGaussianKernel) {
  std::mt19937 rng(1503);
  const std::string in = write_random("in.png", 8, rng);
  const ToolRun run = rx("convolve " + in + " -o " + at("out.png") + " --gaussian 2");
  ASSERT_EQ(run.status, 0) << run.err;
  std::vector<int32_t> kernel(25);
  uint32_t size = 0;
  ASSERT_EQ(RX_GaussianKernel(nullptr, 2.0, 0, 1.0, &size, kernel.data()), RX_Result_OK);
  ASSERT_EQ(size, 5u);
  rxtool::PackageSession package;
  const rxtool::Picture got = rxtool::load_picture(at("out.png"), false);
  EXPECT_TRUE(same_pixels(got, convolved_directly(in, kernel, 5, RX_CONVOLVE_NORMALIZE, 14)));
}

TEST_F(RxFilters, BadOptionsGiveOneLineAndAFailingStatus) {
  std::mt19937 rng(1504);
  const std::string in = write_random("in.png", 8, rng);
  const std::string out = at("out.png");
  {
    std::ofstream(at("even.txt")) << "1 2\n3 4\n";
    std::ofstream(at("ragged.txt")) << "1 2 3\n4 5\n";
    std::ofstream(at("words.txt")) << "1 2 three\n";
  }
  struct Bad {
    std::string command, line;
  };
  const Bad cases[] = {
      {"blur " + in + " -o " + out + " --radius -2", "rx: --radius must lie between 0 and 10000; got '-2'\n"},
      {"blur " + in + " -o " + out + " --radius 3,-1", "rx: --radius must lie between 0 and 10000; got '3,-1'\n"},
      {"blur " + in + " -o " + out + " --radius wide", "rx: --radius wants R or RX,RY, such as 4 or 6,0; got 'wide'\n"},
      {"blur " + in + " -o " + out + " --kind box --passes 0", "rx: --passes must be at least 1; got 0\n"},
      {"blur " + in + " -o " + out + " --kind median", "rx: unknown kind 'median' (one of gaussian, box)\n"},
      {"blur " + in + " -o " + out + " --channels rgbx",
       "rx: --channels wants letters of argb, such as rgb; got 'rgbx'\n"},
      {"convolve " + in + " -o " + out + " --kernel " + at("even.txt"),
       "rx: kernel file " + at("even.txt") + ": the kernel's side, 2, must be odd\n"},
      {"convolve " + in + " -o " + out + " --kernel " + at("ragged.txt"),
       "rx: kernel file " + at("ragged.txt") + ": 5 entries do not make a square\n"},
      {"convolve " + in + " -o " + out + " --kernel " + at("words.txt"),
       "rx: kernel file " + at("words.txt") + ": 'three' is not a 32-bit integer\n"},
      {"convolve " + in + " -o " + out + " --kernel " + at("missing.txt"),
       "rx: cannot read the kernel file " + at("missing.txt") + "\n"},
      {"convolve " + in + " -o " + out, "rx: give one of --kernel and --gaussian\n"},
      {"convolve " + in + " -o " + out + " --gaussian -1", "rx: --gaussian must lie between 0 and 100; got -1\n"},
      {"convolve " + in + " -o " + out + " --gaussian 1 --kernel edge", "rx: give one of --kernel and --gaussian\n"},
  };
  for (const Bad& c : cases) {
    const ToolRun run = rx(c.command);
    EXPECT_NE(run.status, 0) << c.command;
    EXPECT_EQ(run.err, c.line) << c.command;
    EXPECT_FALSE(fs::exists(out)) << c.command;
  }
}

}  // namespace
