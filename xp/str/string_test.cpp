// String object: construction (also by the format engine), derivations that
// share, truncation on whole characters (guard bytes around every buffer
// size), type operations.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "xp/str/xp_str.h"
#include "xp/xp_test_util.h"

using xpt::take;

TEST(StrObject, ConstructionAndSharing) {
  static const char fixed[] = "borrowed";
  xp_str *c = xp_str_const(fixed);
  EXPECT_EQ(xp_str_getptr(c), fixed);
  xp_str_release(c);
  for (xp_str *e : {xp_str_new(nullptr), xp_str_new(""), xp_str_make(nullptr, 40), (xp_str *)0}) {
    EXPECT_EQ(xp_str_length(e) + *xp_str_getptr(e), 0);
    EXPECT_EQ(xp_type(e), e ? xp_tag("xstr") : 0);
    xp_str_release(e);
  }
  xp_str *s = xp_str_new("abc"), *b = xp_str_new("def"), *e = xp_str_new("");
  const std::pair<xp_str *, xp_str *> shared[] = {{xp_str_append(s, "", -1), s},
                                                  {xp_str_append(s, "xyz", 0), s},
                                                  {xp_str_concat(s, nullptr), s},
                                                  {xp_str_substr(s, -3, 99), s},
                                                  {xp_str_concat(e, b), b}};
  for (auto [got, want] : shared)
    EXPECT_EQ((xp_str_release(got), got), want);
  EXPECT_EQ(xp_refs(s) + xp_refs(b), 2);
  const std::string big(100000, 'q');  // made from the measured size
  const std::pair<xp_str *, std::string> made[] = {
      {xp_str_format("%d-%c[%O]", 42, 'y', s), "42-y[abc]"},  // through its own textify
      {xp_str_format("<%s>", big.c_str()), "<" + big + ">"},
      {xp_str_format(""), ""},
      {xp_str_make("abc", 2), "ab"},
      {xp_str_make("measured", -5), "measured"},
      {xp_str_append(s, nullptr, 2), std::string("abc\0\0", 5)},
      {xp_str_concat(s, b), "abcdef"},
      {xp_str_append(nullptr, "yz", -1), "yz"},
      {xp_str_substr(s, 1, -1), "bc"},
      {xp_str_substr(s, 9, 2), ""},
      {xp_str_substr(s, -2, 2), "ab"}};
  for (const auto &[got, want] : made) {
    EXPECT_EQ(xp_str_getptr(got)[want.size()], 0) << want;  // always terminated
    EXPECT_EQ(take(got), want);
  }
  for (xp_str *x : {s, b, e})
    xp_str_release(x);
}

TEST(StrAccess, MalformedTextAndLongPascalCount) {
  // Stray continuation bytes count one each; a four-byte lead counts four
  // even with too few bytes behind it; FC counts six.
  xp_str *s = xp_str_make("\x80\x80\xf0\x90\x80xyz\xfc\x80\x80\x80\x80\x80", 14);
  char buf[16];
  EXPECT_EQ(std::vector<intptr_t>({xp_str_get(s, buf, 5), xp_str_get(s, buf, 6),
                                   xp_str_get(s, buf, 13), xp_str_get(s, nullptr, 0)}),
            std::vector<intptr_t>({2, 6, 8, 14}));
  xp_str_release(s);
  s = xp_str_make(std::string(300, 'x').data(), 300);  // the stored count wraps
  std::vector<unsigned char> pbuf(301);
  EXPECT_EQ(xp_str_pget(s, pbuf.data(), 301), 300);
  EXPECT_EQ(pbuf[0], 300 % 256);
  xp_str_release(s);
}

// Each accessor, into every size from 0 to length + 2, writes nothing past
// the size it was given and keeps the longest run of whole characters: the
// cut lies where no continuation byte (10xxxxxx) follows.
TEST(StrAccess, GuardBytesAroundEveryBufferSize) {
  const std::string t =
      "z\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80"
      "a";  // five characters
  xp_str *s = xp_str_make(t.data(), static_cast<intptr_t>(t.size()));
  const intptr_t len = static_cast<intptr_t>(t.size());
  auto fits = [&](intptr_t size) {  // the longest whole-character prefix within size
    intptr_t n = std::min(size, len);
    while (n > 0 && n < len && (t[n] & 0xC0) == 0x80)
      n--;
    return n < 0 ? 0 : n;
  };
  for (intptr_t size = 0; size <= len + 2; size++) {
    SCOPED_TRACE(size);
    xpt::Guarded g(size_t(size) * 2), c(size), p(size), w(size_t(size) * 2);
    intptr_t got = xp_str_get(s, g.chars(), size);
    EXPECT_EQ(got, fits(size));
    EXPECT_TRUE(g.clean_from(got) && t.compare(0, got, g.chars(), got) == 0);
    intptr_t cut = xp_str_cget(s, c.chars(), size), pcut = xp_str_pget(s, p.data(), size);
    EXPECT_EQ(cut, size ? fits(size - 1) : 0);
    EXPECT_EQ(pcut, cut);
    EXPECT_TRUE(c.clean_from(size ? cut + 1 : 0) && p.clean_from(size ? cut + 1 : 0));
    if (size > 0) {
      EXPECT_EQ(c.data()[cut] * 1000 + p.data()[0], cut);
      EXPECT_EQ(t.compare(0, cut, c.chars(), cut) + t.compare(0, cut, p.chars() + 1, cut), 0);
    }
    intptr_t units = xp_str_wget(s, reinterpret_cast<uint16_t *>(w.data()), size);
    EXPECT_EQ(units, std::min<intptr_t>(size, 5));  // one unit a character here
    EXPECT_TRUE(w.clean_from(size_t(units) * 2));
  }
  xp_str_release(s);
}

// (Deserialising is tested with the tagged container.)
TEST(StrType, CompareAndTextify) {
  xp_str *a = xp_str_new("Apple"), *b = xp_str_new("apple"), *c = xp_str_new("applesauce"),
         *d = xp_str_make("apple\0zzz", 9), *u = xp_str_new("a\xc3\xb1");
  char buf[4];
  // Case ignored; measured to the zero byte; whole characters only.
  EXPECT_EQ(std::vector<int>({xp_compare(a, b), xp_compare(a, c) < 0, xp_compare(a, d),
                              int(xp_textify(u, xp_word(buf), 2, 0))}),
            std::vector<int>({0, 1, 0, 1}));
  for (xp_str *x : {a, b, c, d, u})
    xp_str_release(x);
}
