// rx convert: writes a file at another depth through the package's copies,
// with dither on the way down to 8 bits when asked.
#include <memory>

#include "commands.h"
#include "interrupts.h"
#include "package_calls.h"
#include "picture.h"

namespace rxtool {

void convert(const ConvertOptions& o) {
  const Picture input = load_picture(o.input, o.premultiplied);
  const Picture output = to_depth(input, o.depth, o.dither);
  stop_if_interrupted();
  save_picture(output, o.output, o.premultiplied);
}

void add_convert(CLI::App& app, const Console&) {
  auto o = std::make_shared<ConvertOptions>();
  auto* sub = app.add_subcommand("convert", "Write IN at another depth through the package's copies.");
  sub->add_option("IN", o->input, "The file to read")->required();
  sub->add_option("-o,--output", o->output, "The file to write")->required();
  sub->add_option("--depth", o->depth, "8, 16 or 32")->required()->check(CLI::IsMember({8, 16, 32}));
  sub->add_flag("--dither", o->dither, "Dither when going down to 8 bits");
  sub->add_flag("--premultiplied", o->premultiplied, "Files hold premultiplied colour");
  sub->callback([o] {
    PackageSession package;
    convert(*o);
  });
}

}  // namespace rxtool
