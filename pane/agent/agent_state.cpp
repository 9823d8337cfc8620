// The local agent's state file as text: formatting and parsing (the files
// themselves are in agent_files.cpp).
#include "pane/agent/agent_state.h"

#include <arpa/inet.h>

#include <climits>
#include <cstdio>

#include "pane/utf8.h"

namespace tessary::agent {
namespace {

constexpr const char *kOpNames[kOpCount] = {
    "QuilVersion",         "QuilGetSessionStatus", "QuilGetSessionEx", "QuilAuditInfo",
    "QuilGetSessionTrust", "QuilGetOptions",       "QuilSetOptions",   "QuilGetPrefData",
    "QuilSetTransport",    "QuilAuthenticate",     "QuilMessageEx",
};

std::string trim(const std::string &s) {
  std::size_t b = 0, e = s.size();
  while (b < e && (s[b] == ' ' || s[b] == '\t' || s[b] == '\r'))
    ++b;
  while (e > b && (s[e - 1] == ' ' || s[e - 1] == '\t' || s[e - 1] == '\r'))
    --e;
  return s.substr(b, e - b);
}

int hex_digit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// A signed word: optional '-', then decimal digits or 0x and hex digits.
bool parse_long(const std::string &text, long *value) {
  std::size_t i = 0;
  bool negative = false;
  if (i < text.size() && (text[i] == '-' || text[i] == '+')) negative = text[i++] == '-';
  int base = 10;
  if (i + 1 < text.size() && text[i] == '0' && (text[i + 1] == 'x' || text[i + 1] == 'X')) {
    base = 16;
    i += 2;
  }
  if (i == text.size()) return false;
  unsigned long magnitude = 0;
  for (; i < text.size(); ++i) {
    int d = hex_digit(text[i]);
    if (d < 0 || d >= base) return false;
    if (magnitude > (ULONG_MAX - unsigned(d)) / unsigned(base)) return false;
    magnitude = magnitude * unsigned(base) + unsigned(d);
  }
  if (base == 16 && !negative) {
    // Hexadecimal gives the word's bits: 0xFFFFFFFFFFFFFFFF is -1.
    *value = static_cast<long>(magnitude);
    return true;
  }
  if (negative) {
    if (magnitude > static_cast<unsigned long>(LONG_MAX) + 1) return false;
    *value = magnitude == static_cast<unsigned long>(LONG_MAX) + 1 ? LONG_MIN
                                                                   : -static_cast<long>(magnitude);
  } else {
    if (magnitude > static_cast<unsigned long>(LONG_MAX)) return false;
    *value = static_cast<long>(magnitude);
  }
  return true;
}

bool parse_bounded(const std::string &text, long lo, long hi, long *value) {
  long v;
  if (!parse_long(text, &v) || v < lo || v > hi) return false;
  *value = v;
  return true;
}

bool parse_flag(const std::string &text, bool *flag) {
  if (text == "yes" || text == "on" || text == "1") {
    *flag = true;
    return true;
  }
  if (text == "no" || text == "off" || text == "0") {
    *flag = false;
    return true;
  }
  return false;
}

// A quoted text with \\, \" and \xHH escapes; at most kMaxText bytes.
bool parse_text(const std::string &text, std::string *bytes, std::string *error) {
  if (text.size() < 2 || text.front() != '"' || text.back() != '"') {
    *error = "a text must be in double quotes";
    return false;
  }
  std::string out;
  for (std::size_t i = 1; i + 1 < text.size(); ++i) {
    char c = text[i];
    if (c == '"') {
      *error = "unescaped quote inside a text";
      return false;
    }
    if (c != '\\') {
      out += c;
      continue;
    }
    if (i + 2 >= text.size()) {
      *error = "escape at the end of a text";
      return false;
    }
    char e = text[++i];
    if (e == '\\' || e == '"') {
      out += e;
    } else if (e == 'x' && i + 3 < text.size() && hex_digit(text[i + 1]) >= 0 &&
               hex_digit(text[i + 2]) >= 0) {
      out += static_cast<char>(hex_digit(text[i + 1]) * 16 + hex_digit(text[i + 2]));
      i += 2;
    } else {
      *error = "unknown escape in a text";
      return false;
    }
  }
  if (out.size() > kMaxText) {
    *error = "a text holds at most 255 bytes";
    return false;
  }
  *bytes = out;
  return true;
}

bool parse_version(const std::string &text, std::uint16_t *version) {
  std::uint16_t word = 0;
  std::size_t pos = 0;
  for (int field = 0; field < 4; ++field) {
    std::size_t end = field < 3 ? text.find('.', pos) : text.size();
    if (end == std::string::npos) return false;
    long v;
    if (!parse_bounded(text.substr(pos, end - pos), 0, 15, &v)) return false;
    word = static_cast<std::uint16_t>(word << 4 | v);
    pos = end + 1;
  }
  *version = word;
  return true;
}

std::vector<std::string> split_list(const std::string &text) {
  std::vector<std::string> items;
  std::string t = trim(text);
  if (t.empty()) return items;
  std::size_t pos = 0;
  for (;;) {
    std::size_t comma = t.find(',', pos);
    items.push_back(trim(t.substr(pos, comma == std::string::npos ? comma : comma - pos)));
    if (comma == std::string::npos) break;
    pos = comma + 1;
  }
  return items;
}

std::string hex_word(long value) {
  char buf[32];
  std::snprintf(buf, sizeof buf, "0x%lx", static_cast<unsigned long>(value));
  return buf;
}

// Applies `value` to `key`; false with a reason when it does not parse.
bool set_key(AgentState &s, const std::string &key, const std::string &value, std::string *error) {
  long v;
  auto bad = [&](const char *what) {
    *error = std::string(key) + ": " + what;
    return false;
  };
  if (key == "version") {
    if (!parse_version(value, &s.version)) return bad("expected four fields 0-15, like 5.2.1.3");
  } else if (key == "version-extra") {
    if (!parse_bounded(value, 0, 0xFFFF, &v)) return bad("expected a number 0-65535");
    s.version_extra = static_cast<std::uint16_t>(v);
  } else if (key == "session-state") {
    if (!parse_long(value, &s.session_state)) return bad("expected a number");
  } else if (key == "backup") {
    if (!parse_flag(value, &s.backup)) return bad("expected yes or no");
  } else if (key == "server") {
    if (value == "none") {
      s.server = {};
    } else if (!parse_ipv4(value, &s.server)) {
      return bad("expected an IPv4 address or none");
    }
  } else if (key == "configured" || key == "name" || key == "identifier") {
    std::string text, why;
    if (!parse_text(value, &text, &why)) return bad(why.c_str());
    (key == "configured" ? s.configured : key == "name" ? s.name : s.identifier) = text;
  } else if (key == "audit") {
    if (!parse_long(value, &s.audit)) return bad("expected a number");
  } else if (key == "trust") {
    if (!parse_long(value, &s.trust)) return bad("expected a number");
  } else if (key == "options") {
    if (!parse_long(value, &s.options)) return bad("expected a number");
  } else if (key == "mask") {
    if (!parse_long(value, &s.mask)) return bad("expected a number");
  } else if (key == "ipv4-backups") {
    std::vector<std::array<std::uint8_t, 4>> list;
    for (const std::string &item : split_list(value)) {
      std::array<std::uint8_t, 4> a;
      if (!parse_ipv4(item, &a)) return bad("expected IPv4 addresses separated by commas");
      list.push_back(a);
    }
    s.ipv4_backups = std::move(list);
  } else if (key == "ipv6-backups") {
    std::vector<std::array<std::uint8_t, 16>> list;
    for (const std::string &item : split_list(value)) {
      std::array<std::uint8_t, 16> a;
      if (!parse_ipv6(item, &a)) return bad("expected IPv6 addresses separated by commas");
      list.push_back(a);
    }
    s.ipv6_backups = std::move(list);
  } else if (key == "ipv4-count" || key == "ipv6-count") {
    auto &count = key == "ipv4-count" ? s.ipv4_count : s.ipv6_count;
    if (value == "auto") {
      count.reset();
    } else if (parse_bounded(value, -32768, 65535, &v)) {
      count = static_cast<int>(v);
    } else {
      return bad("expected auto or a number -32768 to 65535");
    }
  } else if (key == "refuse-new-server") {
    if (!parse_flag(value, &s.refuse_new_server)) return bad("expected yes or no");
  } else if (key.compare(0, 5, "fail.") == 0) {
    auto op = op_from_name(key.substr(5));
    if (!op) return bad("unknown operation");
    if (value == "off") {
      v = 0;
    } else if (!parse_bounded(value, -32768, 32767, &v)) {
      return bad("expected off or a result code -32768 to 32767");
    }
    s.fail[static_cast<int>(*op)] = static_cast<std::int16_t>(v);
  } else {
    *error = "unknown key '" + key + "'";
    return false;
  }
  return true;
}

bool split_line(const std::string &line, std::string *key, std::string *value, std::string *error) {
  std::size_t eq = line.find('=');
  if (eq == std::string::npos) {
    *error = "expected key = value";
    return false;
  }
  *key = trim(line.substr(0, eq));
  *value = trim(line.substr(eq + 1));
  if (key->empty()) {
    *error = "expected key = value";
    return false;
  }
  return true;
}

}  // namespace

const char *op_name(Op op) {
  int i = static_cast<int>(op);
  return i >= 0 && i < kOpCount ? kOpNames[i] : "?";
}

std::optional<Op> op_from_name(const std::string &name) {
  for (int i = 0; i < kOpCount; ++i) {
    if (name == kOpNames[i]) return static_cast<Op>(i);
  }
  return std::nullopt;
}

std::string quote_text(const std::string &bytes) {
  std::string out = "\"";
  const auto *p = reinterpret_cast<const unsigned char *>(bytes.data());
  std::size_t i = 0;
  while (i < bytes.size()) {
    unsigned char c = p[i];
    std::size_t len = utf8::sequence_length(p + i, bytes.size() - i);
    if (c == '\\' || c == '"') {
      out += '\\';
      out += static_cast<char>(c);
      ++i;
    } else if (len == 0 || c < 0x20 || c == 0x7F) {
      char buf[5];
      std::snprintf(buf, sizeof buf, "\\x%02x", c);
      out += buf;
      ++i;
    } else {
      out.append(bytes, i, len);
      i += len;
    }
  }
  return out + "\"";
}

std::string ipv4_text(const std::array<std::uint8_t, 4> &address) {
  char buf[INET_ADDRSTRLEN];
  return inet_ntop(AF_INET, address.data(), buf, sizeof buf) ? buf : "";
}

std::string ipv6_text(const std::array<std::uint8_t, 16> &address) {
  char buf[INET6_ADDRSTRLEN];
  return inet_ntop(AF_INET6, address.data(), buf, sizeof buf) ? buf : "";
}

bool parse_ipv4(const std::string &text, std::array<std::uint8_t, 4> *address) {
  return inet_pton(AF_INET, text.c_str(), address->data()) == 1;
}

bool parse_ipv6(const std::string &text, std::array<std::uint8_t, 16> *address) {
  return inet_pton(AF_INET6, text.c_str(), address->data()) == 1;
}

std::string format_state(const AgentState &s) {
  std::string out = "# Tessary local agent state\n";
  auto line = [&](const char *key, const std::string &value) {
    out += key;
    out += " = ";
    out += value;
    out += '\n';
  };
  char version[32];
  std::snprintf(version, sizeof version, "%d.%d.%d.%d", s.version >> 12 & 15, s.version >> 8 & 15,
                s.version >> 4 & 15, s.version & 15);
  line("version", version);
  line("version-extra", std::to_string(s.version_extra));
  line("session-state", std::to_string(s.session_state));
  line("backup", s.backup ? "yes" : "no");
  line("server", s.server == std::array<std::uint8_t, 4>{} ? "none" : ipv4_text(s.server));
  line("configured", quote_text(s.configured));
  line("name", quote_text(s.name));
  line("identifier", quote_text(s.identifier));
  line("audit", std::to_string(s.audit));
  line("trust", std::to_string(s.trust));
  line("options", hex_word(s.options));
  line("mask", hex_word(s.mask));
  std::string list;
  for (const auto &a : s.ipv4_backups)
    list += (list.empty() ? "" : ", ") + ipv4_text(a);
  line("ipv4-backups", list);
  list.clear();
  for (const auto &a : s.ipv6_backups)
    list += (list.empty() ? "" : ", ") + ipv6_text(a);
  line("ipv6-backups", list);
  if (s.ipv4_count) line("ipv4-count", std::to_string(*s.ipv4_count));
  if (s.ipv6_count) line("ipv6-count", std::to_string(*s.ipv6_count));
  line("refuse-new-server", s.refuse_new_server ? "yes" : "no");
  for (int i = 0; i < kOpCount; ++i) {
    if (s.fail[i] != 0)
      line(("fail." + std::string(kOpNames[i])).c_str(), std::to_string(s.fail[i]));
  }
  return out;
}

bool apply_setting(AgentState &state, const std::string &line, std::string *error) {
  std::string key, value, why;
  AgentState changed = state;
  if (!split_line(line, &key, &value, &why) || !set_key(changed, key, value, &why)) {
    if (error) *error = why;
    return false;
  }
  state = std::move(changed);
  return true;
}

std::optional<AgentState> parse_state(const std::string &text, std::string *error) {
  AgentState s;
  std::vector<std::string> seen;
  std::size_t pos = 0;
  int number = 0;
  while (pos < text.size()) {
    std::size_t end = text.find('\n', pos);
    if (end == std::string::npos) end = text.size();
    std::string line = trim(text.substr(pos, end - pos));
    pos = end + 1;
    ++number;
    if (line.empty() || line[0] == '#') continue;
    std::string key, value, why;
    bool ok = split_line(line, &key, &value, &why);
    if (ok) {
      for (const std::string &k : seen) {
        if (k == key) {
          why = "'" + key + "' given twice";
          ok = false;
        }
      }
    }
    if (ok) ok = set_key(s, key, value, &why);
    if (!ok) {
      if (error) *error = "line " + std::to_string(number) + ": " + why;
      return std::nullopt;
    }
    seen.push_back(key);
  }
  return s;
}

}  // namespace tessary::agent
