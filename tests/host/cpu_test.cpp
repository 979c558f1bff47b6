#include <gtest/gtest.h>

#include <cpuid.h>

#include <cstdlib>
#include <string>
#include <thread>

#include "KO/KO.h"
#include "RXHost.h"

namespace {

// Puts RX_DISABLE and the words back as they were.
class CpuWords : public ::testing::Test {
 protected:
  void SetUp() override {
    const char* v = std::getenv("RX_DISABLE");
    had_ = v != nullptr;
    if (had_) saved_ = v;
  }
  void TearDown() override {
    if (had_) {
      setenv("RX_DISABLE", saved_.c_str(), 1);
    } else {
      unsetenv("RX_DISABLE");
    }
    RXHost_ResetCpuWords();
  }
  void disable(const char* list) {
    setenv("RX_DISABLE", list, 1);
    RXHost_ResetCpuWords();
  }
  void enable_all() {
    unsetenv("RX_DISABLE");
    RXHost_ResetCpuWords();
  }

 private:
  bool had_ = false;
  std::string saved_;
};

bool bit(unsigned reg, int n) { return (reg >> n) & 1u; }

TEST_F(CpuWords, WordsFollowCpuid) {
  enable_all();
  unsigned eax, ebx, ecx, edx;
  ASSERT_TRUE(__get_cpuid(1, &eax, &ebx, &ecx, &edx));
  EXPECT_EQ(KO_G_CPU_DataP[0], uint32_t{bit(edx, 23)});
  EXPECT_EQ(KO_G_CPU_DataP[1], uint32_t{bit(edx, 25)});
  EXPECT_EQ(KO_G_CPU_DataP[2], uint32_t{bit(edx, 26)});
  EXPECT_EQ(KO_G_CPU_DataP[3], uint32_t{bit(ecx, 0)});
  EXPECT_EQ(KO_G_CPU_DataP[4], uint32_t{bit(ecx, 19)});
  EXPECT_EQ(KO_G_CPU_DataP[5], uint32_t{bit(ecx, 20)});
  EXPECT_EQ(KO_G_CPU_DataP[6], uint32_t{bit(ecx, 9)});
  // AVX2 needs the processor's bit; the system's support may still hide it.
  if (__get_cpuid_max(0, nullptr) >= 7) {
    __cpuid_count(7, 0, eax, ebx, ecx, edx);
    if (!bit(ebx, 5)) {
      EXPECT_EQ(KO_G_CPU_DataP[7], 0u);
    }
  }
}

TEST_F(CpuWords, EveryWordIsZeroOrOne) {
  for (int i = 0; i < KO_CpuWordCount; ++i) EXPECT_LE(KO_G_CPU_DataP[i], 1u) << i;
}

#if defined(__x86_64__)
TEST_F(CpuWords, Sse2IsAlwaysThereOnX86_64) {
  enable_all();
  EXPECT_EQ(KO_G_CPU_DataP[0], 1u);
  EXPECT_EQ(KO_G_CPU_DataP[1], 1u);
  EXPECT_EQ(KO_G_CPU_DataP[2], 1u);
}
#endif

TEST_F(CpuWords, SetWordAndResetRestores) {
  enable_all();
  const uint32_t sse2 = KO_G_CPU_DataP[2];
  RXHost_SetCpuWord(2, 0);
  EXPECT_EQ(KO_G_CPU_DataP[2], 0u);
  RXHost_SetCpuWord(KO_CpuWordCount, 1);  // out of range: ignored
  RXHost_SetCpuWord(-1, 1);
  RXHost_ResetCpuWords();
  EXPECT_EQ(KO_G_CPU_DataP[2], sse2);
}

TEST_F(CpuWords, DisableListClearsTheNamedWords) {
  enable_all();
  uint32_t before[KO_CpuWordCount];
  for (int i = 0; i < KO_CpuWordCount; ++i) before[i] = KO_G_CPU_DataP[i];
  disable("sse2,ssse3");
  for (int i = 0; i < KO_CpuWordCount; ++i) {
    EXPECT_EQ(KO_G_CPU_DataP[i], (i == 2 || i == 6) ? 0u : before[i]) << i;
  }
}

TEST_F(CpuWords, DisableListIgnoresCaseSpacesAndUnknownNames) {
  enable_all();
  uint32_t before[KO_CpuWordCount];
  for (int i = 0; i < KO_CpuWordCount; ++i) before[i] = KO_G_CPU_DataP[i];
  disable(" SSE41 ,, bogus,Avx2 ,sse");
  for (int i = 0; i < KO_CpuWordCount; ++i) {
    EXPECT_EQ(KO_G_CPU_DataP[i], (i == 1 || i == 4 || i == 7) ? 0u : before[i]) << i;
  }
}

TEST_F(CpuWords, DisableListKnowsEveryName) {
  disable("mmx,sse,sse2,sse3,sse41,sse42,ssse3,avx2");
  for (int i = 0; i < KO_CpuWordCount; ++i) EXPECT_EQ(KO_G_CPU_DataP[i], 0u) << i;
}

TEST_F(CpuWords, DisableListDoesNotMatchPrefixes) {
  enable_all();
  const uint32_t sse = KO_G_CPU_DataP[1];
  const uint32_t sse2 = KO_G_CPU_DataP[2];
  disable("ss,sse2x");
  EXPECT_EQ(KO_G_CPU_DataP[1], sse);
  EXPECT_EQ(KO_G_CPU_DataP[2], sse2);
}

int32_t thread_count() {
  int32_t count = -1;
  EXPECT_EQ(KO_GetNumThreads(&count), KO_Err_None);
  return count;
}

TEST(KoThreads, CountDefaultsToTheHardware) {
  RXHost_SetThreadCount(0);
  const unsigned hw = std::thread::hardware_concurrency();
  EXPECT_EQ(thread_count(), hw > 0 ? int32_t(hw) : 1);
}

TEST(KoThreads, SetCountOverridesUntilCleared) {
  RXHost_SetThreadCount(3);
  EXPECT_EQ(thread_count(), 3);
  RXHost_SetThreadCount(0);
  EXPECT_GE(thread_count(), 1);
}

TEST(KoThreads, NegativeCountMeansTheHardwareCount) {
  RXHost_SetThreadCount(-4);
  EXPECT_GE(thread_count(), 1);
}

TEST(KoThreads, NullCountIsABadArgument) { EXPECT_EQ(KO_GetNumThreads(nullptr), KO_Err_Internal); }

TEST(KoThreads, AFailingCountGivesItsCodeAndLeavesTheCountAlone) {
  RXHost_FailThreadCount(KO_Err_OutOfMemory);
  int32_t count = -7;
  EXPECT_EQ(KO_GetNumThreads(&count), KO_Err_OutOfMemory);
  EXPECT_EQ(count, -7);
  RXHost_FailThreadCount(KO_Err_None);
  EXPECT_GE(thread_count(), 1);
}

}  // namespace
