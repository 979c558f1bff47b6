// The package's 8-bit rounding in vector lanes, for every register width
// (S is simd::Sse2, simd::Sse or simd::Avx2): m255 of products of two
// bytes, and the 8-bit multiply over it, equal to the scalar forms
// (worlds/depth_arith.h) in every lane.
#pragma once

namespace rx::simd {

// m255 in 16-bit lanes as one high multiply: ((x + 128) * 257) >> 16
// equals ((x + 128) + ((x + 128) >> 8)) >> 8 for every product of two
// bytes (x up to 65025).
template <class S>
typename S::I m255_16(typename S::I x) {
  return S::mulhi_u16(S::add16(x, S::set16(128)), S::set16(257));
}

// m255 in 32-bit lanes.
template <class S>
typename S::I m255_32(typename S::I x) {
  const auto t = S::add32(x, S::set32(128));
  return S::srli32(S::add32(t, S::srli32(t, 8)), 8);
}

// mul(x, y) of 8-bit values in 16-bit lanes, and in 32-bit lanes whose
// high words are 0.
template <class S>
typename S::I mul8_16(typename S::I x, typename S::I y) {
  return m255_16<S>(S::mullo16(x, y));
}
template <class S>
typename S::I mul8_32(typename S::I x, typename S::I y) {
  return m255_32<S>(S::mullo16(x, y));
}

}  // namespace rx::simd
