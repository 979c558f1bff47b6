// rx convert: writes a file at another depth through the package's copies
// (with dither on the way down to 8 bits when asked), into another colour
// profile through the colour engine (RX_VIZApplyTransform, from the file's
// embedded profile or --from-profile), or between gamma-encoded 8/16 bits
// and linear float through a working space's tables (RX_DepthConvertWorld).
// The output carries the profile its pixels are in.
#include <memory>

#include "colour_profiles.h"
#include "commands.h"
#include "interrupts.h"
#include "package_calls.h"
#include "picture.h"
#include "progress.h"
#include "tool_error.h"

namespace rxtool {
namespace {

std::unique_ptr<RX_World> world_of(const Picture& p) {
  return std::unique_ptr<RX_World>(RX_World::NewReference(*p.def()));
}

// Through the tables of the working space, to linear float or back.
Picture depth_convert(const Picture& input, const ConvertOptions& o) {
  const TIN_VIZ_Profile working = profile_named(o.working_space);
  const RX_LinearBlendingTablesPtr tables = working_space_tables(working);
  int32_t depth = 32;
  if (o.linear) {
    if (input.depth() == 32) throw ToolError("--linear takes an 8- or 16-bit file; " + o.input + " is float");
    if (o.depth != 0 && o.depth != 32) throw ToolError("--linear writes float: --depth 32 or none");
  } else {
    if (input.depth() != 32) throw ToolError("--encode takes a float file; " + o.input + " is " + std::to_string(input.depth()) + "-bit");
    depth = o.depth ? o.depth : 16;
    if (depth == 32) throw ToolError("--encode writes 8 or 16 bits: --depth 8 or 16");
  }
  Picture output(input.width(), input.height(), depth);
  const auto src = world_of(input), dst = world_of(output);
  colour_calls("converting " + o.input, [&] { RX_DepthConvertWorld(tables.get(), src.get(), dst.get()); });
  // Linear float is in the working space's linear form.
  TIN_VIZ_Profile carried = working;
  if (o.linear) {
    colour_calls("making the linear form of " + working.GetNameUTF8(), [&] {
      carried = *TIN_VIZ_GetLinearRGBProfile(TIN_VIZ_SharedProfile(new TIN_VIZ_Profile(working)));
    });
  }
  output.colour.icc_profile = carried.GetICCData();
  output.colour.colour_space.clear();
  return output;
}

// Through the engine's transform from the file's profile to another.
void profile_convert(Picture& picture, const ConvertOptions& o) {
  const TIN_VIZ_Profile from =
      o.from_profile.empty() ? embedded_profile_or_srgb(picture, o.input) : profile_named(o.from_profile);
  const TIN_VIZ_Profile to = profile_named(o.to_profile);
  const auto world = world_of(picture);
  Progress progress("convert");
  colour_calls("converting " + o.input + " from " + from.GetNameUTF8() + " to " + to.GetNameUTF8(), [&] {
    const TIN_VIZ_Transform t = TIN_VIZ_Transform::Make(from, to, 1, TIN_GetDefaultVIZOptions());
    // In place: the alpha of each pixel stays where it is.
    RX_VIZApplyTransform(t.Get(), world.get(), world.get(), false, progress.info());
  });
  picture.colour.icc_profile = to.GetICCData();
  picture.colour.colour_space.clear();
}

}  // namespace

void convert(const ConvertOptions& o) {
  if (o.linear && o.encode) throw ToolError("--linear and --encode go opposite ways: give one");
  if ((o.linear || o.encode) && !o.to_profile.empty()) {
    throw ToolError("--to-profile and --" + std::string(o.linear ? "linear" : "encode") + " are separate conversions");
  }
  if (!o.from_profile.empty() && o.to_profile.empty()) throw ToolError("--from-profile needs --to-profile");
  if (o.depth == 0 && o.to_profile.empty() && !o.linear && !o.encode) {
    throw ToolError("nothing to convert: give --depth, --to-profile, --linear or --encode");
  }
  const Picture input = load_picture(o.input, o.premultiplied);
  Picture output = o.linear || o.encode ? depth_convert(input, o) : to_depth(input, o.depth ? o.depth : input.depth(), o.dither);
  if (!o.to_profile.empty()) profile_convert(output, o);
  stop_if_interrupted();
  save_picture(output, o.output, o.premultiplied);
}

void add_convert(CLI::App& app, const Console&) {
  auto o = std::make_shared<ConvertOptions>();
  auto* sub = app.add_subcommand(
      "convert", "Write IN at another depth, in another colour profile, or between gamma-encoded and linear light.");
  sub->add_option("IN", o->input, "The file to read")->required();
  sub->add_option("-o,--output", o->output, "The file to write")->required();
  sub->add_option("--depth", o->depth, "8, 16 or 32 (default: the input's)")->check(CLI::IsMember({8, 16, 32}));
  sub->add_flag("--dither", o->dither, "Dither when going down to 8 bits");
  sub->add_flag("--premultiplied", o->premultiplied, "Files hold premultiplied colour");
  sub->add_option("--to-profile", o->to_profile,
                  "Convert to this profile: an ICC file or one of " + builtin_profile_list());
  sub->add_option("--from-profile", o->from_profile,
                  "Convert from this profile instead of the file's embedded one (sRGB when it has none)");
  sub->add_flag("--linear", o->linear, "Gamma-encoded 8 or 16 bits to linear float, through the working space's curve");
  sub->add_flag("--encode", o->encode, "Linear float to gamma-encoded 8 or 16 bits (--depth, default 16)");
  sub->add_option("--working-space", o->working_space, "The profile whose curve --linear and --encode follow")
      ->capture_default_str();
  sub->callback([o] {
    PackageSession package;
    convert(*o);
  });
}

}  // namespace rxtool
