#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "KO/KO.h"
#include "TIN/TIN.h"
#include "host_test_support.h"

namespace {

using hosttest::Books;
using hosttest::ReportCapture;

// Two procedures with different bodies, so that no linker folds them into one.
volatile int g_calls = 0;
void test_proc_one() { g_calls = 1; }
void test_proc_two() { g_calls = 2; }

class NexBridge : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(TIN_GetNEXAddressProc(&lookup_), KO_Err_None); }
  void TearDown() override { RXHost_SetNEXFailure(0, nullptr); }

  template <class Proc>
  Proc basic(const char* name) {
    return reinterpret_cast<Proc>(lookup_("NEX", name, name));
  }
  // A method by interface, stem and short name.
  template <class Proc>
  Proc method(const char* interface_name, const char* stem, const char* short_name) {
    const std::string registered = std::string("NEX") + stem + short_name + "Proc";
    return reinterpret_cast<Proc>(lookup_(interface_name, short_name, registered.c_str()));
  }

  NEX_LookupProc lookup_ = nullptr;
};

TEST_F(NexBridge, AllFiveBasicsAreThere) {
  ASSERT_NE(lookup_, nullptr);
  for (const char* name : {"NEXRegisterProcAddress", "NEXReportError", "NEXUnregisterInterface",
                           "NEXGetUnregisterCountAddr", "NEXIsMultiThreaded"}) {
    EXPECT_NE(lookup_("NEX", name, name), nullptr) << name;
  }
  EXPECT_EQ(basic<NEXIsMultiThreadedProc>("NEXIsMultiThreaded")(), 1);
  EXPECT_NE(basic<NEXGetUnregisterCountAddrProc>("NEXGetUnregisterCountAddr")(), nullptr);
}

TEST_F(NexBridge, EveryMethodOfEveryInterfaceIsThere) {
  const struct {
    const char* interface_name;
    const char* stem;
    std::vector<const char*> methods;
  } interfaces[] = {
      {"NEXContainerInterface", "Container", {"New", "AddRef", "Release", "Count", "Item", "Append"}},
      {"NEXErrorInterface", "Error", {"New", "AddRef", "Release", "Message", "Component", "ID"}},
      {"NEXStringInterface", "String", {"New", "AddRef", "Release", "UTF8"}},
      {"NEXMemoryInterface", "Memory", {"Allocate", "Free", "Resize"}},
  };
  for (const auto& i : interfaces) {
    for (const char* m : i.methods) {
      EXPECT_NE(method<NEX_Proc>(i.interface_name, i.stem, m), nullptr) << i.interface_name << " " << m;
    }
  }
}

TEST_F(NexBridge, LookupNeedsAllThreeNamesToMatch) {
  EXPECT_NE(lookup_("NEXErrorInterface", "Message", "NEXErrorMessageProc"), nullptr);
  EXPECT_EQ(lookup_("NEXErrorInterface", "GetMessage", "NEXErrorMessageProc"), nullptr);
  EXPECT_EQ(lookup_("NEXStringInterface", "Message", "NEXErrorMessageProc"), nullptr);
  EXPECT_EQ(lookup_("NEXErrorInterface", "Message", "NEXErrorGetMessageProc"), nullptr);
  EXPECT_EQ(lookup_("NoSuchInterface", "New", "NEXNoSuchNewProc"), nullptr);
  EXPECT_EQ(lookup_(nullptr, "New", "NEXErrorNewProc"), nullptr);
  EXPECT_EQ(lookup_("NEX", "NEXReportError", nullptr), nullptr);
}

TEST_F(NexBridge, ErrorsCopyTheirTextsAndKeepTheirId) {
  const Books before;
  auto make = method<NEXErrorNewProc>("NEXErrorInterface", "Error", "New");
  auto message = method<NEXErrorMessageProc>("NEXErrorInterface", "Error", "Message");
  auto component = method<NEXErrorComponentProc>("NEXErrorInterface", "Error", "Component");
  auto id = method<NEXErrorIDProc>("NEXErrorInterface", "Error", "ID");
  auto release = method<NEXErrorReleaseProc>("NEXErrorInterface", "Error", "Release");
  char text[] = "Missing Interface";
  NEX_Ref error = make(text, "NEX", 42);
  ASSERT_NE(error, nullptr);
  text[0] = 'X';
  EXPECT_STREQ(message(error), "Missing Interface");
  EXPECT_STREQ(component(error), "NEX");
  EXPECT_EQ(id(error), 42);
  EXPECT_EQ(RXHost_LiveBlocks(), before.blocks + 1);
  release(error);
  EXPECT_TRUE(before.unchanged());
}

TEST_F(NexBridge, StringsCopyTheirText) {
  const Books before;
  auto make = method<NEXStringNewProc>("NEXStringInterface", "String", "New");
  auto utf8 = method<NEXStringUTF8Proc>("NEXStringInterface", "String", "UTF8");
  auto add_ref = method<NEXStringAddRefProc>("NEXStringInterface", "String", "AddRef");
  auto release = method<NEXStringReleaseProc>("NEXStringInterface", "String", "Release");
  std::string source = "gr\xC3\xBC\xC3\x9F";
  NEX_Ref s = make(source.c_str());
  source.assign("changed");
  EXPECT_STREQ(utf8(s), "gr\xC3\xBC\xC3\x9F");
  add_ref(s);
  release(s);
  EXPECT_STREQ(utf8(s), "gr\xC3\xBC\xC3\x9F");  // one reference still held
  release(s);
  EXPECT_TRUE(before.unchanged());
}

TEST_F(NexBridge, ContainersHoldTheirOwnReferences) {
  const Books before;
  auto make = method<NEXContainerNewProc>("NEXContainerInterface", "Container", "New");
  auto count = method<NEXContainerCountProc>("NEXContainerInterface", "Container", "Count");
  auto item = method<NEXContainerItemProc>("NEXContainerInterface", "Container", "Item");
  auto append = method<NEXContainerAppendProc>("NEXContainerInterface", "Container", "Append");
  auto release = method<NEXContainerReleaseProc>("NEXContainerInterface", "Container", "Release");
  auto make_string = method<NEXStringNewProc>("NEXStringInterface", "String", "New");
  auto utf8 = method<NEXStringUTF8Proc>("NEXStringInterface", "String", "UTF8");
  auto release_string = method<NEXStringReleaseProc>("NEXStringInterface", "String", "Release");

  NEX_Ref list = make();
  ASSERT_NE(list, nullptr);
  EXPECT_EQ(count(list), 0);
  NEX_Ref first = make_string("first");
  NEX_Ref second = make_string("second");
  ASSERT_EQ(append(list, first), KO_Err_None);
  ASSERT_EQ(append(list, second), KO_Err_None);
  release_string(first);  // the container keeps them alive
  release_string(second);
  EXPECT_EQ(RXHost_LiveBlocks(), before.blocks + 3);
  ASSERT_EQ(count(list), 2);
  EXPECT_STREQ(utf8(item(list, 0)), "first");
  EXPECT_STREQ(utf8(item(list, 1)), "second");
  EXPECT_EQ(item(list, 2), nullptr);
  EXPECT_EQ(item(list, -1), nullptr);
  EXPECT_EQ(append(list, nullptr), KO_Err_Internal);
  release(list);  // and let them go with it
  EXPECT_TRUE(before.unchanged());
}

TEST_F(NexBridge, MethodsOfOneKindIgnoreObjectsOfAnother) {
  auto make_string = method<NEXStringNewProc>("NEXStringInterface", "String", "New");
  auto release = method<NEXStringReleaseProc>("NEXStringInterface", "String", "Release");
  auto count = method<NEXContainerCountProc>("NEXContainerInterface", "Container", "Count");
  auto message = method<NEXErrorMessageProc>("NEXErrorInterface", "Error", "Message");
  NEX_Ref s = make_string("not a container");
  EXPECT_EQ(count(s), 0);
  EXPECT_EQ(message(s), nullptr);
  release(s);
}

TEST_F(NexBridge, MemoryBlocksAreCountedByKo) {
  const Books before;
  auto allocate = method<NEXMemoryAllocateProc>("NEXMemoryInterface", "Memory", "Allocate");
  auto resize = method<NEXMemoryResizeProc>("NEXMemoryInterface", "Memory", "Resize");
  auto free_block = method<NEXMemoryFreeProc>("NEXMemoryInterface", "Memory", "Free");
  void* block = allocate(10);
  ASSERT_NE(block, nullptr);
  std::memcpy(block, "0123456789", 10);
  EXPECT_EQ(RXHost_LiveBytes(), before.bytes + 10);
  block = resize(block, 1000);
  ASSERT_NE(block, nullptr);
  EXPECT_EQ(std::memcmp(block, "0123456789", 10), 0);
  EXPECT_EQ(RXHost_LiveBytes(), before.bytes + 1000);
  free_block(block);
  EXPECT_TRUE(before.unchanged());
}

TEST_F(NexBridge, ReportErrorGoesToTheSink) {
  ReportCapture capture;
  auto report = basic<NEXReportErrorProc>("NEXReportError");
  EXPECT_EQ(report("Missing Interface", "NEX"), KO_Err_None);
  ASSERT_EQ(capture.size(), 1u);
  EXPECT_EQ(capture.last().kind, RXHost_Report_ErrString);
  EXPECT_EQ(capture.last().report_class, 8);
  EXPECT_EQ(capture.last().location, 0);
  EXPECT_EQ(capture.last().text, "NEX: Missing Interface");
}

TEST_F(NexBridge, UnregisterForgetsAnInterfaceAndCountsOnce) {
  auto register_proc = basic<NEXRegisterProcAddressProc>("NEXRegisterProcAddress");
  auto unregister = basic<NEXUnregisterInterfaceProc>("NEXUnregisterInterface");
  const int32_t* counter = basic<NEXGetUnregisterCountAddrProc>("NEXGetUnregisterCountAddr")();
  const int32_t before = *counter;
  const char* const names[] = {"New", "AddRef", "Release", "UTF8"};
  NEX_Proc saved[4];
  for (int i = 0; i < 4; ++i) {
    saved[i] = method<NEX_Proc>("NEXStringInterface", "String", names[i]);
    ASSERT_NE(saved[i], nullptr) << names[i];
  }

  ASSERT_EQ(unregister("NEXStringInterface"), KO_Err_None);
  EXPECT_EQ(*counter, before + 1);
  for (const char* name : names) {
    EXPECT_EQ(method<NEX_Proc>("NEXStringInterface", "String", name), nullptr) << name;
  }
  EXPECT_NE(lookup_("NEXErrorInterface", "ID", "NEXErrorIDProc"), nullptr);  // others stay
  EXPECT_EQ(unregister("NEXStringInterface"), KO_Err_Internal);  // nothing left to forget
  EXPECT_EQ(*counter, before + 1);

  // Registered again, the interface is whole for the tests that follow.
  for (int i = 0; i < 4; ++i) {
    const std::string registered = std::string("NEXString") + names[i] + "Proc";
    ASSERT_EQ(register_proc("NEXStringInterface", names[i], registered.c_str(), saved[i]), KO_Err_None);
    EXPECT_EQ(method<NEX_Proc>("NEXStringInterface", "String", names[i]), saved[i]);
  }
}

TEST_F(NexBridge, RegisterAddsAndReplaces) {
  auto register_proc = basic<NEXRegisterProcAddressProc>("NEXRegisterProcAddress");
  auto unregister = basic<NEXUnregisterInterfaceProc>("NEXUnregisterInterface");
  auto first = reinterpret_cast<NEX_Proc>(&test_proc_one);
  auto second = reinterpret_cast<NEX_Proc>(&test_proc_two);
  ASSERT_EQ(register_proc("TestInterface", "Go", "TestGoProc", first), KO_Err_None);
  EXPECT_EQ(lookup_("TestInterface", "Go", "TestGoProc"), first);
  ASSERT_EQ(register_proc("TestInterface", "Go", "TestGoProc", second), KO_Err_None);
  EXPECT_EQ(lookup_("TestInterface", "Go", "TestGoProc"), second);
  EXPECT_EQ(register_proc("TestInterface", "Go", "TestGoProc", nullptr), KO_Err_Internal);
  EXPECT_EQ(register_proc(nullptr, "Go", "TestGoProc", first), KO_Err_Internal);
  EXPECT_EQ(unregister("TestInterface"), KO_Err_None);
  EXPECT_EQ(lookup_("TestInterface", "Go", "TestGoProc"), nullptr);
}

TEST_F(NexBridge, FailureHookMakesTinFail) {
  RXHost_SetNEXFailure(12, nullptr);
  NEX_LookupProc lookup = lookup_;
  EXPECT_EQ(TIN_GetNEXAddressProc(&lookup), 12);
  EXPECT_EQ(lookup, nullptr);
  RXHost_SetNEXFailure(0, nullptr);
  EXPECT_EQ(TIN_GetNEXAddressProc(&lookup), KO_Err_None);
  EXPECT_EQ(lookup, lookup_);
  EXPECT_EQ(TIN_GetNEXAddressProc(nullptr), KO_Err_Internal);
}

TEST_F(NexBridge, FailureHookHidesOneInterface) {
  RXHost_SetNEXFailure(0, "NEXErrorInterface");
  EXPECT_EQ(lookup_("NEXErrorInterface", "ID", "NEXErrorIDProc"), nullptr);
  EXPECT_NE(lookup_("NEXStringInterface", "UTF8", "NEXStringUTF8Proc"), nullptr);
  EXPECT_NE(lookup_("NEX", "NEXReportError", "NEXReportError"), nullptr);
  RXHost_SetNEXFailure(0, "NEX");
  EXPECT_EQ(lookup_("NEX", "NEXReportError", "NEXReportError"), nullptr);
  EXPECT_NE(lookup_("NEXErrorInterface", "ID", "NEXErrorIDProc"), nullptr);
  RXHost_SetNEXFailure(0, nullptr);
  EXPECT_NE(lookup_("NEX", "NEXReportError", "NEXReportError"), nullptr);
}

}  // namespace
