/* utf16: converts UTF-16 text (a file written by another program, with or
 * without a byte-order mark; without one it is big-endian) to UTF-8, prints
 * it with its sizes, and converts it back to UTF-16 in a buffer that is
 * deliberately short, to show that the library never writes past it.
 *
 * Usage: utf16 FILE|-   (at most 64 KiB) */
#include <xp/xp.h>

#include <stdint.h>
#include <stdio.h>
#include <string.h>

int main(int argc, char **argv) {
  if (argc != 2) {
    fprintf(stderr, "usage: utf16 FILE|-\n");
    return 2;
  }
  FILE *f = strcmp(argv[1], "-") ? fopen(argv[1], "rb") : stdin;
  if (!f) {
    perror(argv[1]);
    return 1;
  }
  static uint16_t units[32768];
  size_t bytes = fread(units, 1, sizeof units, f);
  if (f != stdin) fclose(f);

  /* The units are handed over as read; the mark (if any) tells the order. */
  xp_str *text = xp_str_wmake(units, (intptr_t)(bytes / 2));
  if (!text) {
    fprintf(stderr, "utf16: out of memory\n");
    return 1;
  }
  /* Trailing line breaks are not part of the text shown. */
  xp_str *trimmed = xp_str_trim(text);
  printf("text: %s\n", xp_str_getptr(trimmed));
  printf("UTF-8 bytes: %ld, UTF-16 units: %ld\n", (long)xp_str_length(trimmed),
         (long)xp_str_wget(trimmed, NULL, INTPTR_MAX));

  /* Back to UTF-16 (big-endian) into room for 8 units only. */
  uint16_t back[8 + 1];
  back[8] = 0xBEEF; /* a guard that must survive */
  intptr_t n = xp_str_wget(trimmed, back, 8);
  printf("first %ld units:", (long)n);
  for (intptr_t i = 0; i < n; ++i) {
    const unsigned char *b = (const unsigned char *)&back[i];
    printf(" %02X%02X", b[0], b[1]);
  }
  printf("\nguard: %s\n", back[8] == 0xBEEF ? "intact" : "OVERWRITTEN");
  xp_release(trimmed);
  xp_release(text);
  return back[8] == 0xBEEF ? 0 : 1;
}
