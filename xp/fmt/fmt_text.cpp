// Text writers: the padded, escaping byte-text writer behind every
// text-like directive, the 16-bit text writer, and the bounded
// whole-character text copy.
#include <string.h>

#include "xp/fmt/xp_fmt_internal.h"

namespace {

enum Scheme { kPlain, kPercent, kBacktick, kQuote3, kQuote2, kQuote1 };

Scheme scheme_of(uint32_t flags) {
  if (!(flags & (XPF_PLUS | XPF_BACKTICK | XPF_QUOTE3 | XPF_QUOTE2 | XPF_QUOTE1))) return kPlain;
  if (flags & XPF_PLUS) return kPercent;
  if (flags & XPF_BACKTICK) return kBacktick;
  if (flags & XPF_QUOTE3) return kQuote3;
  if (flags & XPF_QUOTE2) return kQuote2;
  return kQuote1;
}

bool unreserved(unsigned char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
         c == '.' || c == '_' || c == '~';
}

// Bytes that escaping adds. The backquote scheme replaces one for one but
// still reckons one extra byte per apostrophe and control byte, so that a
// right-justified field comes out that much narrower.
size_t extra_of(Scheme s, const unsigned char *t, size_t len) {
  size_t extra = 0;
  for (size_t i = 0; i < len; i++) {
    unsigned char c = t[i];
    switch (s) {
      case kPercent:
        extra += unreserved(c) ? 0 : 2;
        break;
      case kBacktick:
        extra += (c == '\'' || (c < 0x20 && c != '\t')) ? 1 : 0;
        break;
      case kQuote3:
        extra += (c == '"' || c == '\\') ? 1 : 0;
        break;
      case kQuote2:
        extra += (c == '\'') ? 1 : 0;
        break;
      case kQuote1:
        extra += (c == '\'' || c == '\\') ? 1 : 0;
        break;
      case kPlain:
        break;
    }
  }
  return extra;
}

}  // namespace

size_t xpf_str(char *buf, size_t room, const char *text, intptr_t len, uint32_t flags,
               size_t width) {
  if (!text) {
    text = "";
    len = 0;
  } else if (len < 0) {
    // A plain text without a field is copied as it is measured.
    if (buf && !width &&
        !(flags & (XPF_PLUS | XPF_BACKTICK | XPF_QUOTE3 | XPF_QUOTE2 | XPF_QUOTE1))) {
      size_t n = 0;
      while (n < room && text[n]) {
        buf[n] = text[n];
        n++;
      }
      return n;
    }
    len = (intptr_t)strlen(text);
  }
  if (!buf) room = 0xFFFFFFFFu;
  const auto *t = (const unsigned char *)text;
  size_t n = (size_t)len;
  Scheme s = scheme_of(flags);
  size_t extra = s == kPlain ? 0 : extra_of(s, t, n);
  size_t out = 0;
  char fill = (flags & XPF_ZERO) ? '0' : ' ';

  if (!(flags & XPF_LEFT) && n + extra < width) {
    size_t pad = width - (n + extra);
    if (pad > room) pad = room;
    if (buf) memset(buf, fill, pad);
    out = pad;
  }

  if (s == kPlain) {
    size_t take = room - out < n ? room - out : n;
    if (buf) {
      // Short texts are the rule: a plain loop beats a call.
      if (take <= 16) {
        for (size_t i = 0; i < take; i++)
          buf[out + i] = (char)t[i];
      } else {
        memcpy(buf + out, t, take);
      }
    }
    out += take;
  } else {
    for (size_t i = 0; i < n && out < room; i++) {
      unsigned char c = t[i];
      switch (s) {
        case kPercent:
          if (unreserved(c)) break;
          if (room - out < 3) return out;  // a cut escape ends the field
          if (buf) {
            buf[out] = '%';
            buf[out + 1] = xpf_upper_digits[c >> 4];
            buf[out + 2] = xpf_upper_digits[c & 15];
          }
          out += 3;
          continue;
        case kBacktick:
          if (c == '\'')
            c = '`';
          else if (c < 0x20 && c != '\t')
            c = ' ';
          break;
        case kQuote3:
        case kQuote2:
        case kQuote1: {
          bool esc = s == kQuote3   ? (c == '"' || c == '\\')
                     : s == kQuote2 ? c == '\''
                                    : (c == '\'' || c == '\\');
          if (!esc) break;
          if (room - out < 2) return out;
          if (buf) {
            buf[out] = s == kQuote2 ? '\'' : '\\';
            buf[out + 1] = (char)c;
          }
          out += 2;
          continue;
        }
        case kPlain:
          break;
      }
      if (buf) buf[out] = (char)c;
      out++;
    }
  }
  if ((flags & XPF_LEFT) && out < width) {
    size_t end = width < room ? width : room;
    if (end > out) {
      if (buf) memset(buf + out, ' ', end - out);
      out = end;
    }
  }
  return out;
}

intptr_t xpf_wstr(char *buf, intptr_t room, const uint16_t *text, intptr_t len, uint32_t flags,
                  size_t width) {
  if (text && len < 0) {
    len = 0;
    while (text[len])
      len++;
  }
  if (!text || len == 0) return (intptr_t)xpf_str(buf, (size_t)room, "", 0, flags, width);
  char *u = (char *)xp_alloc((size_t)len * 4 + 1);
  if (!u) return (intptr_t)xpf_str(buf, (size_t)room, "", 0, flags, width);
  size_t n = 0;
  for (intptr_t i = 0; i < len; i++) {
    unsigned c = text[i];
    if (c < 0x80) {
      u[n++] = (char)c;
    } else if (c < 0x800) {
      u[n++] = (char)(0xC0 | (c >> 6));
      u[n++] = (char)(0x80 | (c & 0x3F));
    } else {
      // Surrogates are encoded unit by unit, unpaired.
      u[n++] = (char)(0xE0 | (c >> 12));
      u[n++] = (char)(0x80 | ((c >> 6) & 0x3F));
      u[n++] = (char)(0x80 | (c & 0x3F));
    }
  }
  size_t r = xpf_str(buf, (size_t)room, u, (intptr_t)n, flags, width);
  xp_free(u);
  return (intptr_t)r;
}

intptr_t xp_fmt_text(char *buf, size_t size, const char *text, intptr_t len) {
  if (!text) {
    text = "";
    len = 0;
  } else if (len < 0) {
    len = (intptr_t)strlen(text);
  }
  if (!buf) return len;
  if (size == 0) return 0;
  size_t n = (size_t)len;
  if (n > size - 1) {
    // Take whole characters, each as long as its lead byte says.
    const auto *t = (const unsigned char *)text;
    size_t i = 0;
    for (;;) {
      unsigned char c = t[i];
      size_t l = c < 0xC0 ? 1 : c < 0xE0 ? 2 : c < 0xF0 ? 3 : c < 0xF8 ? 4 : c < 0xFC ? 5 : 6;
      if (i + l > size - 1) break;
      i += l;
    }
    n = i;
  }
  memcpy(buf, text, n);
  buf[n] = 0;
  return (intptr_t)n;
}

intptr_t xp_fmt_string(char *buf, size_t size, const char *text) {
  return xp_fmt_text(buf, size, text, -1);
}
