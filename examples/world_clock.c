/* world_clock: prints one instant in several zones and locales: the local
 * general time with its offset, the RFC 822 form, and the locale's long
 * date and clock time.
 *
 * The library reads the zone and the locale from the environment (TZ;
 * LC_ALL, else LANG) and keeps the zone of the current second, so each zone
 * is shown by a child process of its own with its own environment.
 *
 * Usage: world_clock [POSIX-SECONDS]   (default: now) */
#include <xp/xp.h>

#include <locale.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

static const char *const places[][2] = {
    {"UTC", "C.UTF-8"},
    {"America/New_York", "en_US.UTF-8"},
    {"Europe/Berlin", "de_DE.UTF-8"},
    {"Europe/Paris", "fr_FR.UTF-8"},
    {"Asia/Tokyo", "ja_JP.UTF-8"},
};

static void show(xp_seconds utc, const char *zone, const char *locale) {
  setenv("TZ", zone, 1);
  tzset();
  setenv("LC_ALL", locale, 1);
  setlocale(LC_ALL, "");
  char general[24], rfc822[40], date[128], clock[64];
  xp_seconds local = xp_time_utctolocal(utc);
  xp_time_localtogeneraltime(local, general, sizeof general);
  xp_time_localtorfc822datetime(local, rfc822, sizeof rfc822);
  xp_time_utctodate(utc, date, sizeof date, 1);
  xp_time_utctotime(utc, clock, sizeof clock, 1);
  printf("%-17s %-12s %s  %s  %s %s\n", zone, locale, general, rfc822, date, clock);
}

int main(int argc, char **argv) {
  time_t posix = argc > 1 ? (time_t)strtoll(argv[1], NULL, 10) : time(NULL);
  xp_seconds utc = (xp_seconds)posix + XP_TIME_POSIX_DELTA;
  for (size_t i = 0; i < sizeof places / sizeof places[0]; ++i) {
    fflush(stdout);
    pid_t child = fork();
    if (child < 0) return 1;
    if (child == 0) {
      show(utc, places[i][0], places[i][1]);
      fflush(stdout);
      _exit(0);
    }
    int status;
    if (waitpid(child, &status, 0) < 0 || !WIFEXITED(status) || WEXITSTATUS(status)) return 1;
  }
  return 0;
}
