// What the package guesses of a picture's alpha (straight, premultiplied
// against a matte colour, or unable), in words for the tool's output, and
// the unmultiply against a guessed matte.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>

#include "RX.h"
#include "picture.h"

namespace rxtool {

struct AlphaGuess {
  uint32_t status = RX_GuessAlpha_Unable;
  RX_Pixel8 matte{255, 0, 0, 0};  // for a premultiplied guess
  std::string message;            // the package's text, "" but for unable

  bool premultiplied() const { return status == RX_GuessAlpha_Premultiplied; }
  // "straight", "premultiplied against white", "... against black",
  // "... against (r,g,b)" or "unable to guess".
  std::string text() const;
  // "white", "black" or "(r,g,b)".
  std::string matte_text() const;
};

// The package's guess on an 8-bit picture; the package must be born.
AlphaGuess guess_alpha(const Picture& picture8);
// The guess for a picture of any depth, made on its 8-bit copy.
AlphaGuess guess_alpha_any_depth(const Picture& picture);

// Unmultiplies picture in place against matte (its colour channels), as
// the package's matte forms do.
void unmultiply_against(Picture& picture, const RX_Pixel8& matte, const std::string& what);

// A layer file as straight colour. alpha is "" (as the files say:
// premultiplied when files_premultiplied), "auto" (the package guesses and
// a premultiplied layer is unmultiplied against its matte), "straight" or
// "premultiplied" (against black). The choice is told to verbose, if any.
Picture load_layer_as(const std::string& path, const std::string& alpha, bool files_premultiplied,
                      std::ostream* verbose);

}  // namespace rxtool
