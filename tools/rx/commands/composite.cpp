// rx composite: lays a layer over a background through a transfer mode
// (RX_TransferRect), with opacity, position, track matte, fields,
// keep-alpha, dissolve seed and linear light, and writes the background.
// Linear light follows the working space's tone curve: its tables come
// from the package's colour settings on that profile (sRGB by default).
// --alpha says how the layer's colour is taken, or lets the package guess;
// --feather blurs the matte's coverage (or the layer's alpha) into the
// layer's alpha first.
#include <cmath>
#include <memory>
#include <ostream>

#include "alpha_guess.h"
#include "commands.h"
#include "colour_profiles.h"
#include "feather.h"
#include "interrupts.h"
#include "option_values.h"
#include "package_calls.h"
#include "picture.h"
#include "progress.h"

namespace rxtool {

void composite(const CompositeOptions& o) {
  const int32_t mode_number = parse_mode(o.mode);
  const int32_t field = parse_choice(o.field, "field", {"all", "even", "odd"});
  const int32_t matte_kind =
      parse_choice(o.matte_kind, "matte kind", {"alpha", "alpha-inverted", "luma", "luma-inverted"});
  if (!(o.opacity >= 0.0f && o.opacity <= 1.0f)) throw ToolError("opacity must lie between 0 and 1");
  if (!(o.feather >= 0.0 && o.feather <= kMaxFeather)) {
    throw ToolError("feather radius must lie between 0 and " + std::to_string(int(kMaxFeather)) + " pixels");
  }

  Picture background = load_picture(o.background, o.premultiplied);
  const int32_t depth = o.depth ? o.depth : background.depth();
  background = to_depth(background, depth, false);
  Picture layer = to_depth(load_layer_as(o.layer, o.alpha, o.premultiplied, o.verbose), depth, false);

  RX_MaskWorld mask{};
  std::unique_ptr<Picture> matte;
  if (!o.matte.empty()) {
    matte = std::make_unique<Picture>(to_depth(load_picture(o.matte, false), depth, false));
    mask = {*matte->def(), o.at_x, o.at_y, matte_kind};
  }
  if (o.feather > 0.0) {
    stop_if_interrupted();
    Progress progress("feather");
    const FeatherTiles tiles = feather_layer(layer, matte.get(), matte_kind, o.feather, progress.info());
    if (o.feather_tiles) *o.feather_tiles = tiles;
    if (o.verbose && matte) *o.verbose << "feather: " << tiles.made << " of " << tiles.total << " tiles of the matte made\n";
    matte.reset();  // its coverage is in the layer's alpha now
  }
  RX_LinearBlendingTablesPtr tables;
  if (o.linear) tables = working_space_tables(profile_named(o.working_space));
  const RX_CompositeModePlus mode(mode_number, o.opacity, nullptr, o.keep_alpha, o.seed);
  const GE_LRect whole{0, 0, layer.width(), layer.height()};

  stop_if_interrupted();
  Progress progress("composite");
  check_package(RX_TransferRect(progress.info(), 0, 0, field, whole, layer.def(), &mode, tables.get(),
                                matte ? &mask : nullptr, o.at_x, o.at_y, background.def()),
                "compositing " + o.layer + " onto " + o.background);
  stop_if_interrupted();
  save_picture(background, o.output, o.premultiplied);
}

void add_composite(CLI::App& app, const Console& console) {
  auto o = std::make_shared<CompositeOptions>();
  auto at = std::make_shared<std::string>("0,0");
  auto* sub = app.add_subcommand(
      "composite", "Lay LAYER over BACKGROUND through a transfer mode (RX_TransferRect) and write OUT.");
  sub->add_option("BACKGROUND", o->background, "The picture blended onto")->required();
  sub->add_option("LAYER", o->layer, "The picture laid over it")->required();
  sub->add_option("-o,--output", o->output, "The file to write (format by extension)")->required();
  sub->add_option("--mode", o->mode, "A mode as `rx modes` lists it, by name or number")->capture_default_str();
  sub->add_option("--opacity", o->opacity, "Opacity of the layer, 0 to 1")->capture_default_str();
  sub->add_option("--at", *at, "X,Y where the layer's top-left corner lands")->capture_default_str();
  sub->add_option("--matte", o->matte, "A track matte file, placed over the layer");
  sub->add_option("--matte-kind", o->matte_kind, "alpha, alpha-inverted, luma or luma-inverted")
      ->capture_default_str();
  sub->add_option("--field", o->field, "all, even or odd lines")->capture_default_str();
  sub->add_flag("--keep-alpha", o->keep_alpha, "Change only the background's colour, not its alpha");
  sub->add_option("--seed", o->seed, "Seed of the dissolve mode")->capture_default_str();
  sub->add_flag("--linear", o->linear, "Blend in linear light, on the working space's tone curve");
  sub->add_option("--working-space", o->working_space,
                  "The profile whose curve --linear follows: an ICC file or one of " + builtin_profile_list())
      ->capture_default_str();
  sub->add_option("--depth", o->depth, "Working depth 8, 16 or 32 (default: the background's)")
      ->check(CLI::IsMember({8, 16, 32}));
  sub->add_option("--feather", o->feather,
                  "Blur the matte's coverage (without a matte, the layer's alpha) by R pixels with the package's "
                  "Gaussian and multiply it into the layer's alpha before compositing");
  sub->add_flag("--premultiplied", o->premultiplied,
                "Files hold premultiplied colour: unmultiply on reading, premultiply on writing");
  sub->add_option("--alpha", o->alpha,
                  "How the layer's colour is taken: auto (the package guesses, and a premultiplied layer is "
                  "unmultiplied against its matte), straight, or premultiplied (against black)")
      ->check(CLI::IsMember({"auto", "straight", "premultiplied"}));
  auto verbose = std::make_shared<bool>(false);
  sub->add_flag("-v,--verbose", *verbose, "Tell the choices made (how the layer's alpha was taken)");
  sub->callback([o, at, verbose, &out = console.out] {
    o->verbose = *verbose ? &out : nullptr;
    std::tie(o->at_x, o->at_y) = parse_position(*at, "--at");
    PackageSession package;
    composite(*o);
  });
}

}  // namespace rxtool
