// Shared validation and conversion routines of the resource handlers.
//
// Handlers check and convert request texts and platform answers here, in one
// place: address, MAC and name checks, port and VLAN validation against the
// switch's actual interfaces and VLANs, the list notation "1,3-5,8" in both
// directions, prefix and mask conversion, and small time, file, process and
// base64 helpers.
//
// Unless a routine says otherwise it returns 0 for valid or success and -1
// for invalid or failure. None keeps state between calls (the compiled
// name expressions are constants kept for the life of the process). The
// routines that ask the platform go through g_client_handle and, like every
// handler, run on the server thread.
//
// Sources: core/validate.cpp (checks, addresses, ports and VLANs),
// core/list_notation.cpp (lists, protocol lists, cells), core/utility.cpp
// (time, text, base64, digest, files, commands, version, companion).
#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>

#include "platform/open_types.h"

// ---------------------------------------------------------------------------
// Address and name checks
// ---------------------------------------------------------------------------

// Text that inet_pton(AF_INET) accepts.
int validate_ipv4_text(const char *text);
// Text that inet_pton(AF_INET6) accepts.
int validate_ipv6_text(const char *text);
// 0 only for a valid IPv4 text that is the address 0.0.0.0; -1 for any other
// address and for text that is no IPv4 address.
int check_zero_ipv4(const char *text);

// What kind of address a host text is, judged by its first character:
//   0  a decimal digit, and a "." somewhere          (IPv4)
//   1  a decimal digit, no "." but a ":"             (IPv6)
//   2  a letter                                      (host name)
//  -1  null, a digit with neither "." nor ":", or any other first character.
// An IPv6 text that starts with a letter (fe80::1) is classed as a host name;
// callers rely on that, so it stays.
int ip_addr_kind(const char *text);

// A domain name: labels of letters and digits, inner hyphens allowed, at
// least one dot, and a last label of two or more letters ("example.com").
// -1 also when the expression cannot be compiled.
int validate_domain_name(const char *text);
// A host name shorter than 256 characters: dot-separated labels of 1 to 63
// characters that begin with a letter or digit; hyphens allowed inside and at
// the end of a label. -1 also when the expression cannot be compiled.
int validate_host_name(const char *text);
// A name of 1 to 32 characters, each a letter, a digit, "-", ".", "_" or ":".
int validate_name_text(const char *text);

// ---------------------------------------------------------------------------
// MAC address texts
// ---------------------------------------------------------------------------

// Exactly 17 characters "hh:hh:hh:hh:hh:hh": ":" at positions 2, 5, 8, 11
// and 14, hexadecimal digits of either case everywhere else.
int validate_mac_text(const char *text);
// -1 for "00:00:00:00:00:00" (and for null), 0 for any other text. Only the
// exact text is refused: the form is checked by validate_mac_text.
int check_zero_mac(const char *text);
// Packs a 17-character MAC text into 6 bytes, high nibble first. -1 when the
// text is not 17 characters long, when a character lies outside "0".."f" in
// code order or is none of the digits, "A"-"F", "a"-"f" and ":", or when a
// digit stands where the ":" of its group belongs. A ":" that is not the
// third character of its group ends the routine at once with 0 and leaves
// `bytes` untouched: callers have always seen that early success and it is
// kept. The characters are judged left to right, so "0:11:22:33:44:55x"
// succeeds that way before its "x" is reached. `bytes` is written only when
// the whole text was converted.
int mac_text_to_bytes(const char *text, uint8_t bytes[6]);
// An OUI "hh:hh:hh": at most 8 characters (of the first 31), ":" at
// positions 2 and 5, hexadecimal digits at 0, 1, 3, 4, 6 and 7. Shorter
// texts fail since their missing positions are no digits.
int validate_oui_text(const char *text);

// ---------------------------------------------------------------------------
// Address conversions
// ---------------------------------------------------------------------------

// Size of a buffer that holds any address text (INET6_ADDRSTRLEN).
inline constexpr size_t kInetAddrTextSize = 46;
// Size of the dotted IPv4 text buffer of ipv4_to_text.
inline constexpr size_t kIpv4TextSize = 32;

// The platform's address record as text: family 1 (IPv4, a host-order value)
// or family 2 (IPv6, 16 bytes). Writes into `out` (kInetAddrTextSize bytes)
// and returns it; null for a null argument or any other family.
char *platform_addr_to_text(const open_inet_addr_t *addr, char *out);
// A host-order IPv4 address as dotted text into `out` (kIpv4TextSize bytes).
// -1 for a null `out`.
int ipv4_to_text(uint32_t host_addr, char *out);
// Converts a dotted mask with rpcclt_openapiInetAton (at most 31 characters
// are used) and stores the number of its one bits in `prefix_len`. The ones
// need not be contiguous: 255.0.255.0 gives 16. Returns 0; -1 for a null
// argument; the platform's result when it does not take the text as an
// address (callers log it).
int mask_to_prefix_len(const char *mask, uint32_t *prefix_len);
// The host-order mask with `prefix_len` leading ones. 0 gives 0 (logged at
// level 7). 33 and above are logged at level 7 and give all ones, the same
// as 32: callers check the length beforehand.
uint32_t prefix_len_to_mask(uint32_t prefix_len);

// ---------------------------------------------------------------------------
// Ports and VLANs (platform queries through g_client_handle)
// ---------------------------------------------------------------------------

// Kinds of the port validator.
enum : int {
  PORT_KIND_PHYSICAL = 1,  // physical ports only
  PORT_KIND_LAG = 2,       // port-channels only
  PORT_KIND_ANY = 3,       // physical port or port-channel
};

// Number of interfaces of a type (first/next walk); 0 when there is none.
uint32_t intf_count_get(OPEN_INTF_TYPE_t type);
// The first interface of a type, or 4294967295 when the platform has none.
uint32_t intf_first_get(OPEN_INTF_TYPE_t type);
// Checks an interface number against the physical range [P, P+NP-1] and the
// LAG range [L, L+NL-1] of the switch:
//   PORT_KIND_PHYSICAL  accepts the physical range;
//   PORT_KIND_LAG       accepts the LAG range;
//   PORT_KIND_ANY       refuses ports below P and ports in the gap between
//                       the physical range and L, then accepts up to L+NL-1.
// Any other kind accepts every port (returns 0).
int validate_port(uint32_t port, int kind);
// The port layout the validator reads: the first interface and the number
// of interfaces of each type (first = 4294967295, count 0 for a type the
// switch lacks). port_layout_get(kind) reads only the types `kind` needs.
struct PortLayout {
  uint32_t phy_first = 0xFFFFFFFFu, phy_count = 0;
  uint32_t lag_first = 0xFFFFFFFFu, lag_count = 0;
};
PortLayout port_layout_get(int kind = PORT_KIND_ANY);
// validate_port against a layout read before (a request checking many
// ports reads the layout once).
int validate_port_in(const PortLayout &layout, uint32_t port, int kind);
// Checks that a VLAN exists. The platform's failure to give the highest id
// is returned as it is. An id of 0 or above the highest formats "Invalid
// vlan id(%u) allowed range(%u..%u)" into last_error_text and returns -22;
// an absent VLAN formats "Invalid VLAN ID %u" and returns -26; any other
// failure of the existence check formats "Failed to check VLAN ID %u" and
// returns that result. 0 when the VLAN exists.
int validate_vlan(uint32_t vlan_id);
// validate_vlan with the highest id read before.
int validate_vlan_below(uint32_t max_vlan, uint32_t vlan_id);
// The VLAN's type (OPEN_VLAN_TYPE_t), or -1 when the platform fails (logged
// at level 4).
int vlan_type_get(uint32_t vlan_id);
// File types that may be transferred: 3, 5, 6, 8, 9, 17, 19, 27, 35, 37, 38
// and 45.
int validate_file_type(int type);

// ---------------------------------------------------------------------------
// List notation
// ---------------------------------------------------------------------------

// Longest list text vlan_list_to_numbers takes, in characters. Longer texts
// are refused (the routine works in a 64-byte buffer).
inline constexpr size_t kListTextMax = 63;

// Copies the text up to the first `separator` (or all of it) into `out`
// (`out_size` bytes) and sets `consumed` to the token's length plus one, so
// that text + consumed is the start of the next token. -1 for a null text,
// output or counter, and for a token that does not fit `out`.
int token_split(const char *text, char separator, char *out, size_t out_size, size_t *consumed);

// "1,3-5,8" to numbers. Tokens are separated by ","; a token with "-" is a
// range whose two ends (atoi of the parts around the first "-") must pass
// validate_vlan; reversed ends are swapped and every number of the range is
// appended. A token without "-" is appended as atoi gives it, unchecked (so
// "0" gives the number 0). Duplicates are kept. `count` receives the number
// of entries. -1 for a null argument, a text of 64 characters or more, a
// range end that fails validate_vlan (its message is in last_error_text), or
// more numbers than `capacity`.
int vlan_list_to_numbers(const char *text, uint16_t *numbers, size_t capacity, uint32_t *count);

// Numbers back to the list notation, in the order given, appended to the
// text already in `out` (`out_size` bytes): runs of consecutive numbers
// become "a-b", single numbers "a", joined by "," (1,2,3,5,7,8 gives
// "1-3,5,7-8"). An unsorted list is written run by run as it comes ("3,1"),
// a repeated number twice. A 0 restarts the run and is written only when it
// ends the list. -1 for a null argument or when the text does not fit (`out`
// then holds as much as fitted).
int numbers_to_vlan_list(const uint16_t *numbers, size_t count, char *out, size_t out_size);

// Ether-type list ("0x8100,ip,arp,2048") to numbers; `text` is cut up in
// place. A token that starts with a digit is a number (hexadecimal after
// "0x", else decimal). A token that starts with a letter is a keyword
// compared by prefix, in this order: "ipx"/"IPX" 0x8137, "ip"/"IP" 0x0800,
// "arp"/"ARP" 0x0806; so any word beginning with "ip" other than "ipx"
// (ipv6, say) counts as 0x0800. Other tokens leave their slot of `numbers`
// as it was. Every token counts in `count`; empty tokens are no tokens.
// -1 for a null argument or more tokens than `capacity`.
int protocol_list_parse(char *text, uint32_t *numbers, size_t capacity, uint32_t *count);

// A platform text of 4-character cells: for each cell (offsets 0, 4, 8, ...
// below `length`) the number atoi finds from the cell's third character on;
// cells past the end of the text give 0. `numbers` holds `capacity` entries;
// a text of more cells logs "Error: Insufficient space in dataArr\n" at level
// 4 and returns -1.
int cell_numbers_parse(const char *text, size_t length, int *numbers, size_t capacity);

// ---------------------------------------------------------------------------
// Other helpers
// ---------------------------------------------------------------------------

// `when` as local time "%a %Y-%m-%d %H:%M:%S %Z" in a new 128-byte heap text
// (the caller frees it); null when memory, the conversion or the formatting
// fails.
char *time_text(time_t when);
// Upper-cases a text in place; a null text is ignored.
void str_to_upper(char *text);

// Base64 without line breaks. base64_encode returns a new NUL-terminated
// heap text (the caller frees it), null when the encoder cannot be made.
// base64_decode returns a new zeroed heap buffer of `length` + 1 bytes that
// holds the decoded bytes (`decoded_length`, when given, receives their
// number), null when memory or the decoder fails.
char *base64_encode(const void *data, size_t length);
unsigned char *base64_decode(const char *text, size_t length, size_t *decoded_length = nullptr);

// Writes the 16-byte MD5 digest of the data as 32 lower-case hexadecimal
// digits into `out` when `out_size` is more than 32, and returns 0. A
// smaller output is left alone (-1), as is any output when the digest
// cannot be computed.
int digest_to_hex(const void *data, size_t length, char *out, size_t out_size);

// Paths are taken as given: resolve device paths with device_path() first.
// Size of a file in bytes, from the end position of the opened file; -1 for
// a null path, a file that cannot be opened or a failed seek.
long file_size(const char *path);
// Replaces a file by a new one holding `text`; nothing happens for a null
// path or text.
void write_text_file(const char *path, const char *text);

// Runs a command formatted (into 256 bytes) from `format` through the shell
// and copies the first line of its output (at most 8 characters, without its
// line break) into `out` (`out_size` bytes). `out` is empty when the command
// cannot be started or prints nothing. Returns 0 (-1 only for a null `out`).
int command_output_text(char *out, size_t out_size, const char *format, ...)
    __attribute__((format(printf, 3, 4)));
// Like command_output_text, reading at most 4 characters and returning them
// as a number (atoi); 0 when nothing was read.
int command_output_number(const char *format, ...) __attribute__((format(printf, 1, 2)));

// Compares a four-part version text "a.b.c.d" with the minimum "7.8.11.19",
// part by part from the left: 1 when the minimum is higher, 0 when equal,
// -1 when it is lower; -2 for a null text or one without four numbers.
int version_check(const char *version);

// Tells the companion agent that the configuration changed: runs
// "/bin/PellmarCli instant_monitoring" under the device root. Returns the
// program's exit status as execvp_cmd gives it.
int notify_companion();
