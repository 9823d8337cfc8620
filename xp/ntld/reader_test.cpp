// The readers: writers and item pointers alike, lookups at the ends of a
// level, typed values, and verification of one level.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <vector>

#include "xp/ntld/xp_ntld.h"
#include "xp/xp_test_util.h"

constexpr uint32_t kBlob = XP_TAG('b', 'l', 'o', 'b');

// Sets the header at `at`: tag in host order, type, big-endian length.
static void put(xpt::Bytes &b, size_t at, uint32_t tag, uint32_t type, uint32_t length) {
  std::memcpy(&b[at], &tag, 4);
  std::memcpy(&b[at + 4], &type, 4);
  for (int i = 0; i < 4; i++)
    b[at + 8 + i] = uint8_t(length >> (24 - 8 * i));
}

TEST(NtldReader, WriterAndItemPointerReadAlike) {
  uint8_t buf[256];
  xp_ntld *w = xp_ntld_new(buf, sizeof buf);
  xp_ntld_open(w, 100, XP_TAG('r', 'o', 'o', 't'));
  xp_ntld_add_number(w, 1, -5);                       // @12
  xp_ntld_add_tag(w, 2, XP_TAG('a', 'b', 'c', 'd'));  // @28
  xp_ntld_add_string(w, 3, "hello");                  // @44
  xp_ntld_open(w, 4, XP_TAG('s', 'u', 'b', ' '));     // @64
  xp_ntld_add_number(w, 1, 42);
  xp_ntld_close(w);
  xp_ntld_add_number(w, 3, 7);  // @92, a second child with tag 3
  ASSERT_EQ(xp_ntld_length(w), 108u);
  for (const void *root : {static_cast<const void *>(w), static_cast<const void *>(buf)}) {
    // The first match wins; an index equal to the count finds nothing; a
    // negative one gives the first; typed readers refuse other types.
    EXPECT_EQ(std::vector<const void *>({xp_ntld_next(root), xp_ntld_getbyname(root, 3),
                                         xp_ntld_getbyindex(root, 4), xp_ntld_getbyindex(root, 5),
                                         xp_ntld_getbyindex(root, -3)}),
              std::vector<const void *>({buf + 108, buf + 44, buf + 92, nullptr, buf + 12}));
    EXPECT_EQ(std::vector<int64_t>({xp_ntld_count(root), xp_ntld_getlongbyname(root, 1),
                                    xp_ntld_getlongbyindex(root, 4), xp_ntld_getlongbyname(root, 2),
                                    xp_ntld_gettagbyname(root, 2), xp_ntld_gettagbyindex(root, 0),
                                    xp_ntld_getbytesbyname(root, 3, nullptr, 0),
                                    xp_ntld_getlongbyname(xp_ntld_getbyname(root, 4), 1)}),
              std::vector<int64_t>({5, -5, 7, 0, XP_TAG('a', 'b', 'c', 'd'), 0, 5, 42}));
    char text[8] = "#######";
    EXPECT_EQ(xp_ntld_getbytesbyindex(root, 2, text, 3), 3);
    EXPECT_STREQ(text, "hel####") << "never more than the buffer's size";
  }
  EXPECT_EQ(xp_ntld_verify(w, 1000), 108u) << "bounded by the writer's capacity";
  EXPECT_EQ(xp_ntld_verify(buf, 107), 0u);
  // Outside bytes that imitate a writer's count, type and retain slot are
  // still only an item to verify: nothing past what is available is read.
  auto *forged = static_cast<uint8_t *>(std::calloc(21, 1));
  const uint32_t head[2] = {1, XP_TYPE_NTLD};
  xp_retain_op retain = xp_obj_retain;
  std::memcpy(forged, head, sizeof head);
  std::memcpy(forged + 8, &retain, 4);
  EXPECT_EQ(xp_ntld_verify(forged, 21), 0u);
  std::free(forged);
  // An open container, or a writer without a buffer, reads as nothing.
  xp_ntld_reset(w, buf, sizeof buf);
  xp_ntld_open(w, 1, XP_TAG('r', 'o', 'o', 't'));
  EXPECT_EQ(xp_ntld_verify(w, 64), 0u);
  xp_ntld_reset(w, nullptr, 0);
  xp_ntld_add_number(w, 1, 1);
  EXPECT_EQ(xp_ntld_next(w), nullptr);
  xp_release(w);
}

// Each row sets two child headers in a 44-byte parent; the parent's length
// comes first. The last child may end unpadded exactly at the parent's end.
TEST(NtldReader, VerifyTilesOneLevel) {
  const struct {
    uint32_t parent, first, second;
    intptr_t available;
    uint32_t want;
  } cases[] = {{29, 4, 1, 41, 41},           // a padded child, then one of 1 byte
               {29, 4, 1, 40, 0},            // runs past what is available
               {30, 17, 0, 44, 0},           // the padded child runs past the parent's end
               {30, 18, 0, 44, 42},          // the same child ending exactly there
               {8, 18, 0, 44, 0},            // too short for a child header
               {20, 4, 0, 44, 0},            // bytes left over after the last child
               {16, 0xFFFFFFFDu, 0, 44, 0},  // lengths near the 32-bit limit do not wrap
               {0xFFFFFFFFu, 4, 0, INTPTR_MAX, 0}};
  for (const auto &c : cases) {
    xpt::Bytes b(44, 0);
    put(b, 0, 1, kBlob, c.parent);
    put(b, 12, 2, kBlob, c.first);
    put(b, 28, 3, kBlob, c.second);
    EXPECT_EQ(xp_ntld_verify(b.data(), c.available), c.want) << c.parent << " " << c.first;
  }
  // Each buffer is exactly the verified bytes, so ASan sees any overrun. A
  // long child too short for its value reads as 0.
  xpt::Bytes b(26, 0), n(12, 0);
  put(b, 0, 1, kBlob, 14);
  put(b, 12, 2, XP_NTLD_LONG, 2);
  ASSERT_EQ(xp_ntld_verify(b.data(), 26), 26u);
  EXPECT_EQ(
      xp_ntld_getlongbyindex(b.data(), 0) * 10 + xp_ntld_getbytesbyindex(b.data(), 0, nullptr, 0),
      2);
  EXPECT_EQ(xp_ntld_count(b.data()) * 10 + (xp_ntld_getbyindex(b.data(), 1) == nullptr), 11);
  // An item whose tag is a small number and whose type is "ntld" looks like
  // a writer at first sight; it is still read as a 12-byte item.
  put(n, 0, 1, XP_TYPE_NTLD, 0);
  EXPECT_EQ(xp_ntld_verify(n.data(), 12), 12u);
  EXPECT_EQ(xp_ntld_next(n.data()), n.data() + 12);
}
