// The CPU words of the host's data by name, and birth with chosen words:
// the package picks its processor forms at birth, so a test that wants
// the plain or the processor forms installed is born with the words set.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <utility>

#include "RX.h"
#include "RXHost.h"

namespace rxtest {

enum CpuWord : int32_t { kCpuWordSSE2 = 2, kCpuWordSSSE3 = 6, kCpuWordAVX2 = 7 };

// Sets words (the others stay as the processor has them) and births the
// package; death and the processor's words come back at the end.
class BornWithCpuWords {
 public:
  explicit BornWithCpuWords(std::initializer_list<std::pair<CpuWord, bool>> words) {
    for (const auto& [word, on] : words) RXHost_SetCpuWord(word, on ? 1u : 0u);
    EXPECT_EQ(RX_Birth(), RX_Result_OK);
  }
  ~BornWithCpuWords() {
    EXPECT_EQ(RX_Death(), RX_Result_OK);
    RXHost_ResetCpuWords();
  }
  BornWithCpuWords(const BornWithCpuWords&) = delete;
  BornWithCpuWords& operator=(const BornWithCpuWords&) = delete;
};

// A test born during its body, as often as it likes, with chosen words;
// the end of the test lets the package die and puts the words back.
class BornDuringTest : public ::testing::Test {
 protected:
  void born(std::initializer_list<std::pair<CpuWord, bool>> words = {}) {
    RXHost_ResetCpuWords();
    for (const auto& [word, on] : words) RXHost_SetCpuWord(word, on ? 1u : 0u);
    ASSERT_EQ(RX_Birth(), RX_Result_OK);
    born_ = true;
  }
  void die() {
    if (born_) {
      EXPECT_EQ(RX_Death(), RX_Result_OK);
    }
    born_ = false;
  }
  void TearDown() override {
    die();
    RXHost_ResetCpuWords();
  }

 private:
  bool born_ = false;
};

// Born for each test with word 2 (SSE2) set or cleared as the test's
// parameter says.
class BornWithSse2Param : public ::testing::TestWithParam<bool> {
 protected:
  void SetUp() override {
    RXHost_SetCpuWord(kCpuWordSSE2, GetParam() ? 1u : 0u);
    ASSERT_EQ(RX_Birth(), RX_Result_OK);
  }
  void TearDown() override {
    EXPECT_EQ(RX_Death(), RX_Result_OK);
    RXHost_ResetCpuWords();
  }
};

}  // namespace rxtest
