// Every installed UTF-8 locale, with the platform's formatter and with the
// C library's: dates and date-times in every form the writer has read back
// by the parser to the same record, over instants of 1971...2037 at every
// hour of the day; locales of other codesets give UTF-8.
#include <gtest/gtest.h>

#include "xp/time/time_test_util.h"
#include "xp/xp_test_util.h"

namespace {

using namespace xpt_test;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int kInstants = 48;
#else
constexpr int kInstants = 240;
#endif

// Failures of one locale. Forms: short or long date, with or without
// seconds, date and time or date alone. What the writer does not show (the
// seconds, when a text of the next second is the same) is not expected.
long check_locale(const std::string &name) {
  long bad = 0;
  for (int k = 0; k < kInstants; ++k) {
    long long p = 31536000LL + (2114380800LL / kInstants) * k;
    xp_dtr r, back, next;
    xp_time_localtodtr(static_cast<xp_seconds>(p - p % 86400 + k % 24 * 3600 + k * 7919 % 3600) +
                           XP_TIME_POSIX_DELTA,
                       &r);
    for (int form = 0; form < 6; ++form) {
      char text[256], other[256];
      xp_dtr want = r;
      next = r, next.second = static_cast<uint16_t>((r.second + 1) % 60);
      int ok;
      if (form >= 4) {
        xp_time_dtrtodate(&r, text, sizeof text, form & 1);
        ok = xp_time_datetodtr(text, &back);
        want.hour = want.minute = want.second = 0;
      } else {
        xp_time_dtrtodatetime(&r, text, sizeof text, form & 1, form & 2);
        xp_time_dtrtodatetime(&next, other, sizeof other, form & 1, form & 2);
        ok = xp_time_datetimetodtr(text, &back);
        if (!strcmp(text, other)) want.second = 0;
      }
      if ((!ok || fields(back) != fields(want)) && ++bad <= 2)
        ADD_FAILURE() << name << ": \"" << text << "\" read as " << (ok ? fields(back) : "nothing")
                      << ", written from " << fields(want);
    }
  }
  return bad;
}

TEST(LocaleSweep, EveryLocaleReadsWhatItWrites) {
  const std::vector<std::string> locales = xpt::utf8_locales();
  ASSERT_GT(locales.size(), 100u);
  for (bool platform : {true, false}) {
    size_t good = 0;
    for (const std::string &name : locales) {
      xpt::Locale texts(name.c_str(), platform ? xpt::Platform::on : xpt::Platform::off);
      good += check_locale(name + (platform ? "" : " (C library)")) == 0;
    }
    printf("%s: %zu of %zu locales read back\n", platform ? "platform" : "C library", good,
           locales.size());
    EXPECT_EQ(good, locales.size());
  }
}

// Without the platform, a locale of another codeset gives the texts of its
// UTF-8 twin, and reads them back.
TEST(LocaleSweep, OtherCodesetsGiveUtf8) {
  auto texts_of = [](const char *name) {
    xpt::Locale scope(name, xpt::Platform::off);
    EXPECT_EQ(check_locale(name), 0) << name;
    std::string all;
    char b[256];
    for (int i = 1; i <= 12; ++i) {
      xp_dtr r{2006, uint16_t(i), 15, uint16_t(i * 2 - 1), 34, 56, 0};
      xp_time_dtrtodatetime(&r, b, sizeof b, i & 1, 1), all += b;
      xp_intl_month(nullptr, i, b, sizeof b), all += b;
      xp_intl_abbrevmonth(nullptr, i, b, sizeof b), all += b;
      xp_intl_day(nullptr, i % 7, b, sizeof b), all += b;
      xp_intl_abbrevday(nullptr, i % 7, b, sizeof b), all += b;
    }
    xp_intl_am(nullptr, b, sizeof b), all += b;
    xp_intl_pm(nullptr, b, sizeof b), all += b;
    return all;
  };
  for (auto [name, twin] : {std::pair{"de_DE", "de_DE.utf8"},
                            {"ja_JP.eucjp", "ja_JP.utf8"},
                            {"zh_CN.gb18030", "zh_CN.utf8"}}) {
    std::string ours = texts_of(name);
    EXPECT_EQ(ours, texts_of(twin)) << name;
    EXPECT_TRUE(std::any_of(ours.begin(), ours.end(), [](char c) { return c & 0x80; })) << name;
  }
}

}  // namespace
