/* ntld_settings: writes a small settings tree to an NTLD file, then reads
 * the file back, verifying every level before it is walked, and prints it.
 * Run ntld-dump on the file to see the same tree item by item.
 *
 * Usage: ntld_settings FILE */
#include <xp/xp.h>

#include <stdio.h>
#include <stdlib.h>

#define TAG_SETTINGS XP_TAG('s', 'e', 't', 's')
#define TAG_SERVER XP_TAG('s', 'r', 'v', 'r')
#define TAG_PORT XP_TAG('p', 'o', 'r', 't')
#define TAG_MODE XP_TAG('m', 'o', 'd', 'e')
#define TAG_BACKUPS XP_TAG('b', 'a', 'k', 's')
#define TYPE_LIST XP_TAG('l', 'i', 's', 't')

static int write_settings(const char *path) {
  /* A dynamic writer grows its own data object. */
  xp_ntld *w = xp_ntld_new(NULL, XP_NTLD_DYNAMIC);
  if (!w) return 0;
  xp_ntld_open(w, TAG_SETTINGS, TYPE_LIST);
  xp_ntld_add_string(w, TAG_SERVER, "domarc.example");
  xp_ntld_add_number(w, TAG_PORT, 4433);
  xp_ntld_add_tag(w, TAG_MODE, XP_TAG('a', 'u', 't', 'o'));
  xp_ntld_open(w, TAG_BACKUPS, TYPE_LIST);
  xp_ntld_add_string(w, XP_TAG('b', 'a', 'k', '1'), "10.0.0.1");
  xp_ntld_add_string(w, XP_TAG('b', 'a', 'k', '2'), "2001:db8::1");
  xp_ntld_close(w);
  /* xp_ntld_length closes the root and gives its size, 0 when the tree is
   * incomplete (an item was refused for want of memory). */
  xp_data *tree = xp_ntld_length(w) ? xp_ntld_dyndata(w) : NULL;
  xp_release(w);
  if (!tree) return 0;
  FILE *f = fopen(path, "wb");
  int ok = f && fwrite(xp_data_getptr(tree), 1, xp_data_length(tree), f) == xp_data_length(tree);
  if (f && fclose(f) != 0) ok = 0;
  xp_release(tree);
  return ok;
}

static void print_backups(const void *list) {
  intptr_t n = xp_ntld_count(list);
  for (intptr_t i = 0; i < n; ++i) {
    char text[64];
    intptr_t len = xp_ntld_getbytesbyindex(list, i, text, sizeof text - 1);
    text[len] = '\0';
    printf("  backup %ld: %s\n", (long)i + 1, text);
  }
}

static int read_settings(const char *path) {
  FILE *f = fopen(path, "rb");
  if (!f) return 0;
  static unsigned char bytes[4096];
  size_t size = fread(bytes, 1, sizeof bytes, f);
  fclose(f);
  /* Data from outside: verify the root level before reading it. */
  if (!xp_ntld_verify(bytes, (intptr_t)size)) {
    fprintf(stderr, "ntld_settings: %s is damaged\n", path);
    return 0;
  }
  char server[256];
  intptr_t len = xp_ntld_getbytesbyname(bytes, TAG_SERVER, server, sizeof server - 1);
  server[len] = '\0';
  uint32_t mode = xp_ntld_gettagbyname(bytes, TAG_MODE);
  printf("server: %s\nport: %ld\nmode: %.4s\n", server,
         (long)xp_ntld_getlongbyname(bytes, TAG_PORT), (const char *)&mode);
  /* The nested list is verified on its own before it is walked. */
  const void *backups = xp_ntld_getbyname(bytes, TAG_BACKUPS);
  const unsigned char *end = bytes + size;
  if (!backups || !xp_ntld_verify(backups, end - (const unsigned char *)backups)) {
    fprintf(stderr, "ntld_settings: no valid backup list\n");
    return 0;
  }
  print_backups(backups);
  return 1;
}

int main(int argc, char **argv) {
  if (argc != 2) {
    fprintf(stderr, "usage: ntld_settings FILE\n");
    return 2;
  }
  if (!write_settings(argv[1])) {
    fprintf(stderr, "ntld_settings: cannot write %s\n", argv[1]);
    return 1;
  }
  return read_settings(argv[1]) ? EXIT_SUCCESS : EXIT_FAILURE;
}
