// Strings under arbitrary input: UTF-16 conversion (every encoder against
// a unit-by-unit reference, and back through xp_str_wget), pattern search
// against the position-by-position definition, the truncating accessors
// into buffers of exactly the size they are given, and replacement.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "fuzz/fuzz_util.h"
#include "xp/str/xp_str_internal.h"

namespace {

using fuzz::check;

std::string reference_utf8(const std::vector<uint16_t> &units) {
  std::string r;
  for (uint16_t u : units) {
    if (u < 0x80) {
      r += static_cast<char>(u);
    } else if (u < 0x800) {
      r += static_cast<char>(0xC0 | u >> 6);
      r += static_cast<char>(0x80 | (u & 0x3F));
    } else {
      r += static_cast<char>(0xE0 | u >> 12);
      r += static_cast<char>(0x80 | (u >> 6 & 0x3F));
      r += static_cast<char>(0x80 | (u & 0x3F));
    }
  }
  return r;
}

void wide(const uint8_t *data, size_t size) {
  size_t n = size / 2;
  std::vector<uint16_t> host(n);
  if (n) std::memcpy(host.data(), data, 2 * n);
  // The units as the library must read them: big-endian unless marked.
  std::vector<uint16_t> units;
  size_t from = 0;
  bool swap = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;
  if (n && (host[0] == 0xFEFF || host[0] == 0xFFFE)) {
    swap = host[0] == 0xFFFE;
    from = 1;
  }
  for (size_t i = from; i < n; i++)
    units.push_back(swap ? static_cast<uint16_t>(host[i] << 8 | host[i] >> 8) : host[i]);
  std::string expect = reference_utf8(units);

  xp_str *s = xp_str_wmake(host.data(), static_cast<intptr_t>(n));
  if (!s) return;
  check(std::string(xp_str_getptr(s), static_cast<size_t>(xp_str_length(s))) == expect);
  check(xp_str_getptr(s)[xp_str_length(s)] == 0);
  // Every kernel this processor runs, into a block of exactly the size.
  size_t count;
  const xps::WideKernel *const *kernels = xps::wide_kernels(&count);
  auto *p = reinterpret_cast<const unsigned char *>(host.data() + from);
  for (size_t k = 0; k < count; k++) {
    check(kernels[k]->size(p, n - from, swap) == expect.size());
    std::vector<char> out(expect.size());
    kernels[k]->encode(p, n - from, swap, out.data(), out.size());
    check(std::string(out.begin(), out.end()) == expect);
  }
  // Every unit comes back, big-endian.
  std::vector<uint16_t> back(units.size());
  intptr_t got = xp_str_wget(s, back.data(), static_cast<intptr_t>(back.size()));
  check(got == static_cast<intptr_t>(units.size()));
  for (size_t i = 0; i < units.size(); i++) {
    auto *b = reinterpret_cast<const unsigned char *>(&back[i]);
    check((b[0] << 8 | b[1]) == units[i]);
  }
  xp_str_release(s);
}

void search(const uint8_t *data, size_t size) {
  if (size < 2) return;
  size_t m = data[0] % 16;
  intptr_t start = static_cast<intptr_t>(data[1] % 64) - 2;
  data += 2, size -= 2;
  if (m > size) m = size;
  std::string pattern(reinterpret_cast<const char *>(data), m);
  pattern = pattern.c_str();  // a pattern ends at its zero byte
  std::string text(reinterpret_cast<const char *>(data + m), size - m);
  intptr_t len = static_cast<intptr_t>(text.size());
  intptr_t pm = static_cast<intptr_t>(pattern.size());
  for (int cs = 0; cs < 2; cs++) {
    intptr_t expect = -1;
    if (pm > 0 && start >= 0 && start < len) {
      for (intptr_t i = start; i + pm <= len; i++) {
        bool same = true;
        for (intptr_t k = 0; k < pm && same; k++) {
          auto a = static_cast<unsigned char>(text[static_cast<size_t>(i + k)]);
          auto b = static_cast<unsigned char>(pattern[static_cast<size_t>(k)]);
          same = cs ? a == b : xps::lower(a) == xps::lower(b);
        }
        if (same) {
          expect = i;
          break;
        }
      }
    }
    check(xp_str_txtfind(text.data(), len, pattern.c_str(), cs, start) == expect);
  }
}

void access(const uint8_t *data, size_t size) {
  xp_str *s = xp_str_make(reinterpret_cast<const char *>(data), static_cast<intptr_t>(size));
  if (!s) return;
  // Buffers of exactly the size given (new[] gives a distinct, unusable
  // pointer for size 0, unlike an empty vector's null).
  for (intptr_t room = 0; room <= static_cast<intptr_t>(size) + 1; room++) {
    auto n = static_cast<size_t>(room);
    std::unique_ptr<char[]> buf(new char[n]);
    intptr_t g = xp_str_get(s, buf.get(), room);
    check(g >= 0 && g <= room);
    check(g == 0 || std::memcmp(buf.get(), data, static_cast<size_t>(g)) == 0);
    if (room > 0) {
      intptr_t c = xp_str_cget(s, buf.get(), room);
      check(c < room && buf[static_cast<size_t>(c)] == 0);
      std::unique_ptr<unsigned char[]> p(new unsigned char[n]);
      check(xp_str_pget(s, p.get(), room) == c && p[0] == static_cast<unsigned char>(c));
    }
    std::unique_ptr<uint16_t[]> w(new uint16_t[n]);
    check(xp_str_wget(s, w.get(), room) <= room);
  }
  xp_str *t = xp_str_trim(s);
  check(!t || xp_str_length(t) > 0);
  xp_release(t);
  xp_str_release(s);
}

void replace(const uint8_t *data, size_t size) {
  if (size < 3) return;
  size_t m = data[0] % 3 + 1u;
  std::string pattern(reinterpret_cast<const char *>(data + 1), m < size - 1 ? m : size - 1);
  pattern = pattern.c_str();
  std::string text(reinterpret_cast<const char *>(data + 1), size - 1);
  std::string rep = "<>";
  std::string expect;
  size_t from = 0;
  if (!pattern.empty()) {
    for (size_t at = text.find(pattern); at != std::string::npos;
         at = text.find(pattern, at + pattern.size())) {
      expect += text.substr(from, at - from) + rep;
      from = at + pattern.size();
    }
  }
  expect += text.substr(from);
  xp_str *s = xp_str_make(text.data(), static_cast<intptr_t>(text.size()));
  xp_str *r = xp_str_replace(s, pattern.c_str(), 1, rep.c_str(), -1);
  check(std::string(xp_str_getptr(r), static_cast<size_t>(xp_str_length(r))) == expect);
  xp_release(r);
  xp_release(s);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size < 1) return 0;
  switch (data[0] % 4) {
    case 0:
      wide(data + 1, size - 1);
      break;
    case 1:
      search(data + 1, size - 1);
      break;
    case 2:
      access(data + 1, size - 1);
      break;
    default:
      replace(data + 1, size - 1);
      break;
  }
  return 0;
}
