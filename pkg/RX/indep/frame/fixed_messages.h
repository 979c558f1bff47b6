// Fixed texts of the package's reports, kept in one place. They are used
// byte for byte as they stand, oddities included: the depth dispatch text
// keeps the "##CONDITIONNAME" of a macro that never expanded.
#pragma once

namespace rx::msg {

inline constexpr char kVersionMismatch[] =
    "Plug-in version mismatch detected (did you install over an older version of ZephyrCut?). "
    "Try uninstalling and re-installing. (%s package v%d != %s.h v%d)";
inline constexpr char kBatchSamplingDeprecated[] =
    "Batch Sampling has been deprecated; please update your plug-in calling code";
inline constexpr char kUnknownPixelFormat[] = "Unknown pixel format";
inline constexpr char kUnsupportedPixelFormat[] = "Unsupported RX_PixelFormat";
inline constexpr char kBadParameterGetPixelFormat[] = "Bad parameter to RXp_GetPixelFormat()";
inline constexpr char kUnsupportedDepthGetPixelFormat[] =
    "Unsupported pixel depth in RXp_GetPixelFormat()";
inline constexpr char kUnknownWorldBitdepth[] = "Unknown world bitdepth in##CONDITIONNAME";
inline constexpr char kIterateDepthsDiffer[] =
    "RX_Iterate requires source and dst worlds to be same depth";
inline constexpr char kCopyHQDepthsDiffer[] =
    "RX_CopyBits_HQ_Straight_Static requires src and dst worlds to have same bit depth";
inline constexpr char kFlipDeepNotImplemented[] =
    "Flipping 32/16-bit worlds is not implemented. Source data 8-bit BGRA.";
inline constexpr char kUnknownDepthSpecialCaseBlit[] =
    "Unknown world bitdepth in SpecialCasePixelBlit";
inline constexpr char kChannelCopyAlphaDepths[] =
    "Can't copy alpha if src and dst have different depth.";
inline constexpr char kCopyRectDepthsDiffer[] =
    "Src and dest bitdepths are different in RX_World::CopyRect";
inline constexpr char kCopyRectUnknownDepth[] =
    "Unknown bit depth in RX_World::CopyRectPossiblyDifferentBitdepths";
inline constexpr char kCopyRectWithFieldUnknownDepth[] =
    "Unknown bit depth in RX_World::CopyRectPossiblyDifferentBitdepthsWithField";
inline constexpr char kPremulColorRectDepths[] =
    "worlds must be same bitdepth in RX_PremulColorRect()";
inline constexpr char kPremulColorRectUnknownDepth[] =
    "Unknown world bitdepth in RX_PremulColorRect";
inline constexpr char kPremulColorRect16Depths[] =
    "worlds must be same bitdepth in RX_PremulColorRect16()";
inline constexpr char kPremulColorRect16UnknownDepth[] =
    "Unknown world bitdepth in RX_PremulColorRect16";
inline constexpr char kPremulColorRectFloatUnknownDepth[] =
    "Unknown world bitdepth in RX_PremulColorRectFloat";
inline constexpr char kMatteBlackToColorARGB8Only[] =
    "RX_MatteBlackToMatteColorARGB only works on 8bpc RX_EffectWorlds";
inline constexpr char kMatteBlackToColorBGRA8Only[] =
    "RX_MatteBlackToMatteColorBGRA only works on 8bpc RX_EffectWorlds";
inline constexpr char kFillUnknownDepth[] = "Unknown world bitdepth in RX_Fill";
inline constexpr char kFill16UnknownDepth[] = "Unknown world bitdepth in RX_Fill16";
inline constexpr char kFillFloatUnknownDepth[] = "Unknown world bitdepth in RX_FillFloat";
inline constexpr char kNewReferenceUnexpectedDepth[] =
    "Unexpected bitdepth in RX_World::NewReference()";
inline constexpr char kNewReferenceEffectWorldUnexpectedDepth[] =
    "Unexpected bitdepth in RX_World::NewReference(RX_EffectWorld)";
inline constexpr char kShrinkBadSubRect[] = "bad sub rect in ShrinkToSubRect";
inline constexpr char kShrinkBackedWorld[] = "Can't Shrink a RX_World which is backed by a ZW_World";
inline constexpr char kReReferenceDepth[] = "can't change bit depth in ReReference";
inline constexpr char kReReferenceBadSubRect[] = "bad sub rect in ReReference";
inline constexpr char kReReferenceSelf[] = "can't ReReference self";
inline constexpr char kEffectWorldBitsPerPixel[] =
    "RX_Worlds can only be 128, 64 or 32 bits per pixel";
inline constexpr char kBadParameterGetPixelData8[] = "bad parameter passed to RX_GetPixelData8";
inline constexpr char kBadParameterGetPixelDataFloat[] =
    "bad parameter passed to RX_GetPixelDataFloat";
inline constexpr char kReallocScratchDepth[] = "Unexpected bitdepth in RXp_ReallocScratch()";
inline constexpr char kInvalidSizeKey[] =
    "$$$/ZQ/RX/RX_WorldX/Constructor/InvalidSizeError=invalid image buffer size (^L1x^L2).";
inline constexpr char kConvolveDepthsDiffer[] =
    "RX_Convolve requires source and dst worlds to be same depth";
inline constexpr char kBlurUntestedSSE2[] = "untested SSE2 codepath in blur";

// Compositing: the transfer rectangle, the linear rows, the pipeline.
inline constexpr char kTransferDepthsDiffer[] = "RX_TransferRect requires src and dst worlds to have same bit depth";
inline constexpr char kTransferPlusDepthsDiffer[] =
    "RX_TransferRectPlus requires src and dst worlds to have same bit depth";
// A matte must be of the destination's depth: its lines are pixel lines.
inline constexpr char kMatteDepthDiffers[] = "RX_TransferRect requires the track matte to have the bit depth of dst";
inline constexpr char kInvalidLinearTables[] = "Invalid tables for linearized blending";
inline constexpr char kNoBlendingFunction[] = "Something went wrong attempting get the blending function.";

}  // namespace rx::msg
