// Floating-point conversion: the decimal digit string of a double, fixed
// and exponent notation with half-up rounding on that string, and the
// engine's floating directives (NaN, infinity and the %g choice).
#include <math.h>
#include <string.h>

#include "xp/fmt/xp_fmt_internal.h"

namespace {

// Integer and fraction parts of a non-negative finite q, as modf gives
// them, without a library call for the common magnitudes.
inline double split(double q, double *ip) {
  if (q >= 4503599627370496.0) {  // 2^52 and above: already integral
    *ip = q;
    return 0.0;
  }
  double i = (double)(int64_t)q;
  *ip = i;
  return q - i;
}

// A fraction of a value of 1 or more in units of 2^-52.
constexpr double kUnit = 4503599627370496.0;  // 2^52
constexpr uint64_t kUnitMask = (uint64_t{1} << 52) - 1;

// Integer parts below this have their digits written exactly (see start).
constexpr double kExactInteger = 1099511627776.0;  // 2^40

// The digit string, produced lazily: the integer part at once, fraction
// digits as they are asked for. d[0] is a spare slot for a rounding carry
// out of the first digit; the digits proper are d[1..80], and d[81..82]
// read as zeros.
struct Digits {
  char d[XPF_NDIGITS + 3];
  int n = 0;       // digits produced so far
  double f = 0.0;  // fraction still to be turned into digits
  int e = 0;
  // With an integer part of 1 or more the fraction is a whole number of
  // 2^-52 units, and `units` holds it as such (see need).
  bool fixed = false;
  uint64_t units = 0;

  // Returns the exponent E, or XPF_DIGITS_HUGE.
  int start(double value) {
    double v = fabs(value);
    double ip;
    f = split(v, &ip);
    d[0] = '0';
    d[XPF_NDIGITS + 1] = '0';
    d[XPF_NDIGITS + 2] = '0';
    if (ip != 0.0 && ip < kExactInteger) {
      // Below 2^40 a division by ten in the loop that follows is off by at
      // most 2^-17, far inside its nudge, so that loop gives the integer's
      // own digits: write them with integer arithmetic, two at a time.
      char tmp[24];
      char *first = xpf::decimal_digits(tmp + sizeof tmp, (uint64_t)ip);
      n = e = (int)(tmp + sizeof tmp - first);
      xpf::copy_short(d + 1, first, (size_t)n);
      fixed = true;
      units = (uint64_t)(f * kUnit);
    } else if (ip != 0.0) {
      char tmp[XPF_NDIGITS];
      int k = XPF_NDIGITS;
      while (ip != 0.0) {
        if (k == 0) return e = XPF_DIGITS_HUGE;
        double qi;
        double qf = split(ip / 10.0, &qi);
        // The small nudge keeps representation error from losing a digit.
        int digit = (int)((qf + 0.03) * 10.0);
        if (digit > 9) digit = 9;
        tmp[--k] = (char)('0' + digit);
        ip = qi;
        e++;
      }
      n = XPF_NDIGITS - k;
      memcpy(d + 1, tmp + k, (size_t)n);
    } else if (f != 0.0) {
      int k = 0;
      double prev;
      do {
        prev = f;
        f *= 10.0;
        k++;
      } while (f < 1.0);
      e = 2 - k;
      d[1] = '0';  // guard digit in the integer position
      n = 1;
      f = prev;
    } else {
      e = 0;
    }
    return e;
  }

  // Makes sure that the first `count` digits exist (count up to 80).
  void need(int count) {
    if (count > XPF_NDIGITS) count = XPF_NDIGITS;
    // The same steps in integers: f * 10.0 is the exact product 10 * units
    // rounded to 53 significant bits, to nearest with ties to even, as the
    // processor rounds it; its integer part is the digit and taking that
    // off is exact. Shorter to wait for than the conversions to and from
    // floating point.
    if (fixed) {
      while (n < count) {
        uint64_t p = units * 10;  // below 10 * 2^52
        if (p >> 53) {
          int s = 11 - __builtin_clzll(p);  // 1 to 3 bits beyond 53
          uint64_t q = p >> s, rest = p & ((uint64_t{1} << s) - 1), half = uint64_t{1} << (s - 1);
          q += rest > half || (rest == half && (q & 1));
          p = q << s;
        }
        d[++n] = (char)('0' + (p >> 52));
        units = p & (kUnitMask);
      }
      return;
    }
    while (n < count) {
      f *= 10.0;
      int digit = (int)f;
      f -= digit;
      d[++n] = (char)('0' + digit);
    }
  }

  // Rounds half-up at digit r (1-based): digits before it absorb the
  // carry. Returns true when the carry ran out of digit `first`, which then
  // becomes the "1" in slot first - 1.
  bool round_at(int r, int first) {
    if (r < first || r > XPF_NDIGITS) return false;
    if (d[r] < '5') return false;
    int i = r - 1;
    while (i >= first && d[i] == '9')
      d[i--] = '0';
    if (i >= first) {
      d[i]++;
      return false;
    }
    d[first - 1] = '1';
    return true;
  }
};

struct Out {
  char text[256];
  size_t len = 0;
  void put(char c) { text[len++] = c; }
  void put(const char *s, size_t n) {
    memcpy(text + len, s, n);
    len += n;
  }
  size_t emit(char *buf, size_t room) const {
    size_t n = len < room ? len : room;
    memcpy(buf, text, n);
    return n;
  }
};

// The sign text before a number: minus, plus or blank.
size_t sign_of(double value, uint32_t flags, char *sign) {
  if (value < 0) return xpf::locale_text(xpf::Text::minus, sign);
  if (flags & XPF_PLUS) return xpf::locale_text(xpf::Text::plus, sign);
  if (flags & XPF_SPACE) {
    sign[0] = ' ';
    return 1;
  }
  return 0;
}

size_t special(char *buf, size_t room, double value, uint32_t flags) {
  bool upper = flags & XPF_UPPER;
  Out o;
  size_t measure;
  if (isnan(value)) {
    o.put(upper ? "NAN" : "nan", 3);
    measure = 3;
  } else {
    char sign[16];
    size_t sl = sign_of(value, flags, sign);
    o.put(sign, sl);
    o.put(upper ? "INF" : "inf", 3);
    measure = sl + 3;
  }
  return buf ? o.emit(buf, room) : measure;
}

// Digits of |x| in decimal, at least `min` of them, written at p.
size_t exponent_digits(char *p, unsigned x, size_t min) {
  char tmp[12];
  size_t n = 0;
  do {
    tmp[n++] = (char)('0' + x % 10);
    x /= 10;
  } while (x);
  while (n < min)
    tmp[n++] = '0';
  for (size_t i = 0; i < n; i++)
    p[i] = tmp[n - 1 - i];
  return n;
}

// Decimal exponent of a positive finite value, as %g counts it.
int exponent10(double v) {
  double ip;
  double f = modf(v, &ip);
  int e = 0;
  if (ip != 0.0) {
    e = -1;
    while (ip != 0.0) {
      ip = trunc(ip / 10.0);
      e++;
    }
  } else {
    while (f < 1.0) {
      f *= 10.0;
      e--;
    }
  }
  return e;
}

}  // namespace

int xpf_digitize(char *digits, double value) {
  Digits d;
  int e = d.start(value);
  if (e == XPF_DIGITS_HUGE) return e;
  d.need(XPF_NDIGITS);
  memcpy(digits, d.d + 1, XPF_NDIGITS);
  return e;
}

size_t xpf_fcvt(uint32_t flags, size_t precision, char *buf, size_t room, double value) {
  if (!isfinite(value)) return special(buf, room, value, flags);
  Digits d;
  int e = d.start(value);
  if (e == XPF_DIGITS_HUGE) return 0;
  char sign[16];
  size_t sl = sign_of(value, flags, sign);
  size_t f = precision;
  if ((flags & XPF_GSTYLE) && value == 0) f = 0;
  size_t maxf = (size_t)(XPF_NDIGITS - (e > 0 ? e : 0));
  if (f > maxf) f = maxf;
  int r = e + (int)f + 1;  // the first digit not kept
  d.need(r);
  bool carry = d.round_at(r, 1);
  char dec[16];
  size_t dl = xpf::locale_text(xpf::Text::decimal, dec);
  if (!buf) return sl + (size_t)(e > 0 ? e : 1 - e) + f + ((flags & XPF_ALT) || f ? dl : 0) + carry;

  const char *s = carry ? d.d : d.d + 1;
  int ee = carry ? e + 1 : e;
  // Fraction digit j (from 1) is digit ee + j of the string, or a leading
  // zero where that index is below 1.
  size_t zeros = ee >= 0 ? 0 : (size_t) - (long)ee < f ? (size_t) - (long)ee : f;
  size_t fl = f;
  if (flags & XPF_GSTYLE) {
    while (fl > zeros && s[ee + (long)fl - 1] == '0')
      fl--;
    if (fl == zeros) fl = 0;
  }
  size_t il = ee >= 1 ? (size_t)ee : 1;
  bool point = (flags & XPF_ALT) || fl;
  size_t len = sl + il + (point ? dl + fl : 0);
  // Laid out in place when it all fits, else in a scratch text and cut.
  char text[256];
  char *o = len <= room ? buf : text;
  char *q = o;
  xpf::copy_upto16(q, sign, sl);
  q += sl;
  if (ee >= 1)
    xpf::copy_short(q, s, il);
  else
    *q = '0';
  q += il;
  if (point) {
    xpf::copy_upto16(q, dec, dl);
    q += dl;
    size_t z = zeros < fl ? zeros : fl;
    memset(q, '0', z);
    xpf::copy_short(q + z, s + (ee > 0 ? ee : 0), fl - z);
  }
  if (o == buf) return len;
  memcpy(buf, text, room);
  return room;
}

size_t xpf_ecvt(uint32_t flags, size_t precision, char *buf, size_t room, double value) {
  if (!isfinite(value)) return special(buf, room, value, flags);
  Digits d;
  int e = d.start(value);
  if (e == XPF_DIGITS_HUGE) return 0;
  if (buf && room == 0) return 0;
  char sign[16];
  size_t sl = sign_of(value, flags, sign);
  int x = value == 0 ? 0 : e - 1;
  int first = 1;
  if (value != 0) {
    d.need(1);
    if (d.d[1] == '0') {  // skip the guard digit
      first = 2;
      x--;
    }
  }
  char dec[16];
  size_t dl = xpf::locale_text(xpf::Text::decimal, dec);
  char xsign[16];
  size_t xl = xpf::locale_text(x < 0 ? xpf::Text::minus : xpf::Text::plus, xsign);
  if (!buf) {
    unsigned ax = (unsigned)(x < 0 ? -x : x);
    size_t xd = 1;
    for (unsigned t = ax; t >= 10; t /= 10)
      xd++;
    return sl + 1 + ((flags & XPF_ALT) || precision ? precision + dl : 0) + 1 + xl +
           (xd < 2 ? 2 : xd);
  }
  size_t p = precision < 79 ? precision : 79;
  int r = first + (int)p + 1;
  d.need(r);
  if (d.round_at(r, first)) {
    first--;
    x++;
    xl = xpf::locale_text(x < 0 ? xpf::Text::minus : xpf::Text::plus, xsign);
  }
  Out o;
  o.put(sign, sl);
  o.put(d.d[first]);
  size_t fl = p;
  const char *frac = d.d + first + 1;
  if (flags & XPF_GSTYLE)
    while (fl && frac[fl - 1] == '0')
      fl--;
  if ((flags & XPF_ALT) || fl) {
    o.put(dec, dl);
    o.put(frac, fl);
  }
  o.put((flags & XPF_UPPER) ? 'E' : 'e');
  o.put(xsign, xl);
  o.len += exponent_digits(o.text + o.len, (unsigned)(x < 0 ? -x : x), 2);
  return o.emit(buf, room);
}

namespace xpf {

size_t float_text(char *buf, size_t room, double value, char conv, uint32_t flags,
                  size_t precision) {
  if (!isfinite(value)) return special(buf, room, value, flags);
  switch (conv) {
    case 'f':
    case 'F':
      return xpf_fcvt(flags, precision, buf, room, value);
    case 'e':
    case 'E':
      return xpf_ecvt(flags, precision, buf, room, value);
    default:
      break;
  }
  size_t p = precision ? precision : 1;
  long x = 0;
  if (value != 0) {
    double v = fabs(value);
    int e = exponent10(v);
    double half = 5.0;
    if ((long)e < (long)p) {
      for (size_t i = (size_t)((long)p - e); i && half != 0.0; i--)
        half /= 10.0;
    } else {
      for (long i = e - (long)p; i && !isinf(half); i--)
        half *= 10.0;
    }
    double vr = v + half;
    x = isinf(vr) ? e : exponent10(vr);
  }
  if (-5 < x && x < (long)p)
    return xpf_fcvt(flags | XPF_GSTYLE, (size_t)((long)p - 1 - x), buf, room, value);
  return xpf_ecvt(flags | XPF_GSTYLE, p < 2 ? 0 : p - 1, buf, room, value);
}

}  // namespace xpf
