// The colour settings of a composition: a working profile by identity in
// a pool, the linearize and linear-blending switches, and the caches of
// what the profile gives (linear-light profile, gammas, blending tables).
// A profile changes only through invalidation, which drops the caches and
// resets both switches.
#include <memory>
#include <string>

#include "KO/KO.h"
#include "RX_ColorManagement.h"
#include "frame/reports.h"

namespace {

constexpr char kNoPoolText[] = "You have to have a valid profile pool to set a profile.";
constexpr char kWorkingSpaceKey[] = "$$$/ZQ/RX/RX_ColorManagement/ColorProfile/PWS=Working Space - ";
constexpr char kNoneKey[] = "$$$/ZQ/RX/RX_ColorManagement/ColorProfile/None=None";

template <class T>
int32_t compare(const T& a, const T& b) {
  return a < b ? -1 : b < a ? 1 : 0;
}

// The process-wide fallback and its pool, made at the first call.
TIN_VIZ_ProfilePool* g_emergency_pool = nullptr;
RX_ColorSettings* g_emergency_settings = nullptr;

}  // namespace

RX_ColorSettings::RX_ColorSettings(TIN_VIZ_ProfilePool* pool)
    : gammas_valid_(false),
      cal_gamma_{0, 0, 0},
      profile_id_(VIZ_EmptyProfile_ID),
      linearize_(false),
      linear_blending_(false),
      profile_pool_(pool),
      valid_(false) {}

RX_ColorSettings::RX_ColorSettings(const RX_ColorSettings& other) : RX_ColorSettings(nullptr) {
  RXp_TransferColorSettings(this, other);
}

RX_ColorSettings& RX_ColorSettings::operator=(const RX_ColorSettings& other) {
  if (this != &other) RXp_TransferColorSettings(this, other);
  return *this;
}

RX_ColorSettings::~RX_ColorSettings() = default;

void RX_ColorSettings::InvalidateCachedValues(const _t_VIZ_ID& id) {
  profile_id_ = id;
  tables_.reset();
  gammas_valid_ = false;
  adjusted_profile_.reset();
  linear_blending_ = false;
  linearize_ = false;
  valid_ = !TIN_EqualVIZIDs(id, VIZ_EmptyProfile_ID);
}

void RXp_TransferColorSettings(RX_ColorSettings* to, const RX_ColorSettings& from) {
  if (!from.profile_pool_) return;
  if (to->profile_pool_) {
    // Into this pool, under this pool's identity; this clears the switches.
    to->SetProfile(from.GetProfile());
  } else {
    to->profile_pool_ = from.profile_pool_;
    to->InvalidateCachedValues(from.profile_id_);
  }
  to->linearize_ = from.linearize_;
  to->linear_blending_ = from.linear_blending_;
  to->valid_ = from.valid_;
}

bool RX_ColorSettings::operator==(RX_ColorSettings other) const {
  return linearize_ == other.linearize_ && linear_blending_ == other.linear_blending_ &&
         GetProfile().get() == other.GetProfile().get() && profile_pool_ == other.profile_pool_;
}

bool RX_ColorSettings::operator!=(RX_ColorSettings other) const { return !(*this == other); }

int32_t RX_ColorSettings::GetSortOrder(const RX_ColorSettings& other) const {
  int32_t r = compare(reinterpret_cast<uintptr_t>(profile_pool_), reinterpret_cast<uintptr_t>(other.profile_pool_));
  if (r == 0) {
    r = compare(reinterpret_cast<uintptr_t>(GetProfile().get()), reinterpret_cast<uintptr_t>(other.GetProfile().get()));
  }
  int32_t s = 0;
  if (r == 0) s = compare(int32_t(linear_blending_), int32_t(other.linear_blending_));
  // Deliberately partial: the comparisons above only gate this one.
  if (s != 0) return 0;
  return compare(int32_t(linearize_), int32_t(other.linearize_));
}

TIN_VIZ_SharedProfile RX_ColorSettings::GetProfile() const {
  return profile_pool_ ? profile_pool_->GetProfile(profile_id_) : TIN_VIZ_SharedProfile();
}

void RX_ColorSettings::SetProfile(const TIN_VIZ_SharedProfile& profile) {
  if (!profile_pool_) {
    rx::report_verification(kNoPoolText);
    throw RX_Err{RX_Result_Internal};
  }
  InvalidateCachedValues(profile_pool_->AddProfile(profile));
}

void RX_ColorSettings::SetProfileID(const _t_VIZ_ID& id) { InvalidateCachedValues(id); }

TIN_VIZ_SharedProfile RX_ColorSettings::GetAdjustedProfile() {
  const TIN_VIZ_SharedProfile p = GetProfile();
  if (!p) return TIN_VIZ_GetDefaultProfile();  // whatever the switches, and not kept
  if (!linearize_) return p;
  if (!adjusted_profile_) adjusted_profile_ = TIN_VIZ_GetLinearRGBProfile(p);
  return adjusted_profile_;
}

float RX_ColorSettings::GetCalGrayGamma() {
  if (!gammas_valid_) {
    const TIN_VIZ_SharedProfile adjusted = GetAdjustedProfile();
    RX_GetCalRGBGammas(adjusted.get(), &cal_gamma_[0], &cal_gamma_[1], &cal_gamma_[2]);
    gammas_valid_ = true;
  }
  return cal_gamma_[1];
}

RX_LinearBlendingTables* RX_ColorSettings::GetLinearBlendingTables(bool force) {
  if (!force && (!linear_blending_ || linearize_)) return nullptr;
  if (!tables_) tables_ = RX_MakeLinearizationTables(GetProfile());  // the profile itself, not the adjusted one
  return tables_.get();
}

RX_ColorSettings* RX_GetEmergencyColorSettings(void) {
  if (!g_emergency_settings) {
    // Published only when whole: a failure on the way leaves nothing behind.
    auto pool = std::make_unique<TIN_VIZ_ProfilePool>();
    auto settings = std::make_unique<RX_ColorSettings>(pool.get());
    settings->SetProfile(TIN_VIZ_GetDefaultProfile());
    settings->SetLinearize(true);
    g_emergency_pool = pool.release();
    g_emergency_settings = settings.release();
  }
  return g_emergency_settings;
}

void RXp_ReleaseColourCaches(void) {
  delete g_emergency_settings;
  g_emergency_settings = nullptr;
  delete g_emergency_pool;
  g_emergency_pool = nullptr;
}

std::u16string RX_GetWorkingSpaceProfileName(const RX_ColorSettings* settings) {
  const std::u16string working_space = KO_ZStringToUTF16String(kWorkingSpaceKey);
  const std::u16string none = KO_ZStringToUTF16String(kNoneKey);
  if (!settings || !settings->IsValid()) return none;
  // The adjusted profile may be made and kept here: the cache is the
  // settings' own, whatever the caller's constness.
  return working_space + const_cast<RX_ColorSettings*>(settings)->GetAdjustedProfile()->GetName();
}
