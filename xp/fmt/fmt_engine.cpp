// The format engine: the main loop over a format, the directive parser
// (positions, flags, widths, precisions, length modifiers, conversion and
// brace suffix), argument fetching, and the dispatch of each directive to
// its writer.
#include <stdarg.h>
#include <string.h>

#include "xp/fmt/xp_fmt_internal.h"

namespace {

constexpr size_t kDefaultLimit = 0x7FFFFFFE;
constexpr int kPointerClass = 0x1000;
constexpr int kIntegerClass = 0x2000;
constexpr int kFloatClass = 0x3000;

// The most negative 64-bit value, minus sign U+2212; 20 of its 22 bytes
// are written (the sign and 17 digits).
const char kMostNegative[] =
    "\xE2\x88\x92"
    "9223372036854775808";

// The argument list being taken. A position restarts it from the caller's
// list, which the engine itself never advances.
struct Args {
  va_list *ap;
};

struct Field {
  uint32_t flags = 0;
  size_t width = 0;
  size_t precision = 6;
  size_t limit = kDefaultLimit;
  intptr_t count = -1;
  int conv = 0;
  const char *pattern = nullptr;
  size_t patlen = 0;
};

inline bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

// Decimal digits at p, saturating below the default limit.
size_t read_number(const char *&p) {
  size_t n = 0;
  while (is_digit(*p)) {
    n = n * 10 + (size_t)(*p++ - '0');
    if (n > kDefaultLimit) n = kDefaultLimit;
  }
  return n;
}

// A position (digits and '$') at p: its number, p moved past it. Without
// '$' the digits are not a position and p stays (they are flags and width).
size_t position(const char *&p) {
  if (!is_digit(*p)) return 0;
  const char *q = p;
  size_t n = read_number(q);
  if (*q != '$') return 0;
  p = q + 1;
  return n;
}

// Parses one directive after its '%' and position. Returns false when the
// format ends before the conversion character.
bool parse(const char *&p, Args &a, Field &s) {
  for (;; p++) {
    switch (*p) {
      case ' ':
        s.flags |= XPF_SPACE;
        continue;
      case '#':
        s.flags |= XPF_ALT;
        continue;
      case '\'':
        s.flags |= XPF_GROUP;
        continue;
      case '+':
        s.flags |= XPF_PLUS;
        continue;
      case ',':
        s.flags |= XPF_MONEY;
        continue;
      case '-':
        s.flags |= XPF_LEFT;
        continue;
      case '0':
        s.flags |= XPF_ZERO;
        continue;
      default:
        break;
    }
    break;
  }
  bool star_width = false;
  if (*p == '*') {
    p++;
    int v = va_arg(*a.ap, int);
    // A negative width left-justifies, as it does in C.
    if (v < 0) {
      s.flags |= XPF_LEFT;
      s.width = (size_t) - (int64_t)v;
    } else {
      s.width = (size_t)v;
    }
    s.count = (intptr_t)s.width;
    star_width = true;
  } else {
    s.width = read_number(p);
  }
  if (s.flags & XPF_LEFT) s.flags &= ~XPF_ZERO;
  if (s.flags & XPF_PLUS) s.flags &= ~XPF_SPACE;
  if (*p == '.') {
    p++;
    if (*p == '*') {
      p++;
      int v = va_arg(*a.ap, int);
      // A negative precision counts as none.
      if (v >= 0) {
        s.precision = s.limit = (size_t)v;
        s.count = star_width && s.count < v ? s.count : v;
      }
    } else {
      s.precision = s.limit = read_number(p);
    }
  }
  if (p[0] == 'I' && p[1] == '6' && p[2] == '4') {
    s.flags |= XPF_LONGLONG;
    p += 3;
  } else if (*p == 't') {
    s.flags |= XPF_PTRDIFF;
    p++;
  } else if (p[0] == 'l' && p[1] == 'l') {
    s.flags |= XPF_LONG | XPF_LONGLONG;
    p += 2;
  } else if (*p == 'l') {
    s.flags |= XPF_LONG;
    p++;
  }
  if (!*p) return false;
  s.conv = (unsigned char)*p++;

  // Brace suffix: {:options[:pattern]}, {L} or {L:options[:pattern]}.
  if (*p != '{') return true;
  const char *b = p + 1;
  int letter = 0;
  if (*b == ':') {
    b++;
  } else if (*b && (b[1] == '}' || b[1] == ':')) {
    letter = (unsigned char)*b;
    b += 2;
    if (b[-1] == '}') goto done;
  } else {
    return true;  // not a suffix: stays in the format as text
  }
  while (*b && *b != ':' && *b != '}') {
    if (*b == '\'') {
      s.flags |= !(s.flags & XPF_QUOTE1)   ? XPF_QUOTE1
                 : !(s.flags & XPF_QUOTE2) ? XPF_QUOTE2
                                           : XPF_QUOTE3;
    } else if (*b == '$') {
      s.flags |= XPF_MONEY;
    } else if (*b == '`') {
      s.flags |= XPF_BACKTICK;
    }
    b++;
  }
  if (*b == ':') {
    s.pattern = ++b;
    while (*b && *b != '}')
      b++;
    s.patlen = (size_t)(b - s.pattern);
  }
  if (*b == '}') b++;
done:
  p = b;
  if (letter) {
    switch (s.conv) {
      case 'p':
        s.conv = kPointerClass + letter;
        break;
      case 'd':
      case 'u':
      case 'x':
      case 'X':
        s.conv = kIntegerClass + letter;
        break;
      case 'e':
      case 'f':
      case 'E':
      case 'F':
        s.conv = kFloatClass + letter;
        break;
      default:
        break;  // the letter is ignored
    }
  }
  return true;
}

int64_t signed_arg(Args &a, uint32_t flags) {
  if (flags & XPF_LONGLONG) return (int64_t)va_arg(*a.ap, long long);
  if (flags & XPF_PTRDIFF) return (int64_t)va_arg(*a.ap, ptrdiff_t);
  if (flags & XPF_LONG) return (int64_t)va_arg(*a.ap, long);
  return (int64_t)va_arg(*a.ap, int);
}

uint64_t unsigned_arg(Args &a, uint32_t flags) {
  if (flags & XPF_LONGLONG) return (uint64_t)va_arg(*a.ap, unsigned long long);
  if (flags & XPF_PTRDIFF) return (uint64_t)(size_t)va_arg(*a.ap, ptrdiff_t);
  if (flags & XPF_LONG) return (uint64_t)va_arg(*a.ap, unsigned long);
  return (uint64_t)va_arg(*a.ap, unsigned int);
}

size_t put_byte(char *out, char c) {
  if (out) *out = c;
  return 1;
}

// Floating point, padded with blanks to the width by moving the number.
size_t floating(char *out, size_t room, const Field &s, double v) {
  uint32_t flags = s.flags & ~XPF_ZERO;
  char conv = (char)s.conv;
  if (conv == 'E' || conv == 'F' || conv == 'G') flags |= XPF_UPPER;
  if (conv == 'g' || conv == 'G') flags |= XPF_GSTYLE;
  size_t n = xpf::float_text(out, room, v, conv, flags, s.precision);
  size_t w = s.width;
  if (w <= n) return n;
  if (!out) return w;
  size_t field = w < room ? w : room;
  if (flags & XPF_LEFT) {
    memset(out + n, ' ', field - n);
  } else {
    size_t pad = w - n < field ? w - n : field;
    memmove(out + pad, out, field - pad);
    memset(out, ' ', pad);
  }
  return field;
}

size_t signed_decimal(char *out, size_t lim, const Field &s, int64_t v) {
  if (v >= 0) return xpf_base(out, lim, (uint64_t)v, 10, xpf_lower_digits, s.flags, s.width);
  if (v == INT64_MIN) return xpf_str(out, lim, kMostNegative, 20, s.flags, s.width);
  // The sign stands before any padding of the magnitude.
  if (!out) return 1 + xpf_base(nullptr, lim, (uint64_t)-v, 10, xpf_lower_digits, s.flags, s.width);
  if (lim == 0) return 0;
  *out = '-';
  return 1 + xpf_base(out + 1, lim - 1, (uint64_t)-v, 10, xpf_lower_digits, s.flags, s.width);
}

size_t object(char *out, size_t lim, const Field &s, void *obj) {
  if (!obj) return 0;
  size_t n = s.width && s.width < lim ? s.width : lim;
  if (!(s.flags & (XPF_QUOTE1 | XPF_QUOTE2 | XPF_QUOTE3 | XPF_BACKTICK))) {
    xp_word r = xp_textify(obj, (xp_word)out, (xp_word)n, (xp_word)s.flags);
    if (r <= 0) return 0;
    return (size_t)r < n ? (size_t)r : n;
  }
  xp_word m = xp_textify(obj, 0, 0, (xp_word)s.flags);
  if (m < 0) m = 0;
  char *block = (char *)xp_alloc((size_t)m + 2);
  if (!block) return 0;
  xp_word r = xp_textify(obj, (xp_word)block, m + 1, (xp_word)s.flags);
  if (r < 0) r = 0;
  if (r > m) r = m;
  size_t res = xpf_str(out, lim, block, r, s.flags, s.width);
  xp_free(block);
  return res;
}

size_t hexdump(char *out, size_t lim, const Field &s, const void *data, intptr_t count,
               bool upper) {
  if (!data || count < 1) return 0;
  return xpf_hexify(out, lim, data, count, (s.flags & XPF_SPACE) ? ' ' : 0,
                    upper ? xpf_upper_digits : xpf_lower_digits);
}

size_t time_directive(char *out, size_t lim, const Field &s, int conv, Args &a) {
  uint32_t flags = s.flags;
  if (conv != 'Z') flags &= ~XPF_PTRDIFF;
  uint64_t v = unsigned_arg(a, flags);
  return xpf::time_text(out, lim, conv, s.flags, v, s.pattern, s.pattern ? s.patlen : 0);
}

// Produces one directive. `room` is what is left of the buffer (ignored
// when measuring). Directives other than floating point and single bytes
// also keep within their bound (the output limit, or the field of a hex
// dump or object), which *bound is set to; a writer that measures does not
// know it, so the caller applies it.
size_t produce(char *out, size_t room, Field &s, Args &a, size_t *bound) {
  size_t lim = out && room < s.limit ? room : s.limit;
  *bound = s.limit;
  const uint32_t flags = s.flags;
  switch (s.conv) {
    case '%':
      return *bound = SIZE_MAX, put_byte(out, '%');
    case 'd':
    case 'i':
      return signed_decimal(out, lim, s, signed_arg(a, flags));
    case 'u':
      return xpf_base(out, lim, unsigned_arg(a, flags), 10, xpf_lower_digits, flags, s.width);
    case 'o':
      return xpf_base(out, lim, unsigned_arg(a, flags), 8, xpf_lower_digits, flags, s.width);
    case 'x':
      return xpf_base(out, lim, unsigned_arg(a, flags), 16, xpf_lower_digits, flags, s.width);
    case 'X':
      return xpf_base(out, lim, unsigned_arg(a, flags), 16, xpf_upper_digits, flags, s.width);
    case 'p':
      return xpf_base(out, lim, (uintptr_t)va_arg(*a.ap, void *), 16, xpf_lower_digits,
                      flags | XPF_ALT, s.width);
    case 'c': {
      int v = va_arg(*a.ap, int);
      if (!(flags & XPF_LONG)) return *bound = SIZE_MAX, put_byte(out, (char)v);
      unsigned u = (unsigned)v & 0xFFFF;
      char t[3];
      size_t n;
      if (u < 0x80) {
        t[0] = (char)u;
        n = 1;
      } else if (u < 0x800) {
        t[0] = (char)(0xC0 | (u >> 6));
        t[1] = (char)(0x80 | (u & 0x3F));
        n = 2;
      } else {
        t[0] = (char)(0xE0 | (u >> 12));
        t[1] = (char)(0x80 | ((u >> 6) & 0x3F));
        t[2] = (char)(0x80 | (u & 0x3F));
        n = 3;
      }
      return xpf_str(out, lim, t, (intptr_t)n, flags, s.width);
    }
    case 'e':
    case 'f':
    case 'g':
    case 'E':
    case 'F':
    case 'G':
      return *bound = SIZE_MAX, floating(out, room, s, va_arg(*a.ap, double));
    case 'a':
    case 'A':
      (void)va_arg(*a.ap, double);
      return *bound = SIZE_MAX, put_byte(out, (char)s.conv);
    case 's':
    case kPointerClass + 's': {
      const char *t = va_arg(*a.ap, const char *);
      if (!t) return 0;
      // A count from '*' or '.*' is the length: exactly that many bytes
      // are taken, zero bytes among them; the caller vouches for them. A
      // 16-bit text still ends at a zero unit within its count.
      intptr_t len = s.count;
      if (flags & XPF_LONG) {
        const auto *w = (const uint16_t *)t;
        if (len >= 0) {
          intptr_t n = 0;
          while (n < len && w[n])
            n++;
          len = n;
        }
        return (size_t)xpf_wstr(out, (intptr_t)lim, w, len, flags, s.width);
      }
      return xpf_str(out, lim, t, len, flags, s.width);
    }
    case 'S':
    case kPointerClass + 'S': {
      size_t n = va_arg(*a.ap, size_t);
      const char *t = va_arg(*a.ap, const char *);
      if (!t) return 0;
      if (flags & XPF_LONG)
        return (size_t)xpf_wstr(out, (intptr_t)lim, (const uint16_t *)t, (intptr_t)n, flags,
                                s.width);
      return xpf_str(out, lim, t, (intptr_t)n, flags, s.width);
    }
    case 'P':
    case kPointerClass + 'P': {
      const unsigned char *t = va_arg(*a.ap, const unsigned char *);
      if (!t) return 0;
      return xpf_str(out, lim, (const char *)t + 1, t[0], flags, s.width);
    }
    case 'T':
    case kIntegerClass + 'T': {
      int v = va_arg(*a.ap, int);
      if (!v) return 0;
      char t[4];
      memcpy(t, &v, 4);
      return xpf_str(out, lim, t, 4, flags, s.width);
    }
    case 'O':
    case kPointerClass + 'O':
      if (!(s.flags & (XPF_QUOTE1 | XPF_QUOTE2 | XPF_QUOTE3 | XPF_BACKTICK)) && s.width &&
          s.width < s.limit)
        *bound = s.width;
      return object(out, lim, s, va_arg(*a.ap, void *));
    case 'h':
    case 'H': {
      size_t n = va_arg(*a.ap, size_t);
      const void *d = va_arg(*a.ap, const void *);
      size_t hl = s.width && s.width < lim ? s.width : lim;
      *bound = hl;
      return hexdump(out, hl, s, d, (intptr_t)n, s.conv == 'H');
    }
    case kPointerClass + 'h':
    case kPointerClass + 'H': {
      const void *d = va_arg(*a.ap, const void *);
      if (s.count <= 0) return 0;
      // Only the pointer is an argument: the count comes from the '*'
      // width, and the field is two digits per byte.
      s.width = 2 * (size_t)s.count;
      size_t hl = out && room < s.width ? room : s.width;
      *bound = s.width;
      return hexdump(out, hl, s, d, s.count, s.conv == kPointerClass + 'H');
    }
    case kPointerClass + 'U': {
      const void *d = va_arg(*a.ap, const void *);
      if (!d) return 0;
      size_t r = xp_fmt_uuid(out, lim, d, 16);
      return r == (size_t)-1 ? 0 : r;
    }
    case 'D':
    case 'z':
    case 'Z':
      return time_directive(out, lim, s, s.conv, a);
    case kIntegerClass + 'z':
    case kIntegerClass + 'Z':
      return time_directive(out, lim, s, s.conv - kIntegerClass, a);
    default:
      break;
  }
  if (s.conv >= kFloatClass) {
    (void)va_arg(*a.ap, double);
    return *bound = SIZE_MAX, put_byte(out, (char)(s.conv - kFloatClass));
  }
  if (s.conv >= kIntegerClass) {
    (void)unsigned_arg(a, flags);
    return *bound = SIZE_MAX, put_byte(out, (char)(s.conv - kIntegerClass));
  }
  if (s.conv >= kPointerClass) {
    (void)va_arg(*a.ap, void *);
    return *bound = SIZE_MAX, put_byte(out, (char)(s.conv - kPointerClass));
  }
  return *bound = SIZE_MAX, put_byte(out, (char)s.conv);
}

size_t directive(char *out, size_t room, Field &s, Args &a) {
  size_t bound = SIZE_MAX;
  size_t n = produce(out, room, s, a, &bound);
  return n > bound ? bound : n;
}

}  // namespace

namespace {

// The main loop. `ap` is the list taken from; `start` is the caller's list
// at its beginning, only ever copied, for positions.
template <class Start>
size_t engine(char *buf, size_t size, const char *format, va_list &ap, Start start) {
  if (buf && size == 0) return 0;
  if (!format) format = "";
  Args a{&ap};
  const size_t cap = buf ? size - 1 : SIZE_MAX;
  size_t total = 0;
  const char *p = format;
  while (!buf || total < cap) {
    const char *q = p;
    while (*q && *q != '%')
      q++;
    if (q != p) {
      size_t run = (size_t)(q - p);
      if (buf) {
        if (run > cap - total) run = cap - total;
        if (run <= 16) {
          for (size_t i = 0; i < run; i++)
            buf[total + i] = p[i];
        } else {
          memcpy(buf + total, p, run);
        }
      }
      total += run;
      p = q;
      continue;
    }
    if (!*p) break;
    p++;
    // A position of 1 or more restarts the arguments: the n - 1 before the
    // one wanted are skipped, each taken as an integer or pointer.
    if (size_t n = position(p)) {
      va_end(ap);
      va_copy(ap, start);
      for (size_t i = 1; i < n; i++)
        (void)va_arg(*a.ap, intptr_t);
    }
    // The bare directives %d, %i, %u and %s (no flags, width, precision,
    // modifier or braces) go straight to their text; the general path
    // below would give the same bytes. A format that ends at its '%' has no
    // byte after the terminator to look at.
    if (*p && p[1] != '{') {
      const char c = *p;
      if (c == 'd' || c == 'i' || c == 'u') {
        uint64_t v;
        bool minus = false;
        if (c == 'u') {
          v = va_arg(*a.ap, unsigned int);
        } else {
          int i = va_arg(*a.ap, int);
          minus = i < 0;
          v = minus ? 0 - (uint64_t)(int64_t)i : (uint64_t)i;
        }
        char text[24];
        char *end = text + sizeof text;
        char *first = xpf::decimal_digits(end, v);
        if (minus) *--first = '-';
        size_t n = (size_t)(end - first);
        if (buf) {
          if (n > cap - total) n = cap - total;
          xpf::copy_short(buf + total, first, n);
        }
        total += n;
        p++;
        continue;
      }
      if (c == 's') {
        const char *t = va_arg(*a.ap, const char *);
        p++;
        if (!t) continue;
        if (!buf) {
          total += strlen(t);
          continue;
        }
        char *o = buf + total;
        size_t room = cap - total, n = 0;
        while (n < room && t[n]) {
          o[n] = t[n];
          n++;
        }
        total += n;
        continue;
      }
    }
    Field s;
    if (p[0] == '.' && is_digit(p[1]) && p[2] == 'f' && p[3] != '{') {
      // %.Nf: a one-digit precision needs no parsing.
      s.precision = s.limit = (size_t)(p[1] - '0');
      s.conv = 'f';
      p += 3;
    } else if (!parse(p, a, s)) {
      break;
    }
    size_t n = directive(buf ? buf + total : nullptr, cap - total, s, a);
    total += n;
  }
  if (buf) buf[total] = 0;
  return total;
}

}  // namespace

size_t xp_fmt_vformat(char *buf, size_t size, const char *format, va_list args) {
  va_list ap;
  va_copy(ap, args);
  size_t n = engine(buf, size, format, ap, args);
  va_end(ap);
  return n;
}

// The variadic entry points start the list twice rather than copying it:
// one to take arguments from, one to restart from.
size_t xp_fmt_format(char *buf, size_t size, const char *format, ...) {
  va_list ap;
  va_list start;
  va_start(ap, format);
  va_start(start, format);
  size_t n = engine(buf, size, format, ap, start);
  va_end(start);
  va_end(ap);
  return n;
}

size_t xp_fmt_append(char *buf, size_t size, size_t used, const char *format, ...) {
  va_list ap;
  va_list start;
  va_start(ap, format);
  va_start(start, format);
  size_t n;
  if (!buf) {
    n = used + engine(nullptr, 0, format, ap, start);
  } else if (size <= used) {
    n = size ? size - 1 : 0;
  } else {
    n = used + engine(buf + used, size - used, format, ap, start);
  }
  va_end(start);
  va_end(ap);
  return n;
}
