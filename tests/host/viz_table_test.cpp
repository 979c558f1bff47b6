// The engine's publication in the bridge: 142 methods in their order under
// their registered names, none of them null, the unimplemented ones
// reporting so; and the depth converter interface.
#include <gtest/gtest.h>

#include <cstring>

#include "host_test_support.h"
#include "viz_test_support.h"

namespace {

using namespace viztest;

// The method names of "VIZInterface2" in table order, written out here
// apart from the engine's own list.
const char* const kNames[] = {
    "DefaultCallbacks", "Initialize", "Terminate", "GetOption", "SetOption", "PurgeCaches", "BuildDatabase",
    "MakeProfileList", "ReferenceProfileList", "UnReferenceProfileList", "ProfileListCount",
    "ProfileListItemDescription", "ProfileListItemCode", "ProfileFromDescription", "ProfileFromCode",
    "OutputToInputCode", "EngineCount", "EngineInfo", "SetEngine", "ProfilesMatch", "QueryProfile",
    "MonitorProfile", "MainMonitorProfile", "MakeBufferProfile", "MakeRAMProfile", "MakeROMProfile",
    "ReferenceProfile", "UnReferenceProfile", "ProfileSize", "ProfileData", "ProfileInputCapable",
    "ProfileOutputCapable", "ProfileColorSpace", "ProfileIntent", "SetProfileIntent", "ProfileDescription",
    "ProfilesEqual", "ProfileFileName", "ProfileCopyright", "ProfileHeader", "ProfileTagInfo",
    "ProfileCopyData", "SetProfileTag", "MakeString", "ReferenceString", "UnReferenceString", "StringASCII",
    "StringUnicode", "MakeColorTransform", "MakeGamutTest", "ReferenceTransform", "UnReferenceTransform",
    "LoadTransform", "UnloadTransform", "TransformColorSpaces", "TransformComponents", "ApplyTransform",
    "ApplyGeneral", "ConcatTransforms", "MergeTransforms", "OptimizeTransform", "MakeCompressXYZ",
    "MakeExtractChannel", "MakeSubsetChannels", "MakeSpotMixerXYZ", "MakeAlphaMixerXYZ",
    "MakeCheckerMixerXYZ", "MakeNOPTransform", "MakeTableTransform", "MakeHDRTransform", "MakeCalRGB",
    "ExtractCalRGB", "MakeSimpleRGB", "ExtractSimpleRGB", "MakeCalGray", "ExtractCalGray", "MakeCalBlack",
    "ExtractCalBlack", "MakeCalLab", "ExtractCalLab", "MakeCalCMYK", "MakeCallbackCMYK", "MakeCalCSA",
    "ExtractCSA", "ExtractCRD", "MakeSettings", "ReferenceSettings", "UnReferenceSettings",
    "GetSettingsProfile", "SetSettingsProfile", "GetSettingsString", "SetSettingsString",
    "GetSettingsUnsigned32", "SetSettingsUnsigned32", "LoadSettings", "SaveSettings", "MakePresetList",
    "ReferencePresetList", "UnReferencePresetList", "PresetListCount", "PresetListItemFile",
    "PresetFileToName", "PresetDirectory", "GetVIZGlobals", "MakeNullWhiteXYZ", "MakeTintMixerXYZ",
    "ProfilesEquivalent", "SetProfileHeader", "StringLocalized", "FindDirectory", "QueryTransform",
    "ProfileID", "ProfileFromID", "RestrictJPEG2000", "RestrictV2Profile", "ProfileFromJPXLabParams",
    "MakeDPX", "ProfileColorants", "RegisterApplication", "UnRegisterApplication", "GetCentralConfigState",
    "SetColorWorkflow", "GetColorWorkflow", "ApplicationCount", "GetApplications", "MakeCDMP",
    "ProfileOverRange", "MakeLinearRGB", "MakePrinterProfileList", "ExtractGamma", "FindDirectoryU",
    "LoadSettingsU", "SaveSettingsU", "PresetListItemFileAndNameU", "GetColorWorkflowU",
    "SetColorWorkflowU", "MonitorProfileN", "MakeStringUTF8", "MakeStringUTF16", "StringUTF8",
    "StringUTF16", "MakeDeviceLinkFromLUT",
};

TEST(VizTable, HasAHundredAndFortyTwoMethodsUnderTheirRegisteredNames) {
  ASSERT_EQ(std::size(kNames), 142u);
  const NEX_LookupProc l = lookup();
  for (size_t i = 0; i < std::size(kNames); ++i) {
    EXPECT_NE(l("VIZInterface2", kNames[i], registered_name(kNames[i], i).c_str()), nullptr) << kNames[i];
  }
}

TEST(VizTable, RegisteredNamesEndInProc2ExceptTheApplicationPrinterAndUnicodeMethods) {
  const NEX_LookupProc l = lookup();
  EXPECT_NE(l("VIZInterface2", "ProfileFromCode", "VIZ_ProfileFromCodeProc2"), nullptr);
  EXPECT_EQ(l("VIZInterface2", "ProfileFromCode", "VIZ_ProfileFromCodeProc"), nullptr);
  EXPECT_NE(l("VIZInterface2", "RegisterApplication", "VIZ_RegisterApplicationProc"), nullptr);
  EXPECT_EQ(l("VIZInterface2", "RegisterApplication", "VIZ_RegisterApplicationProc2"), nullptr);
  EXPECT_NE(l("VIZInterface2", "GetApplications", "VIZ_GetApplicationsProc"), nullptr);
  EXPECT_NE(l("VIZInterface2", "MakeCDMP", "VIZ_MakeCDMPProc2"), nullptr);
  EXPECT_NE(l("VIZInterface2", "ProfileOverRange", "VIZ_ProfileOverRangeProc2"), nullptr);
  EXPECT_NE(l("VIZInterface2", "MakePrinterProfileList", "VIZ_MakePrinterProfileListProc"), nullptr);
  EXPECT_NE(l("VIZInterface2", "ExtractGamma", "VIZ_ExtractGammaProc2"), nullptr);
  EXPECT_NE(l("VIZInterface2", "FindDirectoryU", "VIZ_FindDirectoryUProc"), nullptr);
  EXPECT_NE(l("VIZInterface2", "MonitorProfileN", "VIZ_MonitorProfileNProc"), nullptr);
  EXPECT_NE(l("VIZInterface2", "MakeDeviceLinkFromLUT", "VIZ_MakeDeviceLinkFromLUTProc"), nullptr);
  EXPECT_EQ(l("VIZInterface2", "MakeDeviceLinkFromLUT", "VIZ_MakeDeviceLinkFromLUTProc2"), nullptr);
}

TEST(VizTable, AnUnimplementedMethodReportsAndReturnsUnimplemented) {
  hosttest::ReportCapture capture;
  using Stub = VIZ_Err (*)();
  for (size_t i : {0u, 10u, 70u, 141u}) {
    capture.clear();
    auto stub = reinterpret_cast<Stub>(
        lookup()("VIZInterface2", kNames[i], registered_name(kNames[i], i).c_str()));
    ASSERT_NE(stub, nullptr);
    EXPECT_EQ(stub(), VIZ_Err_Unimplemented) << kNames[i];
    ASSERT_EQ(capture.size(), 1u);
    EXPECT_EQ(capture.last().text, std::string("VIZ: ") + kNames[i] + " is unimplemented");
    EXPECT_EQ(capture.last().report_class, 8);
  }
}

TEST(VizTable, ImplementedMethodsAreNotTheStubs) {
  hosttest::ReportCapture capture;
  Profile p;
  EXPECT_EQ(engine().ProfileFromCode(VIZ_Profile_sRGB, p.out()), VIZ_Err_None);
  EXPECT_EQ(capture.size(), 0u);
}

// ---- the depth converter ----

struct Converter {
  VIZ_NewColorSpaceConverterProc NewColorSpaceConverter = reinterpret_cast<VIZ_NewColorSpaceConverterProc>(
      lookup()("VIZBitDepthConverterInterface", "NewColorSpaceConverter",
               "VIZBitDepthConverterNewColorSpaceConverterProc"));
  VIZ_NewProfileConverterProc NewProfileConverter = reinterpret_cast<VIZ_NewProfileConverterProc>(
      lookup()("VIZBitDepthConverterInterface", "NewProfileConverter", "VIZBitDepthConverterNewProfileConverterProc"));
  VIZ_ConvertProc Convert = reinterpret_cast<VIZ_ConvertProc>(
      lookup()("VIZBitDepthConverterInterface", "Convert", "VIZBitDepthConverterConvertProc"));
};

TEST(VizDepthConverter, HasItsThreeMethods) {
  const Converter c;
  EXPECT_NE(c.NewColorSpaceConverter, nullptr);
  EXPECT_NE(c.NewProfileConverter, nullptr);
  EXPECT_NE(c.Convert, nullptr);
}

TEST(VizDepthConverter, AColourSpaceConverterRescalesByThePackagesRules) {
  const Converter c;
  Transform to16, to8, tof;
  ASSERT_EQ(c.NewColorSpaceConverter(cmsSigRgbData, VIZ_Format_prgb, VIZ_Format_PRGB, to16.out()), VIZ_Err_None);
  ASSERT_EQ(c.NewColorSpaceConverter(cmsSigRgbData, VIZ_Format_PRGB, VIZ_Format_prgb, to8.out()), VIZ_Err_None);
  ASSERT_EQ(c.NewColorSpaceConverter(cmsSigRgbData, VIZ_Format_fRGB, VIZ_Format_PRGB, tof.out()), VIZ_Err_None);
  const uint8_t bytes[8] = {255, 0, 1, 128, 254, 77, 200, 3};
  uint16_t wide[8];
  ASSERT_EQ(c.Convert(to16.get(), bytes, wide, 2), VIZ_Err_None);
  for (int i = 0; i < 8; ++i) EXPECT_EQ(wide[i], (bytes[i] * 0x808080u + 33200) >> 16);
  uint8_t back[8];
  ASSERT_EQ(c.Convert(to8.get(), wide, back, 2), VIZ_Err_None);
  for (int i = 0; i < 8; ++i) EXPECT_EQ(back[i], bytes[i]);
  const float floats[4] = {1.5f, -0.25f, 0.5f, 0.25f};
  ASSERT_EQ(c.Convert(tof.get(), floats, wide, 1), VIZ_Err_None);
  EXPECT_EQ(wide[0], 32768);  // limited to 0..1
  EXPECT_EQ(wide[1], 0);
  EXPECT_EQ(wide[2], 16384);
  EXPECT_EQ(wide[3], 8192);
  Transform other;
  EXPECT_EQ(c.NewColorSpaceConverter(cmsSigGrayData, VIZ_Format_prgb, VIZ_Format_PRGB, other.out()),
            VIZ_Err_ColorSpace);
  EXPECT_EQ(c.NewColorSpaceConverter(cmsSigRgbData, 0x12345678, VIZ_Format_PRGB, other.out()), VIZ_Err_PixelFormat);
}

TEST(VizDepthConverter, AProfileConverterTakesEncodedBytesToLinearFloat) {
  const Converter c;
  const Profile srgb = from_code(VIZ_Profile_sRGB);
  Transform t;
  ASSERT_EQ(c.NewProfileConverter(srgb.get(), VIZ_Format_prgb, VIZ_Format_fRGB, t.out()), VIZ_Err_None);
  const uint8_t in[8] = {255, 0, 128, 255, 51, 10, 200, 30};
  float out[8];
  ASSERT_EQ(c.Convert(t.get(), in, out, 2), VIZ_Err_None);
  EXPECT_FLOAT_EQ(out[0], 1.0f);  // the pad channel, carried
  EXPECT_FLOAT_EQ(out[4], 0.2f);
  const auto srgb_to_linear = [](double v) {
    return v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4);
  };
  for (int i : {1, 2, 3, 5, 6, 7}) EXPECT_NEAR(out[i], srgb_to_linear(in[i] / 255.0), 1e-4) << i;
}

}  // namespace
