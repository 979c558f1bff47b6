// rx transform: lays a layer over a background through a matrix
// (RX_TransformWorld): turned, scaled, sheared and moved about an anchor,
// or by a raw matrix, at draft or best quality, with motion blur toward
// the end of the shutter or along a path of matrices, through any mode
// with the composite options; and writes the background. Without
// transform options the layer lands where rx composite puts it.
#include <cmath>
#include <fstream>
#include <memory>
#include <ostream>
#include <sstream>

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
namespace {

// Numbers separated by commas (or, in a path file, spaces).
std::vector<double> numbers_of(const std::string& text, const std::string& what) {
  std::string spaced = text;
  for (char& c : spaced) {
    if (c == ',') c = ' ';
  }
  std::istringstream in(spaced);
  std::vector<double> values;
  std::string word;
  while (in >> word) {
    char* end = nullptr;
    const double v = std::strtod(word.c_str(), &end);
    if (*end != '\0' || !std::isfinite(v)) throw ToolError(what + ": '" + word + "' is not a number");
    values.push_back(v);
  }
  return values;
}

// 6 numbers (the two top rows, the bottom one being 0 0 1) or 9 (all rows).
GE_Matrix3 matrix_of(const std::string& text, const std::string& what) {
  const std::vector<double> v = numbers_of(text, what);
  if (v.size() != 6 && v.size() != 9) {
    throw ToolError(what + " wants 6 or 9 numbers, row by row; got " + std::to_string(v.size()));
  }
  GE_Matrix3 m{{{v[0], v[1], v[2]}, {v[3], v[4], v[5]}, {0.0, 0.0, 1.0}}};
  if (v.size() == 9) m.m[2][0] = v[6], m.m[2][1] = v[7], m.m[2][2] = v[8];
  return m;
}

std::pair<double, double> pair_of(const std::string& text, const std::string& what, bool single_means_both) {
  const std::vector<double> v = numbers_of(text, what);
  if (v.size() == 1 && single_means_both) return {v[0], v[0]};
  if (v.size() != 2) throw ToolError(what + " wants X,Y; got '" + text + "'");
  return {v[0], v[1]};
}

GE_Matrix3 affine(double a, double b, double tx, double c, double d, double ty) {
  return GE_Matrix3{{{a, b, tx}, {c, d, ty}, {0.0, 0.0, 1.0}}};
}

GE_Matrix3 then(const GE_Matrix3& first, const GE_Matrix3& second) {
  GE_Matrix3 m;
  GE_ConcatMatrix(&second, &first, &m);
  return m;
}

}  // namespace

GE_Matrix3 placement_matrix(const Placement& p, double anchor_x, double anchor_y) {
  const double r = p.rotate * M_PI / 180.0;
  GE_Matrix3 m = affine(1, 0, -anchor_x, 0, 1, -anchor_y);
  m = then(m, affine(p.scale_x, 0, 0, 0, p.scale_y, 0));
  m = then(m, affine(1, p.shear_x, 0, p.shear_y, 1, 0));
  m = then(m, affine(std::cos(r), -std::sin(r), 0, std::sin(r), std::cos(r), 0));
  return then(m, affine(1, 0, anchor_x + p.translate_x, 0, 1, anchor_y + p.translate_y));
}

std::vector<GE_Matrix3> read_path(const std::string& file) {
  std::ifstream in(file);
  if (!in) throw ToolError("cannot read " + file);
  std::vector<GE_Matrix3> path;
  std::string line;
  for (int number = 1; std::getline(in, line); ++number) {
    const size_t hash = line.find('#');
    if (hash != std::string::npos) line.erase(hash);
    if (line.find_first_not_of(" \t\r") == std::string::npos) continue;
    path.push_back(matrix_of(line, file + " line " + std::to_string(number)));
  }
  if (path.empty()) throw ToolError(file + " holds no matrix");
  return path;
}

std::vector<GE_Matrix3> transform_matrices(const TransformOptions& o, int32_t layer_width, int32_t layer_height) {
  if (!o.path.empty()) return read_path(o.path);
  if (!o.matrix.empty()) return {matrix_of(o.matrix, "--matrix")};
  if (o.start.scale_x == 0.0 || o.start.scale_y == 0.0 || o.end.scale_x == 0.0 || o.end.scale_y == 0.0) {
    throw ToolError("a scale of 0 flattens the layer to nothing");
  }
  if (o.samples < 1) throw ToolError("--samples wants at least 1; got " + std::to_string(o.samples));
  const double anchor_x = o.anchored ? o.anchor_x : layer_width / 2.0;
  const double anchor_y = o.anchored ? o.anchor_y : layer_height / 2.0;
  if (!o.moving || o.samples == 1) return {placement_matrix(o.start, anchor_x, anchor_y)};
  // Evenly spaced along the shutter, from the start to the end.
  std::vector<GE_Matrix3> matrices;
  for (int32_t i = 0; i < o.samples; ++i) {
    const double t = double(i) / double(o.samples - 1);
    auto mix = [t](double a, double b) { return a + (b - a) * t; };
    const Placement p{mix(o.start.rotate, o.end.rotate),       mix(o.start.scale_x, o.end.scale_x),
                      mix(o.start.scale_y, o.end.scale_y),     o.start.shear_x,
                      o.start.shear_y,                         mix(o.start.translate_x, o.end.translate_x),
                      mix(o.start.translate_y, o.end.translate_y)};
    matrices.push_back(placement_matrix(p, anchor_x, anchor_y));
  }
  return matrices;
}

void transform(const TransformOptions& o) {
  const int32_t mode_number = parse_mode(o.mode);
  const int32_t field = parse_choice(o.field, "field", {"all", "even", "odd"});
  const int32_t quality = parse_choice(o.quality, "quality", {"draft", "best"});
  const int32_t matte_kind =
      parse_choice(o.matte_kind, "matte kind", {"alpha", "alpha-inverted", "luma", "luma-inverted"});
  if (!(o.opacity >= 0.0f && o.opacity <= 1.0f)) throw ToolError("opacity must lie between 0 and 1");
  if (o.background.empty() == !o.canvas_given) {
    throw ToolError("give either BACKGROUND and LAYER, or --canvas WxH and LAYER");
  }

  // The layer first, so that bad matrices are refused before the
  // background is read.
  if (!(o.feather >= 0.0 && o.feather <= kMaxFeather)) {
    throw ToolError("feather radius must lie between 0 and " + std::to_string(int(kMaxFeather)) + " pixels");
  }
  Picture layer_file = load_layer_as(o.layer, o.alpha, o.premultiplied, o.verbose);
  const std::vector<GE_Matrix3> matrices = transform_matrices(o, layer_file.width(), layer_file.height());
  Picture background = o.canvas_given ? Picture(o.canvas_width, o.canvas_height, o.depth ? o.depth : layer_file.depth())
                                      : load_picture(o.background, o.premultiplied);
  const int32_t depth = o.depth ? o.depth : background.depth();
  background = to_depth(background, depth, false);
  Picture layer = to_depth(layer_file, depth, false);

  RX_MaskWorld mask{};
  std::unique_ptr<Picture> matte;
  if (!o.matte.empty()) {
    matte = std::make_unique<Picture>(to_depth(load_picture(o.matte, false), depth, false));
    mask = {*matte->def(), int32_t(std::lround(o.start.translate_x)), int32_t(std::lround(o.start.translate_y)),
            matte_kind};
  }
  if (o.feather > 0.0) {
    // The matte's coverage (or the layer's alpha) is feathered into the
    // layer's alpha where the layer lies before it moves.
    stop_if_interrupted();
    Progress progress("feather");
    const FeatherTiles tiles = feather_layer(layer, matte.get(), matte_kind, o.feather, progress.info());
    if (o.verbose && matte) *o.verbose << "feather: " << tiles.made << " of " << tiles.total << " tiles of the matte made\n";
    matte.reset();
  }
  RX_LinearBlendingTablesPtr tables;
  if (o.linear) tables = working_space_tables(profile_named(o.working_space));
  const RX_CompositeModePlus mode(mode_number, o.opacity, nullptr, o.keep_alpha, o.seed);
  const GE_LRect everywhere{0, 0, background.width(), background.height()};

  stop_if_interrupted();
  Progress progress("transform");
  check_package(RX_TransformWorld(progress.info(), quality, 0, field, layer.def(), &mode, tables.get(),
                                  matte ? &mask : nullptr, matrices.data(), int32_t(matrices.size()), 1, everywhere,
                                  background.def()),
                "transforming " + o.layer + " onto " + (o.canvas_given ? "the canvas" : o.background));
  stop_if_interrupted();
  save_picture(background, o.output, o.premultiplied);
}

void add_transform(CLI::App& app, const Console& console) {
  auto o = std::make_shared<TransformOptions>();
  struct Texts {
    std::string canvas, scale, translate, shear, anchor, to_scale, to_translate;
    double to_rotate = 0;
    bool to_rotate_given = false;
  };
  auto t = std::make_shared<Texts>();
  auto* sub = app.add_subcommand(
      "transform",
      "Lay LAYER over BACKGROUND through a matrix (RX_TransformWorld), with motion blur if asked, and write OUT.");
  sub->add_option("BACKGROUND", o->background, "The picture blended onto (or --canvas and LAYER alone)");
  sub->add_option("LAYER", o->layer, "The picture transformed and laid over it");
  sub->add_option("-o,--output", o->output, "The file to write (format by extension)")->required();
  sub->add_option("--canvas", t->canvas, "WxH of a transparent background instead of a file");
  sub->add_option("--rotate", o->start.rotate, "Degrees, clockwise on screen, about the anchor");
  sub->add_option("--scale", t->scale, "S, or SX,SY, about the anchor");
  sub->add_option("--translate", t->translate, "X,Y: a move in pixels after the rest");
  sub->add_option("--shear", t->shear, "SX or SX,SY: x += SX y and y += SY x, about the anchor");
  sub->add_option("--anchor", t->anchor, "X,Y of the layer that turning, scaling and shearing keep in place "
                                         "(default: its centre)");
  sub->add_option("--matrix", o->matrix, "6 or 9 numbers, row by row, mapping layer to background pixels");
  sub->add_option("--quality", o->quality, "draft (nearest) or best (bilinear, or box averages when minifying)")
      ->capture_default_str();
  sub->add_option("--to-rotate", t->to_rotate, "Motion blur: the rotation at the end of the shutter");
  sub->add_option("--to-scale", t->to_scale, "Motion blur: the scale at the end of the shutter");
  sub->add_option("--to-translate", t->to_translate, "Motion blur: the move at the end of the shutter");
  sub->add_option("--samples", o->samples, "Matrices along the motion, evenly spaced (2: the straight walk's own "
                                           "17 samples at best, 9 at draft)")
      ->capture_default_str();
  sub->add_option("--path", o->path, "Motion blur along a file of matrices, one a line (6 or 9 numbers)");
  sub->add_option("--mode", o->mode, "A mode as `rx modes` lists it, by name or number")->capture_default_str();
  sub->add_option("--opacity", o->opacity, "Opacity of the layer, 0 to 1")->capture_default_str();
  sub->add_option("--matte", o->matte, "A track matte file, its corner where the layer's lands before turning");
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
  sub->add_flag("--premultiplied", o->premultiplied,
                "Files hold premultiplied colour: unmultiply on reading, premultiply on writing");
  sub->add_option("--feather", o->feather,
                  "Blur the matte's coverage (without a matte, the layer's alpha) by R pixels with the package's "
                  "Gaussian and multiply it into the layer's alpha before transforming");
  sub->add_option("--alpha", o->alpha,
                  "How the layer's colour is taken: auto (the package guesses, and a premultiplied layer is "
                  "unmultiplied against its matte), straight, or premultiplied (against black)")
      ->check(CLI::IsMember({"auto", "straight", "premultiplied"}));
  auto verbose = std::make_shared<bool>(false);
  sub->add_flag("-v,--verbose", *verbose, "Tell the choices made (how the layer's alpha was taken)");
  auto* to_rotate = sub->get_option("--to-rotate");
  sub->callback([o, t, to_rotate, verbose, &out = console.out] {
    o->verbose = *verbose ? &out : nullptr;
    // One input and a canvas: the input is the layer.
    if (!t->canvas.empty()) {
      int w = 0, h = 0;
      char x = 0, rest = 0;
      if (std::sscanf(t->canvas.c_str(), "%d %c %d %c", &w, &x, &h, &rest) != 3 || (x != 'x' && x != 'X') || w < 1 ||
          h < 1) {
        throw ToolError("--canvas wants WxH, such as 1920x1080; got '" + t->canvas + "'");
      }
      o->canvas_given = true, o->canvas_width = w, o->canvas_height = h;
      if (o->layer.empty()) std::swap(o->layer, o->background);
    } else if (o->layer.empty()) {
      throw ToolError("give either BACKGROUND and LAYER, or --canvas WxH and LAYER");
    }
    if (o->canvas_given && !o->background.empty() && !o->layer.empty()) {
      throw ToolError("give either BACKGROUND and LAYER, or --canvas WxH and LAYER");
    }
    if (!t->scale.empty()) std::tie(o->start.scale_x, o->start.scale_y) = pair_of(t->scale, "--scale", true);
    if (!t->shear.empty()) {
      // One number shears along x alone.
      const std::vector<double> v = numbers_of(t->shear, "--shear");
      if (v.size() != 1 && v.size() != 2) throw ToolError("--shear wants SX or SX,SY; got '" + t->shear + "'");
      o->start.shear_x = v[0];
      o->start.shear_y = v.size() == 2 ? v[1] : 0.0;
    }
    if (!t->translate.empty()) {
      std::tie(o->start.translate_x, o->start.translate_y) = pair_of(t->translate, "--translate", false);
    }
    if (!t->anchor.empty()) {
      std::tie(o->anchor_x, o->anchor_y) = pair_of(t->anchor, "--anchor", false);
      o->anchored = true;
    }
    o->end = o->start;
    if (to_rotate->count() > 0) o->end.rotate = t->to_rotate, o->moving = true;
    if (!t->to_scale.empty()) {
      std::tie(o->end.scale_x, o->end.scale_y) = pair_of(t->to_scale, "--to-scale", true);
      o->moving = true;
    }
    if (!t->to_translate.empty()) {
      std::tie(o->end.translate_x, o->end.translate_y) = pair_of(t->to_translate, "--to-translate", false);
      o->moving = true;
    }
    PackageSession package;
    transform(*o);
  });
}

}  // namespace rxtool
