// rx as a function: the command line in, the exit status out. main() calls
// it with the standard streams; the tests call it in process with strings.
#pragma once

#include <string>
#include <vector>

#include "commands/commands.h"

namespace rxtool {

// The app with every subcommand of the list added, writing to console.
void add_subcommands(CLI::App& app, const Console& console);

// Runs rx on argv (argv[0] the program's name). Errors are one line on
// console.err, "rx: " and the message, with the error's status.
int run(int argc, const char* const* argv, const Console& console);
int run(const std::vector<std::string>& arguments, const Console& console);

}  // namespace rxtool
