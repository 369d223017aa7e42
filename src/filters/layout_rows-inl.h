// Channels of pixel words in vector lanes, per layout, for the vector rows of
// every family: compiled once per target with the source that includes it.
#if defined(QVL_FILTERS_LAYOUT_ROWS_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef QVL_FILTERS_LAYOUT_ROWS_INL_H_
#undef QVL_FILTERS_LAYOUT_ROWS_INL_H_
#else
#define QVL_FILTERS_LAYOUT_ROWS_INL_H_
#endif

#include "hwy/highway.h"
#include "picture/pixels.h"

HWY_BEFORE_NAMESPACE();
namespace {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// The byte at bit `shift` of each 32-bit lane, as a number 0..255.
template <int shift, class V>
HWY_INLINE V ByteAt(V words) {
  if constexpr (shift == 24) {
    return hn::ShiftRight<24>(words);
  } else {
    return hn::And(hn::ShiftRight<shift>(words), hn::Set(hn::DFromV<V>(), 0xFF));
  }
}

template <PixelLayout L, class V>
HWY_INLINE V RedOf(V words) {
  return ByteAt<kLayout<L>.red>(words);
}
template <PixelLayout L, class V>
HWY_INLINE V GreenOf(V words) {
  return ByteAt<kLayout<L>.green>(words);
}
template <PixelLayout L, class V>
HWY_INLINE V BlueOf(V words) {
  return ByteAt<kLayout<L>.blue>(words);
}

// The opaque write of channels 0..255 in 32-bit lanes.
template <PixelLayout L, class V>
HWY_INLINE V OpaqueWords(V red, V green, V blue) {
  constexpr LayoutDescription l = kLayout<L>;
  const V placed = hn::Or(hn::ShiftLeft<l.red>(red), hn::ShiftLeft<l.green>(green));
  return hn::Or(hn::Or(placed, hn::ShiftLeft<l.blue>(blue)), hn::Set(hn::DFromV<V>(), l.opaqueBits));
}

}  // namespace HWY_NAMESPACE
}  // namespace
HWY_AFTER_NAMESPACE();

#endif
