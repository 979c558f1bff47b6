#include "alpha_guess.h"

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

}  // namespace rxtool
