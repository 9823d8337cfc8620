// Address reader on arbitrary text, fed as an unterminated heap buffer of
// exactly the input's length; the two characters that the hex net/node form
// reads behind its 23 are added only when that form is recognised. Also
// renders the first bytes as an address of every kind into a buffer of a
// size taken from the input and checks that nothing past it is written.
#include <arpa/inet.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "fuzz/fuzz_util.h"
#include "xp/fmt/xp_fmt.h"

namespace {

using fuzz::check;

void read_text(const uint8_t *data, size_t size, intptr_t room) {
  char *exact = fuzz::exact_copy(data, size);
  auto length = static_cast<intptr_t>(size);
  int kind = xp_fmt_getaddr(nullptr, 0, exact, length);
  check(kind >= -1 && kind <= 2);

  unsigned char out[32];
  memset(out, 0xA5, sizeof out);
  char *text = exact;
  if (kind == 2) {  // the caller hands over the writer's whole text
    text = static_cast<char *>(malloc(size + 2));
    memcpy(text, data, size);
    text[size] = 'F';
    text[size + 1] = 'F';
  }
  check(xp_fmt_getaddr(out, room, text, length) == kind);
  for (size_t i = static_cast<size_t>(room); i < sizeof out; ++i)
    check(out[i] == 0xA5);
  // Within the room, the bytes of a read with room for all.
  unsigned char full[16];
  memset(full, 0xA5, sizeof full);
  check(xp_fmt_getaddr(full, 16, text, length) == kind);
  check(kind < 0 || memcmp(out, full, static_cast<size_t>(room)) == 0);
  // The usual IPv4 text has its own reader, taken only with room for all
  // four bytes: the general one must agree on the first three.
  unsigned char three[3];
  if (kind == 1 && room >= 4)
    check(xp_fmt_getaddr(three, 3, text, length) == 1 && memcmp(three, out, 3) == 0);
  if (text != exact) free(text);

  // The same text zero-terminated (up to its first zero byte).
  auto *terminated = static_cast<char *>(malloc(size + 1));
  memcpy(terminated, data, size);
  terminated[size] = 0;
  memset(out, 0xA5, sizeof out);
  int zkind = xp_fmt_getaddr(out, room, terminated, -1);
  check(zkind >= -1 && zkind <= 2);
  for (size_t i = static_cast<size_t>(room); i < sizeof out; ++i)
    check(out[i] == 0xA5);
  free(terminated);
  free(exact);
}

// The IPv6 text names the address for inet_pton; it is inet_ntop's own
// text where the first zero run is also the earliest longest one, at least
// two groups long, and no IPv4 tail form applies, and differs elsewhere.
void ipv6_against_the_c_library(const unsigned char address[16]) {
  char mine[48], theirs[INET6_ADDRSTRLEN];
  intptr_t n = xp_fmt_addr(mine, 40, -1, address);
  check(n > 0 && n < 40);
  mine[n] = 0;
  unsigned char back[16];
  check(inet_pton(AF_INET6, mine, back) == 1 && memcmp(back, address, 16) == 0);
  int first_len = 0, best_len = 0, run = 0;
  for (int k = 0; k <= 8; ++k) {
    if (k < 8 && !address[2 * k] && !address[2 * k + 1]) {
      ++run;
      continue;
    }
    if (run && !first_len) first_len = run;
    best_len = std::max(best_len, run);
    run = 0;
  }
  bool v4_tail = !memcmp(address, "\0\0\0\0\0\0\0\0\0\0", 10);
  bool agree = !first_len || (first_len >= 2 && first_len == best_len && !v4_tail);
  check(inet_ntop(AF_INET6, address, theirs, sizeof theirs) != nullptr);
  if (agree || !v4_tail) check((strcmp(mine, theirs) == 0) == agree);
}

void render(const uint8_t *data, size_t size, intptr_t room) {
  unsigned char address[16] = {0};
  memcpy(address, data, size < 16 ? size : 16);
  for (int kind = -1; kind <= 2; ++kind) {
    auto *buf = static_cast<char *>(malloc(room ? static_cast<size_t>(room) : 1));
    intptr_t n = xp_fmt_addr(buf, room, kind, address);
    check(n <= room);
    // The fixed kinds write a prefix of their whole text (kind 2 counts 23
    // and writes up to 25).
    char whole[48];
    xp_fmt_addr(whole, sizeof whole, kind, address);
    size_t written = kind == 2 ? std::min<size_t>(static_cast<size_t>(room), 25) : size_t(n);
    if (kind >= 0 && n >= 0) check(memcmp(buf, whole, written) == 0);
    if (kind >= 0 && room >= 25 && n > 0) {
      unsigned char back[16];
      // Kind 2 is read back with the writer's count and its whole text.
      check(xp_fmt_getaddr(back, 16, buf, n) == kind);
      check(memcmp(back, address, kind == 0 ? 3 : kind == 1 ? 4 : 10) == 0);
    }
    free(buf);
  }
  ipv6_against_the_c_library(address);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size < 1) return 0;
  intptr_t room = data[0] % 33;
  read_text(data + 1, size - 1, room % 17);
  render(data + 1, size - 1, room + 8);
  return 0;
}
