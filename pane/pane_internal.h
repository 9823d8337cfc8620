// Helpers of the pane logic shared by its files: agent texts in and out,
// address rendering and the backup-server list.
#ifndef TESSARY_PANE_INTERNAL_H
#define TESSARY_PANE_INTERNAL_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace tessary::pane {

// The text of a length-prefixed agent buffer as the pane uses it: the bytes
// of its length, up to the first zero byte, with ill-formed UTF-8 replaced.
std::string agent_text(const unsigned char *buffer);

// Puts `utf8` into a length-prefixed buffer of 256 bytes, cut to at most 255
// bytes at a character boundary.
void put_agent_text(unsigned char *buffer, const std::string &utf8);

// Renders `address` of `kind` with the library's address writer into
// `buffer` with `room` bytes; the length of the text (never above room).
std::size_t render_address(char *buffer, std::size_t room, int kind, const void *address);

// Appends the addresses of a preference block (count, then entries of
// `entry_size` bytes) to `list`, each rendered as it would be in the list
// text (after ", " when the list is not empty); reads only the entries that
// fit in `block_size` bytes and nothing for a count below 1.
void append_backup_list(std::vector<std::string> &list, const std::uint8_t *block,
                        std::size_t block_size, std::size_t entry_size, int kind);

}  // namespace tessary::pane

#endif  // TESSARY_PANE_INTERNAL_H
