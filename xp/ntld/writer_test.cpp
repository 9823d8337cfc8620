// The writer: byte-exact items, containers and their chain, the three modes
// giving the same bytes, running out of room, the sizing depth limit,
// dynamic growth, and allocation failure.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <vector>

#include "xp/core/xp_core_internal.h"
#include "xp/ntld/xp_ntld_internal.h"
#include "xp/str/xp_str.h"

namespace {

using Bytes = std::vector<uint8_t>;

Bytes bytes_of(const void *p, size_t n) {
  const auto *b = static_cast<const uint8_t *>(p);
  return Bytes(b, b + n);
}

// An item's header followed by the given data bytes (padding included).
Bytes item(uint32_t tag, const char *type, uint32_t length, Bytes data = {}) {
  Bytes h(12 + data.size());
  xpn::store32(h.data(), tag);
  xpn::store32(h.data() + 4, xp_tag(type));
  xpn::store_be(h.data() + 8, length);
  std::copy(data.begin(), data.end(), h.begin() + 12);
  return h;
}

Bytes cat(std::initializer_list<Bytes> parts) {
  Bytes all;
  for (const Bytes &p : parts)
    all.insert(all.end(), p.begin(), p.end());
  return all;
}

TEST(NtldWriter, ItemsAreByteExact) {
  uint8_t buf[128];
  std::memset(buf, 0xAA, sizeof buf);
  xp_ntld *w = xp_ntld_new(buf, sizeof buf);
  EXPECT_EQ(xp_ntld_add_string(w, 1, "abcde"), 20u);
  EXPECT_EQ(xp_ntld_add_number(w, 2, 1), 16u);
  EXPECT_EQ(xp_ntld_add_number(w, 3, -2), 16u);
  EXPECT_EQ(xp_ntld_add_tag(w, 4, XP_TAG('w', 'x', 'y', 'z')), 16u);
  EXPECT_EQ(xp_ntld_add(w, 5, XP_TAG('b', 'l', 'o', 'b'), 2, nullptr), 16u);
  EXPECT_EQ(xp_ntld_escapedtext(w, 6, 0, ""), 12u);
  Bytes want =
      cat({item(1, "text", 5, {'a', 'b', 'c', 'd', 'e', 0, 0, 0}), item(2, "long", 4, {0, 0, 0, 1}),
           item(3, "long", 4, {0xFF, 0xFF, 0xFF, 0xFE}), item(4, "ctag", 4, {'w', 'x', 'y', 'z'}),
           item(5, "blob", 2, {0, 0, 0, 0}), item(6, "text", 0)});
  EXPECT_EQ(bytes_of(buf, want.size()), want);
  EXPECT_EQ(buf[want.size()], 0xAA) << "wrote past the last item";
  xp_release(w);
}

TEST(NtldWriter, EscapedText) {
  struct Case {
    const char *in;
    intptr_t len;
    std::string out;
  } cases[] = {
      {"a\\b\\", 4, "ab"},    {"\\\\", 2, "\\"},        {"\\", 1, ""},
      {"x\\\\y", -1, "x\\y"}, {"\\a\\b\\c", -1, "abc"}, {"a\0b", 3, std::string("a\0b", 3)},
  };
  for (const Case &c : cases) {
    uint8_t buf[32];
    xp_ntld *w = xp_ntld_new(buf, sizeof buf);
    uint32_t n = uint32_t(c.out.size()), total = 12 + ((n + 3) & ~3u);
    EXPECT_EQ(xp_ntld_escapedtext(w, 9, c.len, c.in), total) << c.in;
    Bytes data(c.out.begin(), c.out.end());
    data.resize(total - 12, 0);
    EXPECT_EQ(bytes_of(buf, total), item(9, "text", n, data)) << c.in;
    xp_release(w);
  }
}

TEST(NtldWriter, ContainersChainThroughTheirLengths) {
  uint8_t buf[128];
  xp_ntld *w = xp_ntld_new(buf, sizeof buf);
  xp_ntld_open(w, 1, XP_TAG('r', 'o', 'o', 't'));
  EXPECT_EQ(xpn::load32(buf + 8), xpn::kNone) << "an open root links to nothing";
  xp_ntld_add_number(w, 2, 7);
  xp_ntld_open(w, 3, XP_TAG('l', 'i', 's', 't'));
  EXPECT_EQ(xpn::load32(buf + 28 + 8), 0u) << "links to the root's offset";
  xp_ntld_open(w, 4, XP_TAG('e', 'm', 't', 'y'));
  EXPECT_EQ(xp_ntld_close(w), 12u) << "an empty container";
  xp_ntld_add_tag(w, 5, 0x01020304);
  EXPECT_EQ(xp_ntld_check(w), 0u) << "incomplete while containers are open";
  EXPECT_EQ(xp_ntld_length(w), 68u) << "closes both open levels";
  EXPECT_EQ(xp_ntld_close(w), 0u);
  Bytes want = cat({item(1, "root", 56), item(2, "long", 4, {0, 0, 0, 7}), item(3, "list", 28),
                    item(4, "emty", 0), item(5, "ctag", 4, {4, 3, 2, 1})});
  EXPECT_EQ(bytes_of(xp_ntld_data(w), want.size()), want);
  // Release closes what is open, leaving a caller's buffer complete.
  xp_ntld_reset(w, buf, sizeof buf);
  xp_ntld_open(w, 1, XP_TAG('r', 'o', 'o', 't'));
  xp_ntld_add_number(w, 2, 7);
  xp_release(w);
  EXPECT_EQ(bytes_of(buf, 12), item(1, "root", 16));
}

TEST(NtldWriter, FixedModeRefusesWhatDoesNotFit) {
  uint8_t buf[48];
  std::memset(buf, 0xAA, sizeof buf);
  xp_ntld *w = xp_ntld_new(buf, 44);
  xp_ntld_open(w, 1, XP_TAG('r', 'o', 'o', 't'));
  EXPECT_EQ(xp_ntld_add_string(w, 2, "0123456789abcdefghijk"), 0u) << "36 bytes, 32 free";
  EXPECT_EQ(xp_ntld_add(w, 3, XP_TAG('b', 'i', 'g', ' '), 100, nullptr), 0u);
  EXPECT_EQ(buf[12], 0xAA) << "a refused item writes nothing";
  EXPECT_EQ(xp_ntld_add_number(w, 4, 9), 16u) << "a smaller item still fits";
  EXPECT_EQ(xp_ntld_add_tag(w, 5, 1), 16u);
  EXPECT_EQ(xp_ntld_escapedtext(w, 6, 1, "x"), 0u);
  xp_ntld_open(w, 7, XP_TAG('n', 'o', 'n', 'e'));  // refused: 0 bytes left
  EXPECT_EQ(xp_ntld_length(w), 44u);
  EXPECT_EQ(buf[44], 0xAA);
  EXPECT_EQ(xp_ntld_getlongbyname(w, 4), 9);
  EXPECT_EQ(xp_ntld_dyndata(w), nullptr) << "no data object outside dynamic mode";
  // After a reset the writer starts over.
  xp_ntld_reset(w, buf, 16);
  EXPECT_EQ(xp_ntld_add_tag(w, 8, 1), 16u);
  EXPECT_EQ(xp_ntld_add(w, 9, XP_TAG('z', 'e', 'r', 'o'), 0, nullptr), 0u);
  EXPECT_EQ(xp_ntld_check(w), 16u);
  xp_release(w);
}

// A random tree script: run in every mode, it must give the same bytes.
const char *const kTexts[] = {"", "a", "abcd", "abcdefg"};

void run_script(xp_ntld *w, uint32_t seed) {
  std::mt19937 rng(seed);
  xp_ntld_open(w, 1, XP_TAG('r', 'o', 'o', 't'));
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
      case 3:
        xp_ntld_add_string(w, rng(), kTexts[rng() % 4]);
        break;
      case 4: {
        Bytes b(rng() % 700);
        for (auto &x : b)
          x = uint8_t(rng());
        xp_ntld_add(w, rng(), XP_TAG('b', 'l', 'o', 'b'), uint32_t(b.size()), b.data());
        break;
      }
      default:
        xp_ntld_escapedtext(w, rng(), 5, "a\\\\b\\");
    }
  }
}

TEST(NtldWriter, ModesAgree) {
  for (uint32_t seed = 1; seed <= 20; ++seed) {
    xp_ntld *sizing = xp_ntld_new(nullptr, 12345);
    run_script(sizing, seed);
    while (xp_ntld_close(sizing)) {
    }
    uint32_t size = sizing->offset;
    xp_release(sizing);

    Bytes fixed(size);
    xp_ntld *f = xp_ntld_new(fixed.data(), size);
    run_script(f, seed);
    ASSERT_EQ(xp_ntld_length(f), size) << seed;
    xp_release(f);

    xp_ntld *d = xp_ntld_new(nullptr, XP_NTLD_DYNAMIC);
    run_script(d, seed);
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

TEST(NtldWriter, DynamicModeNeverChangesADataObject) {
  xp_ntld *w = xp_ntld_new(nullptr, XP_NTLD_DYNAMIC);
  xp_data *empty = xp_ntld_dyndata(w);
  EXPECT_EQ(xp_data_length(empty), 0u);
  xp_release(empty);
  xp_ntld_open(w, 1, XP_TAG('r', 'o', 'o', 't'));
  for (int i = 0; i < 5000; ++i)
    xp_ntld_add_number(w, uint32_t(i), i);
  xp_data *first = xp_ntld_dyndata(w);
  uint32_t size = 12 + 5000 * 16;
  ASSERT_EQ(xp_data_length(first), size);
  EXPECT_EQ(xp_ntld_getlongbyindex(xp_data_getptr(first), 4999), 4999);
  xp_data *again = xp_ntld_dyndata(w);
  EXPECT_EQ(again, first) << "nothing written since: the same object";
  xp_release(again);
  // Writing on leaves the object handed out as it was.
  Bytes before = bytes_of(xp_data_getptr(first), size);
  xp_ntld_add_string(w, 7, "more");
  xp_data *second = xp_ntld_dyndata(w);
  EXPECT_EQ(bytes_of(xp_data_getptr(first), size), before);
  EXPECT_EQ(xp_data_length(second), size + 16);
  xp_release(first);
  xp_release(second);

  // A store's bytes are where the tree starts; the spare room is used
  // before the tree grows by whole items, and the store stays as it was.
  xp_data *store = xp_data_new(nullptr, 20);
  xp_ntld_reset(w, store, XP_NTLD_DYNAMIC);
  xp_ntld_add_number(w, 1, 0x01020304);
  xp_ntld_add_number(w, 2, 5);
  xp_data *out = xp_ntld_dyndata(w);
  EXPECT_EQ(
      bytes_of(xp_data_getptr(out), xp_data_length(out)),
      cat({item(1, "long", 4, {1, 2, 3, 4}), item(2, "long", 4, {0, 0, 0, 5}), {0, 0, 0, 0}}));
  EXPECT_EQ(bytes_of(xp_data_getptr(store), 20), Bytes(20, 0));
  xp_release(out);
  xp_release(w);
  xp_release(store);

  xp_obj *other = xp_new(XP_TYPE_STR, 0);
  EXPECT_EQ(xp_ntld_new(other, XP_NTLD_DYNAMIC), nullptr) << "only a data object is a store";
  xp_release(other);
}

TEST(NtldWriter, AllocationFailureNeverGivesAPartialTree) {
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
    // A tree handed out holds every item that was accepted.
    if (d) {
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
