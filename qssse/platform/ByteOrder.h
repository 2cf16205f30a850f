#pragma once
#include <bit>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <type_traits>

// Little-endian encoding of numbers, the byte order of every format the library writes. Written with
// shifts rather than a host-order test, so it is right on any host and compiles to a plain move on
// little-endian ones.
namespace qssse {

namespace detail {
template <std::size_t Bytes>
struct UnsignedOfSize;
template <>
struct UnsignedOfSize<1> {
  using type = std::uint8_t;
};
template <>
struct UnsignedOfSize<2> {
  using type = std::uint16_t;
};
template <>
struct UnsignedOfSize<4> {
  using type = std::uint32_t;
};
template <>
struct UnsignedOfSize<8> {
  using type = std::uint64_t;
};

template <class T>
constexpr bool isEncodable = std::is_arithmetic_v<T> && !std::is_same_v<T, bool> &&
                             (!std::is_floating_point_v<T> || std::numeric_limits<T>::is_iec559);
}  // namespace detail

// Writes the sizeof(T) bytes of value to out, least significant first (IEEE bit pattern for floats).
template <class T>
void storeLittleEndian(T value, unsigned char* out) noexcept {
  static_assert(detail::isEncodable<T>, "integers and IEEE floats only");
  using Bits = typename detail::UnsignedOfSize<sizeof(T)>::type;
  const Bits bits = std::bit_cast<Bits>(value);
  for (std::size_t i = 0; i < sizeof(T); ++i) out[i] = static_cast<unsigned char>(bits >> (8 * i));
}

// Reads a value of T from the sizeof(T) bytes at in, least significant first.
template <class T>
T loadLittleEndian(const unsigned char* in) noexcept {
  static_assert(detail::isEncodable<T>, "integers and IEEE floats only");
  using Bits = typename detail::UnsignedOfSize<sizeof(T)>::type;
  Bits bits = 0;
  for (std::size_t i = 0; i < sizeof(T); ++i)
    bits = static_cast<Bits>(bits | static_cast<Bits>(static_cast<Bits>(in[i]) << (8 * i)));
  return std::bit_cast<T>(bits);
}

}  // namespace qssse
