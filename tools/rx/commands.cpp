// composite, convert, info and modes: each loads through OpenImageIO, does
// its pixel work through the package and writes the result.
#include "commands.h"

#include <OpenImageIO/imageio.h>

#include <algorithm>
#include <cctype>
#include <sstream>

#include "gamma_tables.h"
#include "package_calls.h"
#include "picture.h"
#include "progress.h"
#include "tool_error.h"

namespace rxtool {
namespace {

std::string lower(std::string s) {
  std::transform(s.begin(), s.end(), s.begin(), [](unsigned char c) { return char(std::tolower(c)); });
  return s;
}

// The short name of a mode: "RX_Xfer_Multiply" gives "Multiply".
std::string short_name(int32_t mode) {
  const std::string full = RX_TransferModeName(mode);
  return full.substr(full.find("Xfer_") + 5);
}

int32_t parse_choice(const std::string& value, const char* what, std::initializer_list<const char*> choices) {
  int32_t index = 0;
  for (const char* choice : choices) {
    if (value == choice) return index;
    ++index;
  }
  std::string list;
  for (const char* choice : choices) list += std::string(list.empty() ? "" : ", ") + choice;
  throw ToolError(std::string("unknown ") + what + " '" + value + "' (one of " + list + ")");
}

}  // namespace

int32_t parse_mode(const std::string& text) {
  char* end = nullptr;
  const long number = std::strtol(text.c_str(), &end, 10);
  if (!text.empty() && *end == '\0') {
    if (number < RX_FirstTransferMode || number > RX_LastTransferMode) {
      throw ToolError("unknown mode " + text + " (modes are numbered " + std::to_string(RX_FirstTransferMode) +
                      " to " + std::to_string(RX_LastTransferMode) + ", see rx modes)");
    }
    return int32_t(number);
  }
  const std::string wanted = lower(text);
  for (int32_t mode = RX_FirstTransferMode; mode <= RX_LastTransferMode; ++mode) {
    if (wanted == lower(short_name(mode)) || wanted == lower(RX_TransferModeName(mode))) return mode;
  }
  throw ToolError("unknown mode '" + text + "' (see rx modes)");
}

void composite(const CompositeOptions& o) {
  capture_package_reports();
  const int32_t mode_number = parse_mode(o.mode);
  const int32_t field = parse_choice(o.field, "field", {"all", "even", "odd"});
  const int32_t matte_kind =
      parse_choice(o.matte_kind, "matte kind", {"alpha", "alpha-inverted", "luma", "luma-inverted"});
  if (!(o.opacity >= 0.0f && o.opacity <= 1.0f)) throw ToolError("opacity must lie between 0 and 1");

  Picture background = load_picture(o.background, o.premultiplied);
  const int32_t depth = o.depth ? o.depth : background.depth();
  background = to_depth(background, depth, false);
  const Picture layer = to_depth(load_picture(o.layer, o.premultiplied), depth, false);

  RX_MaskWorld mask{};
  std::unique_ptr<Picture> matte;
  if (!o.matte.empty()) {
    matte = std::make_unique<Picture>(to_depth(load_picture(o.matte, false), depth, false));
    mask = {*matte->def(), o.at_x, o.at_y, matte_kind};
  }
  const RX_LinearBlendingTables tables = gamma_tables(2.2);
  const RX_CompositeModePlus mode(mode_number, o.opacity, nullptr, o.keep_alpha, o.seed);
  const GE_LRect whole{0, 0, layer.width(), layer.height()};

  if (interrupted()) throw ToolError("interrupted", kInterruptedStatus);
  Progress progress("composite");
  check_package(RX_TransferRect(progress.info(), 0, 0, field, whole, layer.def(), &mode, o.linear ? &tables : nullptr,
                                matte ? &mask : nullptr, o.at_x, o.at_y, background.def()),
                "compositing " + o.layer + " onto " + o.background);
  if (interrupted()) throw ToolError("interrupted", kInterruptedStatus);
  save_picture(background, o.output, o.premultiplied);
}

void convert(const ConvertOptions& o) {
  capture_package_reports();
  const Picture input = load_picture(o.input, o.premultiplied);
  const Picture output = to_depth(input, o.depth, o.dither);
  if (interrupted()) throw ToolError("interrupted", kInterruptedStatus);
  save_picture(output, o.output, o.premultiplied);
}

std::string describe_file(const std::string& path) {
  auto in = OIIO::ImageInput::open(path);
  if (!in) {
    std::string why = OIIO::geterror();
    throw ToolError("cannot read " + path + ": " + (why.empty() ? "not an image this tool can read" : why));
  }
  const OIIO::ImageSpec& layout = in->spec();
  std::ostringstream out;
  out << layout.width << "x" << layout.height << ", " << layout.nchannels << " channels, " << layout.format.c_str()
      << (layout.alpha_channel >= 0 ? ", with alpha" : "");
  return out.str();
}

std::string list_modes() {
  std::ostringstream out;
  for (int32_t mode = RX_FirstTransferMode; mode <= RX_LastTransferMode; ++mode) {
    if (mode == RX_Xfer_None) continue;  // a number without a function
    out << mode << " " << lower(short_name(mode)) << "\n";
  }
  return out.str();
}

}  // namespace rxtool
