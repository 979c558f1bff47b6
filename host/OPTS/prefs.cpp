// Preferences from an INI file, read at each call: the few preferences
// the package reads are read rarely, and a changed file counts at once.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "OPTS/OPTS.h"

namespace {

// A line longer than this is taken as damage, not as a preference.
constexpr size_t kMaxLine = 8192;

std::string_view trim(std::string_view s) {
  const auto blank = [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; };
  while (!s.empty() && blank(s.front())) s.remove_prefix(1);
  while (!s.empty() && blank(s.back())) s.remove_suffix(1);
  return s;
}

std::string prefs_path() {
  if (const char* p = std::getenv("RX_PREFS"); p && *p) return p;
  if (const char* x = std::getenv("XDG_CONFIG_HOME"); x && *x) return std::string(x) + "/rx/prefs.ini";
  if (const char* h = std::getenv("HOME"); h && *h) return std::string(h) + "/.config/rx/prefs.ini";
  return "prefs.ini";
}

}  // namespace

const char* OPTS_PrefsPath(void) {
  static thread_local std::string path;
  path = prefs_path();
  return path.c_str();
}

HOST_Err OPTS_GetTextPrefData(const char* section, const char* key, char* buffer, int32_t size,
                              int32_t* found) {
  if (found) *found = 0;
  if (!section || !key || !buffer || size <= 0) return OPTS_Err_Internal;
  buffer[0] = '\0';
  const std::string path = prefs_path();
  FILE* f = std::fopen(path.c_str(), "r");
  if (!f) return errno == ENOENT || errno == ENOTDIR ? OPTS_Err_None : OPTS_Err_Unreadable;

  HOST_Err result = OPTS_Err_None;
  std::string current;
  std::string line;
  bool in_wanted = std::string_view(section).empty();
  for (int c = 0;;) {
    line.clear();
    while ((c = std::fgetc(f)) != EOF && c != '\n') {
      if (line.size() >= kMaxLine) break;
      line += char(c);
    }
    if (line.size() >= kMaxLine || (c == EOF && std::ferror(f))) {
      result = line.size() >= kMaxLine ? OPTS_Err_Damaged : OPTS_Err_Unreadable;
      break;
    }
    const std::string_view text = trim(line);
    if (text.empty() || text.front() == ';' || text.front() == '#') {
      // nothing
    } else if (text.front() == '[') {
      if (text.back() != ']') {
        result = OPTS_Err_Damaged;
        break;
      }
      current = std::string(trim(text.substr(1, text.size() - 2)));
      in_wanted = current == section;
    } else {
      const size_t equals = text.find('=');
      if (equals == std::string_view::npos) {
        result = OPTS_Err_Damaged;
        break;
      }
      // The last pair of a key counts, as a later line overrides.
      if (in_wanted && trim(text.substr(0, equals)) == key) {
        const std::string_view value = trim(text.substr(equals + 1));
        const size_t n = value.size() < size_t(size) - 1 ? value.size() : size_t(size) - 1;
        std::memcpy(buffer, value.data(), n);
        buffer[n] = '\0';
        if (found) *found = 1;
      }
    }
    if (c == EOF) break;
  }
  std::fclose(f);
  if (result != OPTS_Err_None) {
    buffer[0] = '\0';
    if (found) *found = 0;
  }
  return result;
}
