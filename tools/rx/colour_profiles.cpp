#include "colour_profiles.h"

#include <filesystem>
#include <memory>

#include "package_calls.h"
#include "tool_error.h"

namespace rxtool {
namespace {

struct Builtin {
  const char* name;
  VIZ_ProfileCode code;
};

constexpr Builtin kBuiltins[] = {
    {"srgb", VIZ_Profile_sRGB},
    {"linear-srgb", VIZ_Profile_LinearsRGB},
    {"adobe-rgb", VIZ_Profile_AdobeRGB},
    {"prophoto-rgb", VIZ_Profile_ProPhotoRGB},
    {"rec709", VIZ_Profile_Rec709},
    {"rec2020", VIZ_Profile_Rec2020},
    {"linear-rec2020", VIZ_Profile_LinearRec2020},
    {"display-p3", VIZ_Profile_DisplayP3},
    {"acescg", VIZ_Profile_ACEScg},
};

// The engine's reason, without its code: "colour engine error 'prof': why".
std::string reason(const TIN_VIZ_Exception& e) {
  const std::string text = e.what();
  const size_t colon = text.find("': ");
  return colon == std::string::npos ? text : text.substr(colon + 3);
}

std::string space_name(uint32_t space) {
  std::string name;
  for (int shift = 24; shift >= 0; shift -= 8) name += char((space >> shift) & 0xff);
  while (!name.empty() && name.back() == ' ') name.pop_back();
  return name;
}

void require_rgb(const TIN_VIZ_Profile& p, const std::string& what) {
  constexpr uint32_t kRgb = 0x52474220;  // 'RGB '
  if (p.GetColorSpace() != kRgb) {
    throw ToolError("profile " + what + " is for " + space_name(p.GetColorSpace()) + " colour, not RGB");
  }
}

}  // namespace

std::vector<std::string> builtin_profile_names() {
  std::vector<std::string> names;
  for (const Builtin& b : kBuiltins) names.push_back(b.name);
  return names;
}

std::string builtin_profile_list() {
  std::string list;
  for (const Builtin& b : kBuiltins) list += (list.empty() ? "" : ", ") + std::string(b.name);
  return list;
}

TIN_VIZ_Profile profile_named(const std::string& name_or_file) {
  for (const Builtin& b : kBuiltins) {
    if (name_or_file == b.name) return TIN_VIZ_Profile::FromCode(b.code);
  }
  // A path names a file; a bare word that is no file is an unknown name.
  std::error_code ignored;
  const bool looks_like_file = name_or_file.find('/') != std::string::npos ||
                               std::filesystem::exists(name_or_file, ignored) ||
                               std::filesystem::path(name_or_file).has_extension();
  if (!looks_like_file) {
    throw ToolError("unknown profile '" + name_or_file + "': give an ICC file or one of " + builtin_profile_list());
  }
  TIN_VIZ_Profile p;
  try {
    p = TIN_VIZ_Profile::FromFile(name_or_file.c_str());
  } catch (const TIN_VIZ_Exception& e) {
    throw ToolError("profile " + name_or_file + " cannot be used: " + reason(e));
  }
  require_rgb(p, name_or_file);
  return p;
}

TIN_VIZ_Profile embedded_profile_or_srgb(const Picture& picture, const std::string& path) {
  if (picture.colour.icc_profile.empty()) return TIN_VIZ_Profile::FromCode(VIZ_Profile_sRGB);
  TIN_VIZ_Profile p;
  try {
    p = TIN_VIZ_Profile::FromICCData(picture.colour.icc_profile.data(), picture.colour.icc_profile.size());
  } catch (const TIN_VIZ_Exception& e) {
    throw ToolError("the profile embedded in " + path + " cannot be used: " + reason(e));
  }
  require_rgb(p, "embedded in " + path);
  return p;
}

std::string embedded_profile_description(const ColourMetadata& colour) {
  if (colour.icc_profile.empty()) return "";
  try {
    const TIN_VIZ_Profile p = TIN_VIZ_Profile::FromICCData(colour.icc_profile.data(), colour.icc_profile.size());
    const std::string name = p.GetNameUTF8();
    return name.empty() ? "(no description)" : name;
  } catch (const TIN_VIZ_Exception& e) {
    return "unreadable (" + reason(e) + ")";
  }
}

void colour_calls(const std::string& doing, const std::function<void()>& body) {
  try {
    body();
  } catch (RX_Err err) {
    check_package(err, doing);
  } catch (const TIN_VIZ_Exception& e) {
    throw ToolError(doing + ": " + reason(e));
  }
}

RX_LinearBlendingTablesPtr working_space_tables(const TIN_VIZ_Profile& working_space) {
  RX_LinearBlendingTablesPtr copy;
  colour_calls("making the tables of " + working_space.GetNameUTF8(), [&] {
    TIN_VIZ_ProfilePool pool;
    RX_ColorSettings settings(&pool);
    settings.SetProfile(TIN_VIZ_SharedProfile(new TIN_VIZ_Profile(working_space)));
    settings.SetLinearBlending(true);
    // The settings own their tables; the tool keeps a copy that outlives them.
    const RX_LinearBlendingTables* tables = settings.GetLinearBlendingTables(false);
    if (!tables) throw ToolError("no linear-light tables for " + working_space.GetNameUTF8());
    copy.reset(new RX_LinearBlendingTables(*tables));
  });
  return copy;
}

}  // namespace rxtool
