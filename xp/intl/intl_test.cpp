// Locale settings: what a load learns with and without the platform's
// services, the accessors' rules, expiry and overrides, failures, threads.
#include <langinfo.h>
#include <locale.h>
#include <stdio.h>
#include <string.h>

#include <array>
#include <atomic>
#include <chrono>
#include <initializer_list>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "xp/core/xp_core_internal.h"
#include "xp/fmt/xp_fmt.h"
#include "xp/intl/xp_intl_internal.h"
#include "xp/xp_test_util.h"
#include "xp/time/xp_time.h"

using xpt::Locale;
using xpt::Platform;

namespace {

using Text = intptr_t (*)(xp_intl *, char *, size_t);
using Name = intptr_t (*)(xp_intl *, int, char *, size_t);

// An accessor's text; the count returned must be its length.
template <class Fn, class... Index>
std::string get(xp_intl *o, Fn fn, Index... i) {
  char b[80];
  size_t n = (size_t)fn(o, i..., b, sizeof b);
  EXPECT_EQ(n, strnlen(b, sizeof b));
  return b;
}
std::string join(xp_intl *o, std::initializer_list<Text> fns) {
  std::string all;
  for (Text fn : fns)
    all += get(o, fn);
  return all;
}

// The group sizes as "3,2", or "none" for a grouping without groups.
std::string grouping_of(xp_intl *o, Text fn = xp_intl_grouping) {
  char b[16];
  intptr_t n = fn(o, b, sizeof b);
  if (n > 0 && (unsigned char)b[0] == 0xFF) return "none";
  std::string g;
  for (intptr_t i = 0; i < n && b[i] && (unsigned char)b[i] != 0xFF; i++)
    g += (g.empty() ? "" : ",") + std::to_string((unsigned char)b[i]);
  return g;
}

struct Loaded {
  Locale locale;
  xp_intl *o;
  Loaded(const char *name, Platform p) : locale(name, p), o(xp_intl_new()) {
    EXPECT_NE(o, nullptr);
  }
  ~Loaded() { xp_release(o); }
  // Order, date separator, clock and time separator as "1 . 1 :".
  std::string dates_and_times() {
    return std::to_string(xp_intl_datefmt(o)) + " " + get(o, xp_intl_datesep) + " " +
           std::to_string(xp_intl_timefmt(o)) + " " + get(o, xp_intl_timesep);
  }
};

TEST(Intl, OrdersClocksSeparatorsAndCurrencyOnBothPaths) {
  struct Case {
    const char *locale, *expect;
    unsigned iso_on, iso_off;  // "kr" alone does not tell the currency
  } cases[] = {{"de_DE.UTF-8", "1 . 1 :", 978, 978},
               {"en_US.UTF-8", "0 / 0 :", 840, 840},
               {"sv_SE.UTF-8", "2 - 1 :", 752, 0},
               {"fi_FI.UTF-8", "1 . 1 .", 978, 978}};
  for (Platform p : {Platform::on, Platform::off}) {
    bool on = p == Platform::on;
    for (const auto &c : cases) {
      Loaded l(c.locale, p);
      EXPECT_EQ(l.dates_and_times(), c.expect) << c.locale << on;
      EXPECT_EQ(xp_intl_isocurrency(l.o), on ? c.iso_on : c.iso_off) << c.locale << on;
    }
    Loaded de("de_DE.UTF-8", p);
    EXPECT_EQ(join(de.o, {xp_intl_decimal, xp_intl_thousep, xp_intl_am, xp_intl_pm}), ",.AMPM");
    EXPECT_EQ(grouping_of(de.o) + "|" + grouping_of(de.o, xp_intl_mgrouping),
              on ? "3|3" : "3,3|3,3");
  }
  Loaded de("de_DE.UTF-8", Platform::on);
  EXPECT_EQ(join(de.o, {xp_intl_mdecimal, xp_intl_mthousep, xp_intl_plus, xp_intl_minus,
                        xp_intl_currency}),
            ",.+-\xE2\x82\xAC");
  Loaded gb("en_GB.UTF-8", Platform::off);
  EXPECT_EQ(xp_intl_isocurrency(gb.o), 826u);  // from the pound sign
  Loaded c("C", Platform::off);
  EXPECT_EQ(join(c.o, {xp_intl_plus, xp_intl_minus, xp_intl_decimal, xp_intl_thousep,
                       xp_intl_mdecimal, xp_intl_mthousep, xp_intl_currency}),
            "+-.,.,$");
  EXPECT_EQ(xp_intl_isocurrency(c.o), 840u);
  EXPECT_EQ(grouping_of(c.o) + grouping_of(c.o, xp_intl_mgrouping), "nonenone");
}

// Every installed locale: names as the C library gives them (the platform's
// too, for a locale where both agree), no name missing, and the decimal
// separator of localeconv.
TEST(Intl, NamesInEveryLocaleOnBothPaths) {
  const std::vector<std::string> names = xpt::utf8_locales();
  ASSERT_GT(names.size(), 0u);
  for (const std::string &name : names) {
    for (Platform p : {Platform::off, Platform::on}) {
      Loaded l(name.c_str(), p);
      SCOPED_TRACE(name + (p == Platform::on ? " with the platform" : ""));
      for (int m = 0; m < 12 + 7; m++) {
        std::string full = m < 12 ? get(l.o, xp_intl_month, m + 1) : get(l.o, xp_intl_day, m - 12);
        std::string abbrev =
            m < 12 ? get(l.o, xp_intl_abbrevmonth, m + 1) : get(l.o, xp_intl_abbrevday, m - 12);
        bool known = p == Platform::off || name == "de_DE.utf8";
        ASSERT_TRUE(!known || full == nl_langinfo(m < 12 ? MON_1 + m : DAY_1 + m - 12))
            << m << full;
        ASSERT_FALSE(full.empty() || abbrev.empty()) << m;
      }
      const char *point = localeconv()->decimal_point;
      ASSERT_TRUE(p == Platform::on || !*point || get(l.o, xp_intl_decimal) == point);
    }
  }
}

TEST(Intl, AccessorRangesCutsAndMeasuring) {
  Loaded us("en_US.UTF-8", Platform::on);
  char b[8];
  for (auto [fn, i] : {std::pair<Name, int>{xp_intl_month, 0},
                       {xp_intl_month, 13},
                       {xp_intl_day, 7},
                       {xp_intl_abbrevday, -1}}) {
    strcpy(b, "junk");
    EXPECT_EQ(fn(us.o, i, b, sizeof b) + b[0], 0);
  }
  std::string september = get(us.o, xp_intl_month, 9);
  EXPECT_EQ(xp_intl_month(us.o, 9, b, 5), 4);
  EXPECT_EQ(b, september.substr(0, 4));
  EXPECT_EQ(xp_intl_month(us.o, 9, nullptr, 0), (intptr_t)september.size());
}

TEST(Intl, GroupingCountsToTheEndMarkButNeverPastTheObject) {
  xp_intl *o = xp_intl_new();
  ASSERT_NE(o, nullptr);
  o->overrides = 1;  // keep these hand-made fields
  xp_intl s{};       // settings are changed by publishing a whole set
  xpi_snapshot(o, &s);
  memcpy(s.grouping, "\x03\xFF", 2);
  memcpy(s.mgrouping, "\x03\x02\x01\xFF", 4);
  xpi_publish(o, &s);
  char b[16];
  memset(b, 0x55, sizeof b);
  // The monetary form measures on the plain grouping, copies the monetary.
  EXPECT_EQ(xp_intl_mgrouping(o, b, sizeof b), 2);
  EXPECT_EQ(memcmp(b, "\x03\x02\x55", 3), 0);
  // A grouping ended by 0 is measured on into the fields that follow ...
  memset(s.grouping + 2, 0x11, sizeof s.grouping - 2);
  memcpy(s.grouping, "\x03\x00", 2);
  s.mdecimal[0] = (char)0xFF;
  xpi_publish(o, &s);
  EXPECT_EQ(xp_intl_grouping(o, nullptr, 0), 17);
  EXPECT_EQ(xp_intl_grouping(o, b, sizeof b), 16);
  // ... but never past the object.
  memset(s.mdecimal, 0, offsetof(xp_intl, isocurrency) - offsetof(xp_intl, mdecimal));
  s.isocurrency = 0;
  xpi_publish(o, &s);
  std::vector<char> big(4096);
  EXPECT_EQ((size_t)xp_intl_grouping(o, big.data(), big.size()),
            sizeof(xp_intl) - offsetof(xp_intl, grouping));
  EXPECT_EQ((size_t)xp_intl_mgrouping(o, big.data(), big.size()),
            sizeof(xp_intl) - offsetof(xp_intl, mgrouping));
  xp_release(o);
}

TEST(Intl, OneLoadPerExpiryAndNoneWhileOverridden) {
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
  o->expiry = now - 1;  // stale: the next accessors load once
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

  xp_intl *shared = xpi_reload(nullptr);  // the default is static
  before = xpi::load_count();
  EXPECT_EQ(xp_intl_reset(nullptr), shared);
  EXPECT_EQ(xpi::load_count(), before + 1);
  xp_release(shared);  // does nothing
  xp_release(shared);
  EXPECT_GT(xp_intl_minus(nullptr, b, sizeof b), 0);
}

TEST(Intl, AllocationFailuresAreClean) {
  Locale l("de_DE.UTF-8", Platform::on);
  // A formatter that could not be made leaves the fallbacks.
  long k = 0;  // only the object itself failing gives null
  xpt::alloc_sweep(xp_intl_new, [&](xp_intl *o, bool) {
    EXPECT_EQ(o == nullptr, ++k == 1);
    EXPECT_TRUE(!o || !(get(o, xp_intl_month, 3).empty() || get(o, xp_intl_decimal).empty()));
    xp_release(o);
  });
}

// What a reader of the shared default can observe: each accessor, the
// format engine's grouped integer and decimal point, and the time texts'
// month names. Every value must be one of the two locales' whole values
// (each call reads one publication; separate calls may straddle a reload).
std::vector<std::string> observe(int round) {
  char b[80];
  std::vector<std::string> v;
  for (Text fn : {xp_intl_decimal, xp_intl_thousep, xp_intl_am, xp_intl_pm, xp_intl_datesep,
                  xp_intl_timesep, xp_intl_currency})
    v.push_back(get(nullptr, fn));
  v.push_back(grouping_of(nullptr));
  v.push_back(std::to_string(xp_intl_datefmt(nullptr)));
  v.push_back(std::to_string(xp_intl_timefmt(nullptr)));
  int month = round % 12 + 1;
  v.push_back(get(nullptr, xp_intl_month, month));
  v.push_back(get(nullptr, xp_intl_abbrevday, round % 7));
  xp_fmt_format(b, sizeof b, "%'d", 1234567);
  v.push_back(b);
  xp_fmt_format(b, sizeof b, "%.2f", 3.14159);
  v.push_back(b);
  xp_dtr when = {2006, (uint16_t)month, 15, 22, 34, 56, 3};
  xpf_time(b, sizeof b, "%B", -1, &when, 0);
  v.push_back(b);
  return v;
}

// Eight readers against two threads that switch LC_ALL and force reloads of
// the shared default: XP_STRESS_SECONDS long (3 by default).
TEST(Intl, ReadersSeeOneWholeLocaleWhileOthersReload) {
  const char *names[2] = {"de_DE.UTF-8", "en_US.UTF-8"};
  Locale l(names[0], Platform::on);
  std::array<std::vector<std::vector<std::string>>, 2> expect;
  for (int k = 0; k < 2; k++) {
    setenv("LC_ALL", names[k], 1);
    xp_intl_reset(nullptr);
    for (int r = 0; r < 12; r++)
      expect[k].push_back(observe(r));
  }
  // The locales reach the format engine (grouped integer, decimal point).
  EXPECT_EQ(expect[0][0][12] + " " + expect[0][0][13], "1.234.567 3,14");
  EXPECT_EQ(expect[1][0][12] + " " + expect[1][0][13], "1,234,567 3.14");
  const char *env = getenv("XP_STRESS_SECONDS");
  const auto until =
      std::chrono::steady_clock::now() + std::chrono::milliseconds(env ? atoi(env) * 1000 : 3000);
  std::atomic<long> reads{0}, torn{0}, reloads{0};
  std::mutex first_lock;
  std::string first;
  std::mutex env_lock;  // setenv is not safe beside another setenv
  std::vector<std::thread> threads;
  for (int t = 0; t < 2; t++)
    threads.emplace_back([&, t] {
      for (int i = t; std::chrono::steady_clock::now() < until; i++) {
        {
          std::lock_guard<std::mutex> g(env_lock);
          setenv("LC_ALL", names[i % 2], 1);
        }
        xp_intl_reset(nullptr);
        reloads++;
      }
    });
  for (int t = 0; t < 8; t++)
    threads.emplace_back([&, t] {
      for (int r = t; std::chrono::steady_clock::now() < until; r++) {
        std::vector<std::string> seen = observe(r % 12);
        for (size_t f = 0; f < seen.size(); f++) {
          if (seen[f] == expect[0][r % 12][f] || seen[f] == expect[1][r % 12][f]) continue;
          if (torn++ == 0) {
            std::lock_guard<std::mutex> g(first_lock);
            first = "field " + std::to_string(f) + ": '" + seen[f] + "'";
          }
        }
        reads++;
      }
    });
  for (auto &th : threads)
    th.join();
  EXPECT_EQ(torn.load(), 0) << first;
  EXPECT_GT(reloads.load(), 10);
  EXPECT_GT(reads.load(), 100);
  xp_intl_reset(nullptr);
}

// Each case is the text, then the order and the separator found in it.
// Runs of several bytes are skipped and a leading word counts as a number.
TEST(Intl, DateOrderAndSeparatorFromText) {
  const std::pair<const char *, const char *> cases[] = {
      {"15.02.06", "1."}, {"2/15/06", "0/"},      {"2006-02-15", "2-"},   {"02.15.2006", "0."},
      {"", "1/"},         {"2006. 2. 15.", "2/"}, {"Feb 15, 2006", "0/"}, {"2006年2月15日", "2/"},
      {"20060215", "1/"}};
  for (auto [text, expect] : cases) {
    char sep[16];
    memset(sep, 'x', sizeof sep);
    int order = xpi::date_order(text, (intptr_t)strlen(text), sep);
    EXPECT_EQ(std::to_string(order) + sep, expect) << text;
  }
}

TEST(Intl, GroupingOfPatterns) {
  struct Case {
    const char *pattern;
    std::string grouping;  // up to and including the end mark
  } cases[] = {
      {"#,##0.###", {3, 0}},
      {"#,##,##0.###", {3, 2, 0}},
      {"#,##0.00;(#,##0.00)", {3, 0}},
      {"0.###", "\xFF"},
      {"#,#,#,#,#,#,#,#,#,#,#,#,#,#,#,#,#,#,#0", std::string("\x02") + std::string(14, 1) + '\0'},
      {"", {0}}};  // nothing: left empty for the C library
  for (const auto &c : cases) {
    char g[16];
    memset(g, 0x77, sizeof g);
    xpi::grouping_of_pattern(c.pattern, (intptr_t)strlen(c.pattern), g);
    EXPECT_EQ(std::string(g, c.grouping.size()), c.grouping) << c.pattern;
  }
}

}  // namespace
