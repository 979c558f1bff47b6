// Running the blurs beside their reference, random calls, and holding a
// family's processor forms for a scope.
#pragma once

#include <gtest/gtest.h>

#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "RX.h"
#include "blur_reference.h"
#include "frame/variants.h"
#include "rx_test_support.h"

namespace blurtest {

enum class Kind { kGaussian, kBox };

inline std::string describe(const BlurParams& p) {
  std::ostringstream s;
  s << "radius " << p.radius << " channels " << p.channels << " src_vertical " << p.src_vertical
    << " src_premultiplied " << p.src_premultiplied << " dst_vertical " << p.dst_vertical
    << " dst_premultiplied " << p.dst_premultiplied << " force_copy " << p.force_copy << " passes "
    << p.passes << " packed " << p.packed;
  return s.str();
}

template <class Px>
void run_blur(Kind kind, Picture<Px>& src, Picture<Px>& dst, const BlurParams& p,
              const RX_ProgressInfo* progress = nullptr) {
  if (kind == Kind::kGaussian) {
    RX_GaussianBlur1D(progress, src.world(), p.radius, p.channels, p.src_vertical, p.src_premultiplied,
                      p.dst_vertical, p.dst_premultiplied, p.force_copy, dst.world());
  } else {
    RX_BoxBlur1D(progress, src.world(), p.radius, p.passes, p.channels, p.src_vertical, p.src_premultiplied,
                 p.dst_vertical, p.dst_premultiplied, p.force_copy, dst.world());
  }
}

// The destination's whole storage as the reference would leave it.
template <class Px>
std::vector<uint8_t> expected_storage(Kind kind, Picture<Px>& src, Picture<Px>& dst, const BlurParams& p) {
  std::vector<uint8_t> expected = dst.storage();
  const View s = view_of(src, src.data());
  const View d = view_of(dst, expected.data() + dst.offset());
  if (kind == Kind::kGaussian) {
    reference_gaussian<Px>(s, d, p);
  } else {
    reference_box<Px>(s, d, p);
  }
  return expected;
}

// Where two storages first differ, as a pixel of the destination.
template <class Px>
std::string first_difference(Picture<Px>& dst, const std::vector<uint8_t>& expected) {
  const std::vector<uint8_t>& got = dst.storage();
  for (size_t i = 0; i < got.size(); ++i) {
    if (got[i] == expected[i]) continue;
    std::ostringstream s;
    const int64_t at = int64_t(i) - int64_t(dst.offset());
    if (at < 0 || at >= int64_t(dst.row_bytes()) * dst.height()) {
      s << "byte " << i << " outside the pixels";
      return s.str();
    }
    const int32_t y = int32_t(at / dst.row_bytes());
    const int32_t x = int32_t((at % dst.row_bytes()) / int64_t(sizeof(Px)));
    Px want;
    std::memcpy(&want, expected.data() + dst.offset() + size_t(y) * dst.row_bytes() + size_t(x) * sizeof(Px),
                sizeof want);
    const Px have = dst.at(x, y);
    s << "pixel (" << x << ", " << y << "): got";
    for (int k = 0; k < 4; ++k) s << " " << +ch(have, k);
    s << " want";
    for (int k = 0; k < 4; ++k) s << " " << +ch(want, k);
    return s.str();
  }
  return "none";
}

template <class Px>
void expect_matches_reference(Kind kind, Picture<Px>& src, Picture<Px>& dst, const BlurParams& p,
                              const std::string& context = "") {
  const std::vector<uint8_t> expected = expected_storage(kind, src, dst, p);
  run_blur(kind, src, dst, p);
  EXPECT_TRUE(dst.storage() == expected)
      << context << " " << describe(p) << "; first difference " << first_difference(dst, expected);
}

// Every place of a variant family holding its plain or its processor form
// for a scope.
class FamilyForms {
 public:
  FamilyForms(const char* family, bool vector) {
    for (const rx::Variant& v : rx::variant_family(family)) {
      saved_.push_back({v.slot, *v.slot});
      if (vector && v.vector) {
        *v.slot = v.vector;
      } else if (!vector) {
        *v.slot = v.plain;
      }
    }
  }
  ~FamilyForms() {
    for (auto it = saved_.rbegin(); it != saved_.rend(); ++it) *it->first = it->second;
  }
  FamilyForms(const FamilyForms&) = delete;
  FamilyForms& operator=(const FamilyForms&) = delete;

 private:
  std::vector<std::pair<RX_OverFunc*, RX_OverFunc>> saved_;
};

// A random call on random pictures: sizes, paddings, misalignment and
// origins of both worlds; radius 0, integers, fractions and larger than
// the lines; every channel set with and without renormalizing; rows,
// columns and transposition; both forms on either side.
struct RandomCase {
  int32_t src_w, src_h, src_pad, src_mis, src_ox, src_oy;
  int32_t dst_w, dst_h, dst_pad, dst_mis, dst_ox, dst_oy;
  BlurParams p;
};

inline RandomCase random_case(std::mt19937& rng, int32_t pixel_size, Kind kind) {
  auto pick = [&](int32_t n) { return int32_t(rng() % uint32_t(n)); };
  RandomCase c{};
  c.src_w = 1 + pick(20);
  c.src_h = 1 + pick(12);
  c.dst_w = pick(5) == 0 ? c.src_w : 1 + pick(22);
  c.dst_h = pick(5) == 0 ? c.src_h : 1 + pick(14);
  // Padding in whole pixels mostly, sometimes 4 bytes that a column's
  // stride truncates away.
  c.src_pad = pick(4) == 0 ? 4 : pixel_size * pick(3);
  c.dst_pad = pick(4) == 0 ? 4 : pixel_size * pick(3);
  c.src_mis = 4 * pick(4);
  c.dst_mis = 4 * pick(4);
  c.src_ox = pick(3) == 0 ? pick(17) - 8 : 0;
  c.src_oy = pick(3) == 0 ? pick(17) - 8 : 0;
  c.dst_ox = pick(3) == 0 ? pick(17) - 8 : 0;
  c.dst_oy = pick(3) == 0 ? pick(17) - 8 : 0;
  static const float radii[] = {0.0f, 0.25f, 0.5f, 1.0f, 1.5f, 2.0f, 2.75f, 3.0f, 4.2f, 6.0f, 9.5f, 30.0f};
  c.p.radius = radii[pick(int32_t(std::size(radii)))];
  c.p.channels = pick(32);
  c.p.src_vertical = pick(5) == 0 ? 2u : uint32_t(pick(2));  // any non-zero means columns
  c.p.dst_vertical = uint32_t(pick(2));
  c.p.src_premultiplied = pick(2);
  c.p.dst_premultiplied = uint32_t(pick(2));
  c.p.force_copy = pick(3) == 0;
  c.p.passes = kind == Kind::kBox ? uint32_t(1 + pick(4)) : 1u;
  return c;
}

}  // namespace blurtest
