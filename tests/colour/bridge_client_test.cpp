// The package's side of the bridge: the engine's 142-method table resolved
// by the package's own names, the depth converter's table, engine access,
// and every failure text of the bridge's client classes.
#include <gtest/gtest.h>

#include <stdexcept>

#include "bridge/nex_objects.h"
#include "bridge/viz_client.h"
#include "colour_test_support.h"

namespace {

using namespace colourtest;

class BridgeClient : public rxtest::BornPackage {};

TEST_F(BridgeClient, ThePackageResolvesEveryMethodOfTheEngineByItsNames) {
  NEX_Proc* procs = RXp_VIZMethods();
  ASSERT_NE(procs, nullptr);
  for (size_t i = 0; i < 142; ++i) EXPECT_NE(procs[i], nullptr) << RXp_VIZMethodName(i);
  EXPECT_STREQ(RXp_VIZMethodName(0), "DefaultCallbacks");
  EXPECT_STREQ(RXp_VIZMethodName(14), "ProfileFromCode");
  EXPECT_STREQ(RXp_VIZMethodName(56), "ApplyTransform");
  EXPECT_STREQ(RXp_VIZMethodName(136), "MonitorProfileN");
  EXPECT_STREQ(RXp_VIZMethodName(141), "MakeDeviceLinkFromLUT");
  EXPECT_EQ(RXp_VIZMethodName(142), nullptr);
  // The positions the package calls are the engine's methods.
  VIZProfile* p = nullptr;
  EXPECT_EQ(reinterpret_cast<VIZ_ProfileFromCodeProc>(procs[14])(VIZ_Profile_sRGB, &p), VIZ_Err_None);
  TIN_VIZ_Profile owner;
  owner.SetProfile(p);
  EXPECT_EQ(owner.GetNameUTF8(), "sRGB IEC61966-2.1");
}

TEST_F(BridgeClient, TheDepthConverterTableHasItsThreeMethods) {
  NEX_Proc* procs = RXp_VIZDepthConverterMethods();
  ASSERT_NE(procs, nullptr);
  for (size_t i = 0; i < 3; ++i) EXPECT_NE(procs[i], nullptr);
  VIZTransform* converter = nullptr;
  ASSERT_EQ(reinterpret_cast<VIZ_NewColorSpaceConverterProc>(procs[0])(cmsSigRgbData, VIZ_Format_prgb,
                                                                       VIZ_Format_fRGB, &converter),
            VIZ_Err_None);
  const uint8_t in[4] = {255, 0, 51, 255};
  float out[4];
  EXPECT_EQ(reinterpret_cast<VIZ_ConvertProc>(procs[2])(converter, in, out, 1), VIZ_Err_None);
  EXPECT_FLOAT_EQ(out[2], 0.2f);
  TIN_VIZ_Transform owner;
  owner.Reset(converter);
}

TEST(BridgeClientDead, EngineCallsWithoutABridgeThrowCouldntInitCviz) {
  ASSERT_EQ(RX_Birth(), RX_Result_OK);
  ASSERT_EQ(RX_Death(), RX_Result_OK);
  float r, g, b;
  try {
    RX_GetCalRGBGammas(nullptr, &r, &g, &b);
    FAIL() << "nothing thrown";
  } catch (const std::exception& e) {
    EXPECT_STREQ(e.what(), "couldn't init CVIZ");
  }
  EXPECT_THROW(RXp_VIZDepthConverterMethods(), std::runtime_error);
}

TEST(BridgeClientDead, AMissingEngineThrowsMissingInterfaceAfterABirthThatWorked) {
  RXHost_SetNEXFailure(0, "VIZInterface2");
  ASSERT_EQ(RX_Birth(), RX_Result_OK);  // the engine is not required at birth
  try {
    RX_GetPlatformDisplayProfile(nullptr);
    FAIL() << "nothing thrown";
  } catch (const CNEXError& e) {
    EXPECT_STREQ(e.what(), "Missing Interface");
    EXPECT_EQ(e.Component(), "NEX");
  }
  RXHost_SetNEXFailure(0, nullptr);
  EXPECT_NO_THROW(RX_GetPlatformDisplayProfile(nullptr));  // back once it is there
  EXPECT_EQ(RX_Death(), RX_Result_OK);
}

TEST(BridgeClientDead, TheEngineIsReachedAgainAfterDeathAndBirth) {
  for (int life = 0; life < 2; ++life) {
    ASSERT_EQ(RX_Birth(), RX_Result_OK);
    float r = 0, g = 0, b = 0;
    RX_GetCalRGBGammas(nullptr, &r, &g, &b);
    EXPECT_GT(g, 2.0f);
    ASSERT_EQ(RX_Death(), RX_Result_OK);
  }
}

// ---- the client classes ----

TEST_F(BridgeClient, ABridgeErrorCarriesMessageComponentAndIdAndIsReleased) {
  const int64_t blocks = RXHost_LiveBlocks();
  {
    const CNEXError e("it broke", "VIZ", 42);
    EXPECT_TRUE(e.IsValid());
    EXPECT_STREQ(e.what(), "it broke");
    EXPECT_EQ(e.Message(), "it broke");
    EXPECT_EQ(e.Component(), "VIZ");
    EXPECT_EQ(e.ID(), 42);
    const CNEXError copy = e;
    EXPECT_EQ(copy.Component(), "VIZ");
  }
  EXPECT_EQ(RXHost_LiveBlocks(), blocks);
}

TEST_F(BridgeClient, AnErrorClientWithoutABridgeErrorIsInvalid) {
  const CNEXError e(nullptr);
  EXPECT_FALSE(e.IsValid());
  EXPECT_STREQ(e.what(), "Invalid CNEXError");
  try {
    e.Message();
    FAIL() << "nothing thrown";
  } catch (const std::exception& x) {
    EXPECT_STREQ(x.what(), "Invalid CNEXError");
  }
  EXPECT_THROW(e.ID(), std::logic_error);
}

TEST_F(BridgeClient, AContainerClientWithoutAContainerThrowsInvalidContainer) {
  const CNEXContainer none(nullptr);
  try {
    none.Count();
    FAIL() << "nothing thrown";
  } catch (const CNEXError& e) {
    EXPECT_STREQ(e.what(), "invalid container");
    EXPECT_EQ(e.Component(), "NEX");
  }
  CNEXContainer list;
  const CNEXString text("gr\xC3\xBCn");
  EXPECT_EQ(list.Append(text.Get()), 0);
  EXPECT_EQ(list.Count(), 1);
  EXPECT_EQ(list.Item(0), text.Get());
  EXPECT_EQ(text.UTF8(), "gr\xC3\xBCn");
}

HOST_Err record(void* refcon, int32_t done, int32_t total) {
  *static_cast<int32_t*>(refcon) = done * 1000 + total;
  return done > total ? 517 : 0;
}

TEST_F(BridgeClient, AProgressThatCannotBeMadeThrowsCouldntConstructCnexProgress) {
  int32_t seen = 0;
  const CNEXProgress client(&seen, &record);
  EXPECT_EQ(client.Update(3, 7), 0);
  EXPECT_EQ(seen, 3007);
  EXPECT_EQ(client.Update(8, 7), 517);
  EXPECT_EQ(CNEXProgress().Update(1, 1), 0);
  {
    rxtest::ReportCapture quiet;
    RXHost_FailNthAllocation(1);
    try {
      CNEXProgress p;
      RXHost_FailNthAllocation(0);
      FAIL() << "nothing thrown";
    } catch (const std::exception& e) {
      RXHost_FailNthAllocation(0);
      EXPECT_STREQ(e.what(), "couldn't construct CNEXProgress");
    }
  }
  try {
    CNEXProgress p(&seen, nullptr);  // a client progress needs a function
    FAIL() << "nothing thrown";
  } catch (const CNEXError& e) {
    EXPECT_STREQ(e.what(), "couldn't construct CNEXProgress");
  }
}

TEST_F(BridgeClient, ACacheIdentifierWithoutAKeyThrowsCouldntCreateCacheId) {
  const CNEXCacheID a("frame 7", 7), b("frame 7", 7), c("frame 8", 7);
  EXPECT_TRUE(a == b);
  EXPECT_FALSE(a == c);
  try {
    CNEXCacheID none("", 0);
    FAIL() << "nothing thrown";
  } catch (const CNEXError& e) {
    EXPECT_STREQ(e.what(), "couldn't create cacheID");
  }
}

TEST_F(BridgeClient, AStreamTooShortForASignatureThrowsCouldntGetSignature) {
  const CNEXStream icc("acspdata", 8);
  EXPECT_EQ(icc.Signature(), 0x61637370u);
  EXPECT_EQ(icc.Size(), 8);
  const CNEXStream tiny("ac", 2);
  try {
    tiny.Signature();
    FAIL() << "nothing thrown";
  } catch (const CNEXError& e) {
    EXPECT_STREQ(e.what(), "couldn't get signature");
  }
}

TEST_F(BridgeClient, AMissingOptionalInterfaceThrowsMissingInterface) {
  RXHost_SetNEXFailure(0, "NEXCacheInterface");
  try {
    CNEXCacheID id("key", 3);
    FAIL() << "nothing thrown";
  } catch (const CNEXError& e) {
    EXPECT_STREQ(e.what(), "Missing Interface");
  }
  RXHost_SetNEXFailure(0, nullptr);
  EXPECT_NO_THROW(CNEXCacheID("key", 3));
}

// A table stays valid while the bridge's unregister count stands; when an
// interface goes away the count moves and the next use looks again.
TEST_F(BridgeClient, AnUnregisteredInterfaceIsLookedUpAgainAndMissed) {
  NEX_LookupProc lookup = nullptr;
  ASSERT_EQ(TIN_GetNEXAddressProc(&lookup), 0);
  const char* names[] = {"NewID", "AddRef", "Release", "Equal"};
  NEX_Proc saved[4];
  for (int i = 0; i < 4; ++i) {
    const std::string registered = std::string("NEXCache") + names[i] + "Proc";
    saved[i] = lookup("NEXCacheInterface", names[i], registered.c_str());
    ASSERT_NE(saved[i], nullptr);
  }
  EXPECT_NO_THROW(CNEXCacheID("key", 3));  // the table is filled
  auto unregister = reinterpret_cast<NEXUnregisterInterfaceProc>(
      lookup("NEX", "NEXUnregisterInterface", "NEXUnregisterInterface"));
  auto register_proc = reinterpret_cast<NEXRegisterProcAddressProc>(
      lookup("NEX", "NEXRegisterProcAddress", "NEXRegisterProcAddress"));
  ASSERT_EQ(unregister("NEXCacheInterface"), 0);
  try {
    CNEXCacheID id("key", 3);
    FAIL() << "nothing thrown";
  } catch (const CNEXError& e) {
    EXPECT_STREQ(e.what(), "Missing Interface");
  }
  for (int i = 0; i < 4; ++i) {
    const std::string registered = std::string("NEXCache") + names[i] + "Proc";
    ASSERT_EQ(register_proc("NEXCacheInterface", names[i], registered.c_str(), saved[i]), 0);
  }
  EXPECT_NO_THROW(CNEXCacheID("key", 3));
  // The engine's table was filled under the old count too, and is found again.
  EXPECT_NE(RXp_VIZMethods(), nullptr);
}

}  // namespace
