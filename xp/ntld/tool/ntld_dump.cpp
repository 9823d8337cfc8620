// ntld-dump FILE|-: prints an NTLD tree indented, one item a line, after
// verifying each level before it descends into it. A file that does not
// verify is reported with the offset and the reason, exit status 1; the
// tool never reads outside the file.
//
// Items of the types text, xstr, long, ctag and data are values. Another
// item is taken as a container when its data starts with a child header
// that fits in it; that level must then verify. Any other item is shown as
// opaque bytes.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "xp/ntld/xp_ntld.h"

namespace {

constexpr size_t kHeader = 12;
constexpr size_t kTextShown = 256;
constexpr size_t kBytesShown = 16;
constexpr int kMaxDepth = 256;

uint32_t word(const uint8_t *p) {
  uint32_t v;
  std::memcpy(&v, p, 4);
  return v;
}
uint32_t be32(const uint8_t *p) {
  return uint32_t{p[0]} << 24 | uint32_t{p[1]} << 16 | uint32_t{p[2]} << 8 | p[3];
}
uint64_t padded(uint64_t n) {
  return (n + 3) & ~uint64_t{3};
}

bool printable(const uint8_t *p, size_t n) {
  for (size_t i = 0; i < n; ++i)
    if (p[i] < 0x20 || p[i] > 0x7E) return false;
  return true;
}

std::string escaped(const uint8_t *p, size_t n) {
  std::string s;
  for (size_t i = 0; i < n; ++i) {
    uint8_t c = p[i];
    switch (c) {
      case '"':
        s += "\\\"";
        break;
      case '\\':
        s += "\\\\";
        break;
      case '\n':
        s += "\\n";
        break;
      case '\r':
        s += "\\r";
        break;
      case '\t':
        s += "\\t";
        break;
      default:
        if (c >= 0x20 && c < 0x7F) {
          s += char(c);
        } else {
          char hex[5];
          std::snprintf(hex, sizeof hex, "\\x%02x", c);
          s += hex;
        }
    }
  }
  return s;
}

// A tag or type: its value in hex and, when its four bytes are printable,
// the characters in memory order.
std::string code(uint32_t value, const uint8_t *bytes) {
  char buf[24];
  std::snprintf(buf, sizeof buf, "0x%08x", value);
  std::string s = buf;
  if (printable(bytes, 4)) s += " '" + std::string(reinterpret_cast<const char *>(bytes), 4) + "'";
  return s;
}

bool value_type(uint32_t type) {
  return type == XP_NTLD_TEXT || type == XP_TYPE_STR || type == XP_NTLD_LONG ||
         type == XP_NTLD_CTAG || type == XP_TYPE_DATA;
}

struct Dumper {
  const uint8_t *base;
  const char *name;

  size_t at(const uint8_t *p) const { return size_t(p - base); }

  void fail(const uint8_t *p, const std::string &why) const {
    std::fprintf(stderr, "ntld-dump: %s: offset %zu: %s\n", name, at(p), why.c_str());
  }

  std::string value(const uint8_t *item) const {
    uint32_t type = word(item + 4);
    uint32_t length = be32(item + 8);
    const uint8_t *data = item + kHeader;
    if (type == XP_NTLD_TEXT || type == XP_TYPE_STR) {
      size_t n = length < kTextShown ? length : kTextShown;
      std::string s = " = \"" + escaped(data, n) + "\"";
      if (n < length) s += "... (" + std::to_string(length - n) + " more bytes)";
      return s;
    }
    if (type == XP_NTLD_LONG && length == 4) return " = " + std::to_string(int32_t(be32(data)));
    if (type == XP_NTLD_CTAG && length == 4) return " = " + code(word(data), data);
    if (!length) return "";
    std::string s = " =";
    size_t n = length < kBytesShown ? length : kBytesShown;
    for (size_t i = 0; i < n; ++i) {
      char hex[4];
      std::snprintf(hex, sizeof hex, " %02x", data[i]);
      s += hex;
    }
    if (n < length) s += " ...";
    return s;
  }

  // Says why a level that xp_ntld_verify refused does not verify, following
  // the same walk.
  void explain(const uint8_t *item, uint64_t available) const {
    uint64_t length = be32(item + 8);
    if (length + kHeader > available) {
      fail(item, "item claims " + std::to_string(length) + " data bytes but only " +
                     std::to_string(available - kHeader) + " follow its header");
      return;
    }
    uint64_t rest = length;
    const uint8_t *c = item + kHeader;
    while (rest) {
      if (rest < kHeader) {
        fail(c, std::to_string(rest) + " bytes left at the end of the container at offset " +
                    std::to_string(at(item)) + ", too few for an item header");
        return;
      }
      uint64_t child = be32(c + 8);
      if (child + kHeader == rest) break;
      uint64_t size = kHeader + padded(child);
      if (rest < size) {
        fail(c, "item of " + std::to_string(size) +
                    " bytes (padded) runs past the end of the "
                    "container at offset " +
                    std::to_string(at(item)) + ", which has " + std::to_string(rest) +
                    " bytes left");
        return;
      }
      rest -= size;
      c += size;
    }
    fail(item, "container does not verify");
  }

  // Prints the item and what lies in it; false when a level does not verify.
  bool walk(const uint8_t *item, uint64_t available, int depth) const {
    uint32_t type = word(item + 4);
    uint32_t length = be32(item + 8);
    bool container = !value_type(type) && length >= kHeader &&
                     kHeader + uint64_t{be32(item + kHeader + 8)} <= length;
    std::printf("%*s@%zu tag %s type %s length %u%s\n", depth * 2, "", at(item),
                code(word(item), item).c_str(),
                printable(item + 4, 4)
                    ? ("'" + std::string(reinterpret_cast<const char *>(item + 4), 4) + "'").c_str()
                    : code(type, item + 4).c_str(),
                length, container ? "" : value(item).c_str());
    if (!container) return true;
    if (depth >= kMaxDepth) {
      fail(item, "containers nested deeper than " + std::to_string(kMaxDepth) + " levels");
      return false;
    }
    if (!xp_ntld_verify(item, intptr_t(available))) {
      explain(item, available);
      return false;
    }
    const uint8_t *end = item + kHeader + length;
    intptr_t n = xp_ntld_count(item);
    const auto *c = static_cast<const uint8_t *>(xp_ntld_getbyindex(item, 0));
    for (intptr_t i = 0; i < n; ++i) {
      if (!walk(c, uint64_t(end - c), depth + 1)) return false;
      if (i + 1 < n) c = static_cast<const uint8_t *>(xp_ntld_next(c));
    }
    return true;
  }

  // The file is one or more items laid end to end.
  bool run(size_t size) const {
    size_t off = 0;
    while (off < size) {
      const uint8_t *p = base + off;
      size_t rest = size - off;
      if (rest < kHeader) {
        // A last item's padding may be left out or kept.
        bool padding = off && rest < 4;
        for (size_t i = 0; padding && i < rest; ++i)
          padding = p[i] == 0;
        if (padding) return true;
        fail(p, std::to_string(rest) + " bytes left, too few for an item header");
        return false;
      }
      uint64_t length = be32(p + 8);
      if (kHeader + length > rest) {
        fail(p, "item claims " + std::to_string(length) + " data bytes but only " +
                    std::to_string(rest - kHeader) + " follow its header");
        return false;
      }
      if (!walk(p, rest, 0)) return false;
      uint64_t step = kHeader + padded(length);
      if (step >= rest) return true;
      off += size_t(step);
    }
    return true;
  }
};

bool slurp(FILE *f, std::vector<uint8_t> *out) {
  uint8_t buf[65536];
  size_t n;
  while ((n = std::fread(buf, 1, sizeof buf, f)) > 0)
    out->insert(out->end(), buf, buf + n);
  return !std::ferror(f);
}

}  // namespace

int main(int argc, char **argv) {
  if (argc != 2 || !std::strcmp(argv[1], "-h") || !std::strcmp(argv[1], "--help")) {
    std::fprintf(argc == 2 ? stdout : stderr,
                 "usage: ntld-dump FILE|-\n"
                 "Verifies an NTLD tree level by level and prints it indented.\n");
    return argc == 2 ? 0 : 2;
  }
  const char *name = argv[1];
  bool stdin_ = !std::strcmp(name, "-");
  FILE *f = stdin_ ? stdin : std::fopen(name, "rb");
  if (!f) {
    std::fprintf(stderr, "ntld-dump: %s: %s\n", name, std::strerror(errno));
    return 2;
  }
  std::vector<uint8_t> bytes;
  bool ok = slurp(f, &bytes);
  int err = errno;
  if (!stdin_) std::fclose(f);
  if (!ok) {
    std::fprintf(stderr, "ntld-dump: %s: %s\n", name, std::strerror(err));
    return 2;
  }
  if (bytes.empty()) {
    std::fprintf(stderr, "ntld-dump: %s: empty file, no item\n", name);
    return 1;
  }
  Dumper d{bytes.data(), stdin_ ? "(stdin)" : name};
  return d.run(bytes.size()) ? 0 : 1;
}
