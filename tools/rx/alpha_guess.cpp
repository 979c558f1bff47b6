#include "alpha_guess.h"

#include "option_values.h"
#include "package_calls.h"

namespace rxtool {

std::string AlphaGuess::matte_text() const {
  if (matte.red == 255 && matte.green == 255 && matte.blue == 255) return "white";
  if (matte.red == 0 && matte.green == 0 && matte.blue == 0) return "black";
  return "(" + std::to_string(matte.red) + "," + std::to_string(matte.green) + "," + std::to_string(matte.blue) + ")";
}

std::string AlphaGuess::text() const {
  switch (status) {
    case RX_GuessAlpha_Straight: return "straight";
    case RX_GuessAlpha_Premultiplied: return "premultiplied against " + matte_text();
    default: return "unable to guess";
  }
}

AlphaGuess guess_alpha(const Picture& picture8) {
  AlphaGuess guess;
  // The longest text of the package's string table fits many times over.
  char message[1024] = "";
  check_package(RX_GuessAlphaMessage(nullptr, picture8.def(), nullptr, &guess.status, &guess.matte, message),
                "guessing alpha");
  guess.message = message;
  return guess;
}

AlphaGuess guess_alpha_any_depth(const Picture& picture) {
  if (picture.depth() == 8) return guess_alpha(picture);
  return guess_alpha(to_depth(picture, 8, false));
}

void unmultiply_against(Picture& picture, const RX_Pixel8& matte, const std::string& what) {
  check_package(RX_PremulColor(nullptr, nullptr, &matte, 0, picture.def()), "unmultiplying " + what);
}

Picture load_layer_as(const std::string& path, const std::string& alpha, bool files_premultiplied,
                      std::ostream* verbose) {
  if (alpha.empty()) {
    Picture layer = load_picture(path, files_premultiplied);
    if (verbose) *verbose << "layer alpha: " << (files_premultiplied ? "premultiplied" : "straight") << " (as the files)\n";
    return layer;
  }
  const int32_t choice = parse_choice(alpha, "alpha", {"auto", "straight", "premultiplied"});
  Picture layer = load_picture(path, false);
  if (choice == 1) {
    if (verbose) *verbose << "layer alpha: straight (as asked)\n";
  } else if (choice == 2) {
    unmultiply_against(layer, RX_Pixel8{255, 0, 0, 0}, path);
    if (verbose) *verbose << "layer alpha: premultiplied against black (as asked), unmultiplied\n";
  } else {
    const AlphaGuess guess = guess_alpha_any_depth(layer);
    if (guess.premultiplied()) unmultiply_against(layer, guess.matte, path);
    if (verbose) {
      *verbose << "layer alpha: " << guess.text();
      if (guess.status == RX_GuessAlpha_Unable) {
        *verbose << " (" << guess.message << "), taken as straight\n";
      } else {
        *verbose << " (guessed)" << (guess.premultiplied() ? ", unmultiplied" : "") << "\n";
      }
    }
  }
  return layer;
}

}  // namespace rxtool
