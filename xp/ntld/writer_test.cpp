// The writer against a small model of the format; running out of room, dynamic growth,
// allocation failure.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "xp/ntld/xp_ntld.h"
#include "xp/xp_test_util.h"

using xpt::Bytes;

static Bytes dyn_bytes(xp_ntld *w) {  // the tree of a dynamic writer
  xp_data *d = xp_ntld_dyndata(w);
  Bytes b = xpt::bytes(xp_data_getptr(d), xp_data_length(d));
  xp_release(d);
  return b;
}

// The model: an item is a 12-byte header (tag as the host stores it, type,
// big-endian length), then its data padded with zeros to a multiple of 4.
constexpr uint32_t kCont = XP_TAG('c', 'o', 'n', 't');  // the containers' type
constexpr auto padded = [](size_t n) { return (n + 3) & ~size_t(3); };
struct Model {
  Bytes out;
  std::vector<size_t> open;  // where the open containers start
  uint32_t item(uint32_t tag, uint32_t type, const Bytes &data) {
    size_t at = out.size();
    out.resize(at + 12 + padded(data.size()));
    std::memcpy(&out[at], &tag, 4);
    std::memcpy(&out[at + 4], &type, 4);
    for (int i = 0; i < 4; ++i)
      out[at + 8 + i] = uint8_t(data.size() >> (24 - 8 * i));
    std::copy(data.begin(), data.end(), out.begin() + intptr_t(at) + 12);
    return uint32_t(out.size() - at);
  }
  void start(uint32_t tag) { open.push_back(out.size()), item(tag, kCont, {}); }
  uint32_t close() {
    size_t at = open.back(), length = out.size() - at - 12;
    open.pop_back();
    for (int i = 0; i < 4; ++i)
      out[at + 8 + i] = uint8_t(length >> (24 - 8 * i));
    return uint32_t(length + 12);
  }
};

// Each kind of item, nested, byte for byte against the model (random trees
// in all three modes are the fuzz target's); a tree handed out never
// changes as the writer goes on.
TEST(NtldWriter, ItemsMatchTheModel) {
  Model m;
  xp_ntld *w = xp_ntld_new(nullptr, XP_NTLD_DYNAMIC);
  m.start(1), xp_ntld_open(w, 1, kCont);
  const uint32_t sizes[] = {
      xp_ntld_add_string(w, 2, "abcde"), xp_ntld_add_number(w, 3, -2),
      xp_ntld_add_tag(w, 4, XP_TAG('w', 'x', 'y', 'z')), xp_ntld_add(w, 5, kCont + 1, 2, nullptr),
      // A backslash takes the next byte literally; a lone one at the end is
      // dropped; a counted text may hold zero bytes.
      xp_ntld_escapedtext(w, 6, -1, "\\a\\\\b\\"), xp_ntld_escapedtext(w, 7, 3, "a\0b")};
  const uint32_t want[] = {m.item(2, XP_NTLD_TEXT, {'a', 'b', 'c', 'd', 'e'}),
                           m.item(3, XP_NTLD_LONG, {0xFF, 0xFF, 0xFF, 0xFE}),
                           m.item(4, XP_NTLD_CTAG, {'w', 'x', 'y', 'z'}),
                           m.item(5, kCont + 1, {0, 0}),
                           m.item(6, XP_NTLD_TEXT, {'a', '\\', 'b'}),
                           m.item(7, XP_NTLD_TEXT, {'a', 0, 'b'})};
  EXPECT_EQ(std::vector<uint32_t>(sizes, sizes + 6), std::vector<uint32_t>(want, want + 6));
  m.start(8), xp_ntld_open(w, 8, kCont);
  m.start(9), xp_ntld_open(w, 9, kCont);
  EXPECT_EQ(xp_ntld_close(w), m.close());
  m.item(10, XP_NTLD_CTAG, xpt::bytes("\4\3\2\1", 4)), xp_ntld_add_tag(w, 10, 0x01020304);
  m.close(), m.close();
  EXPECT_EQ(xp_ntld_length(w), m.out.size()) << "closes both open levels";
  xp_data *d = xp_ntld_dyndata(w);
  EXPECT_EQ(xpt::bytes(xp_data_getptr(d), xp_data_length(d)), m.out);
  xp_ntld_add_string(w, 7, "more");
  EXPECT_EQ(dyn_bytes(w).size(), m.out.size() + 16);
  EXPECT_EQ(xpt::bytes(xp_data_getptr(d), xp_data_length(d)), m.out);
  xp_release(w), xp_release(d);
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
  xp_ntld_reset(w, g.data(), 12);
  EXPECT_EQ(xp_ntld_add_number(w, 8, 1) + xp_ntld_add_tag(w, 8, 1), 0u) << "16 bytes, 12 free";
  xp_ntld_reset(w, g.data(), 16);
  EXPECT_EQ(xp_ntld_add_tag(w, 8, 1), 16u);
  EXPECT_EQ(xp_ntld_add(w, 9, XP_TAG('z', 'e', 'r', 'o'), 0, nullptr), 0u);
  EXPECT_EQ(xp_ntld_check(w), 16u);
  Model want;
  want.item(8, XP_NTLD_CTAG, {1, 0, 0, 0});
  EXPECT_EQ(xpt::bytes(g.data(), 16), want.out);
  xp_release(w);
}

// A store's bytes are where the tree starts; the store stays as it was.
TEST(NtldWriter, DynamicModeStartsFromAStore) {
  const Bytes ws(20, 'w');
  xp_data *store = xp_data_new(ws.data(), 20);
  xp_ntld *w = xp_ntld_new(store, XP_NTLD_DYNAMIC);
  xp_ntld_add_number(w, 1, 0x01020304);
  Model want;
  want.item(1, XP_NTLD_LONG, {1, 2, 3, 4});
  want.out.resize(20, 'w');
  EXPECT_EQ(dyn_bytes(w), want.out);
  xp_ntld_add_number(w, 2, 5);
  want.out.resize(16);
  want.item(2, XP_NTLD_LONG, {0, 0, 0, 5});
  want.out.resize(36);
  EXPECT_EQ(dyn_bytes(w), want.out);
  EXPECT_EQ(xpt::bytes(xp_data_getptr(store), 20), ws);
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
