// The writer: byte-exact items, nested containers, the three modes giving
// the same bytes, running out of room, dynamic growth, allocation failure.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
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

// Items' headers, each followed by its data bytes (padding included).
struct Item {
  uint32_t tag;
  const char *type;
  uint32_t length;
  Bytes data;
};
Bytes items(std::initializer_list<Item> list) {
  Bytes all;
  for (const Item &i : list) {
    Bytes h(12);
    xpn::store32(h.data(), i.tag);
    xpn::store32(h.data() + 4, xp_tag(i.type));
    xpn::store_be(h.data() + 8, i.length);
    all.insert(all.end(), h.begin(), h.end());
    all.insert(all.end(), i.data.begin(), i.data.end());
  }
  return all;
}

TEST(NtldWriter, ItemsAreByteExact) {
  uint8_t buf[160];
  std::memset(buf, 0xAA, sizeof buf);
  xp_ntld *w = xp_ntld_new(buf, sizeof buf);
  EXPECT_EQ(xp_ntld_add_string(w, 1, "abcde"), 20u);
  EXPECT_EQ(xp_ntld_add_number(w, 2, -2), 16u);
  EXPECT_EQ(xp_ntld_add_tag(w, 3, XP_TAG('w', 'x', 'y', 'z')), 16u);
  EXPECT_EQ(xp_ntld_add(w, 4, XP_TAG('b', 'l', 'o', 'b'), 2, nullptr), 16u);
  EXPECT_EQ(xp_ntld_escapedtext(w, 5, 0, ""), 12u);
  // Escapes: a backslash takes the next byte literally; a lone one at the
  // end is dropped; a counted text may hold zero bytes.
  EXPECT_EQ(xp_ntld_escapedtext(w, 6, -1, "\\a\\\\b\\"), 16u);
  EXPECT_EQ(xp_ntld_escapedtext(w, 7, 3, "a\0b"), 16u);
  Bytes want = items({{1, "text", 5, {'a', 'b', 'c', 'd', 'e', 0, 0, 0}},
                      {2, "long", 4, {0xFF, 0xFF, 0xFF, 0xFE}},
                      {3, "ctag", 4, {'w', 'x', 'y', 'z'}},
                      {4, "blob", 2, {0, 0, 0, 0}},
                      {5, "text", 0, {}},
                      {6, "text", 3, {'a', '\\', 'b', 0}},
                      {7, "text", 3, {'a', 0, 'b', 0}}});
  EXPECT_EQ(bytes_of(buf, want.size()), want);
  EXPECT_EQ(buf[want.size()], 0xAA) << "wrote past the last item";
  xp_release(w);
}

TEST(NtldWriter, NestedContainersChainThroughTheirLengths) {
  uint8_t buf[128];
  xp_ntld *w = xp_ntld_new(buf, sizeof buf);
  xp_ntld_open(w, 1, XP_TAG('r', 'o', 'o', 't'));
  EXPECT_EQ(xpn::load32(buf + 8), xpn::kNone) << "an open root links to nothing";
  xp_ntld_add_number(w, 2, 7);
  xp_ntld_open(w, 3, XP_TAG('l', 'i', 's', 't'));
  EXPECT_EQ(xpn::load32(buf + 28 + 8), 0u) << "links to the root's offset";
  xp_ntld_open(w, 4, XP_TAG('e', 'm', 't', 'y'));
  EXPECT_EQ(xp_ntld_close(w), 12u);
  xp_ntld_add_tag(w, 5, 0x01020304);
  EXPECT_EQ(xp_ntld_check(w), 0u) << "incomplete while containers are open";
  EXPECT_EQ(xp_ntld_length(w), 68u) << "closes both open levels";
  Bytes want = items({{1, "root", 56, {}},
                      {2, "long", 4, {0, 0, 0, 7}},
                      {3, "list", 28, {}},
                      {4, "emty", 0, {}},
                      {5, "ctag", 4, {4, 3, 2, 1}}});
  EXPECT_EQ(bytes_of(buf, want.size()), want);
  // Release closes what is open, leaving a caller's buffer complete.
  xp_ntld_reset(w, buf, sizeof buf);
  xp_ntld_open(w, 1, XP_TAG('r', 'o', 'o', 't'));
  xp_ntld_add_number(w, 2, 7);
  xp_release(w);
  EXPECT_EQ(bytes_of(buf, 12), items({{1, "root", 16, {}}}));
}

TEST(NtldWriter, FixedModeRefusesWhatDoesNotFitAndResetReuses) {
  uint8_t buf[48];
  std::memset(buf, 0xAA, sizeof buf);
  xp_ntld *w = xp_ntld_new(buf, 44);
  xp_ntld_open(w, 1, XP_TAG('r', 'o', 'o', 't'));
  EXPECT_EQ(xp_ntld_add_string(w, 2, "0123456789abcdefghijk"), 0u) << "36 bytes, 32 free";
  EXPECT_EQ(buf[12], 0xAA) << "a refused item writes nothing";
  EXPECT_EQ(xp_ntld_add_number(w, 4, 9), 16u) << "a smaller item still fits";
  EXPECT_EQ(xp_ntld_add_tag(w, 5, 1), 16u);
  EXPECT_EQ(xp_ntld_escapedtext(w, 6, 1, "x"), 0u);
  xp_ntld_open(w, 7, XP_TAG('n', 'o', 'n', 'e'));  // refused: 0 bytes left
  EXPECT_EQ(xp_ntld_length(w), 44u);
  EXPECT_EQ(buf[44], 0xAA);
  EXPECT_EQ(xp_ntld_getlongbyname(w, 4), 9);
  xp_ntld_reset(w, buf, 16);
  EXPECT_EQ(xp_ntld_add_tag(w, 8, 1), 16u);
  EXPECT_EQ(xp_ntld_add(w, 9, XP_TAG('z', 'e', 'r', 'o'), 0, nullptr), 0u);
  EXPECT_EQ(xp_ntld_check(w), 16u);
  EXPECT_EQ(bytes_of(buf, 16), items({{8, "ctag", 4, {1, 0, 0, 0}}}));
  xp_release(w);
}

// A random tree script: run in every mode, it must give the same bytes.
void run_script(xp_ntld *w, uint32_t seed) {
  static const char *const texts[] = {"", "a", "abcd", "abcdefg"};
  std::mt19937 rng(seed);
  xp_ntld_open(w, 1, XP_TAG('r', 'o', 'o', 't'));
  int depth = 0;
  for (int i = 0; i < 300; ++i) {
    unsigned op = rng() % 6;
    if (op == 0 && depth < 60) {
      xp_ntld_open(w, rng(), XP_TAG('c', 'o', 'n', 't'));
      ++depth;
    } else if (op == 1 && depth) {
      xp_ntld_close(w);
      --depth;
    } else if (op == 2) {
      xp_ntld_add_number(w, rng(), int32_t(rng()));
    } else if (op == 3) {
      xp_ntld_add_string(w, rng(), texts[rng() % 4]);
    } else if (op == 4) {
      Bytes b(rng() % 700);
      for (auto &x : b)
        x = uint8_t(rng());
      xp_ntld_add(w, rng(), XP_TAG('b', 'l', 'o', 'b'), uint32_t(b.size()), b.data());
    } else if (op == 5) {
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

TEST(NtldWriter, SizingIgnoresOpensPastTheDepthLimit) {
  xp_ntld *s = xp_ntld_new(nullptr, 0);
  for (int i = 0; i < 70; ++i)
    xp_ntld_open(s, 1, XP_TAG('d', 'e', 'e', 'p'));
  EXPECT_EQ(s->offset, 64u * 12);
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
  xp_ntld_open(w, 1, XP_TAG('r', 'o', 'o', 't'));
  for (int i = 0; i < 5000; ++i)
    xp_ntld_add_number(w, uint32_t(i), i);
  xp_data *first = xp_ntld_dyndata(w);
  uint32_t size = 12 + 5000 * 16;
  ASSERT_EQ(xp_data_length(first), size);
  EXPECT_EQ(xp_ntld_getlongbyindex(xp_data_getptr(first), 4999), 4999);
  Bytes before = bytes_of(xp_data_getptr(first), size);
  xp_ntld_add_string(w, 7, "more");
  xp_data *second = xp_ntld_dyndata(w);
  EXPECT_EQ(bytes_of(xp_data_getptr(first), size), before);
  EXPECT_EQ(xp_data_length(second), size + 16);
  xp_release(first);
  xp_release(second);

  // A store's bytes are where the tree starts; the store stays as it was.
  xp_data *store = xp_data_new(nullptr, 20);
  xp_ntld_reset(w, store, XP_NTLD_DYNAMIC);
  xp_ntld_add_number(w, 1, 0x01020304);
  xp_ntld_add_number(w, 2, 5);
  xp_data *out = xp_ntld_dyndata(w);
  Bytes want = items({{1, "long", 4, {1, 2, 3, 4}}, {2, "long", 4, {0, 0, 0, 5}}});
  want.resize(36);
  EXPECT_EQ(bytes_of(xp_data_getptr(out), xp_data_length(out)), want);
  EXPECT_EQ(bytes_of(xp_data_getptr(store), 20), Bytes(20, 0));
  xp_release(out);
  xp_release(w);
  xp_release(store);
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
    if (d) {  // a tree handed out holds every item that was accepted
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
