/* The client agent's operations as the pane calls them.
 *
 * Whatever the pane is linked with must provide these eleven functions: the
 * agent's own framework where it is installed, otherwise the local agent in
 * this directory (libtessary-agent), which keeps its state in a text file.
 *
 * Every operation returns a 16-bit result code, 0 meaning success. Texts
 * cross the interface as length-prefixed strings: one length byte and up to
 * 255 bytes of UTF-8, no terminator, in a caller-supplied buffer of
 * QUIL_TEXT_SIZE bytes. Word outputs are the platform's `long`. The first
 * argument of the session, option and preference operations is a selector
 * that the pane always passes as 0.
 *
 * Plain C: compiles as C11 and as C++. */
#ifndef TESSARY_QUIL_H
#define TESSARY_QUIL_H

#include <stdint.h>

#if defined(QUIL_BUILDING_AGENT)
#define QUIL_API __attribute__((visibility("default")))
#else
#define QUIL_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* A 16-bit result code: 0 success, anything else a failure. */
typedef int16_t QuilResult;

/* QuilSetTransport: the server may not be changed while programs controlled
 * by the server are running. */
#define QUIL_ERR_SERVER_BUSY ((QuilResult)-10000)

/* Size of a length-prefixed text buffer. */
#define QUIL_TEXT_SIZE 256

/* QuilGetSessionStatus status flags: connected to the backup server. */
#define QUIL_FLAG_BACKUP 0x1L

/* QuilGetOptions: the messages option (options and mask) and the right to
 * change the server address (mask). */
#define QUIL_OPTION_MESSAGES 0x80L
#define QUIL_MASK_SERVER 0x40000000L

/* QuilGetPrefData tags: the bytes s,u,d,p and s,i,p,6 in memory. The block
 * is a big-endian 16-bit count followed by that many addresses of 4 (IPv4)
 * or 16 (IPv6) bytes. */
#define QUIL_PREF_IPV4_BACKUPS 0x70647573u
#define QUIL_PREF_IPV6_BACKUPS 0x36706973u
#define QUIL_PREF_SIZE 512

/* The version word (four 4-bit fields, most significant first) and a second
 * word of no fixed meaning. */
QUIL_API QuilResult QuilVersion(uint16_t *version, uint16_t *extra);

/* Session state (non-zero: connected), the server's IPv4 address in the first
 * four bytes of `address` (0: none known) and the status flags. */
QUIL_API QuilResult QuilGetSessionStatus(void *selector, long *flags, long *address, long *state);

/* Fills whichever text buffers are given: the server address as configured,
 * the connected server's name and this computer's identifier. */
QUIL_API QuilResult QuilGetSessionEx(void *selector, long reserved, unsigned char *configured,
                                     unsigned char *name, unsigned char *identifier,
                                     long reserved2);

/* Non-zero audit state: an audit is in progress. */
QUIL_API QuilResult QuilAuditInfo(long *audit, long reserved, long reserved2);

/* Trust level; 1 or more means trusted. */
QUIL_API QuilResult QuilGetSessionTrust(void *selector, long *trust);

/* The options word and the mask of the options the user may change. */
QUIL_API QuilResult QuilGetOptions(void *selector, long *options, long *mask);

/* Sets the bits of `mask` in the options word to those of `value`. */
QUIL_API QuilResult QuilSetOptions(void *selector, long value, long mask);

/* Copies the preference block `tag` into `buffer` of `size` bytes. */
QUIL_API QuilResult QuilGetPrefData(void *selector, uint32_t tag, long reserved, long size,
                                    void *buffer, long reserved2);

/* Hands a new server address (length-prefixed text) to the agent. */
QUIL_API QuilResult QuilSetTransport(long kind, const unsigned char *address);

/* Logs on (again) to the configured server. */
QUIL_API QuilResult QuilAuthenticate(void *selector);

/* Asks the agent to show a message (length-prefixed text) to the user. */
QUIL_API QuilResult QuilMessageEx(const unsigned char *text, long reserved, long reserved2,
                                  long reserved3);

#ifdef __cplusplus
}
#endif

#endif /* TESSARY_QUIL_H */
