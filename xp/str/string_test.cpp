// String object: layout, construction and ownership, derivations that
// share, whole-character truncation (with guard bytes around every buffer
// size) and the type operations.
#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

#include "xp/str/xp_str_internal.h"

namespace {

std::string text(const xp_str *s) {
  return std::string(xp_str_getptr(s), static_cast<size_t>(xp_str_length(s)));
}
std::string take(xp_str *s) {
  std::string r = text(s);
  xp_str_release(s);
  return r;
}

TEST(StrObject, LayoutAndConstruction) {
  EXPECT_EQ(offsetof(xp_str, text), sizeof(xp_obj));
  EXPECT_EQ(offsetof(xp_str, length), sizeof(xp_obj) + sizeof(void *));
  xp_str *s = xp_str_make("abc", 2);
  EXPECT_EQ(std::memcmp(&s->obj.type, "xstr", 4), 0);
  // Inline text right behind the length, then a pointer's width of zeros.
  EXPECT_EQ(s->text, reinterpret_cast<const char *>(s) + sizeof(xp_str));
  EXPECT_EQ(std::string(s->text, 2 + sizeof(void *)), "ab" + std::string(sizeof(void *), '\0'));
  xp_str_release(s);

  EXPECT_EQ(take(xp_str_make("a\0b", 3)), std::string("a\0b", 3));
  EXPECT_EQ(take(xp_str_make("measured", -5)), "measured");
  EXPECT_EQ(take(xp_str_encmake(3, "caf\xe9", -1)), "caf\xe9");
  EXPECT_EQ(xp_str_cfmake(nullptr), nullptr);
  // Null and empty sources, and a null source with room: all empty and
  // terminated.
  for (xp_str *e : {xp_str_new(nullptr), xp_str_new(""), xp_str_make(nullptr, 40)}) {
    ASSERT_TRUE(e);
    EXPECT_EQ(xp_str_length(e), 0);
    EXPECT_EQ(*xp_str_getptr(e), 0);
    xp_str_release(e);
  }
  EXPECT_EQ(xp_str_length(nullptr), 0);
  EXPECT_EQ(*xp_str_getptr(nullptr), 0);
}

TEST(StrObject, ConstBorrowsAndAllocOwns) {
  static const char fixed[] = "borrowed";
  xp_str *c = xp_str_const(fixed);
  EXPECT_EQ(xp_str_getptr(c), fixed);
  EXPECT_EQ(xp_str_length(c), 8);
  xp_str_release(c);
  auto *block = static_cast<char *>(xp_alloc(6));
  std::memcpy(block, "owned", 6);
  xp_str *a = xp_str_alloc(block);
  EXPECT_EQ(xp_str_getptr(a), block);
  xp_str_retain(a);
  xp_str_release(a);
  EXPECT_EQ(take(a), "owned");  // the last release frees the block (leak checker)
}

TEST(StrObject, DerivationsShareWhenNothingChanges) {
  xp_str *s = xp_str_new("abc"), *b = xp_str_new("def"), *e = xp_str_new("");
  for (xp_str *same :
       {xp_str_append(s, "", -1), xp_str_append(s, nullptr, -1), xp_str_append(s, "xyz", 0),
        xp_str_concat(s, nullptr), xp_str_substr(s, 0, 3), xp_str_substr(s, -3, 99)}) {
    EXPECT_EQ(same, s);
    xp_str_release(same);
  }
  for (xp_str *other : {xp_str_concat(nullptr, b), xp_str_concat(e, b)}) {
    EXPECT_EQ(other, b);
    xp_str_release(other);
  }
  EXPECT_EQ(xp_refs(s), 1);
  EXPECT_EQ(take(xp_str_append(s, "defg", 2)), "abcde");
  EXPECT_EQ(take(xp_str_append(s, nullptr, 2)), std::string("abc\0\0", 5));
  EXPECT_EQ(take(xp_str_concat(s, b)), "abcdef");
  // Appending to an empty string makes a new string from the bytes alone.
  xp_str *fresh = xp_str_append(e, "x", -1);
  EXPECT_NE(fresh, e);
  EXPECT_EQ(take(fresh), "x");
  EXPECT_EQ(take(xp_str_append(nullptr, "yz", -1)), "yz");
  EXPECT_EQ(take(xp_str_substr(s, 1, -1)), "bc");
  EXPECT_EQ(take(xp_str_substr(s, 1, 1)), "b");
  EXPECT_EQ(take(xp_str_substr(s, 2, 10)), "c");
  EXPECT_EQ(take(xp_str_substr(s, 9, 2)), "");
  EXPECT_EQ(take(xp_str_substr(s, -2, 2)), "ab");
  EXPECT_EQ(xp_str_substr(nullptr, 0, 1), nullptr);
  EXPECT_EQ(xp_str_concat(nullptr, nullptr), nullptr);
  for (xp_str *x : {s, b, e})
    xp_str_release(x);
}

TEST(StrAccess, TruncationByLeadBytes) {
  xp_str *s = xp_str_make(
      "a\xc3\xb1"
      "b",
      4);
  char buf[8] = "XXXXXXX";
  EXPECT_EQ(xp_str_cget(s, buf, 3), 1);  // C3 B1 would end beyond 2
  EXPECT_EQ(std::string(buf, 3), std::string("a\0X", 3));
  EXPECT_EQ(xp_str_get(s, buf, 3), 3);
  EXPECT_EQ(xp_str_get(s, nullptr, 2), 4);
  EXPECT_EQ(xp_str_cget(s, buf, 0), 0);
  unsigned char p[8];
  EXPECT_EQ(xp_str_pget(s, p, 4), 3);
  EXPECT_EQ(std::string(reinterpret_cast<char *>(p), 4),
            "\x03"
            "a\xc3\xb1");
  EXPECT_EQ(xp_str_pget(nullptr, p, 3), 0);
  EXPECT_EQ(p[0], 0);
  xp_str_release(s);
  // Malformed text: stray continuation bytes count one each; a four-byte
  // lead counts four even with too few bytes behind it; FC counts six.
  s = xp_str_make("\x80\x80\xf0\x90\x80xyz\xfc\x80\x80\x80\x80\x80", 14);
  EXPECT_EQ(xp_str_get(s, buf, 5), 2);
  EXPECT_EQ(xp_str_get(s, buf, 6), 6);
  EXPECT_EQ(xp_str_get(s, nullptr, 0), 14);
  char wide[16];
  EXPECT_EQ(xp_str_get(s, wide, 13), 8);
  xp_str_release(s);
  // The stored count wraps above 255.
  std::string long_text(300, 'x');
  s = xp_str_make(long_text.data(), 300);
  std::vector<unsigned char> pbuf(301);
  EXPECT_EQ(xp_str_pget(s, pbuf.data(), 301), 300);
  EXPECT_EQ(pbuf[0], 300 % 256);
  xp_str_release(s);
}

// Each accessor, into every size from 0 to length + 2, writes nothing past
// the size it was given and never splits a sequence.
TEST(StrAccess, GuardBytesAroundEveryBufferSize) {
  const std::string t =
      "z\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80"
      "a\xc3";
  xp_str *s = xp_str_make(t.data(), static_cast<intptr_t>(t.size()));
  const intptr_t len = xp_str_length(s);
  const unsigned char guard = 0xA5;
  for (intptr_t size = 0; size <= len + 2; size++) {
    std::vector<unsigned char> area(static_cast<size_t>(size) * 2 + 32);
    unsigned char *buf = area.data() + 16;
    auto clean_from = [&](intptr_t from) {  // guards before buf and from buf[from] on
      for (intptr_t i = -16; i < size * 2 + 16; i++)
        if ((i < 0 || i >= from) && buf[i] != guard) return false;
      return true;
    };
    auto fresh = [&] { std::fill(area.begin(), area.end(), guard); };

    fresh();
    intptr_t g = xp_str_get(s, reinterpret_cast<char *>(buf), size);
    EXPECT_TRUE(g <= size && clean_from(g)) << "get " << size;
    EXPECT_EQ(std::memcmp(buf, t.data(), static_cast<size_t>(g)), 0);
    if (g < len) {
      EXPECT_GT(g + xps::seqlen(static_cast<unsigned char>(t[g])), size);
    }

    fresh();
    intptr_t c = xp_str_cget(s, reinterpret_cast<char *>(buf), size);
    if (size > 0) {
      EXPECT_EQ(buf[c], 0);
      EXPECT_TRUE(clean_from(c + 1)) << "cget " << size;
      std::vector<char> scratch(static_cast<size_t>(size));
      EXPECT_EQ(c, xp_str_get(s, scratch.data(), size - 1));
    } else {
      EXPECT_TRUE(c == 0 && clean_from(0));
    }

    fresh();
    intptr_t p = xp_str_pget(s, buf, size);
    EXPECT_EQ(p, c);
    EXPECT_TRUE(clean_from(size ? p + 1 : 0)) << "pget " << size;

    fresh();  // wget counts 16-bit units
    intptr_t w = xp_str_wget(s, reinterpret_cast<uint16_t *>(buf), size);
    EXPECT_TRUE(w <= size && clean_from(w * 2)) << "wget " << size;
  }
  xp_str_release(s);
}

std::vector<unsigned char> item(const char *type, uint32_t tag, const std::string &data) {
  std::vector<unsigned char> v(12 + (data.size() + 3) / 4 * 4);
  std::memcpy(v.data(), &tag, 4);
  std::memcpy(v.data() + 4, type, 4);
  for (int i = 0; i < 4; i++)
    v[8 + i] = static_cast<unsigned char>(data.size() >> (24 - 8 * i));
  std::memcpy(v.data() + 12, data.data(), data.size());
  return v;
}

TEST(StrType, CompareTextifyAndDeserialise) {
  xp_str *a = xp_str_new("Apple"), *b = xp_str_new("apple"), *c = xp_str_new("applesauce"),
         *d = xp_str_make("apple\0zzz", 9);
  EXPECT_EQ(xp_compare(a, b), 0);  // case ignored
  EXPECT_LT(xp_compare(a, c), 0);
  EXPECT_GT(xp_compare(c, b), 0);
  EXPECT_EQ(xp_compare(a, d), 0);  // measured to the zero byte

  xp_str *u = xp_str_new("a\xc3\xb1");
  char buf[4];
  EXPECT_EQ(xp_textify(u, 0, 0, 0), 3);
  EXPECT_EQ(xp_textify(u, reinterpret_cast<xp_word>(buf), 2, 0), 1);

  auto take_item = [&](const std::vector<unsigned char> &v, uint32_t tag) {
    return reinterpret_cast<xp_str *>(
        xp_deserialize(a, static_cast<xp_word>(tag), reinterpret_cast<xp_word>(v.data())));
  };
  auto x = item("xstr", 7, std::string("hi\0there", 8));
  EXPECT_EQ(take(take_item(x, 0)), std::string("hi\0there", 8));
  EXPECT_EQ(take(take_item(x, 7)), std::string("hi\0there", 8));
  EXPECT_EQ(take_item(x, 8), nullptr);
  EXPECT_EQ(take(take_item(item("text", 1, "plain"), 0)), "plain");
  EXPECT_EQ(take_item(item("long", 1, "1234"), 0), nullptr);
  EXPECT_EQ(xp_str_control(a, 9, 0, 0), 0);
  for (xp_str *x2 : {a, b, c, d, u})
    xp_str_release(x2);
}

}  // namespace
