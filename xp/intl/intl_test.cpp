// Locale settings: what a load learns in several locales with and without
// the platform's services, the accessors' rules, the grouping copy, the
// expiry and override rules, allocation failures and threads.
#include <string.h>

#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "xp/core/xp_core_internal.h"
#include "xp/fmt/xp_fmt.h"
#include "xp/intl/intl_test_util.h"
#include "xp/intl/xp_intl_internal.h"

using xpi_test::Locale;
using xpi_test::Platform;

namespace {

using Text = intptr_t (*)(xp_intl *, char *, size_t);
using Name = intptr_t (*)(xp_intl *, int, char *, size_t);

std::string get(xp_intl *o, Text fn) {
  char b[80];
  intptr_t n = fn(o, b, sizeof b);
  EXPECT_EQ((size_t)n, strlen(b));
  return b;
}

std::string get(xp_intl *o, Name fn, int i) {
  char b[80];
  intptr_t n = fn(o, i, b, sizeof b);
  EXPECT_EQ((size_t)n, strlen(b));
  return b;
}

// The group sizes as "3,2", or "none" for a grouping that has no groups.
std::string grouping_of(xp_intl *o, Text fn = xp_intl_grouping) {
  char b[16];
  intptr_t n = fn(o, b, sizeof b);
  if (n > 0 && (unsigned char)b[0] == 0xFF) return "none";
  std::string g;
  for (intptr_t i = 0; i < n && b[i] && (unsigned char)b[i] != 0xFF; i++)
    g += (g.empty() ? "" : ",") + std::to_string((unsigned char)b[i]);
  return g;
}

// Order, date separator, clock and time separator as "1 . 1 :".
std::string dates_and_times(xp_intl *o) {
  return std::to_string(xp_intl_datefmt(o)) + " " + get(o, xp_intl_datesep) + " " +
         std::to_string(xp_intl_timefmt(o)) + " " + get(o, xp_intl_timesep);
}

struct Loaded {
  Locale locale;
  xp_intl *o;
  Loaded(const char *name, Platform p) : locale(name, p), o(xp_intl_new()) {
    EXPECT_NE(o, nullptr);
  }
  ~Loaded() { xp_release(o); }
};

TEST(IntlPlatform, GermanNamesNumbersAndCurrency) {
  Loaded de("de_DE.UTF-8", Platform::on);
  EXPECT_EQ(dates_and_times(de.o), "1 . 1 :");
  EXPECT_EQ(get(de.o, xp_intl_month, 3), "M\xC3\xA4rz");
  EXPECT_EQ(get(de.o, xp_intl_month, 12), "Dezember");
  EXPECT_EQ(get(de.o, xp_intl_abbrevmonth, 10), "Okt.");
  EXPECT_EQ(get(de.o, xp_intl_day, 0), "Sonntag");
  EXPECT_EQ(get(de.o, xp_intl_day, 6), "Samstag");
  EXPECT_EQ(get(de.o, xp_intl_abbrevday, 1), "Mo.");
  EXPECT_EQ(get(de.o, xp_intl_decimal) + get(de.o, xp_intl_thousep) + get(de.o, xp_intl_mdecimal) +
                get(de.o, xp_intl_mthousep) + get(de.o, xp_intl_plus) + get(de.o, xp_intl_minus),
            ",.,.+-");
  EXPECT_EQ(get(de.o, xp_intl_currency), "\xE2\x82\xAC");
  EXPECT_EQ(xp_intl_isocurrency(de.o), 978u);
  EXPECT_EQ(grouping_of(de.o), "3");
  EXPECT_EQ(grouping_of(de.o, xp_intl_mgrouping), "3");
}

TEST(IntlPlatform, OrdersClocksAndSeparatorsOfOtherLocales) {
  {
    Loaded us("en_US.UTF-8", Platform::on);
    EXPECT_EQ(dates_and_times(us.o), "0 / 0 :");  // 10:34:56 PM
    EXPECT_EQ(get(us.o, xp_intl_am) + get(us.o, xp_intl_pm), "AMPM");
    EXPECT_EQ(xp_intl_isocurrency(us.o), 840u);
  }
  {
    Loaded sv("sv_SE.UTF-8", Platform::on);
    EXPECT_EQ(dates_and_times(sv.o), "2 - 1 :");
    EXPECT_EQ(xp_intl_isocurrency(sv.o), 752u);  // by its code: the symbol is "kr"
  }
  Loaded fi("fi_FI.UTF-8", Platform::on);
  EXPECT_EQ(dates_and_times(fi.o), "1 . 1 .");
}

TEST(IntlPlatform, GroupingReachesTheFormatEngine) {
  struct Case {
    const char *locale, *expect;
  } cases[] = {{"de_DE.UTF-8", "1.234.567|-12.345.678.901"},
               {"en_US.UTF-8", "1,234,567|-12,345,678,901"},
               {"en_IN.UTF-8", "12,34,567|-12,34,56,78,901"}};
  for (const auto &c : cases) {
    Locale l(c.locale, Platform::on);
    xp_intl_reset(nullptr);
    char b[64];
    xp_fmt_format(b, sizeof b, "%'d|%'lld", 1234567, -12345678901LL);
    EXPECT_STREQ(b, c.expect) << c.locale;
  }
  xp_intl_reset(nullptr);
}

TEST(IntlFallback, CLibraryLocales) {
  {
    Loaded de("de_DE.UTF-8", Platform::off);
    EXPECT_EQ(dates_and_times(de.o), "1 . 1 :");  // 15.02.2006, 22:34:56
    EXPECT_EQ(get(de.o, xp_intl_month, 3), "M\xC3\xA4rz");
    EXPECT_EQ(get(de.o, xp_intl_day, 3), "Mittwoch");
    // No German markers in the C library: the defaults.
    EXPECT_EQ(get(de.o, xp_intl_am) + get(de.o, xp_intl_pm), "AMPM");
    EXPECT_EQ(get(de.o, xp_intl_decimal) + get(de.o, xp_intl_thousep), ",.");
    EXPECT_EQ(grouping_of(de.o), "3,3");
    EXPECT_EQ(xp_intl_isocurrency(de.o), 978u);  // from the euro sign
  }
  {
    Loaded us("en_US.UTF-8", Platform::off);
    EXPECT_EQ(dates_and_times(us.o), "0 / 0 :");
  }
  {
    Loaded sv("sv_SE.UTF-8", Platform::off);
    EXPECT_EQ(dates_and_times(sv.o), "2 - 1 :");
  }
  {
    Loaded fi("fi_FI.UTF-8", Platform::off);
    EXPECT_EQ(dates_and_times(fi.o), "1 . 1 .");
  }
  Loaded gb("en_GB.UTF-8", Platform::off);
  EXPECT_EQ(xp_intl_isocurrency(gb.o), 826u);  // from the pound sign
}

TEST(IntlFallback, CLocaleGetsTheFixedDefaults) {
  Loaded c("C", Platform::off);
  EXPECT_EQ(get(c.o, xp_intl_plus) + get(c.o, xp_intl_minus) + get(c.o, xp_intl_decimal) +
                get(c.o, xp_intl_thousep) + get(c.o, xp_intl_mdecimal) +
                get(c.o, xp_intl_mthousep) + get(c.o, xp_intl_currency),
            "+-.,.,$");
  EXPECT_EQ(xp_intl_isocurrency(c.o), 840u);
  EXPECT_EQ(get(c.o, xp_intl_month, 1), "January");
  EXPECT_EQ(grouping_of(c.o), "none");
  EXPECT_EQ(grouping_of(c.o, xp_intl_mgrouping), "none");
}

TEST(IntlAccessors, RangesCutsAndMeasuring) {
  Loaded us("en_US.UTF-8", Platform::on);
  char b[8];
  const std::pair<Name, int> outside[] = {{xp_intl_month, 0},
                                          {xp_intl_month, 13},
                                          {xp_intl_abbrevmonth, -1},
                                          {xp_intl_day, 7},
                                          {xp_intl_abbrevday, -1}};
  for (auto [fn, i] : outside) {
    strcpy(b, "junk");
    EXPECT_EQ(fn(us.o, i, b, sizeof b), 0);
    EXPECT_EQ(b[0], 0);
  }
  char small[5];
  EXPECT_EQ(xp_intl_month(us.o, 9, small, sizeof small), 4);
  EXPECT_STREQ(small, "Sept");
  EXPECT_EQ(xp_intl_month(us.o, 9, nullptr, 0), 9);
}

TEST(IntlAccessors, GroupingCountsToTheFirstNoMoreGroupsByte) {
  xp_intl *o = xp_intl_new();
  ASSERT_NE(o, nullptr);
  o->overrides = 1;  // keep these hand-made fields
  memset(o->grouping, 0x11, sizeof o->grouping);
  memcpy(o->grouping, "\x03\xFF", 2);
  memcpy(o->mgrouping, "\x03\x02\x01\xFF", 4);
  char b[16];
  memset(b, 0x55, sizeof b);
  // The monetary form measures on the plain grouping, copies the monetary.
  EXPECT_EQ(xp_intl_mgrouping(o, b, sizeof b), 2);
  EXPECT_EQ(memcmp(b, "\x03\x02\x55", 3), 0);
  EXPECT_EQ(xp_intl_grouping(o, b, 1), 1);
  EXPECT_EQ(xp_intl_grouping(o, nullptr, 0), 2);

  // A grouping ended by 0 is measured on into the fields that follow ...
  memcpy(o->grouping, "\x03\x00", 2);
  o->mdecimal[0] = (char)0xFF;
  EXPECT_EQ(xp_intl_grouping(o, nullptr, 0), 17);
  EXPECT_EQ(xp_intl_grouping(o, b, sizeof b), 16);
  // ... but never past the object.
  memset(o->mdecimal, 0, offsetof(xp_intl, isocurrency) - offsetof(xp_intl, mdecimal));
  o->isocurrency = 0;
  std::vector<char> big(4096);
  EXPECT_EQ((size_t)xp_intl_grouping(o, big.data(), big.size()),
            sizeof(xp_intl) - offsetof(xp_intl, grouping));
  EXPECT_EQ((size_t)xp_intl_mgrouping(o, big.data(), big.size()),
            sizeof(xp_intl) - offsetof(xp_intl, mgrouping));
  xp_release(o);
}

TEST(IntlLoad, OneLoadPerExpiryAndNoneWhileOverridden) {
  Loaded us("en_US.UTF-8", Platform::on);
  xp_intl *o = us.o;
  char b[16];
  unsigned long before = xpi::load_count();
  xp_intl_decimal(o, b, sizeof b);
  xp_intl_month(o, 1, b, sizeof b);
  EXPECT_EQ(xpi::load_count(), before);
  uint64_t now = (uint64_t)xp_time_getutc();
  EXPECT_GE(o->expiry, now + 599);
  EXPECT_LE(o->expiry, now + 601);

  o->expiry = now - 1;  // stale: the next accessor loads, once
  xp_intl_decimal(o, b, sizeof b);
  xp_intl_datefmt(o);
  EXPECT_EQ(xpi::load_count(), before + 1);

  o->overrides = 0x1000;  // kept, even expired
  o->expiry = 0;
  xp_intl_thousep(o, b, sizeof b);
  EXPECT_EQ(xpi::load_count(), before + 1);
  o->overrides = 0x2000;  // not an override bit
  xp_intl_thousep(o, b, sizeof b);
  EXPECT_EQ(xpi::load_count(), before + 2);
  o->overrides = 1;
  EXPECT_EQ(xp_intl_reset(o), o);
  EXPECT_EQ(o->overrides, 0);
  EXPECT_EQ(xpi::load_count(), before + 3);
}

TEST(IntlLoad, SharedDefaultIsStaticAndLoadedOnce) {
  char b[16];
  EXPECT_GT(xp_intl_minus(nullptr, b, sizeof b), 0);
  unsigned long before = xpi::load_count();
  xp_intl *shared = xpi_reload(nullptr);
  EXPECT_EQ(xp_intl_reset(nullptr), shared);
  EXPECT_EQ(xpi::load_count(), before + 1);
  EXPECT_EQ(xp_type(shared), xp_intl_type());
  xp_release(shared);  // does nothing
  xp_release(shared);
  EXPECT_GT(xp_intl_minus(nullptr, b, sizeof b), 0);
}

TEST(IntlLoad, AllocationFailuresAreClean) {
  Locale l("de_DE.UTF-8", Platform::on);
  for (long k = 1;; k++) {
    xpc::fail_alloc_after(k);
    xp_intl *o = xp_intl_new();
    bool pending = xpc::alloc_failure_pending();
    xpc::fail_alloc_after(0);
    if (k == 1) {
      EXPECT_EQ(o, nullptr);
    } else {
      // A formatter that could not be made leaves its fields to the
      // fallbacks: never empty.
      ASSERT_NE(o, nullptr);
      EXPECT_NE(get(o, xp_intl_month, 3), "");
      EXPECT_NE(get(o, xp_intl_decimal), "");
    }
    xp_release(o);
    if (pending) break;
    ASSERT_LT(k, 100);
  }
}

TEST(IntlLoad, ThreadsLoadTheirOwnAndShareTheDefault) {
  Locale l("de_DE.UTF-8", Platform::on);
  std::vector<std::thread> threads;
  std::vector<std::string> seen(4);
  for (int t = 0; t < 4; t++)
    threads.emplace_back([t, &seen] {
      char b[16];
      for (int i = 0; i < 100; i++)
        xp_intl_decimal(nullptr, b, sizeof b);
      xp_intl *o = xp_intl_new();
      seen[t] = get(o, xp_intl_month, 3) + get(o, xp_intl_decimal);
      xp_release(o);
    });
  for (auto &th : threads)
    th.join();
  for (auto &s : seen)
    EXPECT_EQ(s, "M\xC3\xA4rz,");
}

TEST(IntlWalks, DateOrderAndSeparator) {
  struct Case {
    const char *text;
    int order;
    const char *sep;
  } cases[] = {
      {"15.02.06", 1, "."},
      {"2/15/06", 0, "/"},
      {"2006-02-15", 2, "-"},
      {"02.15.2006", 0, "."},
      {"2006. 2. 15.", 2, "/"},  // runs of several bytes are skipped
      {"Feb 15, 2006", 0, "/"},  // a leading word counts as a number
      {"2006\xE5\xB9\xB4"
       "2\xE6\x9C\x88"
       "15\xE6\x97\xA5",
       2, "/"},
      {"20060215", 1, "/"},
      {"", 1, "/"},
  };
  for (const auto &c : cases) {
    char sep[16];
    memset(sep, 'x', sizeof sep);
    EXPECT_EQ(xpi::date_order(c.text, (intptr_t)strlen(c.text), sep), c.order) << c.text;
    EXPECT_STREQ(sep, c.sep) << c.text;
  }
}

TEST(IntlWalks, GroupingOfPatterns) {
  struct Case {
    const char *pattern;
    std::string grouping;  // up to and including the end mark
  } cases[] = {
      {"#,##0.###", {3, 0}},
      {"#,##,##0.###", {3, 2, 0}},
      {"#,##0.00;(#,##0.00)", {3, 0}},
      {"#,##0.00\xC2\xA0\xC2\xA4", {3, 0}},
      {"0.###", "\xFF"},
      {"#,#,#,#,#,#,#,#,#,#,#,#,#,#,#,#,#,#,#0", std::string("\x02") + std::string(14, 1) + '\0'},
      {"", {0}},  // nothing: left empty for the C library
  };
  for (const auto &c : cases) {
    char g[16];
    memset(g, 0x77, sizeof g);
    xpi::grouping_of_pattern(c.pattern, (intptr_t)strlen(c.pattern), g);
    EXPECT_EQ(std::string(g, c.grouping.size()), c.grouping) << c.pattern;
  }
}

}  // namespace
