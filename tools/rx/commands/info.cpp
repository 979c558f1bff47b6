// rx info: a file's size, channels and type, the description of its
// embedded ICC profile when it has one, and, for 8-bit images with alpha,
// what the package guesses of that alpha (RX_GuessAlphaMessage): straight,
// premultiplied against a matte colour, or unable to guess. --json prints
// all of it as one JSON object.
#include <cstdio>
#include <memory>
#include <sstream>

#include "alpha_guess.h"
#include "colour_profiles.h"
#include "commands.h"
#include "package_calls.h"
#include "picture.h"

namespace rxtool {
namespace {

struct InfoGuess {
  bool guessed = false;
  std::string why_not;  // when not guessed
  AlphaGuess guess;
};

InfoGuess guess_for(const std::string& path, const FileLayout& file) {
  InfoGuess info;
  if (!file.has_alpha) {
    info.why_not = "no alpha channel";
  } else if (file.depth != 8) {
    info.why_not = "only 8-bit images are";
  } else {
    PackageSession package;
    info.guess = guess_alpha(load_picture(path, false));
    info.guessed = true;
  }
  return info;
}

std::string json_string(const std::string& text) {
  std::ostringstream out;
  out << '"';
  for (unsigned char c : text) {
    if (c == '"' || c == '\\') {
      out << '\\' << c;
    } else if (c < 0x20) {
      char escaped[8];
      std::snprintf(escaped, sizeof escaped, "\\u%04x", c);
      out << escaped;
    } else {
      out << c;
    }
  }
  out << '"';
  return out.str();
}

std::string guess_words(const InfoGuess& info) {
  if (!info.guessed) return "not guessed (" + info.why_not + ")";
  if (info.guess.status == RX_GuessAlpha_Unable) return info.guess.text() + " (" + info.guess.message + ")";
  return info.guess.text();
}

// The embedded profile's description, "" for none.
std::string profile_of(const FileLayout& file) { return embedded_profile_description(file.colour); }

std::string as_json(const std::string& path, const FileLayout& file, const InfoGuess& info) {
  std::ostringstream out;
  const std::string profile = profile_of(file);
  out << "{\"file\": " << json_string(path) << ", \"width\": " << file.width << ", \"height\": " << file.height
      << ", \"channels\": " << file.channels << ", \"type\": " << json_string(file.type)
      << ", \"depth\": " << file.depth << ", \"alpha\": " << (file.has_alpha ? "true" : "false")
      << (profile.empty() ? std::string() : ", \"profile\": " + json_string(profile))
      << ", \"guessed_alpha\": {";
  if (!info.guessed) {
    out << "\"guess\": \"not guessed\", \"text\": " << json_string(guess_words(info));
  } else {
    static const char* const kGuesses[] = {"straight", "premultiplied", "unable"};
    const AlphaGuess& g = info.guess;
    out << "\"guess\": \"" << kGuesses[g.status <= 2 ? g.status : 2] << "\", \"text\": " << json_string(g.text());
    if (g.premultiplied()) {
      out << ", \"matte\": [" << int(g.matte.red) << ", " << int(g.matte.green) << ", " << int(g.matte.blue) << "]";
    }
    out << ", \"message\": " << json_string(g.message);
  }
  out << "}}";
  return out.str();
}

}  // namespace

void add_info(CLI::App& app, const Console& console) {
  auto file = std::make_shared<std::string>();
  auto json = std::make_shared<bool>(false);
  auto* sub = app.add_subcommand(
      "info", "Print a file's size, channels and depth, its embedded profile, and the guessed alpha of an 8-bit image.");
  sub->add_option("FILE", *file, "The file")->required();
  sub->add_flag("--json", *json, "Print everything as one JSON object");
  sub->callback([file, json, &out = console.out] {
    // Nothing is written for a file that fails.
    const std::string description = describe_file(*file);
    const FileLayout layout = read_file_layout(*file);
    const InfoGuess guess = guess_for(*file, layout);
    if (*json) {
      out << as_json(*file, layout, guess) << "\n";
    } else {
      const std::string profile = profile_of(layout);
      out << *file << ": " << description << "\n";
      if (!profile.empty()) out << *file << ": profile: " << profile << "\n";
      out << *file << ": guessed alpha: " << guess_words(guess) << "\n";
    }
  });
}

}  // namespace rxtool
