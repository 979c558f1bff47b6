// A picture as the tool holds it: one world of the package, owning its
// pixels, loaded from and saved to image files through OpenImageIO.
//
// Files of 8 bits load into 8-bit worlds, of 16 bits into 16-bit worlds
// (0..65535 scaled to the package's 0..32768 as v * 32768 / 65535 rounded
// to nearest, and back as v * 65535 / 32768 rounded), anything else
// (half, float, 32-bit integers) into float worlds. Files without alpha
// get an opaque one; grey files give grey colour. A picture keeps the
// file's colour metadata (its ICC profile, its colour space attribute)
// from reading to writing, so that what it was made in goes out with it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "RX.h"

namespace rxtool {

// What a file says about its colour; empty when it says nothing.
struct ColourMetadata {
  std::vector<uint8_t> icc_profile;  // the embedded profile, byte for byte
  std::string colour_space;          // the colour space attribute
};

class Picture {
 public:
  Picture(int32_t width, int32_t height, int32_t depth);
  Picture(Picture&&) = default;
  Picture& operator=(Picture&&) = default;

  int32_t width() const { return def_.width; }
  int32_t height() const { return def_.height; }
  int32_t depth() const { return depth_; }  // 8, 16 or 32
  RX_LayerDef* def() { return &def_; }
  const RX_LayerDef* def() const { return &def_; }
  template <class Px>
  Px* row(int32_t y) const {
    return reinterpret_cast<Px*>(pixels_.get() + size_t(y) * size_t(def_.row_stride));
  }

  ColourMetadata colour;

 private:
  std::unique_ptr<uint8_t[]> pixels_;
  RX_LayerDef def_{};
  int32_t depth_;
};

// Reads a file; premultiplied files are unmultiplied through the package.
Picture load_picture(const std::string& path, bool premultiplied);
// Writes a file in the format its extension names, at the picture's
// depth where the format holds it, with the picture's colour metadata;
// premultiplied writes premultiply first.
void save_picture(const Picture& picture, const std::string& path, bool premultiplied);
// The picture at another depth through the package's copy, with dither
// when going down to 8 bits and asked for; the colour metadata goes along.
Picture to_depth(const Picture& picture, int32_t depth, bool dither);

// "WIDTHxHEIGHT, N channels, TYPE" of a file, and ", with alpha".
std::string describe_file(const std::string& path);

// What a file's header says, as the tool reads it.
struct FileLayout {
  int32_t width = 0, height = 0, channels = 0;
  std::string type;          // OpenImageIO's name of the channel type: "uint8", "half", ...
  bool alpha_named = false;  // the file names an alpha channel
  bool has_alpha = false;    // the tool reads an alpha from it (named, or the 2nd of 2, 4th of 4+)
  int32_t depth = 8;         // the depth it loads at: 8, 16 or 32
  ColourMetadata colour;     // its embedded profile and colour space attribute
};
FileLayout read_file_layout(const std::string& path);

}  // namespace rxtool
