// Address text: rendering, reading back, agreement with inet_ntop/inet_pton,
// and buffers never written past.
#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "xp/fmt/xp_fmt.h"

namespace {

using Bytes = std::vector<unsigned char>;

std::string render(int kind, const Bytes &a, intptr_t size = 64) {
  std::vector<char> buf(64, '#');
  intptr_t n = xp_fmt_addr(buf.data(), size, kind, a.data());
  return n < 0 ? "<" + std::to_string(n) + ">" : std::string(buf.data(), static_cast<size_t>(n));
}

Bytes groups(std::initializer_list<unsigned> g) {
  Bytes a;
  for (unsigned v : g) {
    a.push_back(static_cast<unsigned char>(v >> 8));
    a.push_back(static_cast<unsigned char>(v));
  }
  return a;
}

// Reads from a heap copy of exactly the text (plus `tail`) so that ASan
// catches a read past it.
int read(const std::string &text, Bytes *out, intptr_t size = 16, const std::string &tail = "") {
  std::vector<char> copy(text.begin(), text.end());
  copy.insert(copy.end(), tail.begin(), tail.end());
  out->assign(16, 0xEE);
  char empty = 0;
  return xp_fmt_getaddr(out->data(), size, copy.empty() ? &empty : copy.data(),
                        static_cast<intptr_t>(text.size()));
}

Bytes head(const Bytes &b, size_t n) {
  return Bytes(b.begin(), b.begin() + n);
}

TEST(AddrRender, Ipv6ShortensTheFirstZeroRun) {
  EXPECT_EQ(render(-1, Bytes(16, 0)), "::");
  EXPECT_EQ(render(-1, groups({1, 0, 2, 0, 0, 0, 0, 3})), "1::2:0:0:0:0:3");
  EXPECT_EQ(render(-1, groups({1, 2, 3, 4, 5, 6, 7, 0})), "1:2:3:4:5:6:7::");
  EXPECT_EQ(render(-1, groups({0, 1, 0, 0, 0, 0, 0, 0})), "::1:0:0:0:0:0:0");
  // Measuring gives an upper bound plus one.
  EXPECT_EQ(xp_fmt_addr(nullptr, 0, -1, groups({1, 2, 3, 4, 5, 6, 7, 8}).data()), 40);
  EXPECT_EQ(xp_fmt_addr(nullptr, 0, -1, groups({1, 0, 2, 0, 0, 0, 0, 3}).data()), 36);
  // A group that does not fit is dropped; its ":" stays.
  Bytes a = groups({0x1234, 0x5678, 0x9abc, 0, 0, 0, 0, 0xdef0});
  EXPECT_EQ(render(-1, a, 14), "1234:5678:::");
  EXPECT_EQ(render(-1, a, 20), "1234:5678:9abc::");
  EXPECT_EQ(render(-1, a, 4), "::::");
  EXPECT_EQ(render(-1, a, 0), "");
}

TEST(AddrRender, FixedKindsAndRoomChecks) {
  EXPECT_EQ(render(0, {0x12, 0x34, 0x56}), "4660.86");
  EXPECT_EQ(render(1, {10, 0, 255, 1}), "10.0.255.1");
  Bytes hex{0xde, 0xad, 0xbe, 0xef, 0x01, 0x23, 0x45, 0x67, 0x89, 0xab};
  std::vector<char> buf(32, 0);
  EXPECT_EQ(xp_fmt_addr(buf.data(), 32, 2, hex.data()), 23);  // 23 reported, 25 written
  EXPECT_STREQ(buf.data(), "0xDEADBEEF/0x0123456789AB");
  Bytes z(16, 0);
  buf.assign(32, '#');
  for (auto [size, kind] : {std::pair{7, 0}, {14, 1}, {22, 2}})
    EXPECT_EQ(xp_fmt_addr(buf.data(), size, kind, z.data()), -1) << kind;
  EXPECT_EQ(buf[0], '#');
  EXPECT_EQ(xp_fmt_addr(nullptr, 0, 0, z.data()), 8);
  EXPECT_EQ(xp_fmt_addr(nullptr, 0, 1, nullptr), 15);
  EXPECT_EQ(xp_fmt_addr(buf.data(), 32, 3, z.data()), 0);
  EXPECT_EQ(xp_fmt_addr(buf.data(), 32, 1, nullptr), -1);
  EXPECT_EQ(render(0, {0xff, 0xff, 0xff}, 8), "65535.25");  // cut to the room
}

// Every kind into every size: nothing past the size changes, the count
// never exceeds it, and the fixed kinds write a prefix of the text.
TEST(AddrRender, GuardBytesAtEverySize) {
  std::mt19937 rng(7);
  std::vector<Bytes> addrs = {Bytes(16, 0), Bytes(16, 0xff), groups({0x1234, 0, 0xabcd, 0, 0, 1})};
  addrs.back().resize(16);
  for (int i = 0; i < 20; ++i) {
    Bytes a(16);
    for (auto &b : a)
      b = (rng() & 1) ? 0 : static_cast<unsigned char>(rng());
    addrs.push_back(a);
  }
  for (int kind = -1; kind <= 2; ++kind) {
    for (const Bytes &a : addrs) {
      std::string full = render(kind, a, 64);
      std::vector<char> whole(32);
      xp_fmt_addr(whole.data(), 32, kind, a.data());
      for (intptr_t size = 0; size <= 40; ++size) {
        std::vector<char> buf(size + 16, '\x5a');
        intptr_t n = xp_fmt_addr(buf.data(), size, kind, a.data());
        for (size_t j = static_cast<size_t>(size); j < buf.size(); ++j)
          ASSERT_EQ(buf[j], '\x5a') << "kind " << kind << " size " << size;
        ASSERT_LE(n, size);
        if (kind >= 0 && n >= 0) {
          size_t written = kind == 2 ? std::min<size_t>(size, 25) : static_cast<size_t>(n);
          ASSERT_EQ(std::string(buf.data(), written), std::string(whole.data(), written));
        }
        if (kind == -1 && size >= 40) {
          ASSERT_EQ(std::string(buf.data(), n), full);
        }
      }
    }
  }
}

// Our rule and inet_ntop's agree when the first zero run is also the
// earliest longest one, at least two groups long, and no IPv4 tail form
// applies. Elsewhere the text differs but names the same address.
TEST(AddrOracle, Ipv6AgainstInetNtopAndInetPton) {
  std::mt19937 rng(2);
  int same = 0, differ = 0;
  for (int i = 0; i < 40000; ++i) {
    Bytes a(16);
    unsigned g[8];
    for (int k = 0; k < 8; ++k) {
      unsigned r = rng();
      g[k] = (r & 3) ? 0 : (r >> 8) & ((r & 4) ? 0xffff : 0xf);
      if (i % 4 == 0 && k < 6) g[k] = 0;
      a[2 * k] = static_cast<unsigned char>(g[k] >> 8);
      a[2 * k + 1] = static_cast<unsigned char>(g[k]);
    }
    std::string mine = render(-1, a, 64);
    ASSERT_EQ(render(-1, a, xp_fmt_addr(nullptr, 0, -1, a.data())), mine);
    unsigned char back[16];
    ASSERT_EQ(inet_pton(AF_INET6, mine.c_str(), back), 1) << mine;
    ASSERT_EQ(Bytes(back, back + 16), a) << mine;

    int first_len = 0, best_len = 0;
    for (int k = 0, run = 0; k <= 8; ++k) {
      if (k < 8 && !g[k]) {
        ++run;
        continue;
      }
      if (run && !first_len) first_len = run;
      best_len = std::max(best_len, run);
      run = 0;
    }
    bool v4_tail = !g[0] && !g[1] && !g[2] && !g[3] && !g[4];
    bool agree = !first_len || (first_len >= 2 && first_len == best_len && !v4_tail);
    char theirs[INET6_ADDRSTRLEN];
    ASSERT_NE(inet_ntop(AF_INET6, a.data(), theirs, sizeof theirs), nullptr);
    if (agree) {
      ASSERT_EQ(mine, theirs);
      ++same;
    } else if (!v4_tail) {
      ASSERT_NE(mine, theirs);
      ++differ;
    }
  }
  EXPECT_GT(same, 1000);
  EXPECT_GT(differ, 1000);
}

TEST(AddrOracle, Ipv4AgainstInetNtopAndInetPton) {
  std::mt19937 rng(3);
  int accepted = 0;
  for (int i = 0; i < 30000; ++i) {
    Bytes a(4);
    for (auto &b : a)
      b = static_cast<unsigned char>(rng() % (i % 3 ? 256 : 12));
    char expect[INET_ADDRSTRLEN];
    ASSERT_NE(inet_ntop(AF_INET, a.data(), expect, sizeof expect), nullptr);
    ASSERT_EQ(render(1, a, 15), expect);

    // Dotted texts, some with leading zeros or fields out of range.
    std::string text;
    int fields = 3 + rng() % 3;
    for (int f = 0; f < fields; ++f) {
      if (f) text += '.';
      if (rng() % 8 == 0) text += '0';
      text += std::to_string(rng() % (rng() % 2 ? 256 : 300));
    }
    unsigned char bin[4];
    if (inet_pton(AF_INET, text.c_str(), bin) != 1) continue;
    ++accepted;
    Bytes out;
    ASSERT_EQ(read(text, &out), 1) << text;
    ASSERT_EQ(head(out, 5), Bytes({bin[0], bin[1], bin[2], bin[3], 0xEE})) << text;
  }
  EXPECT_GT(accepted, 3000);
}

TEST(AddrRead, Forms) {
  struct {
    const char *text;
    int kind;
    Bytes head;
  } cases[] = {
      {"  10.1.2.3\t", 1, {10, 1, 2, 3, 0xEE}},
      {"300.1.1.1", 1, {44, 1, 1, 1}},
      {"1.2.", 1, {1, 2, 0, 0}},  // missing fields are 0
      {"1x2. 3.4.5.6", 1, {1, 2, 3, 4}},
      {"12.34", 0, {0, 12, 34, 0xEE}},
      {"4660.86", 0, {0x12, 0x34, 86}},
      {"fe80::1", 0, {0, 0, 0}},  // no IPv6 reading
      {"12::", 0, {0, 0, 12}},
      {"$1234.5f", 0, {0x12, 0x34, 0x5f, 0xEE}},
      {"$12345.6", 0, {0, 0, 0}},  // no dot at 5: decimal, '$' ends it
  };
  for (const auto &c : cases) {
    Bytes out;
    EXPECT_EQ(read(c.text, &out), c.kind) << c.text;
    EXPECT_EQ(head(out, c.head.size()), c.head) << c.text;
  }
  Bytes out(16, 0xEE);
  for (const char *blank : {"", " \t "})
    EXPECT_EQ(xp_fmt_getaddr(out.data(), 16, blank, -1), -1);
  EXPECT_EQ(xp_fmt_getaddr(out.data(), 16, nullptr, -1), -1);
  EXPECT_EQ(xp_fmt_getaddr(out.data(), 16, "1.2.3.4", 0), -1);
  EXPECT_EQ(xp_fmt_getaddr(nullptr, 0, "1.2", -1), 0);
  EXPECT_EQ(xp_fmt_getaddr(out.data(), 0, "1.2.3.4", -1), 1);
  EXPECT_EQ(out, Bytes(16, 0xEE));
}

TEST(AddrRead, HexNetNodeAndItsTwoExtraCharacters) {
  Bytes a{0xde, 0xad, 0xbe, 0xef, 0x01, 0x23, 0x45, 0x67, 0x89, 0xab};
  std::vector<char> text(25);
  ASSERT_EQ(xp_fmt_addr(text.data(), 25, 2, a.data()), 23);
  std::string whole(text.begin(), text.end()), cut = whole.substr(0, 23);
  Bytes out;
  // The writer's count with its whole text behind: all ten bytes.
  EXPECT_EQ(read(" " + cut, &out, 16, whole.substr(23)), 2);
  EXPECT_EQ(head(out, 11), Bytes({0xde, 0xad, 0xbe, 0xef, 1, 0x23, 0x45, 0x67, 0x89, 0xab, 0xEE}));
  // Zero-terminated 25 is not kind 2; zero-terminated 23 reads nothing past.
  EXPECT_EQ(xp_fmt_getaddr(out.data(), 16, whole.c_str(), -1), 0);
  auto *heap = static_cast<char *>(malloc(24));
  memcpy(heap, cut.c_str(), 24);
  EXPECT_EQ(xp_fmt_getaddr(out.data(), 16, heap, -1), 2);
  EXPECT_EQ(out[9], 0x00);
  free(heap);
}

// Each reader into every out size: bytes past the size stay, bytes within
// it match the full result.
TEST(AddrRead, GuardBytesAtEveryOutSize) {
  const std::pair<std::string, std::string> texts[] = {{"0xDEADBEEF/0x0123456789", "AB"},
                                                       {"$1234.5f", ""},
                                                       {"10.20.30.40", ""},
                                                       {"4660.86", ""},
                                                       {"99", ""},
                                                       {"1.2.3.4.5.6", ""}};
  for (const auto &[text, tail] : texts) {
    Bytes full;
    int kind = read(text, &full, 16, tail);
    for (intptr_t size = 0; size <= 12; ++size) {
      Bytes out;
      ASSERT_EQ(read(text, &out, size, tail), kind);
      for (intptr_t j = 0; j < 16; ++j)
        ASSERT_EQ(out[j], j < size ? full[j] : 0xEE) << text << " size " << size;
    }
  }
}

TEST(AddrRead, RendersReadBack) {
  std::mt19937 rng(4);
  for (int i = 0; i < 5000; ++i) {
    Bytes a(10);
    for (auto &b : a)
      b = static_cast<unsigned char>(rng());
    for (int kind = 0; kind <= 2; ++kind) {
      std::vector<char> buf(25);
      intptr_t n = xp_fmt_addr(buf.data(), 25, kind, a.data());
      Bytes out;
      std::string text(buf.data(), n), tail(buf.data() + n, buf.data() + 25);
      ASSERT_EQ(read(text, &out, 16, kind == 2 ? tail.substr(0, 2) : ""), kind);
      size_t len = kind == 0 ? 3 : kind == 1 ? 4 : 10;
      ASSERT_EQ(head(out, len), head(a, len)) << text;
    }
  }
}

}  // namespace
