// Locale settings: what a load learns in several locales with and without
// the platform's services, the accessors' rules, the grouping copy, the
// expiry and override rules, and allocation failures.
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

struct Settings {
  int order, clock;
  std::string datesep, timesep, am, pm;
  std::string months[12], abbrevmonths[12], days[7], abbrevdays[7];
  std::string plus, minus, decimal, thousep, mdecimal, mthousep, currency;
  uint64_t iso;
};

Settings read(xp_intl *o) {
  Settings s;
  char b[80];
  s.order = xp_intl_datefmt(o);
  s.clock = xp_intl_timefmt(o);
  auto text = [&](intptr_t (*fn)(xp_intl *, char *, size_t)) {
    intptr_t n = fn(o, b, sizeof b);
    EXPECT_EQ((size_t)n, strlen(b));
    return std::string(b);
  };
  s.datesep = text(xp_intl_datesep);
  s.timesep = text(xp_intl_timesep);
  s.am = text(xp_intl_am);
  s.pm = text(xp_intl_pm);
  for (int m = 1; m <= 12; m++) {
    intptr_t n = xp_intl_month(o, m, b, sizeof b);
    EXPECT_EQ((size_t)n, strlen(b));
    s.months[m - 1] = b;
    n = xp_intl_abbrevmonth(o, m, b, sizeof b);
    EXPECT_EQ((size_t)n, strlen(b));
    s.abbrevmonths[m - 1] = b;
  }
  for (int d = 0; d < 7; d++) {
    intptr_t n = xp_intl_day(o, d, b, sizeof b);
    EXPECT_EQ((size_t)n, strlen(b));
    s.days[d] = b;
    n = xp_intl_abbrevday(o, d, b, sizeof b);
    EXPECT_EQ((size_t)n, strlen(b));
    s.abbrevdays[d] = b;
  }
  s.plus = text(xp_intl_plus);
  s.minus = text(xp_intl_minus);
  s.decimal = text(xp_intl_decimal);
  s.thousep = text(xp_intl_thousep);
  s.mdecimal = text(xp_intl_mdecimal);
  s.mthousep = text(xp_intl_mthousep);
  s.currency = text(xp_intl_currency);
  s.iso = xp_intl_isocurrency(o);
  return s;
}

Settings load_in(const char *locale, Platform platform) {
  Locale l(locale, platform);
  xp_intl *o = xp_intl_new();
  EXPECT_NE(o, nullptr);
  Settings s = read(o);
  xp_release(o);
  return s;
}

// The group sizes as "3,2", or "none" for a grouping that has no groups.
std::string grouping_of(xp_intl *o, bool money) {
  char b[16];
  intptr_t n = money ? xp_intl_mgrouping(o, b, sizeof b) : xp_intl_grouping(o, b, sizeof b);
  if (n > 0 && (unsigned char)b[0] == 0xFF) return "none";
  std::string g;
  for (intptr_t i = 0; i < n && b[i] && (unsigned char)b[i] != 0xFF; i++)
    g += (g.empty() ? "" : ",") + std::to_string((unsigned char)b[i]);
  return g;
}

// ---- With the platform's services ------------------------------------------

TEST(IntlPlatform, GermanDatesNamesAndNumbers) {
  Settings s = load_in("de_DE.UTF-8", Platform::on);
  EXPECT_EQ(s.order, 1);
  EXPECT_EQ(s.datesep, ".");
  EXPECT_EQ(s.clock, 1);
  EXPECT_EQ(s.timesep, ":");
  EXPECT_EQ(s.months[0], "Januar");
  EXPECT_EQ(s.months[2], "M\xC3\xA4rz");
  EXPECT_EQ(s.months[11], "Dezember");
  EXPECT_EQ(s.abbrevmonths[9], "Okt.");
  EXPECT_EQ(s.days[0], "Sonntag");
  EXPECT_EQ(s.days[3], "Mittwoch");
  EXPECT_EQ(s.days[6], "Samstag");
  EXPECT_EQ(s.abbrevdays[1], "Mo.");
  EXPECT_EQ(s.decimal, ",");
  EXPECT_EQ(s.thousep, ".");
  EXPECT_EQ(s.mdecimal, ",");
  EXPECT_EQ(s.mthousep, ".");
  EXPECT_EQ(s.plus, "+");
  EXPECT_EQ(s.minus, "-");
  EXPECT_EQ(s.currency, "\xE2\x82\xAC");
  EXPECT_EQ(s.iso, 978u);
}

TEST(IntlPlatform, UsSwedishAndFinnishOrdersClocksAndSeparators) {
  Settings us = load_in("en_US.UTF-8", Platform::on);
  EXPECT_EQ(us.order, 0);
  EXPECT_EQ(us.datesep, "/");
  EXPECT_EQ(us.clock, 0);  // 10:34:56 PM
  EXPECT_EQ(us.timesep, ":");
  EXPECT_EQ(us.am, "AM");
  EXPECT_EQ(us.pm, "PM");
  EXPECT_EQ(us.months[1], "February");
  EXPECT_EQ(us.abbrevdays[0], "Sun");
  EXPECT_EQ(us.currency, "$");
  EXPECT_EQ(us.iso, 840u);

  Settings sv = load_in("sv_SE.UTF-8", Platform::on);
  EXPECT_EQ(sv.order, 2);
  EXPECT_EQ(sv.datesep, "-");
  EXPECT_EQ(sv.clock, 1);
  EXPECT_EQ(sv.iso, 752u);  // from the currency code, not the symbol

  Settings fi = load_in("fi_FI.UTF-8", Platform::on);
  EXPECT_EQ(fi.clock, 1);
  EXPECT_EQ(fi.timesep, ".");
  EXPECT_EQ(fi.order, 1);
}

TEST(IntlPlatform, GroupingReachesTheFormatEngine) {
  {
    Locale l("de_DE.UTF-8", Platform::on);
    xp_intl_reset(nullptr);
    char b[32];
    xp_fmt_format(b, sizeof b, "%'d", 1234567);
    EXPECT_STREQ(b, "1.234.567");
    EXPECT_EQ(grouping_of(nullptr, false), "3");
    EXPECT_EQ(grouping_of(nullptr, true), "3");
  }
  {
    Locale l("en_US.UTF-8", Platform::on);
    xp_intl_reset(nullptr);
    char b[32];
    xp_fmt_format(b, sizeof b, "%'d", -1234567);
    EXPECT_STREQ(b, "-1,234,567");
  }
  {
    // Indian grouping: 3 next to the decimal separator, then 2s.
    Locale l("en_IN.UTF-8", Platform::on);
    xp_intl_reset(nullptr);
    char b[32];
    xp_fmt_format(b, sizeof b, "%'lld", 123456789LL);
    EXPECT_STREQ(b, "12,34,56,789");
  }
  xp_intl_reset(nullptr);
}

// ---- Without them: the C library and the defaults ------------------------

TEST(IntlFallback, CLibraryLocalesGiveOrdersNamesAndSeparators) {
  Settings de = load_in("de_DE.UTF-8", Platform::off);
  EXPECT_EQ(de.order, 1);  // 15.02.2006
  EXPECT_EQ(de.datesep, ".");
  EXPECT_EQ(de.clock, 1);
  EXPECT_EQ(de.months[2], "M\xC3\xA4rz");
  EXPECT_EQ(de.days[3], "Mittwoch");
  EXPECT_EQ(de.am, "AM");  // the C library has no marker for German
  EXPECT_EQ(de.pm, "PM");
  EXPECT_EQ(de.decimal, ",");
  EXPECT_EQ(de.thousep, ".");
  EXPECT_EQ(de.currency, "\xE2\x82\xAC");
  EXPECT_EQ(de.iso, 978u);  // derived from the symbol

  Settings us = load_in("en_US.UTF-8", Platform::off);
  EXPECT_EQ(us.order, 0);
  EXPECT_EQ(us.datesep, "/");
  EXPECT_EQ(us.clock, 0);
  EXPECT_EQ(us.am, "AM");
  EXPECT_EQ(us.iso, 840u);

  Settings sv = load_in("sv_SE.UTF-8", Platform::off);
  EXPECT_EQ(sv.order, 2);
  EXPECT_EQ(sv.datesep, "-");

  Settings fi = load_in("fi_FI.UTF-8", Platform::off);
  EXPECT_EQ(fi.clock, 1);
  EXPECT_EQ(fi.timesep, ".");

  Settings gb = load_in("en_GB.UTF-8", Platform::off);
  EXPECT_EQ(gb.iso, 826u);
}

TEST(IntlFallback, CLocaleGetsTheFixedDefaults) {
  Settings c = load_in("C", Platform::off);
  EXPECT_EQ(c.plus, "+");
  EXPECT_EQ(c.minus, "-");
  EXPECT_EQ(c.decimal, ".");
  EXPECT_EQ(c.thousep, ",");
  EXPECT_EQ(c.mdecimal, ".");
  EXPECT_EQ(c.mthousep, ",");
  EXPECT_EQ(c.currency, "$");
  EXPECT_EQ(c.iso, 840u);
  EXPECT_EQ(c.months[0], "January");
  EXPECT_EQ(c.abbrevdays[6], "Sat");
  EXPECT_EQ(c.am, "AM");

  Locale l("C", Platform::off);
  xp_intl *o = xp_intl_new();
  EXPECT_EQ(grouping_of(o, false), "none");
  EXPECT_EQ(grouping_of(o, true), "none");
  char b[32];
  xp_intl_reset(nullptr);
  xp_fmt_format(b, sizeof b, "%'d", 1234567);
  EXPECT_STREQ(b, "1234567");
  xp_release(o);
  xp_intl_reset(nullptr);
}

TEST(IntlFallback, GroupingComesFromTheCLibrary) {
  Locale l("de_DE.UTF-8", Platform::off);
  xp_intl *o = xp_intl_new();
  EXPECT_EQ(grouping_of(o, false), "3,3");
  EXPECT_EQ(grouping_of(o, true), "3,3");
  char b[16];
  EXPECT_EQ(xp_intl_grouping(o, b, sizeof b), 3);  // ended by 0xFF
  EXPECT_EQ((unsigned char)b[2], 0xFF);
  xp_release(o);
}

// ---- Accessors ---------------------------------------------------------------

TEST(IntlAccessors, OutOfRangeNamesAndSmallBuffers) {
  Locale l("en_US.UTF-8", Platform::on);
  xp_intl *o = xp_intl_new();
  char b[8];
  memset(b, 'x', sizeof b);
  EXPECT_EQ(xp_intl_month(o, 0, b, sizeof b), 0);
  EXPECT_EQ(b[0], 0);
  b[0] = 'x';
  EXPECT_EQ(xp_intl_month(o, 13, b, sizeof b), 0);
  EXPECT_EQ(b[0], 0);
  b[0] = 'x';
  EXPECT_EQ(xp_intl_abbrevmonth(o, -1, b, sizeof b), 0);
  EXPECT_EQ(b[0], 0);
  b[0] = 'x';
  EXPECT_EQ(xp_intl_day(o, 7, b, sizeof b), 0);
  EXPECT_EQ(b[0], 0);
  b[0] = 'x';
  EXPECT_EQ(xp_intl_abbrevday(o, -1, b, sizeof b), 0);
  EXPECT_EQ(b[0], 0);

  // Cut to the buffer and terminated; a null buffer measures.
  char small[5];
  EXPECT_EQ(xp_intl_month(o, 9, small, sizeof small), 4);
  EXPECT_STREQ(small, "Sept");
  EXPECT_EQ(xp_intl_month(o, 9, nullptr, 0), 9);
  EXPECT_EQ(xp_intl_decimal(o, nullptr, 0), 1);
  xp_release(o);
}

TEST(IntlAccessors, GroupingCountsToTheFirstNoMoreGroupsByte) {
  xp_intl *o = xp_intl_new();
  ASSERT_NE(o, nullptr);
  o->overrides = 1;  // keep these hand-made fields
  memset(o->grouping, 0x11, sizeof o->grouping);
  memset(o->mgrouping, 0x22, sizeof o->mgrouping);
  memcpy(o->grouping, "\x03\xFF", 2);
  memcpy(o->mgrouping, "\x03\x02\x01\xFF", 4);
  char b[16];
  memset(b, 0x55, sizeof b);
  // The monetary form measures on the plain grouping (2 bytes) and copies
  // from the monetary one.
  EXPECT_EQ(xp_intl_mgrouping(o, b, sizeof b), 2);
  EXPECT_EQ(memcmp(b, "\x03\x02\x55", 3), 0);
  EXPECT_EQ(xp_intl_grouping(o, b, sizeof b), 2);
  EXPECT_EQ(memcmp(b, "\x03\xFF", 2), 0);
  EXPECT_EQ(xp_intl_grouping(o, b, 1), 1);
  EXPECT_EQ(xp_intl_grouping(o, nullptr, 0), 2);

  // A grouping that ends with 0 is measured on into the following fields.
  memcpy(o->grouping, "\x03\x00", 2);
  o->mdecimal[0] = (char)0xFF;
  EXPECT_EQ(xp_intl_grouping(o, nullptr, 0), 17);
  EXPECT_EQ(xp_intl_grouping(o, b, sizeof b), 16);
  EXPECT_EQ(b[0], 3);
  EXPECT_EQ(b[1], 0);

  // Without any 0xFF to the end of the object the count stops at its end,
  // and the monetary copy at the end too.
  memset(o->mdecimal, 0, sizeof o->mdecimal);
  memset(o->mthousep, 0, sizeof o->mthousep);
  memset(o->mgrouping, 0, sizeof o->mgrouping);
  memset(o->currency, 0, sizeof o->currency);
  o->isocurrency = 0;
  const size_t to_end = sizeof(xp_intl) - offsetof(xp_intl, grouping);
  const size_t money_to_end = sizeof(xp_intl) - offsetof(xp_intl, mgrouping);
  EXPECT_EQ((size_t)xp_intl_grouping(o, nullptr, 0), to_end);
  std::vector<char> big(4096);
  EXPECT_EQ((size_t)xp_intl_grouping(o, big.data(), big.size()), to_end);
  EXPECT_EQ((size_t)xp_intl_mgrouping(o, big.data(), big.size()), money_to_end);
  xp_release(o);
}

// ---- Loading -----------------------------------------------------------------

TEST(IntlLoad, OneLoadPerExpiryAndNoneWhileOverridden) {
  Locale l("en_US.UTF-8", Platform::on);
  xp_intl *o = xp_intl_new();
  ASSERT_NE(o, nullptr);
  char b[16];
  unsigned long before = xpi::load_count();
  xp_intl_decimal(o, b, sizeof b);
  xp_intl_month(o, 1, b, sizeof b);
  xp_intl_datefmt(o);
  EXPECT_EQ(xpi::load_count(), before);

  uint64_t now = (uint64_t)xp_time_getutc();
  EXPECT_GE(o->expiry, now + 599);
  EXPECT_LE(o->expiry, now + 601);

  o->expiry = now - 1;  // stale: the next accessor loads
  xp_intl_decimal(o, b, sizeof b);
  EXPECT_EQ(xpi::load_count(), before + 1);
  xp_intl_decimal(o, b, sizeof b);
  EXPECT_EQ(xpi::load_count(), before + 1);

  // An override keeps even an expired object as it is; reset clears it.
  o->overrides = 0x1000;
  o->expiry = 0;
  xp_intl_thousep(o, b, sizeof b);
  EXPECT_EQ(xpi::load_count(), before + 1);
  o->overrides = 0x2000;  // not one of the override bits
  xp_intl_thousep(o, b, sizeof b);
  EXPECT_EQ(xpi::load_count(), before + 2);
  o->overrides = 1;
  EXPECT_EQ(xp_intl_reset(o), o);
  EXPECT_EQ(o->overrides, 0);
  EXPECT_EQ(xpi::load_count(), before + 3);
  xp_release(o);
}

TEST(IntlLoad, SharedDefaultIsLoadedOnFirstUse) {
  char b[16];
  intptr_t n = xp_intl_minus(nullptr, b, sizeof b);
  EXPECT_EQ(n, (intptr_t)strlen(b));
  EXPECT_GT(n, 0);
  EXPECT_EQ(xpi_reload(nullptr), xp_intl_reset(nullptr));
  unsigned long before = xpi::load_count();
  xp_intl_plus(nullptr, b, sizeof b);
  EXPECT_EQ(xpi::load_count(), before);
  // A static object: releasing it does nothing.
  xp_intl *shared = xpi_reload(nullptr);
  EXPECT_EQ(xp_type(shared), XP_TYPE_INTL);
  xp_release(shared);
  xp_release(shared);
  n = xp_intl_minus(nullptr, b, sizeof b);
  EXPECT_EQ(n, (intptr_t)strlen(b));
  EXPECT_EQ(xp_intl_type(), XP_TYPE_INTL);
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
    }
    if (o) {
      // A formatter that could not be made leaves its fields to the
      // fallbacks: never empty.
      char b[64];
      EXPECT_GT(xp_intl_month(o, 3, b, sizeof b), 0);
      EXPECT_GT(xp_intl_decimal(o, b, sizeof b), 0);
      xp_release(o);
    }
    if (pending) break;
    ASSERT_LT(k, 100);
  }
}

TEST(IntlLoad, ThreadsShareTheDefaultAndLoadTheirOwn) {
  Locale l("de_DE.UTF-8", Platform::on);
  xp_intl_reset(nullptr);
  std::vector<std::thread> threads;
  std::vector<std::string> seen(4);
  for (int t = 0; t < 4; t++) {
    threads.emplace_back([t, &seen] {
      char b[64];
      xp_intl *o = xp_intl_new();
      xp_intl_month(o, 3, b, sizeof b);
      std::string mine = b;
      xp_release(o);
      for (int i = 0; i < 200; i++)
        xp_intl_decimal(nullptr, b, sizeof b);
      seen[t] = mine + b;
    });
  }
  for (auto &th : threads)
    th.join();
  for (auto &s : seen)
    EXPECT_EQ(s, "M\xC3\xA4rz,");
}

// ---- Internal walks ----------------------------------------------------------

TEST(IntlWalks, DateOrderAndSeparator) {
  struct Case {
    const char *text;
    int order;
    const char *sep;
  } cases[] = {
      {"15.02.06", 1, "."},
      {"2/15/06", 0, "/"},
      {"2006-02-15", 2, "-"},
      {"15/2/2006", 1, "/"},
      {"2006. 2. 15.", 2, "/"},  // runs of several bytes are no separator
      {"02.15.2006", 0, "."},
      {"Feb 15, 2006", 0, "/"},  // no number before the day: 0 counts down
      {"2006\xE5\xB9\xB4"
       "2\xE6\x9C\x88"
       "15\xE6\x97\xA5",
       2, "/"},
      {"20060215", 1, "/"},  // one number and nothing after it
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
    const char *grouping;  // bytes up to and including the end mark
    size_t n;
  } cases[] = {
      {"#,##0.###", "\x03\x00", 2},
      {"#,##,##0.###", "\x03\x02\x00", 3},
      {"#,##0.00;(#,##0.00)", "\x03\x00", 2},
      {"\xC2\xA4#,##0.00", "\x03\x00", 2},
      {"#,##0.00\xC2\xA0\xC2\xA4", "\x03\x00", 2},
      {"0.###", "\xFF", 1},
      {"#0", "\xFF", 1},
      {"#,#,#,#,#,#,#,#,#,#,#,#,#,#,#,#,#,#,#0",
       "\x02\x01\x01\x01\x01\x01\x01\x01\x01\x01\x01"
       "\x01\x01\x01\x01\x00",
       16},
  };
  for (const auto &c : cases) {
    char g[16];
    memset(g, 0x77, sizeof g);
    xpi::grouping_of_pattern(c.pattern, (intptr_t)strlen(c.pattern), g);
    EXPECT_EQ(memcmp(g, c.grouping, c.n), 0) << c.pattern;
  }
  char g[16] = {5, 5};
  xpi::grouping_of_pattern("", 0, g);
  EXPECT_EQ(g[0], 0);
}

}  // namespace
