/* Colour management: worlds through the colour engine's profile
   transforms, the display transform, the linear-light tables of a working
   profile, depth conversion between gamma-encoded integer worlds and
   linear float, and the colour settings of a composition. C++ only: the
   operations take world objects and the colour glue's profiles, and
   report failures by throwing (an RX_Err, a TIN_VIZ_Exception of the
   engine, a CNEXError of the bridge, or std::exception). */
#ifndef RX_COLORMANAGEMENT_H
#define RX_COLORMANAGEMENT_H

#ifdef __cplusplus

#include <boost/shared_ptr.hpp>

#include <string>

#include "RX_Modes.h"
#include "RX_World.h"
#include "TIN/TIN.h"

RX_VISIBLE_BEGIN

typedef boost::shared_ptr<RX_LinearBlendingTables> RX_LinearBlendingTablesPtr;

/* ---- profile transforms ---- */

/* src through the transform from one built-in profile to another (intent
   1, default options) into dst, which has src's width and height. */
RX_API void RX_ConvertProfileToProfile(VIZ_ProfileCode from, VIZ_ProfileCode to, const RX_World* src,
                                       RX_World* dst, bool copy_alpha, const RX_ProgressInfo* progress);
/* src through an engine transform into dst (src's width and height). Packed
   rows without copy_alpha go to the engine in one call; otherwise row by
   row, the alpha copied aside and back when copy_alpha is set (worlds of
   one depth only), progress asked at rows 63, 127, ... A non-zero progress
   or abort result is thrown; rows done stay done. */
RX_API void RX_VIZApplyTransform(VIZTransform* transform, const RX_World* src, RX_World* dst, bool copy_alpha,
                                 const RX_ProgressInfo* progress);
/* The transform that shows source on display, through via and simulating
   simulated when given (each may be null). */
RX_API TIN_VIZ_Transform RX_NewDisplayTransform(const TIN_VIZ_Profile& source, const TIN_VIZ_Profile& display,
                                                const TIN_VIZ_Profile* via, const TIN_VIZ_Profile* simulated,
                                                bool skip_via_to_simulated, bool theater_preview);
/* towards_linear: from to the linear-light form of to; otherwise the
   linear-light form of from to to. Empty profiles are the default profile. */
RX_API TIN_VIZ_Transform RX_GetLinearizeTransform(const TIN_VIZ_SharedProfile& from,
                                                  const TIN_VIZ_SharedProfile& to, bool towards_linear);
/* A display's profile (null: the main display's). */
RX_API TIN_VIZ_Profile RX_GetPlatformDisplayProfile(const void* display);
/* The calibrated gammas of a profile (null: the default profile). */
RX_API void RX_GetCalRGBGammas(const TIN_VIZ_Profile* profile, float* r, float* g, float* b);

/* ---- linear-light tables and depth conversion ---- */

/* The tables of a profile's tone curve and its inverse. */
RX_API RX_LinearBlendingTablesPtr RX_MakeLinearizationTables(const TIN_VIZ_SharedProfile& profile);
/* src into dst of the same width and height, between any two depths;
   integer to float linearizes and float to integer encodes through the
   tables (which a float side needs). */
RX_API void RX_DepthConvertWorld(const RX_LinearBlendingTables* tables, const RX_World* src, RX_World* dst);

/* ---- colour settings ---- */

class RX_ColorSettings;
/* Other's profile, switches and validity into to; nothing when other has
   no pool. Caches are never transferred. */
RX_API void RXp_TransferColorSettings(RX_ColorSettings* to, const RX_ColorSettings& from);

/* The colour space of a composition: a working profile, kept in a pool by
   its identity, and two switches. Changing the profile drops the caches
   and resets both switches. Not thread-safe: the getters that cache write
   to the object. */
class RX_API RX_ColorSettings {
 public:
  explicit RX_ColorSettings(TIN_VIZ_ProfilePool* pool = nullptr);
  RX_ColorSettings(const RX_ColorSettings& other);
  RX_ColorSettings& operator=(const RX_ColorSettings& other);
  ~RX_ColorSettings();

  /* Both copy their argument. */
  bool operator==(RX_ColorSettings other) const;
  bool operator!=(RX_ColorSettings other) const;
  /* -1, 0 or 1; a partial order kept as it is: pool and profile only gate
     the comparison of linear blending, which only gates that of linearize. */
  int32_t GetSortOrder(const RX_ColorSettings& other) const;

  TIN_VIZ_SharedProfile GetProfile() const;
  /* Throws RX_Result_Internal (after a report) without a pool. */
  void SetProfile(const TIN_VIZ_SharedProfile& profile);
  void SetProfileID(const _t_VIZ_ID& id);
  const _t_VIZ_ID& GetProfileID() const { return profile_id_; }
  /* The default profile without a profile; the linear-light form when
     linearize is set; else the profile. */
  TIN_VIZ_SharedProfile GetAdjustedProfile();
  float GetCalGrayGamma();
  /* Null unless force or (linear blending and not linearize); valid until
     the profile changes or the settings go. */
  RX_LinearBlendingTables* GetLinearBlendingTables(bool force);

  void SetLinearize(bool linearize) { linearize_ = linearize; }
  bool GetLinearize() const { return linearize_; }
  void SetLinearBlending(bool linear_blending) { linear_blending_ = linear_blending; }
  bool GetLinearBlending() const { return linear_blending_; }
  TIN_VIZ_ProfilePool* GetProfilePool() const { return profile_pool_; }
  void SetProfilePool(TIN_VIZ_ProfilePool* pool) { profile_pool_ = pool; }
  bool IsValid() const { return valid_; }

 private:
  friend void RXp_TransferColorSettings(RX_ColorSettings* to, const RX_ColorSettings& from);
  void InvalidateCachedValues(const _t_VIZ_ID& id);

  bool gammas_valid_;
  float cal_gamma_[3];
  _t_VIZ_ID profile_id_;
  TIN_VIZ_SharedProfile adjusted_profile_;
  bool linearize_;
  bool linear_blending_;
  RX_LinearBlendingTablesPtr tables_;
  TIN_VIZ_ProfilePool* profile_pool_;
  bool valid_;
};

/* Settings for callers without any: sRGB, linearize set; made at the first
   call, released at the package's death. */
RX_API RX_ColorSettings* RX_GetEmergencyColorSettings(void);
/* "Working Space - " and the adjusted profile's name, or "None". */
RX_API std::u16string RX_GetWorkingSpaceProfileName(const RX_ColorSettings* settings);
/* Releases the emergency settings and their pool (death does this). */
RX_API void RXp_ReleaseColourCaches(void);

RX_VISIBLE_END

#endif

#endif
