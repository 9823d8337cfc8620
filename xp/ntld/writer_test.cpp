// The writer: byte-exact items, containers and their chain, the three modes
// giving the same bytes, running out of room, reuse, the sizing depth limit,
// dynamic growth and allocation failure.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "xp/core/xp_core_internal.h"
#include "xp/ntld/xp_ntld_internal.h"
#include "xp/str/xp_str.h"

namespace {

using Bytes = std::vector<uint8_t>;

constexpr uint32_t kKey = XP_TAG('k', 'e', 'y', '1');

Bytes bytes_of(const void *p, size_t n) {
  const auto *b = static_cast<const uint8_t *>(p);
  return Bytes(b, b + n);
}

Bytes header(uint32_t tag, const char *type, uint32_t be_length) {
  Bytes h(12);
  std::memcpy(h.data(), &tag, 4);
  std::memcpy(h.data() + 4, type, 4);
  for (int i = 0; i < 4; ++i)
    h[8 + i] = uint8_t(be_length >> (24 - 8 * i));
  return h;
}

Bytes cat(Bytes a, const Bytes &b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

TEST(NtldWriter, ItemsAreByteExact) {
  uint8_t buf[256];
  std::memset(buf, 0xAA, sizeof buf);
  xp_ntld *w = xp_ntld_new(buf, sizeof buf);
  ASSERT_NE(w, nullptr);
  EXPECT_EQ(xp_type(w), XP_TYPE_NTLD);

  EXPECT_EQ(xp_ntld_add_string(w, kKey, "abcde"), 20u);
  EXPECT_EQ(xp_ntld_add_number(w, 2, 1), 16u);
  EXPECT_EQ(xp_ntld_add_number(w, 3, -2), 16u);
  EXPECT_EQ(xp_ntld_add_tag(w, 4, XP_TAG('w', 'x', 'y', 'z')), 16u);
  EXPECT_EQ(xp_ntld_add(w, 5, XP_TAG('b', 'l', 'o', 'b'), 2, nullptr), 16u);
  EXPECT_EQ(xp_ntld_escapedtext(w, 6, 0, ""), 12u);

  Bytes want = cat(header(kKey, "text", 5), {'a', 'b', 'c', 'd', 'e', 0, 0, 0});
  want = cat(want, cat(header(2, "long", 4), {0, 0, 0, 1}));
  want = cat(want, cat(header(3, "long", 4), {0xFF, 0xFF, 0xFF, 0xFE}));
  want = cat(want, cat(header(4, "ctag", 4), {'w', 'x', 'y', 'z'}));
  want = cat(want, cat(header(5, "blob", 2), {0, 0, 0, 0}));
  want = cat(want, header(6, "text", 0));
  EXPECT_EQ(bytes_of(buf, want.size()), want);
  EXPECT_EQ(buf[want.size()], 0xAA) << "wrote past the last item";
  xp_release(w);
}

TEST(NtldWriter, EscapedText) {
  struct Case {
    const char *in;
    intptr_t len;
    const char *out;
    uint32_t out_len;
  } cases[] = {
      {"a\\b\\", 4, "ab", 2},    {"\\\\", 2, "\\", 1},        {"\\", 1, "", 0},
      {"x\\\\y", -1, "x\\y", 3}, {"\\a\\b\\c", -1, "abc", 3}, {"plain text", -1, "plain text", 10},
      {"a\0b", 3, "a\0b", 3},  // an explicit length keeps zero bytes
  };
  for (const Case &c : cases) {
    uint8_t buf[64];
    std::memset(buf, 0xAA, sizeof buf);
    xp_ntld *w = xp_ntld_new(buf, sizeof buf);
    uint32_t total = 12 + ((c.out_len + 3) & ~3u);
    EXPECT_EQ(xp_ntld_escapedtext(w, 9, c.len, c.in), total) << c.in;
    Bytes want = cat(header(9, "text", c.out_len), bytes_of(c.out, c.out_len));
    want.resize(total, 0);
    EXPECT_EQ(bytes_of(buf, total), want) << c.in;
    // Sizing mode counts the same total.
    xp_ntld *s = xp_ntld_new(nullptr, 0);
    EXPECT_EQ(xp_ntld_escapedtext(s, 9, c.len, c.in), total) << c.in;
    xp_release(s);
    xp_release(w);
  }
  EXPECT_EQ(xp_ntld_escapedtext(nullptr, 1, 1, "a"), 0u);
}

TEST(NtldWriter, ContainersChainAndClose) {
  uint8_t buf[128];
  xp_ntld *w = xp_ntld_new(buf, sizeof buf);
  xp_ntld_open(w, 1, XP_TAG('r', 'o', 'o', 't'));
  // While open, the length field links to the enclosing container.
  EXPECT_EQ(xpn::load32(buf + 8), xpn::kNone);
  xp_ntld_add_number(w, 2, 7);
  xp_ntld_open(w, 3, XP_TAG('l', 'i', 's', 't'));
  EXPECT_EQ(xpn::load32(buf + 28 + 8), 0u);
  EXPECT_EQ(xp_ntld_check(w), 0u) << "open containers make the tree incomplete";
  EXPECT_EQ(xp_ntld_count(w), 0) << "readers refuse a writer with open containers";
  xp_ntld_open(w, 4, XP_TAG('e', 'm', 't', 'y'));
  EXPECT_EQ(xp_ntld_close(w), 12u) << "an empty container";
  xp_ntld_add_tag(w, 5, 0x01020304);
  // Two levels still open: one length call closes both.
  EXPECT_EQ(xp_ntld_length(w), 12u + 16 + 12 + 12 + 16);
  EXPECT_EQ(xp_ntld_close(w), 0u);
  Bytes want = header(1, "root", 56);
  want = cat(want, cat(header(2, "long", 4), {0, 0, 0, 7}));
  want = cat(want, header(3, "list", 28));
  want = cat(want, header(4, "emty", 0));
  uint32_t code = 0x01020304;
  want = cat(want, cat(header(5, "ctag", 4), bytes_of(&code, 4)));
  EXPECT_EQ(bytes_of(buf, want.size()), want);
  EXPECT_EQ(xp_ntld_data(w), buf);
  xp_release(w);

  // Release closes whatever is open, so a caller's buffer is left complete.
  w = xp_ntld_new(buf, sizeof buf);
  xp_ntld_open(w, 1, XP_TAG('r', 'o', 'o', 't'));
  xp_ntld_add_number(w, 2, 7);
  xp_release(w);
  EXPECT_EQ(bytes_of(buf, 12), header(1, "root", 16));
}

TEST(NtldWriter, FixedModeRefusesWhatDoesNotFit) {
  uint8_t buf[40];
  std::memset(buf, 0xAA, sizeof buf);
  xp_ntld *w = xp_ntld_new(buf, 36);
  EXPECT_EQ(xp_ntld_add_string(w, 1, "0123456789abcdef012345678"), 0u) << "40 bytes, 36 free";
  EXPECT_EQ(xp_ntld_add_string(w, 1, "0123456789abc"), 28u);
  EXPECT_EQ(xp_ntld_add_number(w, 2, 5), 0u) << "16 bytes, 8 free";
  EXPECT_EQ(buf[28], 0xAA) << "a refused item writes nothing";
  xp_ntld_open(w, 3, XP_TAG('c', 'o', 'n', 't'));
  EXPECT_EQ(xp_ntld_close(w), 0u) << "a refused open leaves nothing to close";
  EXPECT_EQ(xp_ntld_escapedtext(w, 4, 5, "abcde"), 0u);
  EXPECT_EQ(xp_ntld_add(w, 5, XP_TAG('z', 'e', 'r', 'o'), 0, nullptr), 0u);
  EXPECT_EQ(buf[28], 0xAA);
  xp_ntld_reset(w, buf, 40);
  EXPECT_EQ(xp_ntld_add_number(w, 2, 5), 16u) << "after reset, writing starts over";
  EXPECT_EQ(xp_ntld_add(w, 5, XP_TAG('z', 'e', 'r', 'o'), 0, nullptr), 12u);
  EXPECT_EQ(xp_ntld_add(w, 6, XP_TAG('z', 'e', 'r', 'o'), 0, nullptr), 12u);
  EXPECT_EQ(xp_ntld_add(w, 7, XP_TAG('z', 'e', 'r', 'o'), 0, nullptr), 0u);
  EXPECT_EQ(xp_ntld_check(w), 16u) << "the root is the first item";
  EXPECT_EQ(xp_ntld_dyndata(w), nullptr) << "no data object outside dynamic mode";
  xp_release(w);
}

TEST(NtldWriter, SmallerItemsStillFitAfterARefusal) {
  uint8_t buf[48];
  xp_ntld *w = xp_ntld_new(buf, sizeof buf);
  xp_ntld_open(w, 1, XP_TAG('r', 'o', 'o', 't'));
  EXPECT_EQ(xp_ntld_add(w, 2, XP_TAG('b', 'i', 'g', ' '), 100, nullptr), 0u);
  EXPECT_EQ(xp_ntld_add_number(w, 3, 9), 16u);
  EXPECT_EQ(xp_ntld_add_tag(w, 4, 1), 16u);
  EXPECT_EQ(xp_ntld_add_tag(w, 5, 1), 0u);
  EXPECT_EQ(xp_ntld_length(w), 44u);
  EXPECT_EQ(xp_ntld_getlongbyname(w, 3), 9);
  xp_release(w);
}

// A random tree script run in every mode must give the same bytes.
void run_script(xp_ntld *w, uint32_t seed) {
  std::mt19937 rng(seed);
  int depth = 0;
  for (int i = 0; i < 300; ++i) {
    switch (rng() % 6) {
      case 0:
        if (depth < 60) {
          xp_ntld_open(w, rng(), XP_TAG('c', 'o', 'n', 't'));
          ++depth;
        }
        break;
      case 1:
        if (depth) {
          xp_ntld_close(w);
          --depth;
        }
        break;
      case 2:
        xp_ntld_add_number(w, rng(), int32_t(rng()));
        break;
      case 3: {
        char text[40];
        size_t n = rng() % sizeof text;
        for (size_t k = 0; k < n; ++k)
          text[k] = char('a' + rng() % 3);
        text[n] = 0;
        xp_ntld_add_string(w, rng(), text);
        break;
      }
      case 4: {
        Bytes b(rng() % 700);
        for (auto &x : b)
          x = uint8_t(rng());
        xp_ntld_add(w, rng(), XP_TAG('b', 'l', 'o', 'b'), uint32_t(b.size()), b.data());
        break;
      }
      default:
        xp_ntld_escapedtext(w, rng(), 5, "a\\\\b\\");
        break;
    }
  }
}

TEST(NtldWriter, ModesAgree) {
  for (uint32_t seed = 1; seed <= 20; ++seed) {
    xp_ntld *sizing = xp_ntld_new(nullptr, 12345);
    xp_ntld_open(sizing, 1, XP_TAG('r', 'o', 'o', 't'));
    run_script(sizing, seed);
    while (xp_ntld_close(sizing)) {
    }
    uint32_t size = sizing->offset;
    EXPECT_EQ(xp_ntld_length(sizing), 0u) << "sizing mode has no tree to check";
    xp_release(sizing);

    Bytes fixed(size);
    xp_ntld *f = xp_ntld_new(fixed.data(), size);
    xp_ntld_open(f, 1, XP_TAG('r', 'o', 'o', 't'));
    run_script(f, seed);
    ASSERT_EQ(xp_ntld_length(f), size) << seed;
    EXPECT_EQ(xp_ntld_verify(f, size), size);
    xp_release(f);

    xp_ntld *d = xp_ntld_new(nullptr, XP_NTLD_DYNAMIC);
    xp_ntld_open(d, 1, XP_TAG('r', 'o', 'o', 't'));
    run_script(d, seed);
    ASSERT_EQ(xp_ntld_length(d), size) << seed;
    xp_data *data = xp_ntld_dyndata(d);
    ASSERT_EQ(xp_data_length(data), size) << "exactly the bytes written";
    EXPECT_EQ(bytes_of(xp_data_getptr(data), size), fixed) << seed;
    xp_release(data);
    xp_release(d);
  }
}

TEST(NtldWriter, SizingDepthLimitIsKept) {
  xp_ntld *s = xp_ntld_new(nullptr, 0);
  for (int i = 0; i < 70; ++i)
    xp_ntld_open(s, 1, XP_TAG('d', 'e', 'e', 'p'));
  EXPECT_EQ(s->offset, 64u * 12) << "opens past 64 are ignored, offset included";
  xp_ntld_add_number(s, 2, 3);
  EXPECT_EQ(xp_ntld_close(s), 28u);
  int closed = 1;
  while (xp_ntld_close(s))
    ++closed;
  EXPECT_EQ(closed, 64);
  xp_release(s);
}

TEST(NtldWriter, DynamicGrowthAndHandOut) {
  xp_ntld *w = xp_ntld_new(nullptr, XP_NTLD_DYNAMIC);
  ASSERT_NE(w, nullptr);
  xp_data *empty = xp_ntld_dyndata(w);
  ASSERT_NE(empty, nullptr);
  EXPECT_EQ(xp_data_length(empty), 0u);
  xp_release(empty);

  xp_ntld_open(w, 1, XP_TAG('r', 'o', 'o', 't'));
  for (int i = 0; i < 5000; ++i)
    ASSERT_EQ(xp_ntld_add_number(w, uint32_t(i), i), 16u);
  xp_data *first = xp_ntld_dyndata(w);
  uint32_t size = 12 + 5000 * 16;
  ASSERT_EQ(xp_data_length(first), size);
  EXPECT_EQ(xp_ntld_getlongbyindex(xp_data_getptr(first), 4999), 4999);
  xp_data *again = xp_ntld_dyndata(w);
  EXPECT_EQ(again, first) << "nothing written since: the same object";
  xp_release(again);

  // Writing on never changes the object handed out.
  Bytes before = bytes_of(xp_data_getptr(first), size);
  xp_ntld_add_string(w, 7, "more");
  xp_data *second = xp_ntld_dyndata(w);
  EXPECT_EQ(bytes_of(xp_data_getptr(first), size), before);
  EXPECT_EQ(xp_data_length(second), size + 16);
  EXPECT_EQ(xp_ntld_check(w), size) << "the root is followed by a second item";
  xp_release(first);
  xp_release(second);
  xp_release(w);
}

TEST(NtldWriter, DynamicStoreIsReadNeverChanged) {
  // Spare zero bytes of the store are used before the tree grows.
  xp_data *store = xp_data_new(nullptr, 20);
  xp_ntld *w = xp_ntld_new(store, XP_NTLD_DYNAMIC);
  EXPECT_EQ(xp_ntld_add_number(w, 1, 0x01020304), 16u);
  EXPECT_EQ(xp_ntld_add_number(w, 2, 5), 16u);
  xp_data *out = xp_ntld_dyndata(w);
  // 20 bytes of room: the first item fits, the second adds 16 more, and
  // the 4 bytes that were too few stay at the end.
  EXPECT_EQ(xp_data_length(out), 36u);
  EXPECT_EQ(bytes_of(xp_data_getptr(out), 36), cat(cat(cat(header(1, "long", 4), {1, 2, 3, 4}),
                                                       cat(header(2, "long", 4), {0, 0, 0, 5})),
                                                   {0, 0, 0, 0}));
  EXPECT_EQ(bytes_of(xp_data_getptr(store), 20), Bytes(20, 0)) << "the store is never changed";
  xp_release(out);
  // Nothing written: the store itself comes back.
  xp_ntld_reset(w, store, XP_NTLD_DYNAMIC);
  out = xp_ntld_dyndata(w);
  EXPECT_EQ(out, store);
  xp_release(out);
  xp_release(w);
  xp_release(store);

  // Only data objects can be a store.
  xp_obj *other = xp_new(XP_TYPE_STR, 0);
  EXPECT_EQ(xp_ntld_new(other, XP_NTLD_DYNAMIC), nullptr);
  w = xp_ntld_new(nullptr, XP_NTLD_DYNAMIC);
  EXPECT_EQ(xp_ntld_reset(w, other, XP_NTLD_DYNAMIC), 0);
  EXPECT_EQ(xp_ntld_add_number(w, 1, 1), 0u);
  EXPECT_EQ(xp_ntld_dyndata(w), nullptr);
  xp_release(w);
  xp_release(other);
}

TEST(NtldWriter, NullWriterIsHarmless) {
  xp_ntld_open(nullptr, 1, 2);
  EXPECT_EQ(xp_ntld_close(nullptr), 0u);
  EXPECT_EQ(xp_ntld_add(nullptr, 1, 2, 3, nullptr), 0u);
  EXPECT_EQ(xp_ntld_add_string(nullptr, 1, "x"), 0u);
  EXPECT_EQ(xp_ntld_data(nullptr), nullptr);
  EXPECT_EQ(xp_ntld_dyndata(nullptr), nullptr);
  EXPECT_EQ(xp_ntld_length(nullptr), 0u);
  EXPECT_EQ(xp_ntld_check(nullptr), 0u);
  EXPECT_EQ(xp_ntld_reset(nullptr, nullptr, 0), 0);
  xp_ntld_release(nullptr);
}

TEST(NtldWriter, AllocationFailureLosesNothingElse) {
  for (long k = 1;; ++k) {
    xpc::fail_alloc_after(k);
    xp_ntld *w = xp_ntld_new(nullptr, XP_NTLD_DYNAMIC);
    xp_data *d = nullptr;
    uint32_t opened = 0, written = 0;
    if (w) {
      xp_ntld_open(w, 1, XP_TAG('r', 'o', 'o', 't'));
      opened = w->offset;
      for (int i = 0; i < 200; ++i)
        written += xp_ntld_add(w, 2, XP_TAG('b', 'l', 'o', 'b'), 100, nullptr);
      d = xp_ntld_dyndata(w);
    }
    bool pending = xpc::alloc_failure_pending();
    xpc::fail_alloc_after(0);
    if (d) {
      // Either the failure came after the tree was finished, or it did not
      // happen at all; a tree handed out is always whole.
      EXPECT_EQ(xp_data_length(d), opened + written);
      if (opened) {
        EXPECT_EQ(xp_ntld_verify(xp_data_getptr(d), intptr_t(xp_data_length(d))), opened + written);
      }
    }
    xp_release(d);
    xp_release(w);
    if (pending) break;
    ASSERT_LT(k, 100);
  }
}

}  // namespace
