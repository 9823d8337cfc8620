// Allocation failure in every constructor and derivation: the k-th
// allocation fails for k = 1, 2, ... until a call completes without reaching
// it. A failed call gives null (or the given string, for the derivations
// that fall back) and leaks nothing (the sanitizer build checks leaks).
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
  auto owned_text = [] {
    auto *b = static_cast<char *>(xp_alloc(4));
    return b ? xp_str_alloc(std::strcpy(b, "abc")) : nullptr;
  };
  auto owned_block = [] {
    void *b = xp_alloc(8);
    return b ? xp_data_alloc(b, 8) : nullptr;
  };
#define CASE(expr, fallback)                                   \
  {                                                            \
#expr, [&] { return static_cast<void *>(expr); }, fallback \
  }
  const Case cases[] = {
      CASE(xp_str_new("abc"), nullptr),
      CASE(xp_str_new(nullptr), nullptr),
      CASE(xp_str_make(nullptr, 30), nullptr),
      CASE(xp_str_encmake(1, "abc", -1), nullptr),
      CASE(xp_str_wnew(wide), nullptr),
      CASE(xp_str_wmake(nullptr, 3), nullptr),
      CASE(xp_str_const("abc"), nullptr),
      CASE(owned_text(), nullptr),
      CASE(xp_str_format("%d %s", 7, "seven"), nullptr),
      CASE(xp_str_concat(s, t), nullptr),
      CASE(xp_str_append(s, "more", -1), nullptr),
      CASE(xp_str_substr(s, 3, 4), nullptr),
      CASE(xp_str_replace(s, "text", 1, "words", -1), s),
      CASE(xp_str_extract(s, "[", "]", nullptr, 0), s),
      CASE(xp_str_trim(s), nullptr),
      CASE(xp_str_upper(s), s),
      CASE(xp_str_lower(s), s),
      CASE(xp_data_new("ab", 2), nullptr),
      CASE(xp_data_const("ab", 2), nullptr),
      CASE(owned_block(), nullptr),
      CASE(xp_data_append(d, nullptr, 12), nullptr),
  };
#undef CASE
  for (const Case &c : cases)
    sweep(c);
  EXPECT_EQ(xp_refs(s), 1);
  EXPECT_EQ(xp_refs(d), 1);
  xp_str_release(s);
  xp_str_release(t);
  xp_release(d);
}

}  // namespace
