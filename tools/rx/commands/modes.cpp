// rx modes: the transfer modes by number and name, one a line.
#include "commands.h"
#include "option_values.h"

namespace rxtool {

void add_modes(CLI::App& app, const Console& console) {
  auto* sub = app.add_subcommand("modes", "List the transfer modes: number and name, one a line.");
  sub->callback([&out = console.out] { out << list_modes(); });
}

}  // namespace rxtool
