// String object: layout, construction, ownership, concatenation and
// substrings, the accessors' whole-character truncation (with guard bytes
// around every buffer size) and the type operations.
#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

#include "xp/str/xp_str_internal.h"

namespace {

// Owns one reference for the length of a test.
struct Ref {
  xp_str *s;
  explicit Ref(xp_str *p) : s(p) {}
  ~Ref() { xp_str_release(s); }
  Ref(const Ref &) = delete;
  Ref &operator=(const Ref &) = delete;
  operator xp_str *() const { return s; }
  std::string text() const { return std::string(xp_str_getptr(s), xp_str_length(s)); }
};

TEST(StrObject, LayoutIsHeaderPointerLengthInlineText) {
  EXPECT_EQ(offsetof(xp_str, text), sizeof(xp_obj));
  EXPECT_EQ(offsetof(xp_str, length), sizeof(xp_obj) + sizeof(void *));
  Ref s(xp_str_make("abc", 2));
  ASSERT_TRUE(s.s);
  EXPECT_EQ(xp_type(s), xp_str_type());
  EXPECT_EQ(std::memcmp(&s.s->obj.type, "xstr", 4), 0);
  // The text lies inline right behind the length, followed by spare zeros.
  EXPECT_EQ(s.s->text, reinterpret_cast<const char *>(s.s) + sizeof(xp_str));
  EXPECT_EQ(s.s->length, 2);
  for (size_t i = 2; i < 2 + sizeof(void *); i++)
    EXPECT_EQ(s.s->text[i], 0) << i;
  EXPECT_EQ(s.text(), "ab");
}

TEST(StrObject, NullAndEmptySourcesGiveTerminatedEmptyStrings) {
  Ref a(xp_str_new(nullptr)), b(xp_str_new("")), c(xp_str_make(nullptr, -1));
  for (xp_str *s : {a.s, b.s, c.s}) {
    ASSERT_TRUE(s);
    EXPECT_EQ(xp_str_length(s), 0);
    EXPECT_EQ(*xp_str_getptr(s), 0);
  }
  // A null source with a stated length: empty, with room for that length.
  Ref d(xp_str_make(nullptr, 40));
  EXPECT_EQ(xp_str_length(d), 0);
  EXPECT_EQ(*xp_str_getptr(d), 0);
  EXPECT_EQ(xp_str_length(nullptr), 0);
  EXPECT_NE(xp_str_getptr(nullptr), nullptr);
  EXPECT_EQ(*xp_str_getptr(nullptr), 0);
}

TEST(StrObject, MakeKeepsEmbeddedZerosAndTheLengthRules) {
  const char bytes[] = {'a', 0, 'b', 'c'};
  Ref s(xp_str_make(bytes, 4));
  EXPECT_EQ(s.text(), std::string(bytes, 4));
  EXPECT_EQ(xp_str_getptr(s)[4], 0);
  Ref m(xp_str_make("measured", -5));
  EXPECT_EQ(m.text(), "measured");
  Ref e(xp_str_encmake(3, "caf\xe9", -1));
  EXPECT_EQ(e.text(), "caf\xe9");
  EXPECT_EQ(xp_str_cfmake(nullptr), nullptr);
}

TEST(StrObject, ConstBorrowsAndAllocOwns) {
  static const char text[] = "borrowed";
  Ref c(xp_str_const(text));
  EXPECT_EQ(xp_str_getptr(c), text);
  EXPECT_EQ(xp_str_length(c), 8);
  auto *block = static_cast<char *>(xp_alloc(6));
  std::memcpy(block, "owned", 6);
  xp_str *a = xp_str_alloc(block);
  ASSERT_TRUE(a);
  EXPECT_EQ(xp_str_getptr(a), block);
  EXPECT_EQ(xp_str_length(a), 5);
  xp_str_retain(a);
  xp_str_release(a);
  EXPECT_EQ(xp_refs(a), 1);
  xp_release(a);  // frees the block too (checked by the leak checker)
  Ref n(xp_str_const(nullptr));
  EXPECT_EQ(xp_str_length(n), 0);
}

TEST(StrObject, AppendAndConcatShareWhenNothingChanges) {
  Ref s(xp_str_new("abc"));
  Ref same(xp_str_append(s, "", -1));
  EXPECT_EQ(same.s, s.s);
  Ref same2(xp_str_append(s, nullptr, -1));
  EXPECT_EQ(same2.s, s.s);
  Ref same3(xp_str_append(s, "xyz", 0));
  EXPECT_EQ(same3.s, s.s);
  Ref longer(xp_str_append(s, "defg", 2));
  EXPECT_EQ(longer.text(), "abcde");
  EXPECT_EQ(s.text(), "abc");
  Ref zeros(xp_str_append(s, nullptr, 3));
  EXPECT_EQ(zeros.text(), std::string("abc\0\0\0", 6));

  Ref empty(xp_str_new(""));
  Ref fresh(xp_str_append(empty, "x", -1));
  EXPECT_NE(fresh.s, empty.s);
  EXPECT_EQ(fresh.text(), "x");
  Ref fromnull(xp_str_append(nullptr, "yz", -1));
  EXPECT_EQ(fromnull.text(), "yz");

  Ref b(xp_str_new("def"));
  Ref ab(xp_str_concat(s, b));
  EXPECT_EQ(ab.text(), "abcdef");
  Ref anull(xp_str_concat(s, nullptr));
  EXPECT_EQ(anull.s, s.s);
  Ref nullb(xp_str_concat(nullptr, b));
  EXPECT_EQ(nullb.s, b.s);
  Ref emptyb(xp_str_concat(empty, b));
  EXPECT_EQ(emptyb.s, b.s);
  EXPECT_EQ(xp_str_concat(nullptr, nullptr), nullptr);
  EXPECT_EQ(xp_refs(s), 5);
}

TEST(StrObject, SubstrClampsAndShares) {
  Ref s(xp_str_new("hello"));
  Ref whole(xp_str_substr(s, 0, 5));
  EXPECT_EQ(whole.s, s.s);
  Ref whole2(xp_str_substr(s, -3, 99));
  EXPECT_EQ(whole2.s, s.s);
  Ref tail(xp_str_substr(s, 1, -1));
  EXPECT_EQ(tail.text(), "ello");
  Ref mid(xp_str_substr(s, 1, 3));
  EXPECT_EQ(mid.text(), "ell");
  Ref over(xp_str_substr(s, 3, 10));
  EXPECT_EQ(over.text(), "lo");
  Ref beyond(xp_str_substr(s, 9, 2));
  EXPECT_EQ(beyond.text(), "");
  Ref neg(xp_str_substr(s, -2, 2));
  EXPECT_EQ(neg.text(), "he");
  EXPECT_EQ(xp_str_substr(nullptr, 0, 1), nullptr);
}

TEST(StrAccess, TruncationKeepsWholeSequences) {
  Ref s(
      xp_str_make("a\xc3\xb1"
                  "b",
                  4));
  char buf[8];
  std::memset(buf, 'X', sizeof buf);
  EXPECT_EQ(xp_str_cget(s, buf, 3), 1);
  EXPECT_EQ(std::string(buf, 3), std::string("a\0X", 3));
  EXPECT_EQ(xp_str_get(s, buf, 3), 3);
  EXPECT_EQ(xp_str_get(s, buf, 2), 1);
  EXPECT_EQ(xp_str_get(s, nullptr, 2), 4);
  EXPECT_EQ(xp_str_cget(s, nullptr, 2), 4);
  EXPECT_EQ(xp_str_cget(s, buf, 0), 0);
  EXPECT_EQ(xp_str_get(nullptr, buf, 8), 0);
  EXPECT_EQ(xp_str_cget(nullptr, buf, 8), 0);
  EXPECT_EQ(buf[0], 0);

  // Lead bytes decide the sequence length, even for malformed text: a
  // four-byte lead with only two bytes behind it still counts four.
  Ref odd(xp_str_make("\x80\x80\xf0\x90\x80xyz", 8));
  EXPECT_EQ(xp_str_get(odd, buf, 2), 2);
  EXPECT_EQ(xp_str_get(odd, buf, 5), 2);
  EXPECT_EQ(xp_str_get(odd, buf, 6), 6);
  Ref six(xp_str_make("\xfc\x80\x80\x80\x80\x80q", 7));
  EXPECT_EQ(xp_str_get(six, buf, 5), 0);
  EXPECT_EQ(xp_str_get(six, buf, 6), 6);

  unsigned char p[8];
  EXPECT_EQ(xp_str_pget(s, p, 4), 3);
  EXPECT_EQ(p[0], 3);
  EXPECT_EQ(std::memcmp(p + 1, "a\xc3\xb1", 3), 0);
  EXPECT_EQ(xp_str_pget(s, p, 3), 1);
  EXPECT_EQ(p[0], 1);
  EXPECT_EQ(xp_str_pget(nullptr, p, 3), 0);
  EXPECT_EQ(p[0], 0);
}

TEST(StrAccess, PascalCountWrapsAbove255) {
  std::string text(300, 'x');
  Ref s(xp_str_make(text.data(), 300));
  std::vector<unsigned char> p(301);
  EXPECT_EQ(xp_str_pget(s, p.data(), 301), 300);
  EXPECT_EQ(p[0], 300 % 256);
}

// Every accessor, into every size from 0 to length + 2, stays inside the
// size it was given and agrees with the others.
TEST(StrAccess, GuardBytesAroundEveryBufferSize) {
  const std::string text =
      "z\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80"
      "a\xc3";
  Ref s(xp_str_make(text.data(), static_cast<intptr_t>(text.size())));
  const intptr_t len = xp_str_length(s);
  const unsigned char guard = 0xA5;
  for (intptr_t size = 0; size <= len + 2; size++) {
    std::vector<unsigned char> area(static_cast<size_t>(size) * 2 + 32, guard);
    unsigned char *buf = area.data() + 16;
    auto untouched_from = [&](intptr_t from) {
      for (intptr_t i = -16; i < 0; i++)
        if (buf[i] != guard) return false;
      for (intptr_t i = from; i < size * 2 + 16; i++)
        if (buf[i] != guard) return false;
      return true;
    };
    intptr_t got = xp_str_get(s, reinterpret_cast<char *>(buf), size);
    EXPECT_LE(got, size);
    EXPECT_EQ(std::memcmp(buf, text.data(), static_cast<size_t>(got)), 0);
    EXPECT_TRUE(untouched_from(got)) << "get " << size;
    // The cut never splits a sequence: the next lead byte would not fit.
    if (got < len) {
      EXPECT_GT(got + xps::seqlen(static_cast<unsigned char>(text[got])), size);
    }

    std::fill(area.begin(), area.end(), guard);
    intptr_t c = xp_str_cget(s, reinterpret_cast<char *>(buf), size);
    if (size == 0) {
      EXPECT_EQ(c, 0);
      EXPECT_TRUE(untouched_from(0));
    } else {
      std::vector<char> scratch(static_cast<size_t>(size));
      EXPECT_EQ(c, xp_str_get(s, scratch.data(), size - 1));
      EXPECT_EQ(buf[c], 0);
      EXPECT_TRUE(untouched_from(c + 1)) << "cget " << size;
    }

    std::fill(area.begin(), area.end(), guard);
    intptr_t p = xp_str_pget(s, buf, size);
    EXPECT_EQ(p, size ? c : 0);
    EXPECT_TRUE(untouched_from(size ? p + 1 : 0)) << "pget " << size;

    // wget: size counts 16-bit units.
    std::fill(area.begin(), area.end(), guard);
    intptr_t w = xp_str_wget(s, reinterpret_cast<uint16_t *>(buf), size);
    EXPECT_LE(w, size);
    EXPECT_TRUE(untouched_from(w * 2)) << "wget " << size;
  }
}

TEST(StrType, CompareIgnoresCaseUpToTheZeroByte) {
  Ref a(xp_str_new("Apple")), b(xp_str_new("apple")), c(xp_str_new("applesauce")),
      d(xp_str_make("apple\0zzz", 9)), e(xp_str_new("banana"));
  EXPECT_EQ(xp_compare(a, b), 0);
  EXPECT_LT(xp_compare(a, c), 0);
  EXPECT_GT(xp_compare(c, a), 0);
  EXPECT_EQ(xp_compare(a, d), 0);  // measured to the zero byte
  EXPECT_LT(xp_compare(a, e), 0);
  EXPECT_GT(xp_str_compare(e, b), 0);
}

TEST(StrType, TextifyIsGetThroughTheObjectSlot) {
  Ref s(xp_str_new("a\xc3\xb1"));
  char buf[4];
  EXPECT_EQ(xp_textify(s, 0, 0, 0), 3);
  EXPECT_EQ(xp_textify(s, reinterpret_cast<xp_word>(buf), 2, 0), 1);
  EXPECT_EQ(xp_textify(s, reinterpret_cast<xp_word>(buf), 3, 0), 3);
  EXPECT_EQ(std::memcmp(buf, "a\xc3\xb1", 3), 0);
}

std::vector<unsigned char> item(const char *type, uint32_t tag, const std::string &data) {
  std::vector<unsigned char> v(12 + (data.size() + 3) / 4 * 4);
  std::memcpy(v.data(), &tag, 4);
  std::memcpy(v.data() + 4, type, 4);
  uint32_t n = static_cast<uint32_t>(data.size());
  unsigned char be[4] = {static_cast<unsigned char>(n >> 24), static_cast<unsigned char>(n >> 16),
                         static_cast<unsigned char>(n >> 8), static_cast<unsigned char>(n)};
  std::memcpy(v.data() + 8, be, 4);
  std::memcpy(v.data() + 12, data.data(), data.size());
  return v;
}

TEST(StrType, DeserialiseTakesStringAndTextItemsOnly) {
  Ref proto(xp_str_new(""));
  auto take = [&](const std::vector<unsigned char> &v, uint32_t tag) {
    return reinterpret_cast<xp_str *>(
        xp_deserialize(proto, static_cast<xp_word>(tag), reinterpret_cast<xp_word>(v.data())));
  };
  auto x = item("xstr", 7, std::string("hi\0there", 8));
  Ref s1(take(x, 0));
  EXPECT_EQ(s1.text(), std::string("hi\0there", 8));
  Ref s2(take(x, 7));
  EXPECT_EQ(xp_str_length(s2), 8);
  EXPECT_EQ(take(x, 8), nullptr);
  Ref t(take(item("text", 1, "plain"), 0));
  EXPECT_EQ(t.text(), "plain");
  EXPECT_EQ(take(item("long", 1, "1234"), 0), nullptr);
  EXPECT_EQ(xp_str_control(proto, 9, 0, 0), 0);
}

}  // namespace
