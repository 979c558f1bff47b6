// rx convolve: a square integer kernel over a picture through the
// package's convolution (override slot 28), on the chosen channels; the
// others keep their values (float ones within a rounding, and float alpha
// within 0..1, as the package limits it). The kernel comes from a file, from a name
// (sharpen, edge, emboss) or from the package's bell (--gaussian R).
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <sstream>
#include <vector>

#include "commands.h"
#include "interrupts.h"
#include "option_values.h"
#include "package_calls.h"
#include "picture.h"
#include "progress.h"

namespace rxtool {
namespace {

// The largest kernel side a file may give.
constexpr int32_t kMaxKernelSide = 99;

struct Kernel {
  int32_t size = 0;
  std::vector<int32_t> entries;
  bool normalize = false;  // named and bell kernels divide by their sum
};

// Whitespace or comma separated integers, rows top to bottom; '#' starts a
// comment. Their count is the square of an odd side.
Kernel read_kernel_file(const std::string& path) {
  std::ifstream in(path);
  if (!in) throw ToolError("cannot read the kernel file " + path);
  Kernel k;
  std::string line;
  while (std::getline(in, line)) {
    line = line.substr(0, line.find('#'));
    for (char& c : line) {
      if (c == ',' || c == ';') c = ' ';
    }
    std::istringstream words(line);
    for (std::string word; words >> word;) {
      char* end = nullptr;
      errno = 0;
      const long long v = std::strtoll(word.c_str(), &end, 10);
      if (*end != 0 || errno != 0 || v < INT32_MIN || v > INT32_MAX) {
        throw ToolError("kernel file " + path + ": '" + word + "' is not a 32-bit integer");
      }
      if (k.entries.size() >= size_t(kMaxKernelSide) * kMaxKernelSide) {
        throw ToolError("kernel file " + path + ": more than " + std::to_string(kMaxKernelSide) + " x " +
                        std::to_string(kMaxKernelSide) + " entries");
      }
      k.entries.push_back(int32_t(v));
    }
  }
  const int32_t count = int32_t(k.entries.size());
  const int32_t side = int32_t(std::lround(std::sqrt(double(count))));
  if (count == 0 || side * side != count) {
    throw ToolError("kernel file " + path + ": " + std::to_string(count) + " entries do not make a square");
  }
  if (side % 2 == 0) {
    throw ToolError("kernel file " + path + ": the kernel's side, " + std::to_string(side) + ", must be odd");
  }
  k.size = side;
  return k;
}

Kernel named_kernel(const std::string& name) {
  Kernel k;
  k.size = 3;
  k.normalize = true;
  switch (parse_choice(name, "kernel", {"sharpen", "edge", "emboss"})) {
    case 0:
      k.entries = {0, -1, 0, -1, 5, -1, 0, -1, 0};
      break;
    case 1:
      k.entries = {-1, -1, -1, -1, 8, -1, -1, -1, -1};  // sums to 0: the raw sum comes out
      break;
    default:
      k.entries = {-2, -1, 0, -1, 1, 1, 0, 1, 2};
      break;
  }
  return k;
}

Kernel bell_kernel(double radius) {
  if (!(radius >= 0.0 && radius <= 100.0)) {
    std::ostringstream text;
    text << "--gaussian must lie between 0 and 100; got " << radius;
    throw ToolError(text.str());
  }
  const int32_t side = 2 * int32_t(std::ceil(radius)) + 1;
  Kernel k;
  k.entries.resize(size_t(side) * side);
  uint32_t size = 0;
  check_package(RX_GaussianKernel(nullptr, radius, 0, 1.0, &size, k.entries.data()), "making the kernel");
  k.size = int32_t(size);
  k.normalize = true;
  return k;
}

}  // namespace

void convolve(const ConvolveOptions& o) {
  const int32_t channels = parse_channels(o.channels, "--channels");
  if (o.kernel.empty() == !o.gaussian) throw ToolError("give one of --kernel and --gaussian");
  Kernel k = o.gaussian ? bell_kernel(*o.gaussian)
             : o.kernel == "sharpen" || o.kernel == "edge" || o.kernel == "emboss" ? named_kernel(o.kernel)
                                                                                   : read_kernel_file(o.kernel);
  const bool normalize = k.normalize || o.normalize;
  uint32_t flags = normalize ? RX_CONVOLVE_NORMALIZE : 0;
  if (o.no_clamp) flags |= RX_CONVOLVE_NO_CLAMP;

  // A channel left out gets the kernel that gives it back: its centre
  // alone, weighing the divisor.
  const int32_t entries = k.size * k.size;
  std::vector<int32_t> identity(size_t(entries), 0);
  identity[size_t(entries / 2)] = normalize ? 1 : entries * 256;
  const int32_t* kernels[4];
  for (int c = 0; c < 4; ++c) kernels[c] = (channels & (1 << c)) ? k.entries.data() : identity.data();

  const Picture input = load_picture(o.input, o.premultiplied);
  Picture output(input.width(), input.height(), input.depth());
  output.colour = input.colour;
  std::unique_ptr<RX_World> src, dst;
  run_package("wrapping the pictures", [&] {
    src.reset(RX_World::NewReference(*input.def()));
    dst.reset(RX_World::NewReference(*output.def()));
  });
  stop_if_interrupted();
  Progress progress("convolve");
  const auto through_slot = reinterpret_cast<RX_ConvolveFunc>(RXp_G_OverFuncs[RX_Slot_Convolve]);
  check_package(through_slot(progress.info(), src.get(), nullptr, flags, k.size, kernels[0], kernels[1],
                             kernels[2], kernels[3], dst.get()),
                "convolving " + o.input);
  stop_if_interrupted();
  save_picture(output, o.output, o.premultiplied);
}

void add_convolve(CLI::App& app, const Console&) {
  auto o = std::make_shared<ConvolveOptions>();
  auto* sub = app.add_subcommand("convolve", "Convolve IN with a square integer kernel through the package.");
  sub->add_option("IN", o->input, "The file to read")->required();
  sub->add_option("-o,--output", o->output, "The file to write")->required();
  sub->add_option("--kernel", o->kernel,
                  "A file of integers (rows of an odd square, '#' comments), or sharpen, edge, emboss");
  sub->add_option("--gaussian", o->gaussian, "The package's bell kernel of this radius instead");
  sub->add_option("--channels", o->channels, "Which channels to convolve: any of a, r, g, b")
      ->capture_default_str();
  sub->add_flag("--normalize", o->normalize,
                "Divide by the kernel's sum (0 counts as 1) instead of 256 a entry; named kernels always do");
  sub->add_flag("--no-clamp", o->no_clamp, "Keep results outside the depth's range (8 and 16 bits wrap)");
  sub->add_flag("--premultiplied", o->premultiplied, "Files hold premultiplied colour");
  sub->callback([o] {
    PackageSession package;
    convolve(*o);
  });
}

}  // namespace rxtool
