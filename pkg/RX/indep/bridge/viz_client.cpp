// The colour engine's method tables on the package side. Every method of
// "VIZInterface2" is named by its short name and its registered name
// ("VIZ_" + name + "Proc2", or "Proc" for the application, printer-list
// and Unicode methods), in table order; the position is how the package
// calls it.
#include "bridge/viz_client.h"

#include <array>
#include <stdexcept>

#include "bridge/nex_client.h"

namespace rx::viz {
namespace {

constexpr nex::MethodName kEngineMethods[] = {
    {"DefaultCallbacks", "VIZ_DefaultCallbacksProc2"},
    {"Initialize", "VIZ_InitializeProc2"},
    {"Terminate", "VIZ_TerminateProc2"},
    {"GetOption", "VIZ_GetOptionProc2"},
    {"SetOption", "VIZ_SetOptionProc2"},
    {"PurgeCaches", "VIZ_PurgeCachesProc2"},
    {"BuildDatabase", "VIZ_BuildDatabaseProc2"},
    {"MakeProfileList", "VIZ_MakeProfileListProc2"},
    {"ReferenceProfileList", "VIZ_ReferenceProfileListProc2"},
    {"UnReferenceProfileList", "VIZ_UnReferenceProfileListProc2"},
    {"ProfileListCount", "VIZ_ProfileListCountProc2"},
    {"ProfileListItemDescription", "VIZ_ProfileListItemDescriptionProc2"},
    {"ProfileListItemCode", "VIZ_ProfileListItemCodeProc2"},
    {"ProfileFromDescription", "VIZ_ProfileFromDescriptionProc2"},
    {"ProfileFromCode", "VIZ_ProfileFromCodeProc2"},
    {"OutputToInputCode", "VIZ_OutputToInputCodeProc2"},
    {"EngineCount", "VIZ_EngineCountProc2"},
    {"EngineInfo", "VIZ_EngineInfoProc2"},
    {"SetEngine", "VIZ_SetEngineProc2"},
    {"ProfilesMatch", "VIZ_ProfilesMatchProc2"},
    {"QueryProfile", "VIZ_QueryProfileProc2"},
    {"MonitorProfile", "VIZ_MonitorProfileProc2"},
    {"MainMonitorProfile", "VIZ_MainMonitorProfileProc2"},
    {"MakeBufferProfile", "VIZ_MakeBufferProfileProc2"},
    {"MakeRAMProfile", "VIZ_MakeRAMProfileProc2"},
    {"MakeROMProfile", "VIZ_MakeROMProfileProc2"},
    {"ReferenceProfile", "VIZ_ReferenceProfileProc2"},
    {"UnReferenceProfile", "VIZ_UnReferenceProfileProc2"},
    {"ProfileSize", "VIZ_ProfileSizeProc2"},
    {"ProfileData", "VIZ_ProfileDataProc2"},
    {"ProfileInputCapable", "VIZ_ProfileInputCapableProc2"},
    {"ProfileOutputCapable", "VIZ_ProfileOutputCapableProc2"},
    {"ProfileColorSpace", "VIZ_ProfileColorSpaceProc2"},
    {"ProfileIntent", "VIZ_ProfileIntentProc2"},
    {"SetProfileIntent", "VIZ_SetProfileIntentProc2"},
    {"ProfileDescription", "VIZ_ProfileDescriptionProc2"},
    {"ProfilesEqual", "VIZ_ProfilesEqualProc2"},
    {"ProfileFileName", "VIZ_ProfileFileNameProc2"},
    {"ProfileCopyright", "VIZ_ProfileCopyrightProc2"},
    {"ProfileHeader", "VIZ_ProfileHeaderProc2"},
    {"ProfileTagInfo", "VIZ_ProfileTagInfoProc2"},
    {"ProfileCopyData", "VIZ_ProfileCopyDataProc2"},
    {"SetProfileTag", "VIZ_SetProfileTagProc2"},
    {"MakeString", "VIZ_MakeStringProc2"},
    {"ReferenceString", "VIZ_ReferenceStringProc2"},
    {"UnReferenceString", "VIZ_UnReferenceStringProc2"},
    {"StringASCII", "VIZ_StringASCIIProc2"},
    {"StringUnicode", "VIZ_StringUnicodeProc2"},
    {"MakeColorTransform", "VIZ_MakeColorTransformProc2"},
    {"MakeGamutTest", "VIZ_MakeGamutTestProc2"},
    {"ReferenceTransform", "VIZ_ReferenceTransformProc2"},
    {"UnReferenceTransform", "VIZ_UnReferenceTransformProc2"},
    {"LoadTransform", "VIZ_LoadTransformProc2"},
    {"UnloadTransform", "VIZ_UnloadTransformProc2"},
    {"TransformColorSpaces", "VIZ_TransformColorSpacesProc2"},
    {"TransformComponents", "VIZ_TransformComponentsProc2"},
    {"ApplyTransform", "VIZ_ApplyTransformProc2"},
    {"ApplyGeneral", "VIZ_ApplyGeneralProc2"},
    {"ConcatTransforms", "VIZ_ConcatTransformsProc2"},
    {"MergeTransforms", "VIZ_MergeTransformsProc2"},
    {"OptimizeTransform", "VIZ_OptimizeTransformProc2"},
    {"MakeCompressXYZ", "VIZ_MakeCompressXYZProc2"},
    {"MakeExtractChannel", "VIZ_MakeExtractChannelProc2"},
    {"MakeSubsetChannels", "VIZ_MakeSubsetChannelsProc2"},
    {"MakeSpotMixerXYZ", "VIZ_MakeSpotMixerXYZProc2"},
    {"MakeAlphaMixerXYZ", "VIZ_MakeAlphaMixerXYZProc2"},
    {"MakeCheckerMixerXYZ", "VIZ_MakeCheckerMixerXYZProc2"},
    {"MakeNOPTransform", "VIZ_MakeNOPTransformProc2"},
    {"MakeTableTransform", "VIZ_MakeTableTransformProc2"},
    {"MakeHDRTransform", "VIZ_MakeHDRTransformProc2"},
    {"MakeCalRGB", "VIZ_MakeCalRGBProc2"},
    {"ExtractCalRGB", "VIZ_ExtractCalRGBProc2"},
    {"MakeSimpleRGB", "VIZ_MakeSimpleRGBProc2"},
    {"ExtractSimpleRGB", "VIZ_ExtractSimpleRGBProc2"},
    {"MakeCalGray", "VIZ_MakeCalGrayProc2"},
    {"ExtractCalGray", "VIZ_ExtractCalGrayProc2"},
    {"MakeCalBlack", "VIZ_MakeCalBlackProc2"},
    {"ExtractCalBlack", "VIZ_ExtractCalBlackProc2"},
    {"MakeCalLab", "VIZ_MakeCalLabProc2"},
    {"ExtractCalLab", "VIZ_ExtractCalLabProc2"},
    {"MakeCalCMYK", "VIZ_MakeCalCMYKProc2"},
    {"MakeCallbackCMYK", "VIZ_MakeCallbackCMYKProc2"},
    {"MakeCalCSA", "VIZ_MakeCalCSAProc2"},
    {"ExtractCSA", "VIZ_ExtractCSAProc2"},
    {"ExtractCRD", "VIZ_ExtractCRDProc2"},
    {"MakeSettings", "VIZ_MakeSettingsProc2"},
    {"ReferenceSettings", "VIZ_ReferenceSettingsProc2"},
    {"UnReferenceSettings", "VIZ_UnReferenceSettingsProc2"},
    {"GetSettingsProfile", "VIZ_GetSettingsProfileProc2"},
    {"SetSettingsProfile", "VIZ_SetSettingsProfileProc2"},
    {"GetSettingsString", "VIZ_GetSettingsStringProc2"},
    {"SetSettingsString", "VIZ_SetSettingsStringProc2"},
    {"GetSettingsUnsigned32", "VIZ_GetSettingsUnsigned32Proc2"},
    {"SetSettingsUnsigned32", "VIZ_SetSettingsUnsigned32Proc2"},
    {"LoadSettings", "VIZ_LoadSettingsProc2"},
    {"SaveSettings", "VIZ_SaveSettingsProc2"},
    {"MakePresetList", "VIZ_MakePresetListProc2"},
    {"ReferencePresetList", "VIZ_ReferencePresetListProc2"},
    {"UnReferencePresetList", "VIZ_UnReferencePresetListProc2"},
    {"PresetListCount", "VIZ_PresetListCountProc2"},
    {"PresetListItemFile", "VIZ_PresetListItemFileProc2"},
    {"PresetFileToName", "VIZ_PresetFileToNameProc2"},
    {"PresetDirectory", "VIZ_PresetDirectoryProc2"},
    {"GetVIZGlobals", "VIZ_GetVIZGlobalsProc2"},
    {"MakeNullWhiteXYZ", "VIZ_MakeNullWhiteXYZProc2"},
    {"MakeTintMixerXYZ", "VIZ_MakeTintMixerXYZProc2"},
    {"ProfilesEquivalent", "VIZ_ProfilesEquivalentProc2"},
    {"SetProfileHeader", "VIZ_SetProfileHeaderProc2"},
    {"StringLocalized", "VIZ_StringLocalizedProc2"},
    {"FindDirectory", "VIZ_FindDirectoryProc2"},
    {"QueryTransform", "VIZ_QueryTransformProc2"},
    {"ProfileID", "VIZ_ProfileIDProc2"},
    {"ProfileFromID", "VIZ_ProfileFromIDProc2"},
    {"RestrictJPEG2000", "VIZ_RestrictJPEG2000Proc2"},
    {"RestrictV2Profile", "VIZ_RestrictV2ProfileProc2"},
    {"ProfileFromJPXLabParams", "VIZ_ProfileFromJPXLabParamsProc2"},
    {"MakeDPX", "VIZ_MakeDPXProc2"},
    {"ProfileColorants", "VIZ_ProfileColorantsProc2"},
    {"RegisterApplication", "VIZ_RegisterApplicationProc"},
    {"UnRegisterApplication", "VIZ_UnRegisterApplicationProc"},
    {"GetCentralConfigState", "VIZ_GetCentralConfigStateProc"},
    {"SetColorWorkflow", "VIZ_SetColorWorkflowProc"},
    {"GetColorWorkflow", "VIZ_GetColorWorkflowProc"},
    {"ApplicationCount", "VIZ_ApplicationCountProc"},
    {"GetApplications", "VIZ_GetApplicationsProc"},
    {"MakeCDMP", "VIZ_MakeCDMPProc2"},
    {"ProfileOverRange", "VIZ_ProfileOverRangeProc2"},
    {"MakeLinearRGB", "VIZ_MakeLinearRGBProc2"},
    {"MakePrinterProfileList", "VIZ_MakePrinterProfileListProc"},
    {"ExtractGamma", "VIZ_ExtractGammaProc2"},
    {"FindDirectoryU", "VIZ_FindDirectoryUProc"},
    {"LoadSettingsU", "VIZ_LoadSettingsUProc"},
    {"SaveSettingsU", "VIZ_SaveSettingsUProc"},
    {"PresetListItemFileAndNameU", "VIZ_PresetListItemFileAndNameUProc"},
    {"GetColorWorkflowU", "VIZ_GetColorWorkflowUProc"},
    {"SetColorWorkflowU", "VIZ_SetColorWorkflowUProc"},
    {"MonitorProfileN", "VIZ_MonitorProfileNProc"},
    {"MakeStringUTF8", "VIZ_MakeStringUTF8Proc"},
    {"MakeStringUTF16", "VIZ_MakeStringUTF16Proc"},
    {"StringUTF8", "VIZ_StringUTF8Proc"},
    {"StringUTF16", "VIZ_StringUTF16Proc"},
    {"MakeDeviceLinkFromLUT", "VIZ_MakeDeviceLinkFromLUTProc"},
};
static_assert(std::size(kEngineMethods) == kMethodCount, "VIZInterface2 has 142 methods");

constexpr nex::MethodName kDepthConverterMethods[] = {
    {"NewColorSpaceConverter", "VIZBitDepthConverterNewColorSpaceConverterProc"},
    {"NewProfileConverter", "VIZBitDepthConverterNewProfileConverterProc"},
    {"Convert", "VIZBitDepthConverterConvertProc"},
};

std::array<NEX_Proc, kMethodCount> g_engine_procs{};
std::array<NEX_Proc, std::size(kDepthConverterMethods)> g_converter_procs{};

nex::InterfaceTable g_engine_table("VIZInterface2", kEngineMethods, kMethodCount, g_engine_procs.data());
nex::InterfaceTable g_converter_table("VIZBitDepthConverterInterface", kDepthConverterMethods,
                                      std::size(kDepthConverterMethods), g_converter_procs.data());

// The engine's tables are resolved when first asked for; at each
// connection they start again from nothing.
class EngineClient : public nex::Client {
 public:
  EngineClient() { nex::register_client(this); }
  bool FinishSetup() override {
    g_engine_table.clear();
    g_converter_table.clear();
    return true;
  }
};
EngineClient g_client;

}  // namespace

NEX_Proc* engine() {
  NEX_Proc* procs = g_engine_table.acquire();
  if (!procs) throw std::runtime_error("couldn't init CVIZ");
  return procs;
}

NEX_Proc* depth_converter() {
  NEX_Proc* procs = g_converter_table.acquire();
  if (!procs) throw std::runtime_error("couldn't init CVIZ");
  return procs;
}

}  // namespace rx::viz

NEX_Proc* RXp_VIZMethods() { return rx::viz::engine(); }

const char* RXp_VIZMethodName(size_t index) {
  return index < rx::viz::kMethodCount ? rx::viz::kEngineMethods[index].short_name : nullptr;
}

NEX_Proc* RXp_VIZDepthConverterMethods() { return rx::viz::depth_converter(); }
