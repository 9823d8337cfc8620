// The readers on bytes the writer did not make: verification of one level,
// short items, and bytes that look like a writer.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

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
  // An index equal to the count finds nothing, also where the last child
  // ends the parent exactly.
  xpt::Bytes two(44, 0);
  put(two, 0, 1, kBlob, 32), put(two, 12, 2, kBlob, 4), put(two, 28, 3, kBlob, 4);
  ASSERT_EQ(xp_ntld_verify(two.data(), 44), 44u);
  EXPECT_EQ(xp_ntld_getbyindex(two.data(), 1), two.data() + 28);
  EXPECT_EQ(xp_ntld_getbyindex(two.data(), 2), nullptr);
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
  // Bytes that imitate a writer's count, type and retain slot are still only
  // an item: nothing past what is available is read.
  auto *forged = static_cast<uint8_t *>(std::calloc(21, 1));
  const uint32_t head[2] = {1, XP_TYPE_NTLD};
  xp_retain_op retain = xp_obj_retain;
  std::memcpy(forged, head, sizeof head);
  std::memcpy(forged + 8, &retain, 4);
  EXPECT_EQ(xp_ntld_verify(forged, 21), 0u);
  std::free(forged);
}
