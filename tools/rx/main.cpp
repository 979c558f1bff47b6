// rx: composite, convert and inspect images with the RX package.
#include <CLI/CLI.hpp>

#include <cstdio>

#include "commands.h"
#include "package_calls.h"
#include "progress.h"
#include "tool_error.h"

namespace {

// The package is born for the run and dies at its end.
struct BornPackage {
  BornPackage() {
    rxtool::capture_package_reports();
    rxtool::check_package(RX_CheckVersions(0, RX_HEADER_VERSION), "starting the package");
    rxtool::check_package(RX_Birth(), "starting the package");
  }
  ~BornPackage() { RX_Death(); }
};

std::pair<int32_t, int32_t> parse_position(const std::string& text) {
  int x = 0, y = 0;
  char comma = 0, rest = 0;
  if (std::sscanf(text.c_str(), "%d %c %d %c", &x, &comma, &y, &rest) != 3 || comma != ',') {
    throw rxtool::ToolError("--at wants X,Y, such as 120,60; got '" + text + "'");
  }
  return {x, y};
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"rx: composite, convert and inspect images with the RX pixel library.\n"
               "8-bit files load into 8-bit worlds, 16-bit files into 16-bit worlds (0..65535 scaled to\n"
               "0..32768), other files into float worlds; files without alpha get an opaque one."};
  app.require_subcommand(1);

  rxtool::CompositeOptions co;
  std::string at = "0,0";
  auto* composite = app.add_subcommand(
      "composite", "Lay LAYER over BACKGROUND through a transfer mode (RX_TransferRect) and write OUT.");
  composite->add_option("BACKGROUND", co.background, "The picture blended onto")->required();
  composite->add_option("LAYER", co.layer, "The picture laid over it")->required();
  composite->add_option("-o,--output", co.output, "The file to write (format by extension)")->required();
  composite->add_option("--mode", co.mode, "A mode as `rx modes` lists it, by name or number")
      ->capture_default_str();
  composite->add_option("--opacity", co.opacity, "Opacity of the layer, 0 to 1")->capture_default_str();
  composite->add_option("--at", at, "X,Y where the layer's top-left corner lands")->capture_default_str();
  composite->add_option("--matte", co.matte, "A track matte file, placed over the layer");
  composite->add_option("--matte-kind", co.matte_kind, "alpha, alpha-inverted, luma or luma-inverted")
      ->capture_default_str();
  composite->add_option("--field", co.field, "all, even or odd lines")->capture_default_str();
  composite->add_flag("--keep-alpha", co.keep_alpha, "Change only the background's colour, not its alpha");
  composite->add_option("--seed", co.seed, "Seed of the dissolve mode")->capture_default_str();
  composite->add_flag("--linear", co.linear, "Blend in linear light (a gamma 2.2 curve)");
  composite->add_option("--depth", co.depth, "Working depth 8, 16 or 32 (default: the background's)")
      ->check(CLI::IsMember({8, 16, 32}));
  composite->add_flag("--premultiplied", co.premultiplied,
                      "Files hold premultiplied colour: unmultiply on reading, premultiply on writing");

  rxtool::ConvertOptions cv;
  auto* convert = app.add_subcommand("convert", "Write IN at another depth through the package's copies.");
  convert->add_option("IN", cv.input, "The file to read")->required();
  convert->add_option("-o,--output", cv.output, "The file to write")->required();
  convert->add_option("--depth", cv.depth, "8, 16 or 32")->required()->check(CLI::IsMember({8, 16, 32}));
  convert->add_flag("--dither", cv.dither, "Dither when going down to 8 bits");
  convert->add_flag("--premultiplied", cv.premultiplied, "Files hold premultiplied colour");

  std::string info_file;
  auto* info = app.add_subcommand("info", "Print a file's size, channels and depth.");
  info->add_option("FILE", info_file, "The file")->required();

  auto* modes = app.add_subcommand("modes", "List the transfer modes: number and name, one a line.");

  std::string demo_dir = "rx-demo";
  auto* demo = app.add_subcommand("demo", "Make pictures, run every subcommand on them, write the results.");
  demo->add_option("--out", demo_dir, "Where the pictures go")->capture_default_str();

  CLI11_PARSE(app, argc, argv);

  try {
    rxtool::catch_interrupts();
    if (*modes) {
      std::fputs(rxtool::list_modes().c_str(), stdout);
    } else if (*info) {
      std::printf("%s: %s\n", info_file.c_str(), rxtool::describe_file(info_file).c_str());
    } else {
      BornPackage package;
      if (*composite) {
        std::tie(co.at_x, co.at_y) = parse_position(at);
        rxtool::composite(co);
      } else if (*convert) {
        rxtool::convert(cv);
      } else if (*demo) {
        rxtool::demo(demo_dir);
      }
    }
  } catch (const rxtool::ToolError& e) {
    std::fprintf(stderr, "rx: %s\n", e.what());
    return e.status;
  } catch (const std::exception& e) {
    std::fprintf(stderr, "rx: %s\n", e.what());
    return 1;
  }
  return 0;
}
