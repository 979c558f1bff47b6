// Profiles as the tool's options name them: an ICC file, or one of the
// colour engine's built-in profiles by name. Failures are the tool's one
// line: an unreadable or invalid file, an unknown name, a profile that is
// not RGB.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "RX.h"
#include "picture.h"

namespace rxtool {

// "srgb", "linear-srgb", "adobe-rgb", "prophoto-rgb", ... in the order help shows them.
std::vector<std::string> builtin_profile_names();
std::string builtin_profile_list();  // the names joined with ", "

// The profile a name or file path gives; what stands for an RGB profile.
TIN_VIZ_Profile profile_named(const std::string& name_or_file);
// The profile a picture's file carries, or sRGB when it carries none.
TIN_VIZ_Profile embedded_profile_or_srgb(const Picture& picture, const std::string& path);
// The description of a file's embedded profile: "" when there is none;
// "unreadable (...)" when it cannot be read.
std::string embedded_profile_description(const ColourMetadata& colour);

// Runs package and engine calls, their failures turned into the tool's
// one line: "doing: what the package or the engine said".
void colour_calls(const std::string& doing, const std::function<void()>& body);

// The linear-light tables of a working space, made by the package's colour
// settings (linear blending on the profile).
RX_LinearBlendingTablesPtr working_space_tables(const TIN_VIZ_Profile& working_space);

}  // namespace rxtool
