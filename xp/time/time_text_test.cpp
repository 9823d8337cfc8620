// Time texts: every writer against a reference made without the library
// (literals, the C library's strftime and mktime), at every buffer size.
#include <gtest/gtest.h>

#include "xp/time/time_test_util.h"

namespace {

using namespace xpt_test;

struct tm wall(const xp_dtr &r) {
  struct tm tm {};
  tm.tm_year = r.year - 1900, tm.tm_mon = r.month - 1, tm.tm_mday = r.day;
  tm.tm_hour = r.hour, tm.tm_min = r.minute, tm.tm_sec = r.second, tm.tm_isdst = -1;
  mktime(&tm);
  return tm;
}
std::string strf(const char *format, const struct tm &tm) {
  char buf[128];
  strftime(buf, sizeof buf, format, &tm);
  return buf;
}

enum Cut { kPrefix, kAllOrNothing, kDateFirst };
struct Case {
  std::string want;
  Cut cut;
  std::function<long(char *, long)> write;
};

// Each writer in full and at every size up to its length + 2: nothing past
// the size, the reference cut at a whole character and terminated (fixed
// forms: all or nothing; date and time: the date alone, without the blank,
// when the rest does not fit), and the length when measuring.
void sweep(const std::vector<Case> &cases) {
  for (const Case &c : cases) {
    long len = static_cast<long>(c.want.size());
    EXPECT_EQ(len, c.write(nullptr, 0)) << c.want;
    for (long size = 0; size <= len + 2; ++size) {
      std::string want = c.want.substr(0, size ? size - 1 : 0), buf(300, 'Z');
      while (want.size() < c.want.size() && (c.want[want.size()] & 0xC0) == 0x80)
        want.pop_back();
      if (c.cut == kAllOrNothing && size <= len) want.clear();
      if (c.cut == kDateFirst && size <= len && !want.empty() && want.back() == ' ')
        want.pop_back();
      ASSERT_EQ(c.write(&buf[8], size), static_cast<long>(want.size())) << c.want << " " << size;
      ASSERT_EQ(buf.substr(0, 8) + buf.substr(8 + size), std::string(300 - size, 'Z')) << size;
      bool untouched = c.cut == kAllOrNothing && size <= len;  // too small: nothing written
      ASSERT_EQ(buf.substr(8, untouched ? size
                              : size    ? want.size() + 1
                                        : 0),
                untouched ? std::string(size, 'Z')
                : size    ? want + '\0'
                          : "")
          << c.want << " " << size;
    }
  }
}

TEST(TimeText, EveryWriterAgainstTheCLibrary) {
  xpt::Locale texts("C", xpt::Platform::off);
  for (int month : {2, 7}) {
    xp_dtr r = record(2006, month, 15, 6, 34, 56);
    struct tm tm = wall(r), utc_tm, copy = tm;
    time_t posix = timegm(&copy) - tm.tm_gmtoff;  // the instant of the wall time
    gmtime_r(&posix, &utc_tm);
    xp_seconds utc = static_cast<xp_seconds>(posix) + XP_TIME_POSIX_DELTA;
    xp_seconds local = xp_time_dtrtolocal(&r);
    const std::string zone = strf("%z", tm), plain = strf("%Y%m%d%H%M%S", tm);
    xp_dtr short_year = r;
    short_year.year = 6;  // short years are printed in full
    const std::string with_offset = strf("%a, %d %b %Y %H:%M:%S ", tm) + zone;
#define W(call) [&](char *b, long n) { return call; }
    sweep({
        {strf("%Y%m%d%H%M%SZ", utc_tm), kAllOrNothing, W(xp_time_utctogeneraltime(utc, b, n))},
        {plain + zone, kAllOrNothing, W(xp_time_localtogeneraltime(local, b, n))},
        {plain + zone, kAllOrNothing, W(xp_time_dtrtogeneraltime(&short_year, b, n))},
        {strf("%a, %d %b %Y %H:%M:%S GMT", utc_tm), kAllOrNothing,
         W(xp_time_utctorfc822datetime(utc, b, n))},
        {with_offset, kAllOrNothing, W(xp_time_localtorfc822datetime(local, b, n))},
        {strf("%X", tm), kPrefix, W(xp_time_utctotime(utc, b, n, 1))},
        {strf("%x", tm), kPrefix, W(xp_time_localtodate(local, b, n, 0))},
        {strf("%x %X", tm), kDateFirst, W(xp_time_utctodatetime(utc, b, n, 1, 1))},
        {"25:01:01", kPrefix, W(xp_time_secondstotime(25 * 3600 + 61, b, n, 1))},  // not a day
        {strf("%c|", tm) + with_offset + strf("|%G-W%V|", tm) +
             std::to_string(timegm(&copy) + XP_TIME_POSIX_DELTA) + strf("|%x %X|%%|?", tm),
         kPrefix, W(xpf_time(b, n, "%c|%+|%G-W%V|%s|%x %X|%%|%Z", -1, &r, 0))},
        {strf("%x %X", tm), kPrefix, W(xp_fmt_utctime(b, n, nullptr, utc))},
    });
    const char *kinds[9] = {nullptr, "%b", "%p", 0, 0, 0, 0, "%a", nullptr};
    for (int kind : {0, 1, 2, 7, 8})  // kinds of their own; unknown ones give nothing
      sweep({{kinds[kind] ? strf(kinds[kind], tm) : "", kPrefix,
              W(xpt::xt_dtrstring(&r, kind, b, n))}});
  }
  xpt::Locale russian("ru_RU.UTF-8", xpt::Platform::off);  // cut at whole characters
  xp_dtr r = record(2006, 2, 15, 6, 34, 56);
  sweep({{strf("%a %B", wall(r)), kPrefix, W(xpf_time(b, n, "%a %B", -1, &r, 0))}});
  // English names whatever the locale; a record whose names cannot be looked
  // up writes nothing.
  r = record(2006, 12, 13, 22, 34, 56);
  char buf[48];
  xp_time_dtrtorfc822datetime(&r, buf, sizeof buf);
  EXPECT_EQ(std::string("Wed, 13 Dec 2006 22:34:56 ") + strf("%z", wall(r)), buf);
  r.weekday = 7;
  EXPECT_EQ(0, xp_time_dtrtorfc822datetime(&r, buf, sizeof buf));
}

}  // namespace
