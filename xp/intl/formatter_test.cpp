// On-demand formatters, the platform path of the locale time texts, the
// run-time loader and its helpers, and the currency table.
#include <string.h>

#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <unicode/ucurr.h>

#include "xp/core/xp_core_internal.h"
#include "xp/intl/intl_test_util.h"
#include "xp/intl/platform.h"
#include "xp/intl/xp_intl_internal.h"

using xpi_test::Locale;
using xpi_test::Platform;

namespace {

const xp_dtr kMarch15 = {2006, 3, 15, 22, 34, 56, 3};

std::string date_of(uintptr_t kind, const xp_dtr &dtr) {
  xpi_formatter *f = xpi_formatter_new(nullptr, kind);
  EXPECT_NE(f, nullptr);
  char b[64];
  intptr_t n = xpi_formatter_date(f, &dtr, b, sizeof b);
  EXPECT_EQ((size_t)n, strlen(b));
  xp_release(f);
  return b;
}

std::string number_of(uintptr_t kind, int64_t value) {
  xpi_formatter *f = xpi_formatter_new(nullptr, kind);
  char b[64];
  intptr_t n = xpi_formatter_number(f, value, b, sizeof b);
  EXPECT_EQ((size_t)n, strlen(b));
  xp_release(f);
  return b;
}

std::string system_text(int kind, const xp_dtr &dtr, long size = 64) {
  char b[64];
  long n = xpi::dtrstring_system(&dtr, kind, b, size);
  EXPECT_GE(n, 0);
  EXPECT_EQ((size_t)n, strlen(b));
  return b;
}

// ---- Formatters with the platform's services ----------------------------------

TEST(FormatterPlatform, DateKindsInGerman) {
  Locale l("de_DE.UTF-8", Platform::on);
  EXPECT_EQ(date_of(XPI_MONTH, kMarch15), "M\xC3\xA4rz");
  EXPECT_EQ(date_of(XPI_ABBREVMONTH, kMarch15), "M\xC3\xA4rz");
  EXPECT_EQ(date_of(XPI_SHORTDATE, kMarch15), "15.03.06");
  EXPECT_EQ(date_of(XPI_FULLDATE, kMarch15), "Mittwoch, 15. M\xC3\xA4rz 2006");
  EXPECT_EQ(date_of(XPI_SHORTTIME, kMarch15), "22:34");
  EXPECT_EQ(date_of(XPI_MEDIUMTIME, kMarch15), "22:34:56");
  EXPECT_EQ(date_of(XPI_DAY, kMarch15), "Mittwoch");
  EXPECT_EQ(date_of(XPI_ABBREVDAY, kMarch15), "Mi.");
  // Short years count from 1900 on the platform path.
  xp_dtr y = kMarch15;
  y.year = 106;
  EXPECT_EQ(date_of(XPI_FULLDATE, y), "Mittwoch, 15. M\xC3\xA4rz 2006");
}

TEST(FormatterPlatform, NumbersPatternsAndProperties) {
  Locale l("de_DE.UTF-8", Platform::on);
  EXPECT_EQ(number_of(XPI_DECIMAL, 1234567), "1.234.567");
  EXPECT_EQ(number_of(XPI_DECIMAL, -42), "-42");
  EXPECT_EQ(number_of(XPI_DECIMAL, XPI_PATTERN_REQUEST), "#,##0.###");
  EXPECT_EQ(number_of(XPI_CURRENCY, 5), "5,00\xC2\xA0\xE2\x82\xAC");
  // Date formatters know no numbers: the library's own formatting.
  EXPECT_EQ(number_of(XPI_MONTH, 12), "12");

  xpi_formatter *f = xpi_formatter_new(nullptr, XPI_CURRENCY);
  ASSERT_NE(f->platform, nullptr);
  char b[16];
  EXPECT_EQ(xpi_formatter_getprop(f, '+', b, sizeof b), 1);
  EXPECT_STREQ(b, "+");
  EXPECT_EQ(xpi_formatter_getprop(f, '-', b, sizeof b), 1);
  EXPECT_STREQ(b, "-");
  EXPECT_EQ(xpi_formatter_getprop(f, '.', b, sizeof b), 1);
  EXPECT_STREQ(b, ",");
  EXPECT_EQ(xpi_formatter_getprop(f, ',', b, sizeof b), 1);
  EXPECT_STREQ(b, ".");
  EXPECT_EQ(xpi_formatter_getprop(f, ',', nullptr, 0), 1);
  for (int other : {0, (int)'x', (int)'%', (int)';'}) {
    strcpy(b, "junk");
    EXPECT_EQ(xpi_formatter_getprop(f, other, b, sizeof b), 0);
    EXPECT_EQ(b[0], 0);
  }
  xp_release(f);

  // Swedish minus is U+2212: cut, never split.
  Locale sv("sv_SE.UTF-8", Platform::on);
  f = xpi_formatter_new(nullptr, XPI_DECIMAL);
  EXPECT_EQ(xpi_formatter_getprop(f, '-', b, sizeof b), 3);
  EXPECT_STREQ(b, "\xE2\x88\x92");
  EXPECT_EQ(xpi_formatter_getprop(f, '-', b, 3), 0);
  EXPECT_STREQ(b, "");
  xp_release(f);
}

// ---- Fallbacks -----------------------------------------------------------------

TEST(FormatterFallback, StrftimeOfTheKindsConversion) {
  Locale l("de_DE.UTF-8", Platform::off);
  xpi_formatter *f = xpi_formatter_new(nullptr, XPI_MONTH);
  ASSERT_NE(f, nullptr);
  EXPECT_EQ(f->platform, nullptr);
  EXPECT_STREQ(f->fallback, "%B");
  xp_release(f);
  EXPECT_EQ(date_of(XPI_MONTH, kMarch15), "M\xC3\xA4rz");
  EXPECT_EQ(date_of(XPI_ABBREVMONTH, kMarch15), "M\xC3\xA4r");
  EXPECT_EQ(date_of(XPI_DAY, kMarch15), "Mittwoch");
  EXPECT_EQ(date_of(XPI_ABBREVDAY, kMarch15), "Mi");
  EXPECT_EQ(date_of(XPI_SHORTDATE, kMarch15), "15.03.2006");
  EXPECT_EQ(date_of(XPI_MEDIUMTIME, kMarch15), "22:34:56");
  EXPECT_EQ(date_of(XPI_AMPM, kMarch15), "");

  // Years: 6 and 2006 are 2006, 69 is 2069; every year below 1970 gets 100
  // added to its count from 1900, so 1969 is (as always) 3969.
  xp_dtr y = kMarch15;
  for (uint16_t year : {6, 2006}) {
    y.year = year;
    EXPECT_EQ(date_of(XPI_SHORTDATE, y), "15.03.2006") << year;
  }
  y.year = 69;
  EXPECT_EQ(date_of(XPI_SHORTDATE, y), "15.03.2069");
  y.year = 1969;
  EXPECT_EQ(date_of(XPI_SHORTDATE, y), "15.03.3969");
  y.year = 1970;
  EXPECT_EQ(date_of(XPI_SHORTDATE, y), "15.03.1970");

  // Cut short: strftime gives nothing, and the buffer is empty.
  f = xpi_formatter_new(nullptr, XPI_FULLDATE);
  char b[4];
  EXPECT_EQ(xpi_formatter_date(f, &kMarch15, b, sizeof b), 0);
  EXPECT_EQ(b[0], 0);
  EXPECT_EQ(xpi_formatter_date(f, &kMarch15, nullptr, 0), 10);
  xp_release(f);
}

TEST(FormatterFallback, NumbersUseTheLibrarysFormatter) {
  Locale l("C", Platform::off);
  xp_intl_reset(nullptr);
  EXPECT_EQ(number_of(XPI_DECIMAL, 1234567), "1234567");
  EXPECT_EQ(number_of(XPI_CURRENCY, -5), "-5");
  // The pattern request has no pattern to give, except a date kind's
  // conversion.
  EXPECT_EQ(number_of(XPI_DECIMAL, XPI_PATTERN_REQUEST), "");
  EXPECT_EQ(number_of(XPI_SHORTDATE, XPI_PATTERN_REQUEST), "%x");
  xpi_formatter *f = xpi_formatter_new(nullptr, XPI_DECIMAL);
  char b[8];
  strcpy(b, "junk");
  EXPECT_EQ(xpi_formatter_getprop(f, '+', b, sizeof b), 0);
  EXPECT_EQ(b[0], 0);
  xp_release(f);
}

TEST(FormatterFallback, UnknownKindsAnswerNothingButNumbers) {
  Locale l("de_DE.UTF-8", Platform::on);
  for (uintptr_t kind : {0, 12}) {
    xpi_formatter *f = xpi_formatter_new(nullptr, kind);
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(xp_type(f), XP_TYPE_FMTR);
    EXPECT_EQ(f->platform, nullptr);
    EXPECT_EQ(f->fallback, nullptr);
    char b[16];
    strcpy(b, "junk");
    EXPECT_EQ(xpi_formatter_date(f, &kMarch15, b, sizeof b), 0);
    EXPECT_EQ(b[0], 0);
    EXPECT_EQ(xpi_formatter_number(f, XPI_PATTERN_REQUEST, b, sizeof b), 0);
    EXPECT_EQ(xpi_formatter_number(f, 77, b, sizeof b), 2);
    EXPECT_STREQ(b, "77");
    xp_release(f);
  }
  char b[4] = "xx";
  EXPECT_EQ(xpi_formatter_date(nullptr, &kMarch15, b, sizeof b), 0);
  EXPECT_EQ(b[0], 0);
  EXPECT_EQ(xpi_formatter_number(nullptr, 1, b, sizeof b), 0);
  EXPECT_EQ(xpi_formatter_getprop(nullptr, '+', b, sizeof b), 0);
}

TEST(FormatterFallback, AllocationFailureAndSharedReferences) {
  xpc::fail_alloc_after(1);
  EXPECT_EQ(xpi_formatter_new(nullptr, XPI_DECIMAL), nullptr);
  EXPECT_FALSE(xpc::alloc_failure_pending());
  xpi_formatter *f = xpi_formatter_new(nullptr, XPI_SHORTDATE);
  xp_retain(f);
  xp_release(f);
  char b[64];
  EXPECT_GT(xpi_formatter_date(f, &kMarch15, b, sizeof b), 0);  // still alive
  xp_release(f);
}

// ---- Platform path of the locale time texts ----------------------------------

TEST(DtrStringSystem, KindsStylesAndSkippedDay) {
  Locale l("de_DE.UTF-8", Platform::on);
  EXPECT_EQ(system_text(1, kMarch15), "M\xC3\xA4rz");
  EXPECT_EQ(system_text(2, kMarch15), "PM");
  EXPECT_EQ(system_text(3, kMarch15), "15.03.06");
  EXPECT_EQ(system_text(4, kMarch15), "Mittwoch, 15. M\xC3\xA4rz 2006");
  EXPECT_EQ(system_text(5, kMarch15), "22:34");
  EXPECT_EQ(system_text(6, kMarch15), "22:34:56");
  EXPECT_EQ(system_text(7, kMarch15), "Mi.");
  EXPECT_EQ(system_text(0, kMarch15), "15.03.06, 22:34:56");
  EXPECT_EQ(system_text(8, kMarch15), "15.03.06, 22:34:56");

  Locale us("en_US.UTF-8", Platform::on);
  EXPECT_EQ(system_text(6, kMarch15), "10:34:56\xE2\x80\xAFPM");
  EXPECT_EQ(system_text(1, kMarch15), "Mar");
  xp_dtr y = kMarch15;
  y.year = 106;  // 1900 + 106
  EXPECT_EQ(system_text(3, y), "3/15/06");
}

TEST(DtrStringSystem, CutMeasuredAndAbsent) {
  Locale l("de_DE.UTF-8", Platform::on);
  char b[8];
  // "März" cut to 2 bytes would split the a-umlaut: only "M" is kept.
  EXPECT_EQ(xpi::dtrstring_system(&kMarch15, 1, b, 3), 1);
  EXPECT_STREQ(b, "M");
  EXPECT_EQ(xpi::dtrstring_system(&kMarch15, 3, b, 6), 5);
  EXPECT_STREQ(b, "15.03");
  EXPECT_EQ(xpi::dtrstring_system(&kMarch15, 4, nullptr, 0), 24);
  strcpy(b, "junk");
  EXPECT_EQ(xpi::dtrstring_system(&kMarch15, 3, b, 0), 0);
  EXPECT_STREQ(b, "junk");
  EXPECT_EQ(xpi::dtrstring_system(nullptr, 3, b, sizeof b), 0);

  Locale off("de_DE.UTF-8", Platform::off);
  strcpy(b, "junk");
  EXPECT_EQ(xpi::dtrstring_system(&kMarch15, 3, b, sizeof b), -1);
  EXPECT_EQ(b[0], 0);
}

// ---- Loader and helpers ---------------------------------------------------------

TEST(PlatformLoader, FindsVersionedFunctionsAndHonoursTheSwitch) {
  {
    Locale l("de_DE.UTF-8", Platform::on);
    void *lib = xpi_load_framework("ignored");
    ASSERT_NE(lib, nullptr);
    EXPECT_EQ(xpi_load_framework(nullptr), lib);  // one handle serves all
    EXPECT_NE(xpi_get_func("udat_open"), nullptr);
    EXPECT_NE(xpi_get_func("unum_formatInt64"), nullptr);
    EXPECT_EQ(xpi_get_func("no_such_function"), nullptr);
    EXPECT_EQ(xpi_get_func(nullptr), nullptr);
  }
  Locale off("de_DE.UTF-8", Platform::off);
  EXPECT_EQ(xpi_load_framework(nullptr), nullptr);
  setenv("XP_INTL_NO_PLATFORM", "0", 1);
  EXPECT_NE(xpi_load_framework(nullptr), nullptr);
}

TEST(PlatformLoader, ConcurrentFirstUses) {
  Locale l("de_DE.UTF-8", Platform::on);
  std::vector<std::thread> threads;
  std::vector<std::string> got(4);
  for (int t = 0; t < 4; t++)
    threads.emplace_back([t, &got] {
      for (int i = 0; i < 5; i++)
        got[t] = date_of(XPI_DAY, kMarch15) + number_of(XPI_DECIMAL, 1000);
    });
  for (auto &th : threads)
    th.join();
  for (auto &g : got)
    EXPECT_EQ(g, "Mittwoch1.000");
}

TEST(PlatformHelpers, Utf8FromUtf16) {
  const char16_t text[] = {u'a', 0x00E4, 0x20AC, 0xD83D, 0xDE00, 0xDC00, u'z', 0};
  char b[32];
  EXPECT_EQ(xpi::utf8_from_utf16(b, sizeof b, text, -1), 14u);
  EXPECT_STREQ(b, "a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80\xEF\xBF\xBDz");
  // A surrogate pair cut by the count is a lone surrogate.
  EXPECT_EQ(xpi::utf8_from_utf16(b, sizeof b, text, 4), 9u);
  EXPECT_STREQ(b, "a\xC3\xA4\xE2\x82\xAC\xEF\xBF\xBD");
  // Never a split character.
  EXPECT_EQ(xpi::utf8_from_utf16(b, 6, text, -1), 3u);
  EXPECT_STREQ(b, "a\xC3\xA4");
  EXPECT_EQ(xpi::utf8_from_utf16(b, 1, text, -1), 0u);
  EXPECT_EQ(b[0], 0);
  EXPECT_EQ(xpi::utf8_from_utf16(nullptr, 8, text, -1), 0u);
}

TEST(PlatformHelpers, CurrentLocaleFromTheEnvironment) {
  char b[16];
  {
    Locale l("C", Platform::on);
    setenv("LC_ALL", "de_DE.UTF-8@euro", 1);
    xpi::current_locale(b, sizeof b);
    EXPECT_STREQ(b, "de_DE");
    setenv("LC_ALL", "POSIX", 1);
    xpi::current_locale(b, sizeof b);
    EXPECT_STREQ(b, "en_US_POSIX");
  }
  {
    Locale l("C.UTF-8", Platform::on);
    xpi::current_locale(b, sizeof b);
    EXPECT_STREQ(b, "en_US_POSIX");
  }
  {
    Locale l("en_US.UTF-8", Platform::on);
    unsetenv("LC_ALL");
    setenv("LANG", "fi_FI.UTF-8", 1);
    xpi::current_locale(b, sizeof b);
    EXPECT_STREQ(b, "fi_FI");
    xpi::current_locale(b, 3);
    EXPECT_STREQ(b, "fi");
    unsetenv("LANG");
    xpi::current_locale(b, sizeof b);
    EXPECT_STREQ(b, "");
  }
}

// ---- Currency table -------------------------------------------------------------

TEST(CurrencyTable, AscendingCodesThatThePlatformAgreesWith) {
  size_t n = 0;
  uint16_t last = 0;
  for (const xpi_currency *c = xpi_currencies; c->number; c++, n++) {
    EXPECT_GT(c->number, last) << c->code;
    last = c->number;
    ASSERT_EQ(strlen(c->code), 3u);
    UChar code[4] = {(UChar)c->code[0], (UChar)c->code[1], (UChar)c->code[2], 0};
    EXPECT_EQ(ucurr_getNumericCode(code), c->number) << c->code;
    EXPECT_EQ(xpi_currency_number(c->code), c->number);
  }
  EXPECT_GE(n, 150u);
  EXPECT_EQ(xpi_currencies[0].number, 8);
  EXPECT_STREQ(xpi_currencies[0].code, "ALL");
  EXPECT_EQ(xpi_currencies[n - 2].number, 986);
  EXPECT_STREQ(xpi_currencies[n - 2].code, "BRL");
  EXPECT_EQ(xpi_currencies[n - 1].number, 999);
  EXPECT_STREQ(xpi_currencies[n - 1].code, "XXX");
  EXPECT_EQ(xpi_currency_number("EUR"), 978);
  EXPECT_EQ(xpi_currency_number("eur"), 0);
  EXPECT_EQ(xpi_currency_number("EURO"), 0);
  EXPECT_EQ(xpi_currency_number(""), 0);
  EXPECT_EQ(xpi_currency_number(nullptr), 0);
}

}  // namespace
