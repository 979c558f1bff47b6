// Values of options that are more than a number: modes by name or number,
// one word of a fixed list, a position. Each refuses what it cannot read
// with one line that says what it wanted.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <utility>

namespace rxtool {

// The mode number of a name ("multiply", "Multiply", "RX_Xfer_Multiply")
// or of a number from -3 to 38; throws for anything else.
int32_t parse_mode(const std::string& text);
// One line per mode: number and name.
std::string list_modes();

// The index of value in choices; what names the option in the message.
int32_t parse_choice(const std::string& value, const char* what, std::initializer_list<const char*> choices);

// "X,Y" as two integers; option names the option in the message.
std::pair<int32_t, int32_t> parse_position(const std::string& text, const char* option);

// A set of channels written with the letters a, r, g, b ("argb", "rgb",
// "a"), as the blurs and the convolution take them (alpha 1, red 2, green
// 4, blue 8); throws for other letters or an empty set.
int32_t parse_channels(const std::string& text, const char* option);

}  // namespace rxtool
