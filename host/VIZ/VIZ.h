/* VIZ, the colour engine: ICC profiles and the transforms between them, on
   LittleCMS 2. Nothing here is linked by symbol: the engine publishes its
   operations as the "VIZInterface2" method table of the NEX bridge (142
   methods, each registered as "VIZ_" + name + "Proc2" or "Proc"), and
   "VIZBitDepthConverterInterface" beside it. This header gives the records
   and the signatures of the methods the engine implements; the others are
   in the table as entries that report that they are unimplemented.

   Every method returns a VIZ_Err. Profiles and transforms are reference
   counted: a method that gives one out gives one reference, which its
   caller releases with UnReferenceProfile or UnReferenceTransform.

   Pixels. The engine takes rows of four channels, the first a pad or alpha
   channel that colour never reaches, then red, green, blue:
     "prgb"  8 bits a channel, 0..255
     "PRGB"  16 bits a channel, 0..32768 (not 0..65535); the engine takes
             such values to LittleCMS's 0..65535 as (v * 65535 + 16384) >> 15
             (values above 32768 count as 32768) and brings results back as
             (w * 32768 + 32767) / 65535, both to nearest
     "fRGB"  32-bit float, 0..1, values beyond allowed
   The pad channel of the destination keeps its value unless the apply
   options carry "ctpk" = 1; then it is the source's, scaled between
   formats as the colour channels are (8 to 16 bits (v * 0x808080 + 33200)
   >> 16, 16 to 8 bits (v * 255 + 16384) >> 15, float to integer limited to
   0..1 and rounded to nearest). */
#ifndef VIZ_H
#define VIZ_H

#include "HostAPI.h"

HOST_BEGIN_C

typedef int32_t VIZ_Err;

/* Result codes: four characters read as a 32-bit number. */
enum {
  VIZ_Err_None = 0,
  VIZ_Err_General = 0x67656e20,       /* 'gen ': no engine, or a failure of no other kind */
  VIZ_Err_BadParameter = 0x7061726d,  /* 'parm': a null or out-of-range argument */
  VIZ_Err_Unimplemented = 0x756e696d, /* 'unim': a method this engine does not implement */
  VIZ_Err_BadProfile = 0x70726f66,    /* 'prof': ICC data that cannot be read as a profile */
  VIZ_Err_UnknownCode = 0x636f6465,   /* 'code': a profile code the engine does not know */
  VIZ_Err_ColorSpace = 0x63737063,    /* 'cspc': a profile of a colour space the operation cannot take */
  VIZ_Err_PixelFormat = 0x70666d74,   /* 'pfmt': a pixel format the engine does not know */
  VIZ_Err_Transform = 0x7866726d,     /* 'xfrm': the transform cannot be built */
  VIZ_Err_OutOfMemory = 0x6d656d20    /* 'mem ' */
};

/* Pixel formats, as above. */
typedef uint32_t VIZ_PixelFormat;
enum {
  VIZ_Format_prgb = 0x70726762, /* "prgb" */
  VIZ_Format_PRGB = 0x50524742, /* "PRGB" */
  VIZ_Format_fRGB = 0x66524742  /* "fRGB" */
};

/* Built-in profiles by code. All are RGB matrix-shaper profiles on the D50
   connection space, their white adapted by Bradford. */
typedef uint32_t VIZ_ProfileCode;
enum {
  VIZ_Profile_sRGB = 0x73524742,         /* 'sRGB' IEC 61966-2.1; the default profile */
  VIZ_Profile_LinearsRGB = 0x6c524742,   /* 'lRGB' sRGB primaries, linear */
  VIZ_Profile_AdobeRGB = 0x41524742,     /* 'ARGB' Adobe RGB (1998) primaries, gamma 563/256 */
  VIZ_Profile_ProPhotoRGB = 0x524f4d4d,  /* 'ROMM' ProPhoto primaries, D50, gamma 1.8 */
  VIZ_Profile_Rec709 = 0x52373039,       /* 'R709' Rec. 709 primaries and curve */
  VIZ_Profile_Rec2020 = 0x52323032,      /* 'R202' Rec. 2020 primaries, the Rec. 709 curve */
  VIZ_Profile_LinearRec2020 = 0x6c323032,/* 'l202' Rec. 2020 primaries, linear */
  VIZ_Profile_DisplayP3 = 0x44503320,    /* 'DP3 ' P3 primaries, D65, the sRGB curve */
  VIZ_Profile_ACEScg = 0x41436367,       /* 'ACcg' ACES AP1 primaries, ACES white, linear */
  VIZ_Profile_MainMonitor = 0x6d6e7472   /* 'mntr' whatever MainMonitorProfile gives */
};

/* A profile's identity: the MD5 digest of its ICC data as LittleCMS
   computes it (header fields of the digest zeroed). All zero for none. */
typedef struct _t_VIZ_ID {
  uint8_t bytes[16];
} _t_VIZ_ID;

/* Options: a count and that many (key, value) pairs of 32-bit values, so
   that {1, 'ctpk', 1} is a block of three 32-bit values. Unknown keys are
   skipped; a later pair overrides an earlier one. */
enum { VIZ_MaxOptions = 8 };
typedef struct VIZ_Option {
  uint32_t key;
  int32_t value;
} VIZ_Option;
typedef struct _t_VIZ_Options {
  int32_t count;
  VIZ_Option entries[VIZ_MaxOptions];
} _t_VIZ_Options;

enum {
  /* Transforms: 0 fast (LittleCMS's low-resolution precalculation), 1 normal
     (the default), 2 best (high-resolution precalculation). */
  VIZ_Option_Quality = 0x7175616c,       /* 'qual' */
  /* Transforms: 1 limits float results to 0..1; by default values beyond
     1.0 and below 0.0 pass. Integer formats are limited anyway. */
  VIZ_Option_ClipOverRange = 0x636c6970, /* 'clip' */
  /* Transforms: 1 turns black point compensation on. */
  VIZ_Option_BlackPoint = 0x62706320,    /* 'bpc ' */
  /* Transforms: 0 keeps LittleCMS's own float evaluation where the
     engine's float path between matrix-shaper profiles would serve. */
  VIZ_Option_FloatFastPath = 0x66667374, /* 'ffst' */
  /* Apply: 1 carries the pad channel from source to destination. */
  VIZ_Option_CopyPad = 0x6374706b,       /* 'ctpk' */
  /* OptimizeTransform: integer formats are then served by a table of this
     many grid points a side (2..255), sampled from the chain. Float
     formats keep their exact evaluation. */
  VIZ_Option_LUTPoints = 0x4c74706f      /* 'Ltpo' */
};

/* The calibrated description of an RGB profile. */
typedef struct VIZ_CalRGB {
  double gamma[3];   /* red, green, blue: the exponent of each tone curve, exact for
                        a pure power curve, else the best fit LittleCMS estimates */
  double white[3];   /* media white point, XYZ */
  double matrix[9];  /* rows X, Y, Z; columns red, green, blue; D50-adapted colorants */
} VIZ_CalRGB;

/* What a transform is made of. */
enum { VIZ_MaxChain = 8 };
typedef struct VIZ_TransformInfo {
  int32_t kind;                    /* 0 a colour transform, 1 a depth converter */
  int32_t profile_count;           /* profiles in the chain */
  int32_t intents[VIZ_MaxChain];   /* intent of each profile */
  _t_VIZ_ID profiles[VIZ_MaxChain];
  _t_VIZ_Options options;          /* the options it was made with */
  int32_t lut_points;              /* 0, or the grid points of OptimizeTransform */
} VIZ_TransformInfo;

typedef struct VIZProfile VIZProfile;
typedef struct VIZTransform VIZTransform;

/* ---- the methods the engine implements ---- */

/* A built-in profile (see the codes above). */
typedef VIZ_Err (*VIZ_ProfileFromCodeProc)(VIZ_ProfileCode code, VIZProfile** out);
/* The main display's profile: the ICC file named by the key "Main" of the
   preference section "Display Profiles" (see OPTS.h), else sRGB. */
typedef VIZ_Err (*VIZ_MainMonitorProfileProc)(VIZProfile** out);
/* A display's profile: display is its name as a NUL-terminated UTF-8
   string (a connector such as "HDMI-1"); the ICC file named by that key
   of "Display Profiles", else the main display's profile. */
typedef VIZ_Err (*VIZ_MonitorProfileNProc)(const void* display, VIZProfile** out);
/* A profile from ICC data, copied. */
typedef VIZ_Err (*VIZ_MakeBufferProfileProc)(const void* data, uint32_t size, VIZProfile** out);
typedef VIZ_Err (*VIZ_ReferenceProfileProc)(VIZProfile* profile);
typedef VIZ_Err (*VIZ_UnReferenceProfileProc)(VIZProfile* profile);
/* The profile's ICC data: its size, and a copy into a buffer of at least
   that size. */
typedef VIZ_Err (*VIZ_ProfileSizeProc)(VIZProfile* profile, uint32_t* size);
typedef VIZ_Err (*VIZ_ProfileDataProc)(VIZProfile* profile, void* buffer, uint32_t size);
/* The ICC colour space signature ('RGB ', 'GRAY', 'Lab ', ...). */
typedef VIZ_Err (*VIZ_ProfileColorSpaceProc)(VIZProfile* profile, uint32_t* space);
/* The description as UTF-8, cut to size - 1 bytes and terminated. */
typedef VIZ_Err (*VIZ_ProfileDescriptionProc)(VIZProfile* profile, char* buffer, uint32_t size);
typedef VIZ_Err (*VIZ_ProfilesEqualProc)(VIZProfile* a, VIZProfile* b, int32_t* equal);
typedef VIZ_Err (*VIZ_ProfileIDProc)(VIZProfile* profile, _t_VIZ_ID* id);
/* Whether values beyond 1.0 mean something in the profile: an RGB
   matrix-shaper profile whose three tone curves are linear. */
typedef VIZ_Err (*VIZ_ProfileOverRangeProc)(VIZProfile* profile, int32_t* over_range);
/* The linear-light form of an RGB profile: its white, its primaries (read
   from the colorant tags, or measured through the profile for a table
   profile) and linear tone curves. */
typedef VIZ_Err (*VIZ_MakeLinearRGBProc)(VIZProfile* base, VIZProfile** out);
typedef VIZ_Err (*VIZ_ExtractCalRGBProc)(VIZProfile* profile, VIZ_CalRGB* out);
/* The green gamma of ExtractCalRGB. */
typedef VIZ_Err (*VIZ_ExtractGammaProc)(VIZProfile* profile, double* gamma);
/* A transform from one profile to another with an ICC intent (0
   perceptual, 1 relative colorimetric, 2 saturation, 3 absolute
   colorimetric). Options may be null. LittleCMS builds it when it is
   first applied to a pair of formats; errors of building show then. */
typedef VIZ_Err (*VIZ_MakeColorTransformProc)(VIZProfile* from, VIZProfile* to, int32_t intent,
                                              const _t_VIZ_Options* options, VIZTransform** out);
typedef VIZ_Err (*VIZ_ReferenceTransformProc)(VIZTransform* transform);
typedef VIZ_Err (*VIZ_UnReferenceTransformProc)(VIZTransform* transform);
/* first, then second: the chains joined (the last profile of first and the
   first of second both stay). The options are first's. */
typedef VIZ_Err (*VIZ_ConcatTransformsProc)(VIZTransform* first, VIZTransform* second,
                                            VIZTransform** out);
/* A new transform of the same chain, with the options ("Ltpo") applied. */
typedef VIZ_Err (*VIZ_OptimizeTransformProc)(VIZTransform* transform, const _t_VIZ_Options* options,
                                             VIZTransform** out);
/* count pixels from src to dst (which may be src). options may be null. */
typedef VIZ_Err (*VIZ_ApplyTransformProc)(VIZTransform* transform, const void* src,
                                          VIZ_PixelFormat src_format, void* dst,
                                          VIZ_PixelFormat dst_format, int32_t count,
                                          const _t_VIZ_Options* options);
typedef VIZ_Err (*VIZ_QueryTransformProc)(VIZTransform* transform, VIZ_TransformInfo* info);
/* Forgets the LittleCMS transforms the engine keeps for reuse. */
typedef VIZ_Err (*VIZ_PurgeCachesProc)(void);

/* "VIZBitDepthConverterInterface", registered as "VIZBitDepthConverter" +
   name + "Proc". A converter is a transform (released with
   UnReferenceTransform) that moves pixels between two formats.
   NewColorSpaceConverter: for colour space 'RGB ', values only rescaled.
   NewProfileConverter: integer formats hold the profile's encoded values
   and "fRGB" its linear light, so that integer to float linearizes and
   float to integer encodes; integer to integer and float to float rescale
   only. Convert: count pixels, the pad channel carried along. */
typedef VIZ_Err (*VIZ_NewColorSpaceConverterProc)(uint32_t color_space, VIZ_PixelFormat from,
                                                  VIZ_PixelFormat to, VIZTransform** out);
typedef VIZ_Err (*VIZ_NewProfileConverterProc)(VIZProfile* profile, VIZ_PixelFormat from,
                                               VIZ_PixelFormat to, VIZTransform** out);
typedef VIZ_Err (*VIZ_ConvertProc)(VIZTransform* converter, const void* src, void* dst,
                                   int32_t count);

HOST_END_C

#ifdef __cplusplus
static_assert(sizeof(_t_VIZ_ID) == 16, "_t_VIZ_ID is 16 bytes");
static_assert(sizeof(VIZ_Option) == 8 && offsetof(_t_VIZ_Options, entries) == 4 &&
                  sizeof(_t_VIZ_Options) == 4 + 8 * VIZ_MaxOptions,
              "_t_VIZ_Options: a count, then pairs of 32-bit values");
static_assert(sizeof(VIZ_CalRGB) == 15 * 8 && offsetof(VIZ_CalRGB, white) == 24,
              "VIZ_CalRGB layout");
#endif

#endif
