// Allocation failure in every constructor and derivation of strings and
// data: the k-th allocation is made to fail for k = 1, 2, ... until a call
// completes without reaching it. A failed call gives null (or, for the
// derivations that fall back, the given string) and leaks nothing; the
// leak checker of the sanitizer build sees every step.
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "xp/str/xp_str_internal.h"

namespace {

struct Case {
  const char *name;
  std::function<void *()> make;
  void *fallback;  // what a failed call answers instead of null, if anything
};

void sweep(const Case &c) {
  for (long k = 1;; k++) {
    ASSERT_LT(k, 100) << c.name;
    xpc::fail_alloc_after(k);
    void *r = c.make();
    bool reached = !xpc::alloc_failure_pending();
    xpc::fail_alloc_after(0);
    if (!reached) {
      EXPECT_NE(r, nullptr) << c.name << ": fails without a failed allocation";
      EXPECT_TRUE(c.fallback == nullptr || r != c.fallback) << c.name;
      xp_release(r);
      return;
    }
    EXPECT_EQ(r, c.fallback) << c.name << " at allocation " << k;
    xp_release(r);
  }
}

TEST(StrAllocFailure, EveryConstructorAndDerivation) {
  xp_str *s = xp_str_new("  Some text [with] a marked part, some text  ");
  xp_str *t = xp_str_new("tail");
  xp_data *d = xp_data_new("bytes", 5);
  static const uint16_t wide[] = {0xFEFF, 'w', 0x00E9, 0x4E2D, 0};
  const Case cases[] = {
      {"new", [] { return static_cast<void *>(xp_str_new("abc")); }, nullptr},
      {"new null", [] { return static_cast<void *>(xp_str_new(nullptr)); }, nullptr},
      {"make", [] { return static_cast<void *>(xp_str_make("abc", 2)); }, nullptr},
      {"make room", [] { return static_cast<void *>(xp_str_make(nullptr, 30)); }, nullptr},
      {"encmake", [] { return static_cast<void *>(xp_str_encmake(1, "abc", -1)); }, nullptr},
      {"wnew", [] { return static_cast<void *>(xp_str_wnew(wide)); }, nullptr},
      {"wmake", [] { return static_cast<void *>(xp_str_wmake(wide, 3)); }, nullptr},
      {"wmake null", [] { return static_cast<void *>(xp_str_wmake(nullptr, 3)); }, nullptr},
      {"const", [] { return static_cast<void *>(xp_str_const("abc")); }, nullptr},
      {"alloc",
       [] {
         auto *b = static_cast<char *>(xp_alloc(4));
         if (!b) return static_cast<void *>(nullptr);
         std::memcpy(b, "abc", 4);
         return static_cast<void *>(xp_str_alloc(b));
       },
       nullptr},
      {"concat", [&] { return static_cast<void *>(xp_str_concat(s, t)); }, nullptr},
      {"append", [&] { return static_cast<void *>(xp_str_append(s, "more", -1)); }, nullptr},
      {"substr", [&] { return static_cast<void *>(xp_str_substr(s, 3, 4)); }, nullptr},
      {"replace", [&] { return static_cast<void *>(xp_str_replace(s, "text", 1, "words", -1)); },
       s},
      {"extract", [&] { return static_cast<void *>(xp_str_extract(s, "[", "]", nullptr, 0)); }, s},
      {"trim", [&] { return static_cast<void *>(xp_str_trim(s)); }, nullptr},
      {"upper", [&] { return static_cast<void *>(xp_str_upper(s)); }, s},
      {"lower", [&] { return static_cast<void *>(xp_str_lower(s)); }, s},
      {"data new", [] { return static_cast<void *>(xp_data_new("ab", 2)); }, nullptr},
      {"data const", [] { return static_cast<void *>(xp_data_const("ab", 2)); }, nullptr},
      {"data alloc",
       [] {
         void *b = xp_alloc(8);
         if (!b) return static_cast<void *>(nullptr);
         return static_cast<void *>(xp_data_alloc(b, 8));
       },
       nullptr},
      {"data append", [&] { return static_cast<void *>(xp_data_append(d, nullptr, 12)); }, nullptr},
  };
  for (const Case &c : cases)
    sweep(c);
  EXPECT_EQ(xp_refs(s), 1);
  EXPECT_EQ(xp_refs(d), 1);
  xp_str_release(s);
  xp_str_release(t);
  xp_release(d);
}

}  // namespace
