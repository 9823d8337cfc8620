// The NTLD readers on trees that verify: the input is a program for the
// writers (open, close, numbers, codes, texts, raw items, escaped texts),
// kept beside as a model; the finished tree must verify at every level and
// every reader must give back exactly what the model holds, on the tree in
// memory and on the finished writer; the sizing and fixed modes must give
// the same bytes.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "fuzz/fuzz_util.h"
#include "xp/ntld/xp_ntld.h"
#include "xp/str/xp_str.h"

namespace {

using fuzz::check;

struct Node {
  uint32_t tag = 0, type = 0;
  std::string bytes;           // data of a plain item
  std::vector<Node> children;  // of a container
  bool container = false;
};

struct Program {
  const uint8_t *p;
  size_t n;
  uint8_t byte() { return n ? (--n, *p++) : 0; }
  uint32_t word() {
    uint32_t w = 0;
    for (int i = 0; i < 4; i++)
      w = w << 8 | byte();
    return w;
  }
  // Tags come from a few values most of the time, so that names repeat.
  uint32_t tag() {
    uint8_t b = byte();
    return b < 0xF0 ? XP_TAG('t', 'g', '0', '0' + b % 8) : word();
  }
  std::string text(size_t most) {
    size_t len = byte() % (most + 1);
    if (len > n) len = n;
    std::string s(reinterpret_cast<const char *>(p), len);
    p += len;
    n -= len;
    return s;
  }
};

uint32_t be32(const uint8_t *p) {
  return uint32_t(p[0]) << 24 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 8 | p[3];
}

// The first child with the tag: what the by-name readers find.
const Node *first_named(const Node &parent, uint32_t tag) {
  for (const Node &c : parent.children)
    if (c.tag == tag) return &c;
  return nullptr;
}

// Containers verify (their children tile their data); plain items are
// compared byte for byte.
void compare(const uint8_t *item, size_t available, const Node &model) {
  check(available >= 12);
  uint32_t tag, type;
  std::memcpy(&tag, item, 4);
  std::memcpy(&type, item + 4, 4);
  check(tag == model.tag && type == model.type);
  if (!model.container) {
    check(be32(item + 8) == model.bytes.size() && 12 + model.bytes.size() <= available);
    check(std::memcmp(item + 12, model.bytes.data(), model.bytes.size()) == 0);
    return;
  }
  uint32_t total = xp_ntld_verify(item, intptr_t(available));
  check(total != 0 && total <= available);
  check(xp_ntld_count(item) == intptr_t(model.children.size()));
  const auto *c = static_cast<const uint8_t *>(xp_ntld_getbyindex(item, 0));
  char buf[64];
  for (size_t i = 0; i < model.children.size(); i++) {
    const Node &m = model.children[i];
    intptr_t index = intptr_t(i);
    check(c == xp_ntld_getbyindex(item, index));
    check(xp_ntld_getbytesbyindex(item, index, nullptr, 0) == intptr_t(be32(c + 8)));
    if (!m.container) {
      intptr_t got = xp_ntld_getbytesbyindex(item, index, buf, sizeof buf);
      size_t want = m.bytes.size() < sizeof buf ? m.bytes.size() : sizeof buf;
      check(got == intptr_t(want) && std::memcmp(buf, m.bytes.data(), want) == 0);
    }
    // Word readers take the first four data bytes of an item of their type
    // (a container's too), 0 for anything else.
    uint32_t word = 0;
    if (be32(c + 8) >= 4)
      std::memcpy(&word, m.container ? c + 12 : (const uint8_t *)m.bytes.data(), 4);
    check(xp_ntld_gettagbyindex(item, index) == (m.type == XP_NTLD_CTAG ? word : 0));
    check(uint32_t(xp_ntld_getlongbyindex(item, index)) ==
          (m.type == XP_NTLD_LONG ? be32(reinterpret_cast<const uint8_t *>(&word)) : 0));
    const Node *named = first_named(model, m.tag);
    const auto *found = static_cast<const uint8_t *>(xp_ntld_getbyname(item, m.tag));
    check(found && found <= c && named);
    check(xp_ntld_getbytesbyname(item, m.tag, nullptr, 0) == intptr_t(be32(found + 8)));
    compare(c, size_t(item + total - c), m);
    c = static_cast<const uint8_t *>(xp_ntld_next(c));
  }
  check(xp_ntld_getbyindex(item, intptr_t(model.children.size())) == nullptr);
}

// Runs the program on the writer; with a model, fills it in.
void write_program(xp_ntld *w, Program in, Node *root) {
  Node scratch;
  if (!root) root = &scratch;
  root->tag = XP_TAG('r', 'o', 'o', 't');
  root->type = XP_TAG('l', 'i', 's', 't');
  root->container = true;
  xp_ntld_open(w, root->tag, root->type);
  std::vector<Node *> open = {root};
  while (in.n && open.size() < 24) {
    Node *parent = open.back();
    if (parent->children.size() > 64) break;
    Node item;
    uint8_t op = in.byte() % 7;
    item.tag = in.tag();
    if (op == 0) {  // a container
      item.type = in.word();
      item.container = true;
      xp_ntld_open(w, item.tag, item.type);
      parent->children.push_back(item);
      open.push_back(&parent->children.back());
      continue;
    }
    if (op == 1) {
      if (open.size() > 1) {
        xp_ntld_close(w);
        open.pop_back();
      }
      continue;
    }
    uint32_t written = 0;
    if (op == 2) {
      int32_t v = int32_t(in.word());
      written = xp_ntld_add_number(w, item.tag, v);
      item.type = XP_NTLD_LONG;
      uint8_t be[4] = {uint8_t(uint32_t(v) >> 24), uint8_t(uint32_t(v) >> 16),
                       uint8_t(uint32_t(v) >> 8), uint8_t(v)};
      item.bytes.assign(reinterpret_cast<char *>(be), 4);
    } else if (op == 3) {
      uint32_t code = in.word();
      written = xp_ntld_add_tag(w, item.tag, code);
      item.type = XP_NTLD_CTAG;
      item.bytes.assign(reinterpret_cast<char *>(&code), 4);
    } else if (op == 4) {
      std::string t = in.text(40);
      t = t.substr(0, std::strlen(t.c_str()));
      written = xp_ntld_add_string(w, item.tag, t.c_str());
      item.type = XP_NTLD_TEXT;
      item.bytes = t;
    } else if (op == 5) {  // without bytes: zeros
      item.type = in.word();
      item.bytes = in.text(40);
      bool zeros = item.type & 1;
      written = xp_ntld_add(w, item.tag, item.type, uint32_t(item.bytes.size()),
                            zeros ? nullptr : item.bytes.data());
      if (zeros) item.bytes.assign(item.bytes.size(), '\0');
    } else {  // a backslash makes the next byte literal; one at the very end is dropped
      std::string raw = in.text(40);
      written = xp_ntld_escapedtext(w, item.tag, intptr_t(raw.size()), raw.data());
      item.type = XP_NTLD_TEXT;
      for (size_t i = 0; i < raw.size(); i++) {
        if (raw[i] == '\\' && ++i == raw.size()) break;
        item.bytes += raw[i];
      }
    }
    check(written == 12 + ((item.bytes.size() + 3) & ~size_t(3)));
    parent->children.push_back(item);
  }
}

}  // namespace

// The program in the dynamic mode, read back against the model; then in
// the sizing mode, which must measure the same bytes, and in the fixed mode
// into a buffer of exactly that size, which must hold the same bytes.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const Program program{data, size};
  xp_ntld *w = xp_ntld_new(nullptr, XP_NTLD_DYNAMIC);
  if (!w) return 0;
  Node root;
  write_program(w, program, &root);
  uint32_t length = xp_ntld_length(w);
  // A finished writer reads as its root item.
  check(xp_ntld_count(w) == intptr_t(root.children.size()));
  if (!root.children.empty())
    check(xp_ntld_getbyname(w, root.children[0].tag) == xp_ntld_getbyindex(w, 0));
  xp_data *tree = xp_ntld_dyndata(w);
  xp_release(w);
  check(tree != nullptr);
  const auto *bytes = static_cast<const uint8_t *>(xp_data_getptr(tree));
  check(length != 0 && length <= xp_data_length(tree));
  compare(bytes, length, root);

  xp_ntld *sizing = xp_ntld_new(nullptr, 0x7FFFFFFF);
  write_program(sizing, program, nullptr);
  uint32_t measured = 0;
  for (uint32_t n; (n = xp_ntld_close(sizing));)
    measured = n;
  xp_release(sizing);
  check(measured == length);
  auto *buffer = static_cast<uint8_t *>(malloc(length));
  xp_ntld *fixed = xp_ntld_new(buffer, length);
  write_program(fixed, program, nullptr);
  xp_release(fixed);  // closes what is open
  check(std::memcmp(buffer, bytes, length) == 0);
  free(buffer);
  xp_release(tree);
  return 0;
}
