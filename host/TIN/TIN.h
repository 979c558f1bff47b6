/* TIN, the colour glue: hands out the resolver of the NEX interface bridge,
   and wraps the colour engine's profiles and transforms in small owners
   (C++): profiles, transforms, a pool of profiles by identity, the default
   profile (sRGB) and the linear-light form of a profile, the two option
   sets, and the exception that engine errors become. */
#ifndef TIN_H
#define TIN_H
#include "HostAPI.h"
#include "TIN/NEX.h"
#include "VIZ/VIZ.h"
HOST_BEGIN_C
HOST_API HOST_Err TIN_GetNEXAddressProc(NEX_LookupProc* out);
HOST_END_C

#ifdef __cplusplus
#include <boost/shared_ptr.hpp>

#include <cstring>
#include <exception>
#include <string>
#include <utility>
#include <vector>

/* The identity of no profile. */
inline constexpr _t_VIZ_ID VIZ_EmptyProfile_ID = {};

HOST_API bool TIN_EqualVIZIDs(const _t_VIZ_ID& a, const _t_VIZ_ID& b);

/* An engine error: the code and the engine's text for it. */
class HOST_API TIN_VIZ_Exception : public std::exception {
 public:
  TIN_VIZ_Exception(VIZ_Err code, std::string text);
  const char* what() const noexcept override;
  VIZ_Err Code() const { return code_; }

 private:
  VIZ_Err code_;
  std::string text_;
};

/* Throws TIN_VIZ_Exception for a non-zero engine result, with the text the
   engine left for the calling thread:
   "colour engine error 'xfrm': LittleCMS: ...". */
HOST_API void TIN_VIZ_ETX(VIZ_Err err);

/* Transform options: default {1, 'qual', 1}; fast {2, 'qual', 0, 'clip', 1}
   (low-resolution precalculation, float results limited to 0..1). */
HOST_API const _t_VIZ_Options* TIN_GetDefaultVIZOptions(void);
HOST_API const _t_VIZ_Options* TIN_GetFastVIZOptions(void);

/* An owner of one engine reference to a profile; copies hold one each.
   Methods that ask the engine throw TIN_VIZ_Exception. */
class HOST_API TIN_VIZ_Profile {
 public:
  TIN_VIZ_Profile() = default;
  TIN_VIZ_Profile(const TIN_VIZ_Profile& other);
  TIN_VIZ_Profile(TIN_VIZ_Profile&& other) noexcept : profile_(std::exchange(other.profile_, nullptr)) {}
  TIN_VIZ_Profile& operator=(TIN_VIZ_Profile other) noexcept {
    std::swap(profile_, other.profile_);
    return *this;
  }
  ~TIN_VIZ_Profile();

  /* Takes over the caller's reference (null empties). */
  void SetProfile(VIZProfile* adopted);
  VIZProfile* Get() const { return profile_; }
  bool IsEmpty() const { return profile_ == nullptr; }

  /* The profile has values beyond 1.0 (the engine's ProfileOverRange). */
  bool IsOverRange() const;
  /* The description, UTF-16 and UTF-8. */
  std::u16string GetName() const;
  std::string GetNameUTF8() const;
  /* VIZ_EmptyProfile_ID for an empty profile. */
  _t_VIZ_ID GetID() const;
  uint32_t GetColorSpace() const;
  std::vector<uint8_t> GetICCData() const;

  static TIN_VIZ_Profile FromCode(VIZ_ProfileCode code);
  static TIN_VIZ_Profile FromICCData(const void* data, size_t size);
  static TIN_VIZ_Profile FromFile(const char* path);

 private:
  VIZProfile* profile_ = nullptr;
};

typedef boost::shared_ptr<TIN_VIZ_Profile> TIN_VIZ_SharedProfile;

/* An owner of one engine reference to a transform. */
class HOST_API TIN_VIZ_Transform {
 public:
  TIN_VIZ_Transform() = default;
  TIN_VIZ_Transform(const TIN_VIZ_Transform& other);
  TIN_VIZ_Transform(TIN_VIZ_Transform&& other) noexcept
      : transform_(std::exchange(other.transform_, nullptr)) {}
  TIN_VIZ_Transform& operator=(TIN_VIZ_Transform other) noexcept {
    std::swap(transform_, other.transform_);
    return *this;
  }
  ~TIN_VIZ_Transform();

  /* Takes over the caller's reference, releasing the one held. */
  void Reset(VIZTransform* adopted = nullptr);
  VIZTransform* Get() const { return transform_; }
  bool IsEmpty() const { return transform_ == nullptr; }
  /* The engine's QueryTransform. */
  VIZ_TransformInfo Query() const;
  /* A new transform from one profile to another (the engine's
     MakeColorTransform; options may be null). */
  static TIN_VIZ_Transform Make(const TIN_VIZ_Profile& from, const TIN_VIZ_Profile& to, int32_t intent,
                                const _t_VIZ_Options* options);

 private:
  VIZTransform* transform_ = nullptr;
};

/* Profiles kept by identity. AddProfile gives the identity of a profile and
   keeps it, unless one of that identity is kept already (which then stays:
   equal data is one pool entry). */
class HOST_API TIN_VIZ_ProfilePool {
 public:
  TIN_VIZ_ProfilePool();
  ~TIN_VIZ_ProfilePool();
  TIN_VIZ_ProfilePool(const TIN_VIZ_ProfilePool&) = delete;
  TIN_VIZ_ProfilePool& operator=(const TIN_VIZ_ProfilePool&) = delete;

  /* VIZ_EmptyProfile_ID, with nothing kept, for a null or empty profile. */
  _t_VIZ_ID AddProfile(const TIN_VIZ_SharedProfile& profile);
  /* The kept profile, or an empty pointer. */
  TIN_VIZ_SharedProfile GetProfile(const _t_VIZ_ID& id) const;
  size_t Count() const;

 private:
  std::vector<std::pair<_t_VIZ_ID, TIN_VIZ_SharedProfile>>* entries_;
};

/* sRGB, one object for the process. */
HOST_API TIN_VIZ_SharedProfile TIN_VIZ_GetDefaultProfile(void);
/* A new profile: the engine's linear-light form of base (the default
   profile for an empty one). */
HOST_API TIN_VIZ_SharedProfile TIN_VIZ_GetLinearRGBProfile(const TIN_VIZ_SharedProfile& base);

#endif

#endif
