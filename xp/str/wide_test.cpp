// UTF-16 conversions: byte-order marks, the vectorised passes against the
// unit-by-unit definition at every length and misalignment, and decoding
// (round trips of arbitrary units are the fuzz target's).
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "xp/str/xp_str_internal.h"
#include "xp/xp_test_util.h"

using xpt::take;
using Units = std::vector<uint16_t>;

static uint16_t swap16(uint16_t u) {
  return static_cast<uint16_t>(u << 8 | u >> 8);
}
static uint16_t be(uint16_t u) {  // the host-order value of a unit stored big-endian
  return __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__ ? swap16(u) : u;
}

static std::string reference(const Units &units) {
  std::string r;
  for (uint16_t u : units) {
    if (u < 0x80)
      r += static_cast<char>(u);
    else if (u < 0x800)
      r += {char(0xC0 | u >> 6), char(0x80 | (u & 0x3F))};
    else
      r += {char(0xE0 | u >> 12), char(0x80 | (u >> 6 & 0x3F)), char(0x80 | (u & 0x3F))};
  }
  return r;
}

// Units over the three size classes and their edges; mix 1 is mostly
// ASCII, mix 2 mostly three-byte units.
static Units random_units(std::mt19937 &rng, size_t n, int mix = 0) {
  static const uint16_t edges[] = {0, 0x7F, 0x80, 0x7FF, 0x800, 0xD800, 0xFFFF, 0xFEFF};
  Units v(n);
  for (auto &u : v) {
    unsigned r = rng(), k = r / 8;
    if (mix && r % 8)
      u = uint16_t(mix == 1 ? ' ' + k % 95 : 0x4E00 + k % 0x5000);
    else
      u = r % 4 == 3 ? edges[k % 8]
                     : uint16_t(r % 4 == 0   ? k % 0x80
                                : r % 4 == 1 ? 0x80 + k % 0x780
                                             : k);
  }
  return v;
}

TEST(StrWide, ByteOrderMarksAndSurrogates) {
  const std::pair<Units, std::string> cases[] = {
      {{0xFEFF, 0x0041}, "A"},
      {{be(0x0041), 0xFEFF}, "A" + reference({be(0xFEFF)})},  // no mark: big-endian
      {{0xFFFE, swap16(0x20AC), swap16(0x0062)},
       "\xe2\x82\xac"
       "b"},
      {{0xFEFF, 'h', 'i', 0, 'x'}, std::string("hi\0x", 4)},
      {{0xFEFF, 0xD83D, 0xDE00}, "\xed\xa0\xbd\xed\xb8\x80"}};  // each half alone
  for (const auto &[units, want] : cases)
    EXPECT_EQ(take(xp_str_wmake(units.data(), intptr_t(units.size()))), want);
  EXPECT_EQ(take(xp_str_wnew(cases[3].first.data())), "hi");
}

// Mix 3: ASCII with surrogate pairs straddling every 8-unit block edge and
// lone halves of both kinds in between.
std::vector<uint16_t> surrogate_units(std::mt19937 &rng, size_t n) {
  std::vector<uint16_t> v = random_units(rng, n, 1);
  for (size_t i = 7; i + 1 < n; i += 8) {
    v[i] = uint16_t(0xD800 + rng() % 0x400);
    v[i + 1] = uint16_t(0xDC00 + rng() % 0x400);
  }
  for (size_t i = 3; i < n; i += 8 + rng() % 5)
    v[i] = uint16_t(rng() % 2 ? 0xDBFF : 0xDC00);
  return v;
}

TEST(StrWide, EveryKernelEqualsTheScalarDefinition) {
  size_t count;
  const xps::WideKernel *const *kernels = xps::wide_kernels(&count);
  ASSERT_GE(count, 1u);
  EXPECT_STREQ(kernels[count - 1]->name, "scalar");
  EXPECT_EQ(&xps::wide_best(), kernels[0]);
  std::mt19937 rng(1234);
  std::vector<unsigned char> area(2 * 300 + 64);
  for (size_t n = 0; n <= 300; n++) {
    for (int mix = 0; mix < 4; mix++) {
      std::vector<uint16_t> units = mix == 3 ? surrogate_units(rng, n) : random_units(rng, n, mix);
      std::string expect = reference(units);
      for (size_t shift = 0; shift < 32; shift++) {
        unsigned char *p = area.data() + shift;
        for (int sw = 0; sw < 2; sw++) {
          for (size_t i = 0; i < n; i++) {
            uint16_t u = sw ? swap16(units[i]) : units[i];
            std::memcpy(p + 2 * i, &u, 2);
          }
          for (size_t k = 0; k < count; k++) {
            const xps::WideKernel &kernel = *kernels[k];
            ASSERT_EQ(kernel.size(p, n, sw), expect.size()) << kernel.name << " " << n;
            // Bytes past the exact size stay untouched.
            std::string out(expect.size() + 64, '\x5A');
            kernel.encode(p, n, sw, out.data(), expect.size());
            ASSERT_EQ(out, expect + std::string(64, '\x5A'))
                << kernel.name << " " << n << " mix " << mix << " shift " << shift;
          }
        }
      }
    }
  }
  // Long runs of one class reach the widening of the lane counters.
  for (uint16_t u : {0x41, 0x7FF, 0x4E2D}) {
    std::vector<uint16_t> v(600001, u);
    auto *p = reinterpret_cast<const unsigned char *>(v.data());
    for (size_t k = 0; k < count; k++)
      EXPECT_EQ(kernels[k]->size(p, v.size(), false), reference({u}).size() * v.size());
  }
}

static Units wget_all(xp_str *s, intptr_t max) {
  std::vector<unsigned char> out(2 * static_cast<size_t>(max) + 2);
  Units units(size_t(xp_str_wget(s, reinterpret_cast<uint16_t *>(out.data()), max)));
  for (size_t i = 0; i < units.size(); i++)
    units[i] = static_cast<uint16_t>(out[2 * i] << 8 | out[2 * i + 1]);
  xp_str_release(s);
  return units;
}

TEST(StrWide, WgetDecodesIntoBigEndianUnits) {
  xp_str *s = xp_str_new("A\xc3\xa9\xe2\x82\xac");
  EXPECT_EQ(xp_str_wget(s, nullptr, 10), 3);
  EXPECT_EQ(wget_all(s, 2), (Units{0x41, 0xE9}));
  // Four-byte sequences are cut to 16 bits; stray continuation bytes are
  // skipped; a new lead abandons an unfinished sequence; FE starts nothing.
  EXPECT_EQ(wget_all(xp_str_new("\xf0\x9f\x98\x80\x80\x80\xe2\x82\xc3\xa9\xfe\x80\xe2z"), 20),
            (Units{0xF600, 0xE9, 'z'}));
}
