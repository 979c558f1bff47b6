// Reading and writing pictures, and moving them between depths.
#include "picture.h"

#include <OpenImageIO/imageio.h>

#include <cstring>
#include <sstream>
#include <vector>

#include "RX_World.h"
#include "package_calls.h"
#include "tool_error.h"

namespace rxtool {

Picture::Picture(int32_t width, int32_t height, int32_t depth) : depth_(depth) {
  if (width <= 0 || height <= 0) throw ToolError("an image must have pixels");
  const int32_t pixel_bytes = depth / 2;  // 4, 8 or 16
  def_.width = width;
  def_.height = height;
  def_.row_stride = width * pixel_bytes;
  pixels_.reset(new uint8_t[size_t(def_.row_stride) * size_t(height)]());
  def_.data = pixels_.get();
  def_.content_rect = {0, 0, width, height};
  RXp_SetLayerFlagsForDepth(&def_, depth);
}

namespace {

int32_t depth_of(OIIO::TypeDesc format) {
  switch (format.basetype) {
    case OIIO::TypeDesc::UINT8: case OIIO::TypeDesc::INT8: return 8;
    case OIIO::TypeDesc::UINT16: case OIIO::TypeDesc::INT16: return 16;
    default: return 32;
  }
}

uint16_t from_file16(uint16_t v) { return uint16_t((uint32_t(v) * 32768 + 32767) / 65535); }
uint16_t to_file16(uint16_t v) { return uint16_t((uint32_t(std::min<uint16_t>(v, 32768)) * 65535 + 16384) >> 15); }

// Which file channels feed red, green, blue and alpha (-1: none).
struct ChannelMap {
  int colour[3];
  int alpha;
};

ChannelMap map_channels(const OIIO::ImageSpec& layout) {
  ChannelMap map{{0, 0, 0}, layout.alpha_channel};
  if (map.alpha < 0 && (layout.nchannels == 2 || layout.nchannels >= 4)) map.alpha = layout.nchannels == 2 ? 1 : 3;
  int found = 0;
  for (int c = 0; c < layout.nchannels && found < 3; ++c) {
    if (c != map.alpha) map.colour[found++] = c;
  }
  for (int k = found; k < 3; ++k) map.colour[k] = map.colour[0];  // grey
  return map;
}

template <class Px, class FileValue, class Convert>
void fill_from_file(Picture& picture, const std::vector<FileValue>& values, int channels, const ChannelMap& map,
                    Convert convert, decltype(Px{}.alpha) opaque) {
  for (int32_t y = 0; y < picture.height(); ++y) {
    Px* row = picture.row<Px>(y);
    for (int32_t x = 0; x < picture.width(); ++x) {
      const FileValue* v = &values[(size_t(y) * size_t(picture.width()) + size_t(x)) * size_t(channels)];
      row[x].alpha = map.alpha >= 0 ? convert(v[map.alpha]) : opaque;
      row[x].red = convert(v[map.colour[0]]);
      row[x].green = convert(v[map.colour[1]]);
      row[x].blue = convert(v[map.colour[2]]);
    }
  }
}

template <class Px, class FileValue, class Convert>
std::vector<FileValue> to_file_values(const Picture& picture, int channels, Convert convert) {
  std::vector<FileValue> values(size_t(picture.width()) * size_t(picture.height()) * size_t(channels));
  size_t i = 0;
  for (int32_t y = 0; y < picture.height(); ++y) {
    const Px* row = picture.row<Px>(y);
    for (int32_t x = 0; x < picture.width(); ++x) {
      values[i++] = convert(row[x].red);
      values[i++] = convert(row[x].green);
      values[i++] = convert(row[x].blue);
      if (channels == 4) values[i++] = convert(row[x].alpha);
    }
  }
  return values;
}

Picture copy_of(const Picture& picture) {
  Picture copy(picture.width(), picture.height(), picture.depth());
  std::memcpy(copy.def()->data, picture.def()->data, size_t(picture.def()->row_stride) * size_t(picture.height()));
  copy.colour = picture.colour;
  return copy;
}

constexpr const char* kIccProfile = "ICCProfile";
constexpr const char* kColourSpace = "oiio:ColorSpace";

ColourMetadata read_colour(const OIIO::ImageSpec& layout) {
  ColourMetadata colour;
  if (const OIIO::ParamValue* icc = layout.find_attribute(kIccProfile)) {
    const auto* bytes = static_cast<const uint8_t*>(icc->data());
    colour.icc_profile.assign(bytes, bytes + icc->type().size() * size_t(icc->nvalues()));
  }
  colour.colour_space = layout.get_string_attribute(kColourSpace);
  return colour;
}

// OpenEXR files hold no ICC profile (OpenImageIO would only remark on one
// on stdout), so it is left out there.
void write_colour(const ColourMetadata& colour, const OIIO::ImageOutput& out, OIIO::ImageSpec& layout) {
  if (!colour.icc_profile.empty() && std::string(out.format_name()) != "openexr") {
    layout.attribute(kIccProfile, OIIO::TypeDesc(OIIO::TypeDesc::UINT8, int(colour.icc_profile.size())),
                     colour.icc_profile.data());
  }
  if (!colour.colour_space.empty()) layout.attribute(kColourSpace, colour.colour_space);
}

}  // namespace

// Pixels go in and out as the files hold them: OpenImageIO would otherwise
// premultiply straight formats (PNG, TIFF) on reading and divide on
// writing.
OIIO::ImageSpec straight_alpha_config() {
  OIIO::ImageSpec config;
  config.attribute("oiio:UnassociatedAlpha", 1);
  return config;
}

std::unique_ptr<OIIO::ImageInput> open_file(const std::string& path, const OIIO::ImageSpec* config) {
  auto in = OIIO::ImageInput::open(path, config);
  if (!in) {
    std::string why = OIIO::geterror();
    throw ToolError("cannot read " + path + ": " + (why.empty() ? "not an image this tool can read" : why));
  }
  return in;
}

Picture load_picture(const std::string& path, bool premultiplied) {
  const OIIO::ImageSpec config = straight_alpha_config();
  auto in = open_file(path, &config);
  const OIIO::ImageSpec layout = in->spec();
  const int channels = layout.nchannels;
  const ChannelMap map = map_channels(layout);
  Picture picture(layout.width, layout.height, depth_of(layout.format));
  picture.colour = read_colour(layout);
  auto read = [&](OIIO::TypeDesc type, void* data) {
    if (!in->read_image(0, 0, 0, channels, type, data)) throw ToolError("cannot read " + path + ": " + in->geterror());
  };
  const size_t count = size_t(layout.width) * size_t(layout.height) * size_t(channels);
  if (picture.depth() == 8) {
    std::vector<uint8_t> values(count);
    read(OIIO::TypeDesc::UINT8, values.data());
    fill_from_file<RX_Pixel8>(picture, values, channels, map, [](uint8_t v) { return v; }, uint8_t(255));
  } else if (picture.depth() == 16) {
    std::vector<uint16_t> values(count);
    read(OIIO::TypeDesc::UINT16, values.data());
    fill_from_file<RX_Pixel16>(picture, values, channels, map, from_file16, uint16_t(32768));
  } else {
    std::vector<float> values(count);
    read(OIIO::TypeDesc::FLOAT, values.data());
    fill_from_file<RX_PixelFloat>(picture, values, channels, map, [](float v) { return v; }, 1.0f);
  }
  if (premultiplied) check_package(RX_Premul(nullptr, 0, picture.def()), "unmultiplying " + path);
  return picture;
}

void save_picture(const Picture& picture, const std::string& path, bool premultiplied) {
  auto out = OIIO::ImageOutput::create(path);
  if (!out) throw ToolError("cannot write " + path + ": " + OIIO::geterror());
  Picture written = copy_of(picture);
  if (premultiplied) check_package(RX_Premul(nullptr, 1, written.def()), "premultiplying for " + path);
  const int channels = out->supports("alpha") ? 4 : 3;
  const OIIO::TypeDesc type = picture.depth() == 8    ? OIIO::TypeDesc::UINT8
                              : picture.depth() == 16 ? OIIO::TypeDesc::UINT16
                                                      : OIIO::TypeDesc::FLOAT;
  OIIO::ImageSpec layout(picture.width(), picture.height(), channels, type);
  if (channels == 4) layout.alpha_channel = 3;
  layout.attribute("oiio:UnassociatedAlpha", 1);
  write_colour(picture.colour, *out, layout);
  if (!out->open(path, layout)) throw ToolError("cannot write " + path + ": " + out->geterror());
  bool written_ok = false;
  if (picture.depth() == 8) {
    const auto values = to_file_values<RX_Pixel8, uint8_t>(written, channels, [](uint8_t v) { return v; });
    written_ok = out->write_image(type, values.data());
  } else if (picture.depth() == 16) {
    const auto values = to_file_values<RX_Pixel16, uint16_t>(written, channels, to_file16);
    written_ok = out->write_image(type, values.data());
  } else {
    const auto values = to_file_values<RX_PixelFloat, float>(written, channels, [](float v) { return v; });
    written_ok = out->write_image(type, values.data());
  }
  if (!written_ok || !out->close()) throw ToolError("cannot write " + path + ": " + out->geterror());
}

namespace {

template <class Px>
void copy_into(const Picture& from, Picture& to, bool dither) {
  RX_WorldX<Px> destination(*to.def(), false);
  const RX_LayerDef* source_def = from.def();
  const GE_LRect whole{0, 0, from.width(), from.height()};
  run_package("changing depth", [&] {
    switch (from.depth()) {
      case 8: {
        const RX_WorldX<RX_Pixel8> source(*source_def, false);
        destination.CopyRectPossiblyDifferentBitdepth(source, whole, dither, 0, 0, nullptr);
        break;
      }
      case 16: {
        const RX_WorldX<RX_Pixel16> source(*source_def, false);
        destination.CopyRectPossiblyDifferentBitdepth(source, whole, dither, 0, 0, nullptr);
        break;
      }
      default: {
        const RX_WorldX<RX_PixelFloat> source(*source_def, false);
        destination.CopyRectPossiblyDifferentBitdepth(source, whole, dither, 0, 0, nullptr);
        break;
      }
    }
  });
}

}  // namespace

Picture to_depth(const Picture& picture, int32_t depth, bool dither) {
  if (depth != 8 && depth != 16 && depth != 32) throw ToolError("depth must be 8, 16 or 32");
  if (depth == picture.depth()) return copy_of(picture);
  Picture converted(picture.width(), picture.height(), depth);
  converted.colour = picture.colour;
  if (depth == 8) copy_into<RX_Pixel8>(picture, converted, dither);
  else if (depth == 16) copy_into<RX_Pixel16>(picture, converted, dither);
  else copy_into<RX_PixelFloat>(picture, converted, dither);
  return converted;
}

FileLayout read_file_layout(const std::string& path) {
  auto in = open_file(path, nullptr);
  const OIIO::ImageSpec& layout = in->spec();
  FileLayout file;
  file.width = layout.width;
  file.height = layout.height;
  file.channels = layout.nchannels;
  file.type = layout.format.c_str();
  file.alpha_named = layout.alpha_channel >= 0;
  file.has_alpha = map_channels(layout).alpha >= 0;
  file.depth = depth_of(layout.format);
  file.colour = read_colour(layout);
  return file;
}

std::string describe_file(const std::string& path) {
  auto in = open_file(path, nullptr);
  const OIIO::ImageSpec& layout = in->spec();
  std::ostringstream out;
  out << layout.width << "x" << layout.height << ", " << layout.nchannels << " channels, " << layout.format.c_str()
      << (layout.alpha_channel >= 0 ? ", with alpha" : "");
  return out.str();
}

}  // namespace rxtool
