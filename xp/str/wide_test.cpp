// UTF-16 conversions: byte-order marks and the big-endian default, units
// encoded one by one, the vectorised sizing pass against the scalar sum at
// every length and misalignment, and decoding into big-endian units.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "xp/str/xp_str_internal.h"

namespace {

std::string take(xp_str *s) {
  std::string r(xp_str_getptr(s), static_cast<size_t>(xp_str_length(s)));
  xp_str_release(s);
  return r;
}

uint16_t swap16(uint16_t u) {
  return static_cast<uint16_t>(u << 8 | u >> 8);
}
// A unit as stored big-endian in memory, read back in host order.
uint16_t be(uint16_t u) {
  unsigned char b[2] = {static_cast<unsigned char>(u >> 8), static_cast<unsigned char>(u)};
  uint16_t r;
  std::memcpy(&r, b, 2);
  return r;
}

// Each unit alone with the standard bit layout.
std::string reference(const std::vector<uint16_t> &units) {
  std::string r;
  for (uint16_t u : units) {
    if (u < 0x80) {
      r += static_cast<char>(u);
    } else if (u < 0x800) {
      r += static_cast<char>(0xC0 | u >> 6);
      r += static_cast<char>(0x80 | (u & 0x3F));
    } else {
      r += static_cast<char>(0xE0 | u >> 12);
      r += static_cast<char>(0x80 | (u >> 6 & 0x3F));
      r += static_cast<char>(0x80 | (u & 0x3F));
    }
  }
  return r;
}

// Units spread over the three size classes and their boundaries.
std::vector<uint16_t> random_units(std::mt19937 &rng, size_t n) {
  static const uint16_t edges[] = {0, 1, 0x7F, 0x80, 0x7FF, 0x800, 0xD800, 0xFFFF, 0xFEFF, 0xFFFE};
  std::vector<uint16_t> v(n);
  for (auto &u : v) {
    switch (rng() % 4) {
      case 0:
        u = static_cast<uint16_t>(rng() % 0x80);
        break;
      case 1:
        u = static_cast<uint16_t>(0x80 + rng() % 0x780);
        break;
      case 2:
        u = static_cast<uint16_t>(rng());
        break;
      default:
        u = edges[rng() % (sizeof edges / sizeof edges[0])];
    }
  }
  return v;
}

TEST(StrWide, ByteOrderMarks) {
  // Host-order mark: dropped, the rest read in host order.
  uint16_t host[] = {0xFEFF, 0x0041};
  EXPECT_EQ(take(xp_str_wmake(host, 2)), "A");
  // No mark: big-endian, so a host-order 0x0041 on a little-endian host
  // reads as 0x4100.
  uint16_t plain[] = {0x0041};
  if (__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__) {
    EXPECT_EQ(take(xp_str_wmake(plain, 1)), "\xe4\x84\x80");
  }
  uint16_t bigend[] = {be(0x00E9), be(0x0041)};
  EXPECT_EQ(take(xp_str_wmake(bigend, 2)),
            "\xc3\xa9"
            "A");
  // A mark that reads reversed: the whole text is in the other order.
  uint16_t other[] = {0xFFFE, swap16(0x20AC), swap16(0x0062)};
  EXPECT_EQ(take(xp_str_wmake(other, 3)),
            "\xe2\x82\xac"
            "b");
  // The mark alone gives an empty string.
  EXPECT_EQ(take(xp_str_wmake(host, 1)), "");
  // Only a leading mark is special.
  uint16_t late[] = {0xFEFF, 0xFEFF};
  EXPECT_EQ(take(xp_str_wmake(late, 2)), "\xef\xbb\xbf");
}

TEST(StrWide, MeasuringNullAndSurrogates) {
  uint16_t text[] = {0xFEFF, 'h', 'i', 0, 'x'};
  EXPECT_EQ(take(xp_str_wnew(text)), "hi");
  EXPECT_EQ(take(xp_str_wmake(text, -1)), "hi");
  EXPECT_EQ(take(xp_str_wmake(text, 5)), std::string("hi\0x", 4));
  xp_str *n = xp_str_wmake(nullptr, 12);
  EXPECT_EQ(xp_str_length(n), 0);
  EXPECT_EQ(*xp_str_getptr(n), 0);
  xp_str_release(n);
  EXPECT_EQ(take(xp_str_wnew(nullptr)), "");
  uint16_t zero[] = {0};
  EXPECT_EQ(take(xp_str_wnew(zero)), "");
  // A surrogate pair is two units, each encoded alone: six bytes.
  uint16_t pair[] = {0xFEFF, 0xD83D, 0xDE00};
  EXPECT_EQ(take(xp_str_wmake(pair, 3)), "\xed\xa0\xbd\xed\xb8\x80");
}

TEST(StrWide, VectorSizingEqualsScalarAtEveryLengthAndMisalignment) {
  std::mt19937 rng(1234);
  std::vector<unsigned char> area(2 * 80 + 64);
  for (int round = 0; round < 4; round++) {
    for (size_t n = 0; n <= 80; n++) {
      std::vector<uint16_t> units = random_units(rng, n);
      size_t expect[2] = {0, 0};
      for (uint16_t u : units) {
        for (int sw = 0; sw < 2; sw++) {
          uint16_t v = sw ? swap16(u) : u;
          expect[sw] += v < 0x80 ? 1 : v < 0x800 ? 2 : 3;
        }
      }
      for (size_t shift = 0; shift < 16; shift++) {
        unsigned char *p = area.data() + shift;
        if (n) std::memcpy(p, units.data(), 2 * n);
        for (int sw = 0; sw < 2; sw++) {
          EXPECT_EQ(xps::utf8_size_scalar(p, n, sw), expect[sw]) << n << " " << shift;
          EXPECT_EQ(xps::utf8_size_vector(p, n, sw), expect[sw]) << n << " " << shift;
        }
      }
    }
  }
}

TEST(StrWide, EveryEncoderMatchesTheReferenceAndStaysInItsOutput) {
  std::mt19937 rng(321);
  std::vector<unsigned char> area(2 * 120 + 32);
  for (size_t n = 0; n <= 120; n++) {
    for (int mix = 0; mix < 3; mix++) {
      std::vector<uint16_t> units = random_units(rng, n);
      if (mix == 1)  // mostly ASCII, as in running text
        for (auto &u : units)
          if (rng() % 8) u = static_cast<uint16_t>(' ' + rng() % 95);
      if (mix == 2)  // mostly three-byte units
        for (auto &u : units)
          if (rng() % 8) u = static_cast<uint16_t>(0x4E00 + rng() % 0x5000);
      std::string expect = reference(units);
      for (size_t shift : {0, 1, 6}) {
        unsigned char *p = area.data() + shift;
        for (int sw = 0; sw < 2; sw++) {
          for (size_t i = 0; i < n; i++) {
            uint16_t u = sw ? swap16(units[i]) : units[i];
            std::memcpy(p + 2 * i, &u, 2);
          }
          for (int path = 0; path < 3; path++) {
            std::string out(expect.size() + 40, '\x5A');
            if (!xps::utf8_encode(path, p, n, sw, out.data(), expect.size())) continue;
            EXPECT_EQ(out.substr(0, expect.size()), expect) << n << " path " << path;
            EXPECT_EQ(out.substr(expect.size()), std::string(40, '\x5A'))
                << "wrote past the text: " << n << " path " << path;
          }
        }
      }
    }
  }
  EXPECT_TRUE(xps::utf8_encode(0, nullptr, 0, false, nullptr, 0));
  EXPECT_FALSE(xps::utf8_encode(7, nullptr, 0, false, nullptr, 0));
}

TEST(StrWide, VectorSizingOnLongUniformRuns) {
  // Long runs of one class exercise the widening of the lane counters.
  for (uint16_t u : {0x41, 0x7FF, 0x4E2D}) {
    std::vector<uint16_t> v(300001, u);
    size_t per = u < 0x80 ? 1 : u < 0x800 ? 2 : 3;
    EXPECT_EQ(xps::utf8_size_vector(v.data(), v.size(), false), per * v.size());
  }
}

TEST(StrWide, ConversionMatchesReferenceInBothOrdersAtOddAddresses) {
  std::mt19937 rng(99);
  std::vector<unsigned char> area(2 * 200 + 40);
  for (size_t n = 0; n <= 200; n += 7) {
    std::vector<uint16_t> units = random_units(rng, n);
    // Runs of ASCII for the narrowing path.
    for (size_t i = 0; i < n / 2; i++)
      units[i] = static_cast<uint16_t>('a' + i % 26);
    if (n > 0 && (units[0] == 0xFEFF || units[0] == 0xFFFE)) units[0] = 'q';
    std::string expect = reference(units);
    for (size_t shift : {0, 1, 3}) {
      unsigned char *p = area.data() + shift;
      // Host order behind a mark.
      uint16_t mark = 0xFEFF;
      std::memcpy(p, &mark, 2);
      if (n) std::memcpy(p + 2, units.data(), 2 * n);
      EXPECT_EQ(
          take(xp_str_wmake(reinterpret_cast<const uint16_t *>(p), static_cast<intptr_t>(n + 1))),
          expect);
      // Big-endian without a mark.
      for (size_t i = 0; i < n; i++) {
        uint16_t b = be(units[i]);
        std::memcpy(p + 2 * i, &b, 2);
      }
      EXPECT_EQ(take(xp_str_wmake(reinterpret_cast<const uint16_t *>(p), static_cast<intptr_t>(n))),
                expect);
    }
  }
}

std::vector<uint16_t> wget_all(xp_str *s, intptr_t max) {
  std::vector<uint16_t> out(static_cast<size_t>(max > 0 ? max : 0) + 1);
  intptr_t n = xp_str_wget(s, out.data(), max);
  std::vector<uint16_t> units;
  auto *b = reinterpret_cast<const unsigned char *>(out.data());
  for (intptr_t i = 0; i < n; i++)
    units.push_back(static_cast<uint16_t>(b[2 * i] << 8 | b[2 * i + 1]));
  return units;
}

TEST(StrWide, WgetDecodesIntoBigEndianUnits) {
  xp_str *s = xp_str_new("A\xc3\xa9\xe2\x82\xac");
  EXPECT_EQ(wget_all(s, 10), (std::vector<uint16_t>{0x41, 0xE9, 0x20AC}));
  EXPECT_EQ(wget_all(s, 2), (std::vector<uint16_t>{0x41, 0xE9}));
  EXPECT_EQ(xp_str_wget(s, nullptr, 10), 3);
  EXPECT_EQ(xp_str_wget(s, nullptr, 2), 2);
  EXPECT_EQ(xp_str_wget(s, nullptr, 0), 0);
  EXPECT_EQ(xp_str_wget(s, nullptr, -1), 0);
  EXPECT_EQ(xp_str_wget(nullptr, nullptr, 5), 0);
  xp_str_release(s);

  // Four-byte sequences are cut to 16 bits; stray continuation bytes are
  // skipped; a new lead abandons an unfinished sequence; FE and FF start
  // nothing.
  xp_str *odd = xp_str_make(
      "\xf0\x9f\x98\x80"
      "\x80\x80"
      "\xe2\x82"
      "\xc3\xa9"
      "\xfe\x80"
      "\xe2"
      "z",
      -1);
  EXPECT_EQ(wget_all(odd, 20), (std::vector<uint16_t>{0xF600, 0xE9, 'z'}));
  xp_str_release(odd);
}

TEST(StrWide, WgetUndoesWmakeForEveryUnit) {
  std::mt19937 rng(7);
  std::vector<uint16_t> units = random_units(rng, 5000);
  for (auto &u : units)
    if (u == 0) u = 1;
  std::vector<uint16_t> stored(units.size());
  for (size_t i = 0; i < units.size(); i++)
    stored[i] = be(units[i]);
  if (stored[0] == 0xFEFF || stored[0] == 0xFFFE) stored[0] = be(units[0] = 'x');
  xp_str *s = xp_str_wmake(stored.data(), static_cast<intptr_t>(stored.size()));
  EXPECT_EQ(wget_all(s, 6000), units);
  xp_str_release(s);
}

}  // namespace
