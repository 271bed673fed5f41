// The switch's firmware image format, and what the platform checks of it.
//
// An image file is a header of 256 bytes followed by the payload (the
// firmware itself). Numbers are little-endian; texts are NUL-padded.
//
//   offset  size  field
//        0     8  magic "VFWIMAGE"
//        8     4  format, 1
//       12     4  header size, 256
//       16    32  version: four dotted numbers ("7.8.12.1"), each 0..65535
//       48   128  description: printable ASCII, at most 127 characters
//      176     8  payload length in bytes
//      184    32  SHA-256 digest of the payload
//      216    40  zero
//
// The platform writes a file into an image slot only when every field holds:
// a file cut short, one with bytes after its payload, or one whose payload
// does not match its digest is refused as a switch refuses a bad checksum.
// `veltrum-fwimage` (sim/fwimage_main.cpp) builds and inspects image files.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace veltrum::fwimage {

inline constexpr size_t kHeaderSize = 256;
inline constexpr size_t kVersionSize = 32;
inline constexpr size_t kDescriptionSize = 128;
// The largest image the switch's flash takes.
inline constexpr uint64_t kMaxImageSize = 64ull << 20;

struct ImageInfo {
  std::string version;
  std::string description;
  uint64_t payload_size = 0;
};

enum class ImageError {
  None,
  Short,        // smaller than a header
  Magic,        // not an image file
  Format,       // a format or header size this switch does not know
  Version,      // no four dotted numbers
  Description,  // not printable, or not terminated
  Length,       // the payload is cut short, or followed by other bytes
  Checksum,     // the payload does not match its digest
  TooLarge,     // larger than the flash takes
};

const char *image_error_text(ImageError error);

// Checks a whole image file held in memory; fills `info` when it is valid.
ImageError check_image(std::string_view file, ImageInfo &info);

// "a.b.c.d" with four numbers of 0..65535 and nothing else.
bool valid_version(std::string_view version);

// A new image file of `payload`; the version must be valid and the
// description printable and shorter than kDescriptionSize
// (std::invalid_argument otherwise).
std::string build_image(std::string_view version, std::string_view description, std::string_view payload);

// The SHA-256 digest of `data` as 64 lower-case hexadecimal digits.
std::string sha256_hex(std::string_view data);

}  // namespace veltrum::fwimage
