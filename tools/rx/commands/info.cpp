// rx info: a file's size, channels and type, without the package.
#include <memory>

#include "commands.h"
#include "picture.h"

namespace rxtool {

void add_info(CLI::App& app, const Console& console) {
  auto file = std::make_shared<std::string>();
  auto* sub = app.add_subcommand("info", "Print a file's size, channels and depth.");
  sub->add_option("FILE", *file, "The file")->required();
  sub->callback([file, &out = console.out] {
    const std::string description = describe_file(*file);  // nothing is written for a file that fails
    out << *file << ": " << description << "\n";
  });
}

}  // namespace rxtool
