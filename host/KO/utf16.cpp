// Localisable strings as UTF-16, for callers that build texts for a user
// interface.
#include <string>

#include "KO/KO.h"

std::u16string KO_ZStringToUTF16String(const char* zstring) {
  const char* text = KO_ZStringToMBString(zstring);
  std::u16string out;
  if (!text) return out;
  const std::string s = text;
  for (size_t i = 0; i < s.size();) {
    const auto b = static_cast<uint8_t>(s[i]);
    const size_t n = b < 0x80 ? 1 : (b & 0xE0) == 0xC0 ? 2 : (b & 0xF0) == 0xE0 ? 3 : (b & 0xF8) == 0xF0 ? 4 : 0;
    bool valid = n != 0 && i + n <= s.size();
    uint32_t c = n == 1 ? b : n == 2 ? (b & 0x1Fu) : n == 3 ? (b & 0x0Fu) : (b & 0x07u);
    for (size_t k = 1; valid && k < n; ++k) {
      const auto next = static_cast<uint8_t>(s[i + k]);
      valid = (next & 0xC0) == 0x80;
      c = c << 6 | (next & 0x3Fu);
    }
    if (!valid) {
      out += u'\uFFFD';
      ++i;
      continue;
    }
    if (c >= 0x10000) {
      c -= 0x10000;
      out += char16_t(0xD800 + (c >> 10));
      out += char16_t(0xDC00 + (c & 0x3FF));
    } else {
      out += char16_t(c);
    }
    i += n;
  }
  return out;
}
