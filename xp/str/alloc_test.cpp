// Allocation failure in every constructor and derivation: a failed call
// gives null (or the given string, for the derivations that fall back) and
// leaks nothing (the sanitizer build checks leaks).
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "xp/str/xp_str.h"
#include "xp/xp_test_util.h"

TEST(StrAllocFailure, EveryConstructorAndDerivation) {
  xp_str *s = xp_str_new("  Some text [with] a marked part, some text  "), *t = xp_str_new("tail");
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
  const std::pair<std::function<void *()>, void *> cases[] = {
      // the call, its fallback
      {[] { return xp_str_new("abc"); }, nullptr},
      {[] { return xp_str_new(nullptr); }, nullptr},
      {[] { return xp_str_make(nullptr, 30); }, nullptr},
      {[] { return xp_str_encmake(1, "abc", -1); }, nullptr},
      {[] { return xp_str_wnew(wide); }, nullptr},
      {[] { return xp_str_wmake(nullptr, 3); }, nullptr},
      {[] { return xp_str_const("abc"); }, nullptr},
      {owned_text, nullptr},
      {[] { return xp_str_format("%d %s", 7, "seven"); }, nullptr},
      {[&] { return xp_str_concat(s, t); }, nullptr},
      {[&] { return xp_str_append(s, "more", -1); }, nullptr},
      {[&] { return xp_str_substr(s, 3, 4); }, nullptr},
      {[&] { return xp_str_replace(s, "text", 1, "words", -1); }, s},
      {[&] { return xp_str_extract(s, "[", "]", nullptr, 0); }, s},
      {[&] { return xp_str_trim(s); }, nullptr},
      {[&] { return xp_str_upper(s); }, s},
      {[&] { return xp_str_lower(s); }, s},
      {[] { return xp_data_new("ab", 2); }, nullptr},
      {[] { return xp_data_const("ab", 2); }, nullptr},
      {owned_block, nullptr},
      {[&] { return xp_data_append(d, nullptr, 12); }, nullptr},
  };
  for (size_t i = 0; i < std::size(cases); i++) {
    const auto &[make, fallback] = cases[i];
    xpt::alloc_sweep(make, [&, fb = fallback](void *r, bool failed) {
      EXPECT_TRUE(failed ? r == fb : r && r != fb) << "case " << i;
      xp_release(r);
    });
  }
  EXPECT_EQ(xp_refs(s) + xp_refs(d), 2);
  xp_str_release(s), xp_str_release(t), xp_release(d);
}
