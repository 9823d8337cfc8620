// Address text: rendering, reading back, IPv4 against inet_ntop/inet_pton,
// and buffers never written past (IPv6 against the C library, and every
// size of every kind, are the fuzz target's).
#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "xp/fmt/xp_fmt.h"

using Bytes = std::vector<unsigned char>;
// A net/node address (kind 2).
static const Bytes kNetNode = {0xde, 0xad, 0xbe, 0xef, 0x01, 0x23, 0x45, 0x67, 0x89, 0xab};

// The text written with the given room, or "<result>" when it fails.
static std::string render(int kind, const Bytes &a, intptr_t size = 64) {
  std::vector<char> buf(64, '#');
  intptr_t n = xp_fmt_addr(buf.data(), size, kind, a.data());
  return n < 0 ? "<" + std::to_string(n) + ">" : std::string(buf.data(), static_cast<size_t>(n));
}

static Bytes groups(std::initializer_list<unsigned> g) {
  Bytes a;
  for (unsigned v : g)
    a.insert(a.end(), {static_cast<unsigned char>(v >> 8), static_cast<unsigned char>(v)});
  return a;
}

// Reads from a heap copy of exactly the text (plus `tail`), so that ASan
// catches a read past it; out starts as 16 bytes of 0xEE.
static int read(const std::string &text, Bytes *out, intptr_t size = 16,
                const std::string &tail = "") {
  std::string copy = text + tail;
  std::vector<char> heap(copy.begin(), copy.end());
  out->assign(16, 0xEE);
  return xp_fmt_getaddr(out->data(), size, heap.empty() ? "" : heap.data(),
                        static_cast<intptr_t>(text.size()));
}

static Bytes head(const Bytes &b, size_t n) {
  return Bytes(b.begin(), b.begin() + n);
}

TEST(AddrRender, FormsAndRoom) {
  Bytes a = groups({0x1234, 0x5678, 0x9abc, 0, 0, 0, 0, 0xdef0}), z(16, 0);
  const struct {
    int kind;
    Bytes addr;
    intptr_t size;
    const char *want;
  } cases[] = {// IPv6: the first zero run is shortened, even a single group.
               {-1, z, 64, "::"},
               {-1, groups({1, 0, 2, 0, 0, 0, 0, 3}), 64, "1::2:0:0:0:0:3"},
               {-1, groups({1, 2, 3, 4, 5, 6, 7, 0}), 64, "1:2:3:4:5:6:7::"},
               {-1, groups({0, 1, 0, 0, 0, 0, 0, 0}), 64, "::1:0:0:0:0:0:0"},
               // A group that does not fit is dropped; its ":" stays.
               {-1, a, 14, "1234:5678:::"},
               {-1, a, 20, "1234:5678:9abc::"},
               {-1, a, 4, "::::"},
               {-1, a, 0, ""},
               {0, {0x12, 0x34, 0x56}, 64, "4660.86"},
               {0, {0xff, 0xff, 0xff}, 8, "65535.25"},  // cut to the room
               {1, {10, 0, 255, 1}, 64, "10.0.255.1"},
               {2, kNetNode, 64, "0xDEADBEEF/0x0123456789"},
               {0, z, 7, "<-1>"},  // the fixed kinds need their room
               {1, z, 14, "<-1>"},
               {2, z, 22, "<-1>"},
               {3, z, 32, ""}};
  for (const auto &c : cases)
    EXPECT_EQ(render(c.kind, c.addr, c.size), c.want) << c.kind << " " << c.size;
  // Kind 2 reports 23 but writes 25; measuring gives an upper bound (plus
  // one for IPv6).
  std::vector<char> buf(32, 0);
  EXPECT_EQ(xp_fmt_addr(buf.data(), 32, 2, kNetNode.data()), 23);
  EXPECT_STREQ(buf.data(), "0xDEADBEEF/0x0123456789AB");
  EXPECT_EQ(
      std::vector<intptr_t>(
          {xp_fmt_addr(nullptr, 0, -1, groups({1, 2, 3, 4, 5, 6, 7, 8}).data()),
           xp_fmt_addr(nullptr, 0, -1, cases[1].addr.data()), xp_fmt_addr(nullptr, 0, 0, z.data()),
           xp_fmt_addr(nullptr, 0, 1, nullptr), xp_fmt_addr(buf.data(), 32, 1, nullptr)}),
      std::vector<intptr_t>({40, 36, 8, 15, -1}));
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
    // Dotted texts, some with leading zeros, fields out of range (kept to
    // their low 8 bits while they have at most three digits) or empty.
    std::string text;
    Bytes low;
    int fields = 3 + rng() % 3;
    bool quad = fields == 4;
    for (int f = 0; f < fields; ++f) {
      unsigned v = rng() % (rng() % 8 ? (rng() % 2 ? 256 : 300) : rng() % 2 ? 1000 : 10000);
      std::string digits = std::string(rng() % 8 ? "" : "0") + std::to_string(v);
      if (rng() % 64 == 0) digits.clear();
      quad = quad && !digits.empty() && digits.size() <= 3;
      text += (f ? "." : "") + digits;
      low.push_back(static_cast<unsigned char>(v));
    }
    Bytes out, three;
    ASSERT_EQ(read(text, &out), 1) << text;
    if (quad) {
      ASSERT_EQ(head(out, 4), head(low, 4)) << text;
    }
    // Without room for four bytes the general reader gives the first three.
    ASSERT_EQ(read(text, &three, 3), 1) << text;
    ASSERT_EQ(head(three, 3), head(out, 3)) << text;
    unsigned char bin[4];
    if (inet_pton(AF_INET, text.c_str(), bin) != 1) continue;
    ++accepted;
    ASSERT_EQ(head(out, 5), Bytes({bin[0], bin[1], bin[2], bin[3], 0xEE})) << text;
  }
  EXPECT_GT(accepted, 2000);
}

// The forms read (into every out size: the fuzz target).
TEST(AddrRead, FormsAndGuardBytesAtEveryOutSize) {
  Bytes net_node = kNetNode;  // and nothing past its ten bytes
  net_node.push_back(0xEE);
  const struct {
    std::string text, tail;
    int kind;
    Bytes head;
  } cases[] = {{"  10.1.2.3\t", "", 1, {10, 1, 2, 3, 0xEE}},
               {"300.1.1.1", "", 1, {44, 1, 1, 1}},
               {"1.2.", "", 1, {1, 2, 0, 0}},  // missing fields are 0
               {"1x2. 3.4.5.6", "", 1, {1, 2, 3, 4}},
               {"12.34", "", 0, {0, 12, 34, 0xEE}},
               {"4660.86", "", 0, {0x12, 0x34, 86}},
               {"fe80::1", "", 0, {0, 0, 0}},  // no IPv6 reading
               {"12::", "", 0, {0, 0, 12}},
               {"$1234.5f", "", 0, {0x12, 0x34, 0x5f, 0xEE}},
               {"$12345.6", "", 0, {0, 0, 0}},  // no dot at 5: decimal, '$' ends it
               // The writer's count of kind 2 with its whole text behind: all ten bytes.
               {" 0xDEADBEEF/0x0123456789", "AB", 2, net_node}};
  for (const auto &c : cases) {
    Bytes full;
    EXPECT_EQ(read(c.text, &full, 16, c.tail), c.kind) << c.text;
    EXPECT_EQ(head(full, c.head.size()), c.head) << c.text;
  }
  Bytes out(16, 0xEE);
  for (const char *bad : {"", " \t ", (const char *)nullptr})
    EXPECT_EQ(xp_fmt_getaddr(out.data(), 16, bad, -1), -1);
  EXPECT_EQ(xp_fmt_getaddr(out.data(), 16, "1.2.3.4", 0), -1);
  EXPECT_EQ(xp_fmt_getaddr(nullptr, 0, "1.2", -1), 0);
  EXPECT_EQ(xp_fmt_getaddr(out.data(), 0, "1.2.3.4", -1), 1);
  EXPECT_EQ(out, Bytes(16, 0xEE));
  // Zero-terminated, 25 characters are not kind 2; 23 read nothing past.
  EXPECT_EQ(xp_fmt_getaddr(out.data(), 16, "0xDEADBEEF/0x0123456789AB", -1), 0);
  auto *heap = static_cast<char *>(malloc(24));
  memcpy(heap, "0xDEADBEEF/0x0123456789", 24);
  EXPECT_EQ(xp_fmt_getaddr(out.data(), 16, heap, -1), 2);
  EXPECT_EQ(out[9], 0x00);
  free(heap);
}
