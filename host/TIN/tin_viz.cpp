// The colour glue's owners of engine profiles and transforms, its pool of
// profiles, the default and linear-light profiles, the option sets and
// the exception engine errors become.
#include <cstdio>
#include <cstring>
#include <mutex>
#include <string>

#include "TIN/TIN.h"
#include "VIZ/viz_engine.h"

namespace {

std::u16string utf16_from_utf8(const std::string& s) {
  std::u16string out;
  for (size_t i = 0; i < s.size();) {
    const auto b = static_cast<uint8_t>(s[i]);
    uint32_t c = 0xFFFD;
    size_t n = 1;
    if (b < 0x80) {
      c = b;
    } else if ((b & 0xE0) == 0xC0 && i + 1 < s.size()) {
      c = (b & 0x1Fu) << 6 | (uint8_t(s[i + 1]) & 0x3Fu);
      n = 2;
    } else if ((b & 0xF0) == 0xE0 && i + 2 < s.size()) {
      c = (b & 0x0Fu) << 12 | (uint8_t(s[i + 1]) & 0x3Fu) << 6 | (uint8_t(s[i + 2]) & 0x3Fu);
      n = 3;
    } else if ((b & 0xF8) == 0xF0 && i + 3 < s.size()) {
      c = (b & 0x07u) << 18 | (uint8_t(s[i + 1]) & 0x3Fu) << 12 | (uint8_t(s[i + 2]) & 0x3Fu) << 6 |
          (uint8_t(s[i + 3]) & 0x3Fu);
      n = 4;
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

const _t_VIZ_Options kDefaultOptions = {1, {{VIZ_Option_Quality, 1}}};
const _t_VIZ_Options kFastOptions = {2, {{VIZ_Option_Quality, 0}, {VIZ_Option_ClipOverRange, 1}}};

}  // namespace

bool TIN_EqualVIZIDs(const _t_VIZ_ID& a, const _t_VIZ_ID& b) {
  return std::memcmp(a.bytes, b.bytes, sizeof a.bytes) == 0;
}

TIN_VIZ_Exception::TIN_VIZ_Exception(VIZ_Err code, std::string text) : code_(code), text_(std::move(text)) {}

const char* TIN_VIZ_Exception::what() const noexcept { return text_.c_str(); }

void TIN_VIZ_ETX(VIZ_Err err) {
  if (err == VIZ_Err_None) return;
  char code[5] = {char(uint32_t(err) >> 24), char(uint32_t(err) >> 16), char(uint32_t(err) >> 8), char(err), 0};
  for (char& c : code) {
    if (c && (c < ' ' || c > '~')) c = '?';
  }
  std::string text = std::string("colour engine error '") + code + "'";
  // The engine's text, when its last failure on this thread was this one.
  const char* why = rxhost::viz::last_error_text();
  if (rxhost::viz::last_error_code() == err && why && *why) text += std::string(": ") + why;
  throw TIN_VIZ_Exception(err, text);
}

const _t_VIZ_Options* TIN_GetDefaultVIZOptions(void) { return &kDefaultOptions; }
const _t_VIZ_Options* TIN_GetFastVIZOptions(void) { return &kFastOptions; }

// ---- profiles ----

TIN_VIZ_Profile::TIN_VIZ_Profile(const TIN_VIZ_Profile& other) : profile_(other.profile_) {
  rxhost::viz::reference(profile_);
}

TIN_VIZ_Profile::~TIN_VIZ_Profile() { rxhost::viz::release(profile_); }

void TIN_VIZ_Profile::SetProfile(VIZProfile* adopted) {
  rxhost::viz::release(profile_);
  profile_ = adopted;
}

bool TIN_VIZ_Profile::IsOverRange() const {
  int32_t over = 0;
  TIN_VIZ_ETX(rxhost::viz::over_range(profile_, &over));
  return over != 0;
}

std::string TIN_VIZ_Profile::GetNameUTF8() const { return profile_ ? profile_->description : std::string(); }

std::u16string TIN_VIZ_Profile::GetName() const { return utf16_from_utf8(GetNameUTF8()); }

_t_VIZ_ID TIN_VIZ_Profile::GetID() const { return profile_ ? profile_->id : VIZ_EmptyProfile_ID; }

uint32_t TIN_VIZ_Profile::GetColorSpace() const { return profile_ ? profile_->color_space : 0; }

std::vector<uint8_t> TIN_VIZ_Profile::GetICCData() const {
  return profile_ ? profile_->icc : std::vector<uint8_t>();
}

TIN_VIZ_Profile TIN_VIZ_Profile::FromCode(VIZ_ProfileCode code) {
  VIZProfile* p = nullptr;
  TIN_VIZ_ETX(rxhost::viz::profile_from_code(code, &p));
  TIN_VIZ_Profile out;
  out.SetProfile(p);
  return out;
}

TIN_VIZ_Profile TIN_VIZ_Profile::FromICCData(const void* data, size_t size) {
  VIZ_Err err = VIZ_Err_None;
  VIZProfile* p = rxhost::viz::profile_from_icc(data, size, &err);
  TIN_VIZ_ETX(err);
  TIN_VIZ_Profile out;
  out.SetProfile(p);
  return out;
}

TIN_VIZ_Profile TIN_VIZ_Profile::FromFile(const char* path) {
  VIZProfile* p = nullptr;
  TIN_VIZ_ETX(rxhost::viz::profile_from_file(path, &p));
  TIN_VIZ_Profile out;
  out.SetProfile(p);
  return out;
}

// ---- transforms ----

TIN_VIZ_Transform::TIN_VIZ_Transform(const TIN_VIZ_Transform& other) : transform_(other.transform_) {
  rxhost::viz::reference(transform_);
}

TIN_VIZ_Transform::~TIN_VIZ_Transform() { rxhost::viz::release(transform_); }

void TIN_VIZ_Transform::Reset(VIZTransform* adopted) {
  rxhost::viz::release(transform_);
  transform_ = adopted;
}

VIZ_TransformInfo TIN_VIZ_Transform::Query() const {
  VIZ_TransformInfo info;
  TIN_VIZ_ETX(rxhost::viz::query(transform_, &info));
  return info;
}

TIN_VIZ_Transform TIN_VIZ_Transform::Make(const TIN_VIZ_Profile& from, const TIN_VIZ_Profile& to, int32_t intent,
                                          const _t_VIZ_Options* options) {
  VIZTransform* made = nullptr;
  TIN_VIZ_ETX(rxhost::viz::make_transform(from.Get(), to.Get(), intent, options, &made));
  TIN_VIZ_Transform out;
  out.Reset(made);
  return out;
}

// ---- the pool ----

TIN_VIZ_ProfilePool::TIN_VIZ_ProfilePool() : entries_(new std::vector<std::pair<_t_VIZ_ID, TIN_VIZ_SharedProfile>>) {}

TIN_VIZ_ProfilePool::~TIN_VIZ_ProfilePool() { delete entries_; }

_t_VIZ_ID TIN_VIZ_ProfilePool::AddProfile(const TIN_VIZ_SharedProfile& profile) {
  if (!profile || profile->IsEmpty()) return VIZ_EmptyProfile_ID;
  const _t_VIZ_ID id = profile->GetID();
  for (const auto& entry : *entries_) {
    if (TIN_EqualVIZIDs(entry.first, id)) return id;
  }
  entries_->emplace_back(id, profile);
  return id;
}

TIN_VIZ_SharedProfile TIN_VIZ_ProfilePool::GetProfile(const _t_VIZ_ID& id) const {
  for (const auto& entry : *entries_) {
    if (TIN_EqualVIZIDs(entry.first, id)) return entry.second;
  }
  return TIN_VIZ_SharedProfile();
}

size_t TIN_VIZ_ProfilePool::Count() const { return entries_->size(); }

// ---- default and linear profiles ----

TIN_VIZ_SharedProfile TIN_VIZ_GetDefaultProfile(void) {
  // Made once and kept to the end of the process: nothing releases it, so
  // the engine may go first at exit.
  static TIN_VIZ_SharedProfile* const kDefault =
      new TIN_VIZ_SharedProfile(new TIN_VIZ_Profile(TIN_VIZ_Profile::FromCode(VIZ_Profile_sRGB)));
  return *kDefault;
}

TIN_VIZ_SharedProfile TIN_VIZ_GetLinearRGBProfile(const TIN_VIZ_SharedProfile& base) {
  const TIN_VIZ_SharedProfile from = base && !base->IsEmpty() ? base : TIN_VIZ_GetDefaultProfile();
  VIZProfile* linear = nullptr;
  TIN_VIZ_ETX(rxhost::viz::linear_rgb(from->Get(), &linear));
  TIN_VIZ_SharedProfile out(new TIN_VIZ_Profile);
  out->SetProfile(linear);
  return out;
}
