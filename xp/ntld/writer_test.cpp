// The writer: byte-exact items, nested containers, the three modes giving
// the same bytes, running out of room, dynamic growth, allocation failure.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "xp/ntld/xp_ntld.h"
#include "xp/xp_test_util.h"

using xpt::Bytes;

// Items' headers (tag in host order, type, big-endian length), each followed
// by its data bytes (padding included).
struct Item {
  uint32_t tag;
  const char *type;
  uint32_t length;
  Bytes data;
};
static Bytes items(std::initializer_list<Item> list) {
  Bytes all;
  for (const Item &i : list) {
    all.insert(all.end(), {0, 0, 0, 0, 0, 0, 0, 0, uint8_t(i.length >> 24), uint8_t(i.length >> 16),
                           uint8_t(i.length >> 8), uint8_t(i.length)});
    std::memcpy(&all[all.size() - 12], &i.tag, 4);
    std::memcpy(&all[all.size() - 8], i.type, 4);
    all.insert(all.end(), i.data.begin(), i.data.end());
  }
  return all;
}
static Bytes dyn_bytes(xp_ntld *w) {  // the tree of a dynamic writer
  xp_data *d = xp_ntld_dyndata(w);
  Bytes b = xpt::bytes(xp_data_getptr(d), xp_data_length(d));
  xp_release(d);
  return b;
}

TEST(NtldWriter, ItemsAndNestedContainersAreByteExact) {
  xpt::Guarded g(208);
  xp_ntld *w = xp_ntld_new(g.data(), 208);
  xp_ntld_open(w, 1, XP_TAG('r', 'o', 'o', 't'));
  const uint32_t sizes[] = {
      xp_ntld_add_string(w, 1, "abcde"), xp_ntld_add_number(w, 2, -2),
      xp_ntld_add_tag(w, 3, XP_TAG('w', 'x', 'y', 'z')),
      xp_ntld_add(w, 4, XP_TAG('b', 'l', 'o', 'b'), 2, nullptr), xp_ntld_escapedtext(w, 5, 0, ""),
      // A backslash takes the next byte literally; a lone one at the end is
      // dropped; a counted text may hold zero bytes.
      xp_ntld_escapedtext(w, 6, -1, "\\a\\\\b\\"), xp_ntld_escapedtext(w, 7, 3, "a\0b")};
  EXPECT_EQ(std::vector<uint32_t>(sizes, sizes + 7),
            std::vector<uint32_t>({20, 16, 16, 16, 12, 16, 16}));
  xp_ntld_open(w, 8, XP_TAG('l', 'i', 's', 't'));
  xp_ntld_open(w, 9, XP_TAG('e', 'm', 't', 'y'));
  EXPECT_EQ(xp_ntld_close(w), 12u);
  xp_ntld_add_tag(w, 10, 0x01020304);
  EXPECT_EQ(xp_ntld_check(w), 0u) << "incomplete while containers are open";
  EXPECT_EQ(xp_ntld_length(w), 164u) << "closes both open levels";
  Bytes want = items({{1, "root", 152, {}},
                      {1, "text", 5, {'a', 'b', 'c', 'd', 'e', 0, 0, 0}},
                      {2, "long", 4, {0xFF, 0xFF, 0xFF, 0xFE}},
                      {3, "ctag", 4, {'w', 'x', 'y', 'z'}},
                      {4, "blob", 2, {0, 0, 0, 0}},
                      {5, "text", 0, {}},
                      {6, "text", 3, {'a', '\\', 'b', 0}},
                      {7, "text", 3, {'a', 0, 'b', 0}},
                      {8, "list", 28, {}},
                      {9, "emty", 0, {}},
                      {10, "ctag", 4, {4, 3, 2, 1}}});
  EXPECT_EQ(xpt::bytes(g.data(), want.size()), want);
  EXPECT_TRUE(g.clean_from(want.size())) << "wrote past the last item";
  // Release closes what is open, leaving a caller's buffer complete.
  xp_ntld_reset(w, g.data(), 208);
  xp_ntld_open(w, 1, XP_TAG('r', 'o', 'o', 't'));
  xp_ntld_add_number(w, 2, 7);
  xp_release(w);
  EXPECT_EQ(xpt::bytes(g.data(), 12), items({{1, "root", 16, {}}}));
}

TEST(NtldWriter, FixedModeRefusesWhatDoesNotFitAndResetReuses) {
  xpt::Guarded g(44);
  xp_ntld *w = xp_ntld_new(g.data(), 44);
  xp_ntld_open(w, 1, XP_TAG('r', 'o', 'o', 't'));
  EXPECT_EQ(xp_ntld_add_string(w, 2, "0123456789abcdefghijk"), 0u) << "36 bytes, 32 free";
  EXPECT_TRUE(g.clean_from(12)) << "a refused item writes nothing";
  EXPECT_EQ(xp_ntld_add_number(w, 4, 9) + xp_ntld_add_tag(w, 5, 1), 32u) << "smaller ones fit";
  EXPECT_EQ(xp_ntld_escapedtext(w, 6, 1, "x"), 0u);
  xp_ntld_open(w, 7, XP_TAG('n', 'o', 'n', 'e'));  // refused: 0 bytes left
  EXPECT_EQ(xp_ntld_length(w), 44u);
  EXPECT_TRUE(g.clean_from(44));
  EXPECT_EQ(xp_ntld_getlongbyname(w, 4), 9);
  xp_ntld_reset(w, g.data(), 16);
  EXPECT_EQ(xp_ntld_add_tag(w, 8, 1), 16u);
  EXPECT_EQ(xp_ntld_add(w, 9, XP_TAG('z', 'e', 'r', 'o'), 0, nullptr), 0u);
  EXPECT_EQ(xp_ntld_check(w), 16u);
  EXPECT_EQ(xpt::bytes(g.data(), 16), items({{8, "ctag", 4, {1, 0, 0, 0}}}));
  xp_release(w);
}

// A random tree script: run in every mode, it must give the same bytes.
static void run_script(xp_ntld *w, uint32_t seed) {
  static const char *const texts[] = {"", "a", "abcd", "abcdefg"};
  std::mt19937 rng(seed);
  xp_ntld_open(w, 1, XP_TAG('r', 'o', 'o', 't'));
  for (int i = 0, depth = 0; i < 300; ++i) {
    unsigned op = rng() % 6;
    if (op == 0 && depth < 60)
      xp_ntld_open(w, rng(), XP_TAG('c', 'o', 'n', 't')), ++depth;
    else if (op == 1 && depth)
      xp_ntld_close(w), --depth;
    else if (op == 2)
      xp_ntld_add_number(w, rng(), int32_t(rng()));
    else if (op == 3)
      xp_ntld_add_string(w, rng(), texts[rng() % 4]);
    else if (op == 5)
      xp_ntld_escapedtext(w, rng(), 5, "a\\\\b\\");
    else if (op == 4) {
      Bytes b(rng() % 700);
      for (auto &x : b)
        x = uint8_t(rng());
      xp_ntld_add(w, rng(), XP_TAG('b', 'l', 'o', 'b'), uint32_t(b.size()), b.data());
    }
  }
}

TEST(NtldWriter, ModesAgree) {
  for (uint32_t seed = 1; seed <= 20; ++seed) {
    xp_ntld *sizing = xp_ntld_new(nullptr, 0x7FFFFFFF), *d = xp_ntld_new(nullptr, XP_NTLD_DYNAMIC);
    run_script(sizing, seed);
    run_script(d, seed);
    uint32_t size = 0;  // what closing the root reports
    for (uint32_t n; (n = xp_ntld_close(sizing));)
      size = n;
    Bytes fixed(size);
    xp_ntld *f = xp_ntld_new(fixed.data(), size);
    run_script(f, seed);
    ASSERT_EQ(xp_ntld_length(f), size) << seed;
    EXPECT_EQ(dyn_bytes(d), fixed) << "exactly the bytes written, seed " << seed;
    for (xp_ntld *x : {sizing, f, d})
      xp_release(x);
  }
  // Sizing counts 64 levels; opens past them are ignored, bytes and all.
  xp_ntld *s = xp_ntld_new(nullptr, 0);
  for (int i = 0; i < 70; ++i)
    xp_ntld_open(s, 1, XP_TAG('d', 'e', 'e', 'p'));
  xp_ntld_add_number(s, 2, 3);
  std::vector<uint32_t> closes;
  for (uint32_t n; (n = xp_ntld_close(s));)
    closes.push_back(n);
  EXPECT_EQ(closes.size() * 1000 + closes[0], 64028u);
  xp_release(s);
}

TEST(NtldWriter, DynamicModeNeverChangesADataObject) {
  xp_ntld *w = xp_ntld_new(nullptr, XP_NTLD_DYNAMIC);
  xp_ntld_open(w, 1, XP_TAG('r', 'o', 'o', 't'));
  for (int i = 0; i < 5000; ++i)
    xp_ntld_add_number(w, uint32_t(i), i);
  xp_data *first = xp_ntld_dyndata(w);
  Bytes before = xpt::bytes(xp_data_getptr(first), xp_data_length(first));
  ASSERT_EQ(before.size(), 12u + 5000 * 16);
  EXPECT_EQ(xp_ntld_getlongbyindex(before.data(), 4999), 4999);
  xp_ntld_add_string(w, 7, "more");
  EXPECT_EQ(dyn_bytes(w).size(), before.size() + 16);
  EXPECT_EQ(xpt::bytes(xp_data_getptr(first), before.size()), before);
  xp_release(first);
  // A store's bytes are where the tree starts; the store stays as it was.
  xp_data *store = xp_data_new(nullptr, 20);
  xp_ntld_reset(w, store, XP_NTLD_DYNAMIC);
  xp_ntld_add_number(w, 1, 0x01020304);
  xp_ntld_add_number(w, 2, 5);
  Bytes want = items({{1, "long", 4, {1, 2, 3, 4}}, {2, "long", 4, {0, 0, 0, 5}}});
  want.resize(36);
  EXPECT_EQ(dyn_bytes(w), want);
  EXPECT_EQ(xpt::bytes(xp_data_getptr(store), 20), Bytes(20, 0));
  xp_str *text = xp_str_new("x");
  EXPECT_EQ(xp_ntld_reset(w, text, XP_NTLD_DYNAMIC), 0) << "not a data object";
  xp_release(w), xp_release(store), xp_release(text);
}

TEST(NtldWriter, AllocationFailureNeverGivesAPartialTree) {
  xpt::alloc_sweep(
      [] {
        xp_ntld *w = xp_ntld_new(nullptr, XP_NTLD_DYNAMIC);
        if (!w) return false;
        xp_ntld_open(w, 1, XP_TAG('r', 'o', 'o', 't'));
        uint32_t items = 0;
        for (int i = 0; i < 200; ++i)
          items += xp_ntld_add(w, 2, XP_TAG('b', 'l', 'o', 'b'), 100, nullptr) / 112;
        uint32_t root = xp_ntld_close(w);
        xp_data *d = xp_ntld_dyndata(w);
        // A tree handed out holds every item that was accepted (at the top
        // level when the root was refused).
        EXPECT_TRUE(!root || root == 12 + 112 * items);
        EXPECT_TRUE(!d || xp_data_length(d) == (root ? root : 112 * items)) << root;
        EXPECT_TRUE(!d || !root || xp_ntld_verify(xp_data_getptr(d), root) == root);
        xp_release(w), xp_release(d);
        return true;
      },
      [](bool, bool) {});
}
