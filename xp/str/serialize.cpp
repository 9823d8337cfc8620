// The serialise operation of the string and data objects: each becomes one
// NTLD item holding its bytes.
#include "xp/ntld/xp_ntld.h"
#include "xp/str/xp_str_internal.h"

namespace xps {
namespace {

xp_word add(xp_word w, xp_word tag, uint32_t type, const void *bytes, size_t length) {
  if (length > 0xFFFFFFFFu) return 0;
  return xp_ntld_add(reinterpret_cast<xp_ntld *>(w), static_cast<uint32_t>(tag), type,
                     static_cast<uint32_t>(length), bytes);
}

}  // namespace

xp_word serialize_str(void *s, xp_word tag, xp_word w) {
  const auto *str = static_cast<const xp_str *>(s);
  if (!str) return 0;
  return add(w, tag, XP_TYPE_STR, str->text, size_t(str->length));
}

xp_word serialize_data(void *d, xp_word tag, xp_word w) {
  const auto *data = static_cast<const xp_data *>(d);
  if (!data) return 0;
  return add(w, tag, XP_TYPE_DATA, data->bytes, data->length);
}

}  // namespace xps
