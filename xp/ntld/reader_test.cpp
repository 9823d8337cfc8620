// The readers: writers and item pointers alike, lookups at the ends of a
// level, typed values, and verification of one level.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <vector>

#include "xp/ntld/xp_ntld_internal.h"

namespace {

using Bytes = std::vector<uint8_t>;
constexpr uint32_t kBlob = XP_TAG('b', 'l', 'o', 'b');

void put(Bytes &b, size_t at, uint32_t tag, uint32_t type, uint32_t length) {
  xpn::store32(&b[at], tag);
  xpn::store32(&b[at + 4], type);
  xpn::store_be(&b[at + 8], length);
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
    EXPECT_EQ(xp_ntld_count(root), 5);
    EXPECT_EQ(xp_ntld_next(root), buf + 108);
    EXPECT_EQ(xp_ntld_getbyname(root, 3), buf + 44) << "the first match wins";
    EXPECT_EQ(xp_ntld_getbyindex(root, 4), buf + 92);
    EXPECT_EQ(xp_ntld_getbyindex(root, 5), nullptr) << "index equal to the count";
    EXPECT_EQ(xp_ntld_getbyindex(root, -3), buf + 12) << "a negative index gives the first";
    EXPECT_EQ(xp_ntld_getlongbyname(root, 1), -5);
    EXPECT_EQ(xp_ntld_getlongbyindex(root, 4), 7);
    EXPECT_EQ(xp_ntld_gettagbyname(root, 2), XP_TAG('a', 'b', 'c', 'd'));
    EXPECT_EQ(xp_ntld_getlongbyname(root, 2), 0) << "typed readers refuse other types";

    char text[8];
    std::memset(text, '#', sizeof text);
    EXPECT_EQ(xp_ntld_getbytesbyname(root, 3, nullptr, 0), 5);
    EXPECT_EQ(xp_ntld_getbytesbyname(root, 3, text, 3), 3);
    EXPECT_EQ(std::memcmp(text, "hel#", 4), 0) << "never more than the buffer's size";

    const void *sub = xp_ntld_getbyname(root, 4);
    EXPECT_EQ(xp_ntld_getlongbyname(sub, 1), 42) << "a nested level read through its item";
  }
  EXPECT_EQ(xp_ntld_verify(w, 1000), 108u) << "bounded by the writer's capacity";
  EXPECT_EQ(xp_ntld_verify(buf, 107), 0u);

  // Outside bytes that imitate a writer's count, type and retain slot are
  // still only an item to verify: nothing past what is available is read.
  {
    xp_retain_op retain = xp_obj_retain;
    const uint32_t head[2] = {1, XP_TYPE_NTLD};
    auto *forged = static_cast<uint8_t *>(std::malloc(21));
    std::memset(forged, 0, 21);
    std::memcpy(forged, head, sizeof head);
    std::memcpy(forged + 8, &retain, 4);
    EXPECT_EQ(xp_ntld_verify(forged, 21), 0u);
    std::free(forged);
  }

  // An open container, or a writer without a buffer, reads as nothing.
  xp_ntld_reset(w, buf, sizeof buf);
  xp_ntld_open(w, 1, XP_TAG('r', 'o', 'o', 't'));
  EXPECT_EQ(xp_ntld_verify(w, 64), 0u);
  xp_ntld_reset(w, nullptr, 0);
  xp_ntld_add_number(w, 1, 1);
  EXPECT_EQ(xp_ntld_next(w), nullptr);
  xp_release(w);
}

TEST(NtldReader, VerifyTilesOneLevel) {
  Bytes b(44, 0);
  // A padded child, then a last child of 1 byte whose unpadded end meets
  // the parent's end.
  put(b, 0, 1, kBlob, 29);
  put(b, 12, 2, kBlob, 4);
  put(b, 28, 3, kBlob, 1);
  EXPECT_EQ(xp_ntld_verify(b.data(), 41), 41u);
  EXPECT_EQ(xp_ntld_verify(b.data(), 40), 0u) << "runs past what is available";
  EXPECT_EQ(xp_ntld_count(b.data()), 2);
  EXPECT_EQ(xp_ntld_getbyindex(b.data(), 2), nullptr);
  // A child whose padded size runs past the parent's end; then the same
  // child ending exactly there.
  put(b, 0, 1, kBlob, 30);
  put(b, 12, 2, kBlob, 17);
  EXPECT_EQ(xp_ntld_verify(b.data(), 44), 0u);
  put(b, 12, 2, kBlob, 18);
  EXPECT_EQ(xp_ntld_verify(b.data(), 44), 42u);
  put(b, 0, 1, kBlob, 8);  // too short for a child header
  EXPECT_EQ(xp_ntld_verify(b.data(), 44), 0u);
  put(b, 0, 1, kBlob, 20);  // bytes left over after the last child
  put(b, 12, 2, kBlob, 4);
  EXPECT_EQ(xp_ntld_verify(b.data(), 44), 0u);
  // Lengths near the 32-bit limit do not wrap around.
  put(b, 0, 1, kBlob, 16);
  put(b, 12, 2, kBlob, 0xFFFFFFFDu);
  EXPECT_EQ(xp_ntld_verify(b.data(), 44), 0u);
  put(b, 0, 1, kBlob, 0xFFFFFFFFu);
  EXPECT_EQ(xp_ntld_verify(b.data(), INTPTR_MAX), 0u);
}

TEST(NtldReader, NeverReadsPastAVerifiedItem) {
  // Each buffer is exactly the verified bytes, so ASan sees any overrun.
  // A long child too short for its value reads as 0.
  Bytes b(26, 0);
  put(b, 0, 1, kBlob, 14);
  put(b, 12, 2, XP_NTLD_LONG, 2);
  ASSERT_EQ(xp_ntld_verify(b.data(), 26), 26u);
  EXPECT_EQ(xp_ntld_getlongbyindex(b.data(), 0), 0);
  EXPECT_EQ(xp_ntld_getbytesbyindex(b.data(), 0, nullptr, 0), 2);
  // An item whose tag is a small number and whose type is "ntld" looks
  // like a writer at first sight; it is still read as a 12-byte item.
  Bytes n(12, 0);
  put(n, 0, 1, XP_TYPE_NTLD, 0);
  EXPECT_EQ(xp_ntld_verify(n.data(), 12), 12u);
  EXPECT_EQ(xp_ntld_next(n.data()), n.data() + 12);
}

}  // namespace
