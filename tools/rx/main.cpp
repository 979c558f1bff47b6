// rx: composite, convert and inspect images with the RX package. The
// subcommands are listed in commands/commands.h, one file each.
#include <iostream>

#include "tool.h"

int main(int argc, char** argv) { return rxtool::run(argc, argv, {std::cout, std::cerr}); }
