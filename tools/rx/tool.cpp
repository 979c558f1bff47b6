#include "tool.h"

#include "interrupts.h"
#include "tool_error.h"

namespace rxtool {

void add_subcommands(CLI::App& app, const Console& console) {
#define RX_TOOL_ADD_SUBCOMMAND(name) add_##name(app, console);
  RX_TOOL_SUBCOMMANDS(RX_TOOL_ADD_SUBCOMMAND)
#undef RX_TOOL_ADD_SUBCOMMAND
}

int run(int argc, const char* const* argv, const Console& console) {
  CLI::App app{"rx: composite, blur, convolve, convert and inspect images with the RX pixel library.\n"
               "8-bit files load into 8-bit worlds, 16-bit files into 16-bit worlds (0..65535 scaled to\n"
               "0..32768), other files into float worlds; files without alpha get an opaque one."};
  app.require_subcommand(1);
  add_subcommands(app, console);
  catch_interrupts();
  try {
    app.parse(argc, argv);  // the chosen subcommand's callback does the work
  } catch (const CLI::ParseError& e) {
    return app.exit(e, console.out, console.err);
  } catch (const ToolError& e) {
    console.err << "rx: " << e.what() << "\n" << std::flush;
    return e.status;
  } catch (const std::exception& e) {
    console.err << "rx: " << e.what() << "\n" << std::flush;
    return 1;
  }
  console.out << std::flush;
  return 0;
}

int run(const std::vector<std::string>& arguments, const Console& console) {
  std::vector<const char*> argv;
  for (const std::string& argument : arguments) argv.push_back(argument.c_str());
  return run(int(argv.size()), argv.data(), console);
}

}  // namespace rxtool
