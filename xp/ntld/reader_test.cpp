// The readers: writers and item pointers alike, lookups by tag and index at
// the ends of a level, typed values, and verification of one level.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "xp/ntld/xp_ntld_internal.h"

namespace {

using Bytes = std::vector<uint8_t>;

void put_header(Bytes &b, size_t at, uint32_t tag, uint32_t type, uint32_t length) {
  std::memcpy(&b[at], &tag, 4);
  std::memcpy(&b[at + 4], &type, 4);
  xpn::store_be(&b[at + 8], length);
}

constexpr uint32_t kBlob = XP_TAG('b', 'l', 'o', 'b');

struct Tree {
  uint8_t buf[256];
  xp_ntld *w;
  Tree() {
    w = xp_ntld_new(buf, sizeof buf);
    xp_ntld_open(w, 100, XP_TAG('r', 'o', 'o', 't'));
    xp_ntld_add_number(w, 1, -5);
    xp_ntld_add_tag(w, 2, XP_TAG('a', 'b', 'c', 'd'));
    xp_ntld_add_string(w, 3, "hello");
    xp_ntld_open(w, 4, XP_TAG('s', 'u', 'b', ' '));
    xp_ntld_add_number(w, 1, 42);
    xp_ntld_close(w);
    xp_ntld_add_number(w, 3, 7);  // a second child with tag 3
    xp_ntld_length(w);
  }
  ~Tree() { xp_release(w); }
};

TEST(NtldReader, WriterAndItemPointerReadAlike) {
  Tree t;
  for (const void *root : {static_cast<const void *>(t.w), static_cast<const void *>(t.buf)}) {
    EXPECT_EQ(xp_ntld_count(root), 5);
    EXPECT_EQ(xp_ntld_getlongbyname(root, 1), -5);
    EXPECT_EQ(xp_ntld_gettagbyname(root, 2), XP_TAG('a', 'b', 'c', 'd'));
    EXPECT_EQ(xp_ntld_getbyname(root, 3), t.buf + 12 + 16 + 16) << "the first match wins";
    EXPECT_EQ(xp_ntld_getbyname(root, 99), nullptr);
    EXPECT_EQ(xp_ntld_getbyindex(root, 4), t.buf + 12 + 16 + 16 + 20 + 28);
    EXPECT_EQ(xp_ntld_getbyindex(root, 5), nullptr) << "index equal to the count";
    EXPECT_EQ(xp_ntld_getbyindex(root, -3), t.buf + 12) << "a negative index gives the first";
    EXPECT_EQ(xp_ntld_getlongbyindex(root, 4), 7);
    EXPECT_EQ(xp_ntld_next(root), t.buf + 12 + 16 + 16 + 20 + 28 + 16);

    char text[8];
    EXPECT_EQ(xp_ntld_getbytesbyname(root, 3, nullptr, 0), 5);
    std::memset(text, '#', sizeof text);
    EXPECT_EQ(xp_ntld_getbytesbyname(root, 3, text, 3), 3);
    EXPECT_EQ(std::memcmp(text, "hel#", 4), 0) << "never more than the buffer's size";
    EXPECT_EQ(xp_ntld_getbytesbyindex(root, 2, text, sizeof text), 5);
    EXPECT_EQ(std::memcmp(text, "hello", 5), 0);
    EXPECT_EQ(xp_ntld_getbytesbyindex(root, 2, text, -1), 0);
    EXPECT_EQ(xp_ntld_getbytesbyname(root, 99, text, sizeof text), 0);

    // Typed readers refuse other types.
    EXPECT_EQ(xp_ntld_getlongbyname(root, 2), 0);
    EXPECT_EQ(xp_ntld_gettagbyname(root, 1), 0u);
    EXPECT_EQ(xp_ntld_gettagbyname(root, 99), 0u);

    // Descending: a child container is read through its item pointer.
    const void *sub = xp_ntld_getbyname(root, 4);
    EXPECT_EQ(xp_ntld_verify(sub, 28), 28u);
    EXPECT_EQ(xp_ntld_getlongbyname(sub, 1), 42);
    EXPECT_EQ(xp_ntld_count(sub), 1);
  }
  EXPECT_EQ(xp_ntld_verify(t.w, 1000), 12u + 96);
  EXPECT_EQ(xp_ntld_verify(t.buf, 12 + 96), 12u + 96);
  EXPECT_EQ(xp_ntld_verify(t.buf, 12 + 95), 0u);
}

TEST(NtldReader, EmptyAndUnfinished) {
  uint8_t buf[64];
  xp_ntld *w = xp_ntld_new(buf, sizeof buf);
  xp_ntld_open(w, 1, XP_TAG('r', 'o', 'o', 't'));
  EXPECT_EQ(xp_ntld_next(w), nullptr) << "a writer with an open container reads as nothing";
  EXPECT_EQ(xp_ntld_verify(w, 64), 0u);
  EXPECT_EQ(xp_ntld_close(w), 12u);
  EXPECT_EQ(xp_ntld_count(w), 0);
  EXPECT_EQ(xp_ntld_getbyindex(w, 0), nullptr) << "no child in an empty item";
  EXPECT_EQ(xp_ntld_getbyname(w, 0), nullptr);
  EXPECT_EQ(xp_ntld_verify(w, 64), 12u);
  EXPECT_EQ(xp_ntld_next(w), buf + 12);
  xp_release(w);

  xp_ntld *sizing = xp_ntld_new(nullptr, 0);
  xp_ntld_add_number(sizing, 1, 1);
  EXPECT_EQ(xp_ntld_count(sizing), 0) << "a sizing writer has no tree";
  EXPECT_EQ(xp_ntld_next(sizing), nullptr);
  xp_release(sizing);

  EXPECT_EQ(xp_ntld_count(nullptr), 0);
  EXPECT_EQ(xp_ntld_next(nullptr), nullptr);
  EXPECT_EQ(xp_ntld_verify(nullptr, 100), 0u);
}

TEST(NtldReader, VerifyTilesOneLevel) {
  // Root of 12 + 16 + 13 bytes of data: a padded child, then a last child
  // of 1 data byte whose unpadded end meets the root's end.
  Bytes b(12 + 16 + 13 + 3, 0);
  put_header(b, 0, 1, kBlob, 29);
  put_header(b, 12, 2, kBlob, 4);
  put_header(b, 28, 3, kBlob, 1);
  EXPECT_EQ(xp_ntld_verify(b.data(), 41), 41u);
  EXPECT_EQ(xp_ntld_verify(b.data(), 40), 0u) << "the item runs past what is available";
  EXPECT_EQ(xp_ntld_count(b.data()), 2);
  EXPECT_EQ(xp_ntld_getbyindex(b.data(), 1), b.data() + 28);
  EXPECT_EQ(xp_ntld_getbyindex(b.data(), 2), nullptr);

  // A first child whose padded size runs past the parent's end.
  put_header(b, 0, 1, kBlob, 30);
  put_header(b, 12, 2, kBlob, 17);  // padded 20: 12 + 20 = 32 > 30
  EXPECT_EQ(xp_ntld_verify(b.data(), 44), 0u);
  put_header(b, 12, 2, kBlob, 18);  // unpadded end meets the end exactly
  EXPECT_EQ(xp_ntld_verify(b.data(), 44), 42u);

  // Data too short for a child header, and a gap after the last child.
  put_header(b, 0, 1, kBlob, 8);
  EXPECT_EQ(xp_ntld_verify(b.data(), 44), 0u);
  put_header(b, 0, 1, kBlob, 20);
  put_header(b, 12, 2, kBlob, 4);  // 16 bytes, 4 left over
  EXPECT_EQ(xp_ntld_verify(b.data(), 44), 0u);

  // Deeper levels are not looked at; lengths near the 32-bit limit do not
  // wrap around.
  put_header(b, 0, 1, kBlob, 16);
  put_header(b, 12, 2, kBlob, 4);
  xpn::store_be(&b[24], 0xFFFFFFFFu);  // garbage inside the child's data
  EXPECT_EQ(xp_ntld_verify(b.data(), 28), 28u);
  put_header(b, 12, 2, kBlob, 0xFFFFFFFDu);
  EXPECT_EQ(xp_ntld_verify(b.data(), 28), 0u);
  put_header(b, 0, 1, kBlob, 0xFFFFFFFFu);
  EXPECT_EQ(xp_ntld_verify(b.data(), INTPTR_MAX), 0u);
  EXPECT_EQ(xp_ntld_verify(b.data(), 11), 0u);
  EXPECT_EQ(xp_ntld_verify(b.data(), -1), 0u);
}

TEST(NtldReader, ShortTypedItemsReadAsZero) {
  // A long or ctag child too short to hold its value is never read past.
  Bytes b(12 + 12 + 2, 0);
  put_header(b, 0, 1, kBlob, 14);
  put_header(b, 12, 2, XP_NTLD_LONG, 2);
  b[24] = 0x7F;
  ASSERT_EQ(xp_ntld_verify(b.data(), intptr_t(b.size())), 26u);
  EXPECT_EQ(xp_ntld_getlongbyindex(b.data(), 0), 0);
  put_header(b, 12, 2, XP_NTLD_CTAG, 2);
  EXPECT_EQ(xp_ntld_gettagbyname(b.data(), 2), 0u);
}

TEST(NtldReader, ItemsThatLookLikeAWriter) {
  // An item whose tag is a small number and whose type is "ntld" is still
  // an item, and is read without going past its 12-byte header.
  Bytes b(12 + 12, 0);
  put_header(b, 0, 1, XP_TYPE_NTLD, 12);
  put_header(b, 12, 2, XP_TYPE_NTLD, 0);
  std::vector<uint8_t> last(b.begin() + 12, b.end());  // exactly 12 bytes on the heap
  EXPECT_EQ(xp_ntld_verify(b.data(), 24), 24u);
  EXPECT_EQ(xp_ntld_count(b.data()), 1);
  EXPECT_EQ(xp_ntld_verify(last.data(), 12), 12u);
  EXPECT_EQ(xp_ntld_next(last.data()), last.data() + 12);
}

}  // namespace
