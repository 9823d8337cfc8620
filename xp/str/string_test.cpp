// String object: layout, construction, derivations that share, truncation
// on whole characters (guard bytes around every buffer size), type ops.
#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

#include "xp/str/xp_str_internal.h"

namespace {

std::string take(xp_str *s) {
  std::string r(xp_str_getptr(s), static_cast<size_t>(xp_str_length(s)));
  xp_str_release(s);
  return r;
}

TEST(StrObject, LayoutConstructionAndSharing) {
  xp_str *s = xp_str_make("abc", 2);
  EXPECT_EQ(std::memcmp(&s->obj.type, "xstr", 4), 0);
  // Inline text right behind the length, then a pointer's width of zeros.
  EXPECT_EQ(s->text, reinterpret_cast<const char *>(s) + sizeof(xp_str));
  EXPECT_EQ(std::string(s->text, 2 + sizeof(void *)), "ab" + std::string(sizeof(void *), '\0'));
  xp_str_release(s);
  EXPECT_EQ(take(xp_str_make("measured", -5)), "measured");
  static const char fixed[] = "borrowed";
  xp_str *c = xp_str_const(fixed);
  EXPECT_EQ(xp_str_getptr(c), fixed);
  xp_str_release(c);
  for (xp_str *e : {xp_str_new(nullptr), xp_str_new(""), xp_str_make(nullptr, 40)}) {
    ASSERT_TRUE(e);
    EXPECT_EQ(xp_str_length(e), 0);
    EXPECT_EQ(*xp_str_getptr(e), 0);
    xp_str_release(e);
  }
  EXPECT_EQ(*xp_str_getptr(nullptr), 0);

  s = xp_str_new("abc");
  xp_str *b = xp_str_new("def"), *e = xp_str_new("");
  for (xp_str *same : {xp_str_append(s, "", -1), xp_str_append(s, "xyz", 0),
                       xp_str_concat(s, nullptr), xp_str_substr(s, -3, 99)}) {
    EXPECT_EQ(same, s);
    xp_str_release(same);
  }
  xp_str *other = xp_str_concat(e, b);
  EXPECT_EQ(other, b);
  xp_str_release(other);
  EXPECT_EQ(xp_refs(s), 1);
  EXPECT_EQ(take(xp_str_append(s, nullptr, 2)), std::string("abc\0\0", 5));
  EXPECT_EQ(take(xp_str_concat(s, b)), "abcdef");
  EXPECT_EQ(take(xp_str_append(nullptr, "yz", -1)), "yz");
  EXPECT_EQ(take(xp_str_substr(s, 1, -1)), "bc");
  EXPECT_EQ(take(xp_str_substr(s, 9, 2)), "");
  EXPECT_EQ(take(xp_str_substr(s, -2, 2)), "ab");
  for (xp_str *x : {s, b, e})
    xp_str_release(x);
}

TEST(StrAccess, MalformedTextAndLongPascalCount) {
  // Stray continuation bytes count one each; a four-byte lead counts four
  // even with too few bytes behind it; FC counts six.
  xp_str *s = xp_str_make("\x80\x80\xf0\x90\x80xyz\xfc\x80\x80\x80\x80\x80", 14);
  char buf[16];
  EXPECT_EQ(xp_str_get(s, buf, 5), 2);
  EXPECT_EQ(xp_str_get(s, buf, 6), 6);
  EXPECT_EQ(xp_str_get(s, buf, 13), 8);
  EXPECT_EQ(xp_str_get(s, nullptr, 0), 14);
  xp_str_release(s);
  s = xp_str_make(std::string(300, 'x').data(), 300);  // the stored count wraps
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
    if (size > 0) {
      EXPECT_EQ(buf[0], p);
    }
    EXPECT_TRUE(clean_from(size ? p + 1 : 0)) << "pget " << size;

    fresh();  // wget counts 16-bit units
    intptr_t w = xp_str_wget(s, reinterpret_cast<uint16_t *>(buf), size);
    EXPECT_TRUE(w <= size && clean_from(w * 2)) << "wget " << size;
  }
  xp_str_release(s);
}

TEST(StrType, CompareTextifyAndDeserialise) {
  xp_str *a = xp_str_new("Apple"), *b = xp_str_new("apple"), *c = xp_str_new("applesauce"),
         *d = xp_str_make("apple\0zzz", 9);
  EXPECT_EQ(xp_compare(a, b), 0);  // case ignored
  EXPECT_LT(xp_compare(a, c), 0);
  EXPECT_EQ(xp_compare(a, d), 0);  // measured to the zero byte
  xp_str *u = xp_str_new("a\xc3\xb1");
  char buf[4];
  EXPECT_EQ(xp_textify(u, reinterpret_cast<xp_word>(buf), 2, 0), 1);

  auto from = [&](const char *type, uint32_t tag, const std::string &data, uint32_t want) {
    std::vector<unsigned char> v(12 + (data.size() + 3) / 4 * 4);
    std::memcpy(v.data(), &tag, 4);
    std::memcpy(v.data() + 4, type, 4);
    for (int i = 0; i < 4; i++)
      v[8 + i] = static_cast<unsigned char>(data.size() >> (24 - 8 * i));
    std::memcpy(v.data() + 12, data.data(), data.size());
    auto *r = reinterpret_cast<xp_str *>(
        xp_deserialize(a, static_cast<xp_word>(want), reinterpret_cast<xp_word>(v.data())));
    return r ? take(r) : "(null)";
  };
  const std::string hi("hi\0there", 8);
  EXPECT_EQ(from("xstr", 7, hi, 0), hi);
  EXPECT_EQ(from("xstr", 7, hi, 7), hi);
  EXPECT_EQ(from("xstr", 7, hi, 8), "(null)");
  EXPECT_EQ(from("text", 1, "plain", 0), "plain");
  EXPECT_EQ(from("long", 1, "1234", 0), "(null)");
  for (xp_str *x : {a, b, c, d, u})
    xp_str_release(x);
}

}  // namespace
