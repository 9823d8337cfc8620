/* report: prints a small transfer report, one formatted line per host.
 *
 * Shows the format engine: padding and alignment, digit grouping with the
 * locale's separator ("%'"), floating point, a network address rendered by
 * xp_fmt_addr, a time value as general time ("%#Z") and a UUID ("%p{U}").
 * Every line is measured first, so that a line too long for the buffer is
 * reported instead of being cut silently. */
#include <xp/xp.h>

#include <stdio.h>

struct host {
  const char *name;
  unsigned char ipv4[4];
  unsigned long long bytes;
  double share;
  xp_seconds seen; /* utc value: seconds since 1904 */
  unsigned char id[16];
};

int main(void) {
  static const struct host hosts[] = {
      {"domarc-main",
       {192, 0, 2, 7},
       1234567890ULL,
       71.25,
       3783110400UL,
       {0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE,
        0xFF}},
      {"vantor-1",
       {198, 51, 100, 4},
       987654ULL,
       28.5,
       3783196800UL,
       {0xDE, 0xAD, 0xBE, 0xEF, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}},
      {"lab",
       {10, 0, 0, 1},
       42ULL,
       0.25,
       3783200461UL,
       {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}},
  };
  char line[160];
  xp_fmt_format(line, sizeof line, "%-12s %-15s %15s %7s  %-15s  %s", "host", "address", "bytes",
                "share", "last seen (UTC)", "identifier");
  puts(line);
  for (size_t i = 0; i < sizeof hosts / sizeof hosts[0]; ++i) {
    const struct host *h = &hosts[i];
    /* An IPv4 text takes at most 15 characters; xp_fmt_addr does not
     * terminate, so the caller does. */
    char addr[16];
    intptr_t n = xp_fmt_addr(addr, 15, XP_ADDR_IPV4, h->ipv4);
    addr[n > 0 ? n : 0] = '\0';
    const char *format = "%-12s %-15s %'15llu %6.2f%%  %#Z  %p{U}";
    size_t need = xp_fmt_format(NULL, 0, format, h->name, addr, h->bytes, h->share, h->seen, h->id);
    if (need >= sizeof line) {
      fprintf(stderr, "report: line %zu needs %zu bytes\n", i + 1, need + 1);
      return 1;
    }
    xp_fmt_format(line, sizeof line, format, h->name, addr, h->bytes, h->share, h->seen, h->id);
    puts(line);
  }
  return 0;
}
