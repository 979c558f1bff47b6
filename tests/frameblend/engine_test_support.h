// Helpers of the engine's tests: a parallel generic iterate of the tests'
// own (std::threads, each with a thread index below the host's thread
// count) for slot 53 until the parallel module exists, a fixture that
// borns the package and registers the suites over a chosen iterate, and
// small map helpers.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <functional>
#include <random>
#include <vector>

#include "RX.h"
#include "RXHost.h"
#include "frameblend/parallel/engine_threads.h"
#include "frameblend/parallel/interrupt.h"
#include "frameblend/maps/texture.h"

namespace enginetest {

// Runs -1 iterations once per thread (index t, count = threads), and a
// count by handing out indices until one returns non-zero. Every thread is
// a new std::thread; the caller waits. Records each call's result.
RX_Err parallel_iterate(int32_t count, void* refcon, RX_GenericIterFunc func);
// Results of the last -1 run, by thread index.
std::vector<RX_Err> last_worker_results();
// Thread indices that ran in the last call.
std::vector<int32_t> last_thread_indices();

// How the engine gets its workers in a test: the package's serial iterate
// (no module), or the tests' parallel iterate with n threads.
struct Workers {
  bool module;
  int32_t threads;
};
inline constexpr Workers kSerial{false, 1};
inline constexpr Workers kOne{true, 1};
inline constexpr Workers kTwo{true, 2};
inline constexpr Workers kEight{true, 8};
inline const Workers kAllWorkerSetups[] = {kSerial, kOne, kTwo, kEight};

// Installs the iterate in slot 53, sets the host's thread count, registers
// the suites afresh, hands the engine the basic suite and makes it learn
// the count again.
void use_workers(Workers workers);

class EngineTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;
};

// A context that nothing interrupts unless the test says so.
inline RX_FnInterruptContext make_context(RX_AbortFunc abort = nullptr, void* refcon = nullptr) {
  return RX_FnInterruptContext{refcon, abort, 0, 0};
}

// Fills a map's cells from a generator of values.
template <class Px, class Interp, class Gen>
void fill_map(RX_Engine::FnTexture<Px, Interp>& map, Gen gen) {
  for (int32_t y = 0; y < map.height(); ++y) {
    for (int32_t x = 0; x < map.width(); ++x) map.cell(x, y) = gen(x, y);
  }
}

// The bytes of a map's cells, row by row (padding left out).
template <class Px, class Interp>
std::vector<uint8_t> map_bytes(const RX_Engine::FnTexture<Px, Interp>& map) {
  std::vector<uint8_t> bytes;
  for (int32_t y = 0; y < map.height(); ++y) {
    const auto* row = reinterpret_cast<const uint8_t*>(map.row(y));
    bytes.insert(bytes.end(), row, row + size_t(map.width()) * sizeof(Px));
  }
  return bytes;
}

// Random floats from a fixed seed.
class Random {
 public:
  explicit Random(uint32_t seed = 20240611u) : engine_(seed) {}
  float uniform(float lo, float hi) { return std::uniform_real_distribution<float>(lo, hi)(engine_); }
  int32_t integer(int32_t lo, int32_t hi) {
    return std::uniform_int_distribution<int32_t>(lo, hi)(engine_);
  }

 private:
  std::mt19937 engine_;
};

}  // namespace enginetest
