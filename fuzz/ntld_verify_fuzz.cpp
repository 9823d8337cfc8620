// Random bytes as an NTLD tree: each level that verifies is walked with
// every reader, and descended into; the readers must agree with each other
// and never touch a byte outside what verified (ASan checks the latter).
// The same bytes are also written as escaped text in sizing and fixed mode.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "fuzz/fuzz_util.h"
#include "xp/ntld/xp_ntld.h"

namespace {

using fuzz::check;

uint32_t word(const uint8_t *p) {
  uint32_t v;
  std::memcpy(&v, p, 4);
  return v;
}

void walk(const uint8_t *item, size_t available, int depth) {
  uint32_t total = xp_ntld_verify(item, intptr_t(available));
  if (!total || depth > 64) return;
  check(total <= available);
  const uint8_t *end = item + total;
  intptr_t n = xp_ntld_count(item);
  const auto *c = static_cast<const uint8_t *>(xp_ntld_getbyindex(item, 0));
  check(n == 0 ? c == nullptr : c == item + 12);
  uint8_t buf[8];
  for (intptr_t i = 0; i < n; ++i) {
    check(c && c < end);
    check(xp_ntld_getbyindex(item, i) == c);
    uint32_t tag = word(c);
    const auto *named = static_cast<const uint8_t *>(xp_ntld_getbyname(item, tag));
    check(named && named <= c && word(named) == tag);
    intptr_t length = xp_ntld_getbytesbyindex(item, i, nullptr, 0);
    check(length >= 0 && c + 12 + length <= end);
    intptr_t copied = xp_ntld_getbytesbyindex(item, i, buf, sizeof buf);
    check(copied == (length < intptr_t(sizeof buf) ? length : intptr_t(sizeof buf)));
    check(copied == 0 || std::memcmp(buf, c + 12, size_t(copied)) == 0);
    xp_ntld_getbytesbyname(item, tag, buf, sizeof buf);
    xp_ntld_gettagbyindex(item, i);
    xp_ntld_getlongbyindex(item, i);
    xp_ntld_gettagbyname(item, tag);
    xp_ntld_getlongbyname(item, tag);
    walk(c, size_t(end - c), depth + 1);
    c = static_cast<const uint8_t *>(xp_ntld_next(c));
  }
  check(xp_ntld_getbyindex(item, n) == nullptr);
  check(static_cast<const uint8_t *>(xp_ntld_next(item)) >= end);
}

void escaped(const uint8_t *data, size_t size) {
  xp_ntld *sizing = xp_ntld_new(nullptr, 0);
  uint32_t total = xp_ntld_escapedtext(sizing, 1, intptr_t(size), data);
  xp_release(sizing);
  if (!total) return;
  // A buffer of exactly the measured size: any overrun is caught.
  std::vector<uint8_t> out(total);
  xp_ntld *fixed = xp_ntld_new(out.data(), total);
  check(xp_ntld_escapedtext(fixed, 1, intptr_t(size), data) == total);
  uint32_t checked = xp_ntld_length(fixed);
  xp_release(fixed);
  uint32_t length =
      uint32_t(out[8]) << 24 | uint32_t(out[9]) << 16 | uint32_t(out[10]) << 8 | out[11];
  check(length <= size && 12 + ((length + 3) & ~3u) == total && checked == 12 + length);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  walk(data, size, 0);
  escaped(data, size);
  return 0;
}
