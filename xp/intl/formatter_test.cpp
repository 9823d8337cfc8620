// On-demand formatters on both paths, the platform time texts, the run-time
// loader, the UTF-16 conversion and the currency table.
#include <string.h>

#include <string>

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

// A date (or, with a value, a number) through a new formatter of the kind.
std::string format(uintptr_t kind, xp_dtr dtr = kMarch15, const int64_t *value = nullptr) {
  xpi_formatter *f = xpi_formatter_new(nullptr, kind);
  char b[64];
  intptr_t n = value ? xpi_formatter_number(f, *value, b, sizeof b)
                     : xpi_formatter_date(f, &dtr, b, sizeof b);
  EXPECT_EQ((size_t)n, strlen(b));
  xp_release(f);
  return b;
}
std::string number_of(uintptr_t kind, int64_t value) {
  return format(kind, kMarch15, &value);
}
std::string year_of(uintptr_t kind, uint16_t year) {
  xp_dtr y = kMarch15;
  y.year = year;
  return format(kind, y);
}

TEST(Formatter, DateKindsOnBothPaths) {
  const char *platform[] = {
      "",      "März",     "März",     "PM", "15.03.06", "Mittwoch, 15. März 2006",
      "22:34", "22:34:56", "Mittwoch", "Mi."};
  const char *fallback[] = {"",           "März",     "Mär",      "",         "15.03.2006",
                            "15.03.2006", "22:34:56", "22:34:56", "Mittwoch", "Mi"};
  for (Platform p : {Platform::on, Platform::off}) {
    Locale l("de_DE.UTF-8", p);
    for (uintptr_t kind = 1; kind <= 9; kind++)
      EXPECT_EQ(format(kind), (p == Platform::on ? platform : fallback)[kind]) << kind;
  }
  {
    Locale l("de_DE.UTF-8", Platform::on);
    EXPECT_EQ(year_of(XPI_SHORTDATE, 106), "15.03.06");  // counted from 1900 here
  }
  Locale l("de_DE.UTF-8", Platform::off);
  // Below 1970 the strftime path adds 100 to the count from 1900.
  const std::pair<uint16_t, const char *> years[] = {
      {6, "15.03.2006"}, {69, "15.03.2069"}, {1969, "15.03.3969"}, {1970, "15.03.1970"}};
  for (auto [year, text] : years)
    EXPECT_EQ(year_of(XPI_SHORTDATE, year), text) << year;
  // Cut short, strftime gives nothing; a null buffer measures.
  xpi_formatter *f = xpi_formatter_new(nullptr, XPI_FULLDATE);
  EXPECT_EQ(f->platform, nullptr);
  char b[4];
  EXPECT_EQ(xpi_formatter_date(f, &kMarch15, b, sizeof b), 0);
  EXPECT_EQ(b[0], 0);
  EXPECT_EQ(xpi_formatter_date(f, &kMarch15, nullptr, 0), 10);
  xp_release(f);
}

TEST(Formatter, NumbersPatternsAndProperties) {
  Locale l("de_DE.UTF-8", Platform::on);
  EXPECT_EQ(number_of(XPI_DECIMAL, 1234567), "1.234.567");
  EXPECT_EQ(number_of(XPI_DECIMAL, XPI_PATTERN_REQUEST), "#,##0.###");
  EXPECT_EQ(number_of(XPI_CURRENCY, 5), "5,00\xC2\xA0\xE2\x82\xAC");
  EXPECT_EQ(number_of(XPI_MONTH, 12), "12");  // a date kind: the library's own

  xpi_formatter *f = xpi_formatter_new(nullptr, XPI_CURRENCY);
  ASSERT_NE(f->platform, nullptr);
  char b[16];
  std::string props;
  for (int sel : {'+', '-', '.', ','}) {
    EXPECT_EQ(xpi_formatter_getprop(f, sel, b, sizeof b), 1);
    props += b;
  }
  EXPECT_EQ(props, "+-,.");
  strcpy(b, "junk");
  EXPECT_EQ(xpi_formatter_getprop(f, 'x', b, sizeof b), 0);
  EXPECT_EQ(b[0], 0);
  xp_release(f);
  // The Swedish minus is U+2212: cut whole or not at all.
  Locale sv("sv_SE.UTF-8", Platform::on);
  f = xpi_formatter_new(nullptr, XPI_DECIMAL);
  EXPECT_EQ(xpi_formatter_getprop(f, '-', b, sizeof b), 3);
  EXPECT_EQ(xpi_formatter_getprop(f, '-', b, 3), 0);
  EXPECT_STREQ(b, "");
  xp_release(f);
}

TEST(Formatter, FallbackNumbersUnknownKindsAndFailure) {
  Locale l("C", Platform::off);
  xp_intl_reset(nullptr);
  EXPECT_EQ(number_of(XPI_DECIMAL, 1234567), "1234567");
  EXPECT_EQ(number_of(XPI_DECIMAL, XPI_PATTERN_REQUEST), "");
  EXPECT_EQ(number_of(XPI_SHORTDATE, XPI_PATTERN_REQUEST), "%x");
  Locale de("de_DE.UTF-8", Platform::on);
  for (uintptr_t kind : {0, 12}) {
    xpi_formatter *f = xpi_formatter_new(nullptr, kind);
    ASSERT_NE(f, nullptr);
    EXPECT_TRUE(f->platform == nullptr && f->fallback == nullptr);
    char b[16] = "junk";
    EXPECT_EQ(xpi_formatter_date(f, &kMarch15, b, sizeof b), 0);
    EXPECT_EQ(b[0], 0);
    EXPECT_EQ(xpi_formatter_number(f, 77, b, sizeof b), 2);
    xp_release(f);
  }
  xpc::fail_alloc_after(1);
  EXPECT_EQ(xpi_formatter_new(nullptr, XPI_DECIMAL), nullptr);
  xp_intl_reset(nullptr);
}

TEST(DtrStringSystem, KindsCutsAndAbsence) {
  Locale de("de_DE.UTF-8", Platform::on);
  const char *both = "15.03.06, 22:34:56";
  const char *expect[] = {both,    "März",     "PM",  "15.03.06", "Mittwoch, 15. März 2006",
                          "22:34", "22:34:56", "Mi.", both};
  char b[64];
  for (int kind = 0; kind <= 8; kind++) {
    EXPECT_EQ(xpi::dtrstring_system(&kMarch15, kind, b, sizeof b), (long)strlen(expect[kind]));
    EXPECT_STREQ(b, expect[kind]) << kind;
  }
  // "März" cut to 2 bytes would split the a-umlaut: only "M" is kept.
  EXPECT_EQ(xpi::dtrstring_system(&kMarch15, 1, b, 3), 1);
  EXPECT_STREQ(b, "M");
  EXPECT_EQ(xpi::dtrstring_system(&kMarch15, 4, nullptr, 0), 24);
  EXPECT_EQ(xpi::dtrstring_system(&kMarch15, 3, b, 0), 0);
  EXPECT_STREQ(b, "M");  // untouched
  {
    Locale us("en_US.UTF-8", Platform::on);
    xpi::dtrstring_system(&kMarch15, 6, b, sizeof b);
    EXPECT_STREQ(b, "10:34:56\u202FPM");
  }
  Locale off("de_DE.UTF-8", Platform::off);
  EXPECT_EQ(xpi::dtrstring_system(&kMarch15, 3, b, sizeof b), -1);
  EXPECT_EQ(b[0], 0);
}

TEST(PlatformLoader, OneHandleTheSwitchAndTheLocaleName) {
  {
    Locale l("de_DE.UTF-8", Platform::on);
    void *lib = xpi_load_framework("ignored");
    ASSERT_NE(lib, nullptr);
    EXPECT_EQ(xpi_load_framework(nullptr), lib);
    EXPECT_NE(xpi_get_func("unum_formatInt64"), nullptr);
    EXPECT_EQ(xpi_get_func("no_such_function"), nullptr);
    char name[16];
    const std::pair<const char *, const char *> names[] = {{"de_DE.UTF-8@euro", "de_DE"},
                                                           {"C.UTF-8", "en_US_POSIX"}};
    for (auto [env, expect] : names) {
      setenv("LC_ALL", env, 1);
      xpi::current_locale(name, sizeof name);
      EXPECT_STREQ(name, expect);
    }
  }
  Locale off("de_DE.UTF-8", Platform::off);
  EXPECT_EQ(xpi_load_framework(nullptr), nullptr);
  setenv("XP_INTL_NO_PLATFORM", "0", 1);
  EXPECT_NE(xpi_load_framework(nullptr), nullptr);
}

TEST(PlatformLoader, Utf8FromUtf16) {
  const char16_t text[] = {u'a', 0x00E4, 0x20AC, 0xD83D, 0xDE00, 0xDC00, u'z', 0};
  char b[32];
  EXPECT_EQ(xpi::utf8_from_utf16(b, sizeof b, text, -1), 14u);
  EXPECT_STREQ(b, "a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80\xEF\xBF\xBDz");
  // A pair cut by the count is a lone surrogate; a character that does not
  // fit is left out whole.
  EXPECT_EQ(xpi::utf8_from_utf16(b, sizeof b, text, 4), 9u);
  EXPECT_STREQ(b, "a\xC3\xA4\xE2\x82\xAC\xEF\xBF\xBD");
  EXPECT_EQ(xpi::utf8_from_utf16(b, 6, text, -1), 3u);
  EXPECT_EQ(xpi::utf8_from_utf16(b, 1, text, -1), 0u);
  EXPECT_EQ(b[0], 0);
}

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
  ASSERT_GE(n, 150u);
  EXPECT_EQ(xpi_currencies[n - 1].number, 999);
  for (const char *bad : {"eur", "EURO", (const char *)nullptr})
    EXPECT_EQ(xpi_currency_number(bad), 0);
}

}  // namespace
