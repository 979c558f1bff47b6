// Helpers of the iterate tests: recording pixel functions and progress
// callbacks, untidy worlds (sub-worlds, upside-down strides), and byte
// snapshots to show which memory an iteration touched.
#pragma once

#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "rx_test_support.h"

namespace itest {

constexpr int32_t kBadParameterPlain = 0x25000E;   // location 14
constexpr int32_t kBadParameterOrigin = 0x250052;  // location 82
constexpr int32_t kBadParameterGeneric = 0x250046; // location 70
constexpr int32_t kDepthsDifferLocation = 0x25000E;
constexpr int32_t kGeneralVerification = 0x2503E7;
constexpr const char* kBadParameterText = "bad parameter passed to effect callback";
constexpr const char* kDepthsDifferText = "RX_Iterate requires source and dst worlds to be same depth";
constexpr const char* kUnknownPixelFormatText = "Unknown pixel format";

// Address of pixel (x, y) of a world, with its signed row stride.
template <class Px>
Px* px(const RX_LayerDef* world, int32_t x, int32_t y) {
  return reinterpret_cast<Px*>(static_cast<char*>(world->data) + intptr_t{y} * world->row_stride) + x;
}

// A pixel that tells its position and which world it belongs to.
template <class Px>
Px tagged(int32_t x, int32_t y, int32_t tag) {
  Px p = rxtest::pixel_for<Px>(x, y);
  p.alpha = decltype(p.alpha)(tag);
  return p;
}

template <class Px>
void fill(const RX_LayerDef* world, int32_t tag) {
  for (int32_t y = 0; y < world->height; ++y)
    for (int32_t x = 0; x < world->width; ++x) *px<Px>(world, x, y) = tagged<Px>(x, y, tag);
}

// Every channel one step further, wrapping at 8 and 16 bits.
template <class Px>
Px bumped(const Px& p) {
  using Cv = decltype(p.alpha);
  return Px{Cv(p.alpha + 1), Cv(p.red + 1), Cv(p.green + 1), Cv(p.blue + 1)};
}

template <class Px>
Px marker(int32_t x, int32_t y) {
  return tagged<Px>(x, y, 77);
}

template <class Px>
bool is_zero(const Px& p) {
  const Px zero{};
  return std::memcmp(&p, &zero, sizeof(Px)) == 0;
}

// A world that lies inside a larger one: its data points at (x0, y0) of the
// parent and it keeps the parent's row stride.
template <class Px>
class SubWorld {
 public:
  SubWorld(int32_t parent_width, int32_t parent_height, int32_t x0, int32_t y0, int32_t width,
           int32_t height, int32_t padding = 0, int32_t misalign = 0)
      : parent_(parent_width, parent_height, padding, misalign) {
    def_ = *parent_.def();
    def_.data = &parent_.at(x0, y0);
    def_.width = width;
    def_.height = height;
    def_.content_rect = {0, 0, width, height};
  }
  RX_LayerDef* def() { return &def_; }
  rxtest::TestWorld<Px>& parent() { return parent_; }

 private:
  rxtest::TestWorld<Px> parent_;
  RX_LayerDef def_;
};

// A world stored bottom-up: data points at the last row of the memory and
// the row stride is negative.
template <class Px>
class UpsideDownWorld {
 public:
  UpsideDownWorld(int32_t width, int32_t height, int32_t padding = 0, int32_t misalign = 0)
      : memory_(width, height, padding, misalign) {
    def_ = *memory_.def();
    def_.data = &memory_.at(0, height - 1);
    def_.row_stride = -memory_.def()->row_stride;
  }
  RX_LayerDef* def() { return &def_; }
  rxtest::TestWorld<Px>& memory() { return memory_; }

 private:
  rxtest::TestWorld<Px> memory_;
  RX_LayerDef def_;
};

// The bytes of all rows of a world with a positive stride, padding included.
struct Bytes {
  const uint8_t* start;
  std::vector<uint8_t> copy;
  explicit Bytes(const RX_LayerDef* world)
      : start(static_cast<const uint8_t*>(world->data)),
        copy(start, start + size_t(world->row_stride) * size_t(world->height)) {}
  std::vector<uint8_t> now() const { return std::vector<uint8_t>(start, start + copy.size()); }
};

// ---- recording callbacks ----

struct Event {
  enum Kind { Pixel, Progress } kind;
  int32_t a, b;  // pixel: x, y; progress: current, total
  bool operator==(const Event&) const = default;
};

inline std::string describe(const std::vector<Event>& events) {
  std::string s;
  for (const auto& e : events) {
    s += e.kind == Event::Pixel ? "p(" : "P(";
    s += std::to_string(e.a) + "," + std::to_string(e.b) + ") ";
  }
  return s;
}

enum class Action { None, BumpIntoOut, WriteMarker };

template <class Px>
struct PixelCall {
  int32_t x, y;
  const Px* in;
  Px* out;
  Px in_value;  // zero when in is null
};

template <class Px>
struct Recorder {
  std::vector<PixelCall<Px>> calls;
  std::vector<Event>* events = nullptr;
  size_t stop_at = std::numeric_limits<size_t>::max();  // index of the call that fails
  RX_Err stop_code = 0;
  Action action = Action::None;

  static RX_Err func(void* refcon, int32_t x, int32_t y, const Px* in, Px* out) {
    auto* self = static_cast<Recorder*>(refcon);
    PixelCall<Px> call{x, y, in, out, Px{}};
    if (in) call.in_value = *in;
    self->calls.push_back(call);
    if (self->events) self->events->push_back({Event::Pixel, x, y});
    if (self->action == Action::BumpIntoOut) *out = bumped(*in);
    if (self->action == Action::WriteMarker) *out = marker<Px>(x, y);
    if (self->calls.size() - 1 == self->stop_at) return self->stop_code;
    return RX_Result_OK;
  }
  static RX_PixelFunc8 as_func8() { return reinterpret_cast<RX_PixelFunc8>(&Recorder::func); }
};

struct ProgressCall {
  RX_EffectToken token;
  int32_t current, total;
};

// Hands itself to the package as the effect token; progress finds it again.
struct ProgressLog {
  std::vector<ProgressCall> calls;
  std::vector<RX_Err> returns;  // by call index; 0 past the end
  std::vector<Event>* events = nullptr;
  RX_EffectContext context{};

  ProgressLog() {
    context.progress = &ProgressLog::progress;
    context.effect_token = token();
  }
  RX_EffectToken token() { return reinterpret_cast<RX_EffectToken>(this); }
  static RX_Err progress(RX_EffectToken token, int32_t current, int32_t total) {
    auto* self = reinterpret_cast<ProgressLog*>(token);
    const size_t index = self->calls.size();
    self->calls.push_back({token, current, total});
    if (self->events) self->events->push_back({Event::Progress, current, total});
    return index < self->returns.size() ? self->returns[index] : RX_Result_OK;
  }
};

// ---- depth pairs ----

template <class Px>
struct OtherDepth;
template <>
struct OtherDepth<RX_Pixel8> { using type = RX_Pixel16; };
template <>
struct OtherDepth<RX_Pixel16> { using type = RX_PixelFloat; };
template <>
struct OtherDepth<RX_PixelFloat> { using type = RX_Pixel8; };

// Expectations of report lists.
inline void expect_single_report(const rxtest::ReportCapture& capture, RXHost_ReportKind kind,
                                 int32_t location, const std::string& text) {
  const auto errors = capture.errors();
  ASSERT_EQ(errors.size(), 1u);
  EXPECT_EQ(errors[0].kind, kind);
  EXPECT_EQ(errors[0].location, location);
  EXPECT_EQ(errors[0].text, text);
}

inline void expect_bad_parameter(const rxtest::ReportCapture& capture, int32_t location) {
  const auto errors = capture.errors();
  ASSERT_EQ(errors.size(), 1u);
  EXPECT_EQ(errors[0].kind, RXHost_Report_ErrString);
  EXPECT_EQ(errors[0].report_class, 8);
  EXPECT_EQ(errors[0].location, location);
  EXPECT_EQ(errors[0].text, kBadParameterText);
}

}  // namespace itest
