// On-demand formatters on both paths, the platform time texts, the run-time
// loader, the UTF-16 conversion and the currency table. Texts are checked
// by what they must hold (the date's numbers, names as the C library gives
// them), not by one version of the platform's data.
#include <langinfo.h>
#include <string.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <unicode/ucurr.h>

#include "xp/intl/platform.h"
#include "xp/intl/xp_intl_internal.h"
#include "xp/xp_test_util.h"

using xpt::Locale;
using xpt::Platform;

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

// The runs of digits in a text, as numbers.
std::vector<long> numbers(const std::string &t) {
  std::vector<long> v;
  for (size_t i = 0; i < t.size(); i++)
    if (isdigit((unsigned char)t[i]) && (i == 0 || !isdigit((unsigned char)t[i - 1])))
      v.push_back(strtol(t.c_str() + i, nullptr, 10));
  return v;
}
// An abbreviation: the start of the full name, a final dot aside.
bool abbreviates(std::string abbrev, const std::string &full) {
  if (!abbrev.empty() && abbrev.back() == '.') abbrev.pop_back();
  return !abbrev.empty() && full.compare(0, abbrev.size(), abbrev) == 0;
}

// What each kind must hold for 15 March 2006, 22:34:56, a Wednesday, in a
// day-month-year locale whose names the C library knows.
void expect_march15(uintptr_t kind, const std::string &t, bool platform) {
  const std::string month = nl_langinfo(MON_3), day = nl_langinfo(DAY_4);
  std::vector<long> n = numbers(t), hms = {22, 34, 56};
  if (kind == XPI_SHORTTIME && platform) hms.pop_back();
  bool named = t.find(month) != std::string::npos && t.find(day) != std::string::npos;
  const bool ok[] = {t.empty(),
                     t == month,
                     abbreviates(t, month),
                     platform ? !t.empty() : t == nl_langinfo(PM_STR),
                     n.size() == 3 && n[0] == 15 && n[1] == 3 && n[2] % 100 == 6,
                     n.size() >= 2 && n[0] == 15 && n.back() == 2006 && (named || !platform),
                     n == hms,
                     n == hms,
                     t == day,
                     abbreviates(t, day)};
  EXPECT_TRUE(ok[kind]) << "kind " << kind << ": " << t;
}

TEST(Formatter, DateKindsOnBothPaths) {
  for (Platform p : {Platform::on, Platform::off}) {
    Locale l("de_DE.UTF-8", p);
    for (uintptr_t kind = 0; kind <= 9; kind++)
      expect_march15(kind, format(kind), p == Platform::on);
  }
  {
    Locale l("de_DE.UTF-8", Platform::on);
    xp_dtr y = kMarch15;
    y.year = 106;  // counted from 1900 here
    EXPECT_EQ(numbers(format(XPI_SHORTDATE, y)).back() % 100, 6);
  }
  Locale l("de_DE.UTF-8", Platform::off);
  // Below 1970 the strftime path adds 100 to the count from 1900.
  for (auto [year, shown] : {std::pair{6, 2006}, {69, 2069}, {1969, 3969}, {1970, 1970}}) {
    xp_dtr y = kMarch15;
    y.year = uint16_t(year);
    EXPECT_EQ(numbers(format(XPI_SHORTDATE, y)).back(), shown) << year;
  }
  // Cut short, strftime gives nothing; a null buffer measures.
  xpi_formatter *f = xpi_formatter_new(nullptr, XPI_FULLDATE);
  EXPECT_EQ(f->platform, nullptr);
  char b[4];
  EXPECT_EQ(xpi_formatter_date(f, &kMarch15, b, sizeof b) + b[0], 0);
  EXPECT_EQ(xpi_formatter_date(f, &kMarch15, nullptr, 0), (intptr_t)format(XPI_FULLDATE).size());
  xp_release(f);
}

TEST(Formatter, NumbersPatternsAndProperties) {
  Locale l("de_DE.UTF-8", Platform::on);
  EXPECT_EQ(number_of(XPI_DECIMAL, 1234567), "1.234.567");
  std::string money = number_of(XPI_CURRENCY, 5);
  EXPECT_TRUE(money.find("5,00") != std::string::npos &&
              money.find("\xE2\x82\xAC") != std::string::npos)
      << money;
  EXPECT_EQ(number_of(XPI_MONTH, 12), "12");  // a date kind: the library's own
  xpi_formatter *f = xpi_formatter_new(nullptr, XPI_CURRENCY);
  ASSERT_NE(f->platform, nullptr);
  char b[16] = "junk";  // the properties themselves are the loaded settings
  EXPECT_EQ(xpi_formatter_getprop(f, 'x', b, sizeof b) + b[0], 0);
  xp_release(f);
  // The Swedish minus is U+2212: cut whole or not at all.
  Locale sv("sv_SE.UTF-8", Platform::on);
  f = xpi_formatter_new(nullptr, XPI_DECIMAL);
  EXPECT_EQ(xpi_formatter_getprop(f, '-', b, sizeof b), 3);
  EXPECT_EQ(xpi_formatter_getprop(f, '-', b, 3) + b[0], 0);
  xp_release(f);
}

TEST(Formatter, FallbackNumbersUnknownKindsAndFailure) {
  Locale l("C", Platform::off);
  xp_intl_reset(nullptr);
  EXPECT_EQ(number_of(XPI_DECIMAL, 1234567) + "|" + number_of(XPI_DECIMAL, XPI_PATTERN_REQUEST) +
                "|" + number_of(XPI_SHORTDATE, XPI_PATTERN_REQUEST),
            "1234567||%x");
  Locale de("de_DE.UTF-8", Platform::on);
  for (uintptr_t kind : {0, 12}) {
    xpi_formatter *f = xpi_formatter_new(nullptr, kind);
    EXPECT_TRUE(f->platform == nullptr && f->fallback == nullptr);
    char b[16] = "junk";
    EXPECT_EQ(xpi_formatter_date(f, &kMarch15, b, sizeof b) + b[0], 0);
    EXPECT_EQ(xpi_formatter_number(f, 77, b, sizeof b), 2);
    xp_release(f);
  }
  xpc::fail_alloc_after(1);
  EXPECT_EQ(xpi_formatter_new(nullptr, XPI_DECIMAL), nullptr);
  xp_intl_reset(nullptr);
}

TEST(DtrStringSystem, KindsCutsAndAbsence) {
  Locale de("de_DE.UTF-8", Platform::on);
  // Kinds 0 to 8: date and time, month, AM/PM, short and full date, short
  // and medium time, abbreviated day, date and time.
  const uintptr_t as[] = {0, 1, 3, 4, 5, 6, 7, 9, 0};  // as formatter kinds
  char b[64];
  std::string both[2];
  for (int kind = 0; kind <= 8; kind++) {
    long n = xpi::dtrstring_system(&kMarch15, kind, b, sizeof b);
    EXPECT_EQ(n, (long)strlen(b)) << kind;
    EXPECT_EQ(xpi::dtrstring_system(&kMarch15, kind, nullptr, 0), n);
    as[kind] ? expect_march15(as[kind], b, true) : void(both[kind > 0] = b);
  }
  EXPECT_EQ(both[0], both[1]);
  EXPECT_EQ(numbers(both[0]), std::vector<long>({15, 3, 6, 22, 34, 56})) << both[0];
  // Cut to every size: whole characters only ("März" cut to 2 bytes is "M").
  std::string month = nl_langinfo(MON_3);
  for (long size = 1; size <= (long)month.size() + 1; size++) {
    long n = xpi::dtrstring_system(&kMarch15, 1, b, size);
    size_t fits = (size_t)std::min<long>(size - 1, (long)month.size());
    while (fits > 0 && fits < month.size() && (month[fits] & 0xC0) == 0x80)
      fits--;
    EXPECT_EQ(std::string(b, n), month.substr(0, fits)) << size;
  }
  EXPECT_EQ(xpi::dtrstring_system(&kMarch15, 3, b, 0), 0);
  EXPECT_EQ(b[0], 'M');  // untouched
  {
    Locale us("en_US.UTF-8", Platform::on);
    xpi::dtrstring_system(&kMarch15, 6, b, sizeof b);  // a 12-hour clock
    EXPECT_TRUE(numbers(b) == std::vector<long>({10, 34, 56}) && strstr(b, "PM")) << b;
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
  EXPECT_EQ(xpi::utf8_from_utf16(b, 1, text, -1) + b[0], 0u);
}

TEST(CurrencyTable, AscendingCodesThatThePlatformAgreesWith) {
  size_t n = 0;
  for (const xpi_currency *c = xpi_currencies; c->number; c++, n++) {
    EXPECT_GT(c->number, n ? c[-1].number : 0) << c->code;
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
