#include "sim/fw_image.h"

#include <openssl/evp.h>

#include <cstring>
#include <memory>
#include <stdexcept>

namespace veltrum::fwimage {

namespace {

constexpr char kMagic[8] = {'V', 'F', 'W', 'I', 'M', 'A', 'G', 'E'};
constexpr uint32_t kFormat = 1;
constexpr size_t kFormatAt = 8;
constexpr size_t kHeaderSizeAt = 12;
constexpr size_t kVersionAt = 16;
constexpr size_t kDescriptionAt = kVersionAt + kVersionSize;
constexpr size_t kLengthAt = kDescriptionAt + kDescriptionSize;
constexpr size_t kDigestAt = kLengthAt + 8;
constexpr size_t kDigestSize = 32;
static_assert(kDigestAt + kDigestSize <= kHeaderSize);

using Digest = std::array<uint8_t, kDigestSize>;

struct MdCtxFree {
  void operator()(EVP_MD_CTX *ctx) const { EVP_MD_CTX_free(ctx); }
};

Digest sha256(std::string_view data) {
  Digest out{};
  std::unique_ptr<EVP_MD_CTX, MdCtxFree> ctx(EVP_MD_CTX_new());
  unsigned int size = 0;
  if (!ctx || EVP_DigestInit_ex(ctx.get(), EVP_sha256(), nullptr) != 1 ||
      EVP_DigestUpdate(ctx.get(), data.data(), data.size()) != 1 ||
      EVP_DigestFinal_ex(ctx.get(), out.data(), &size) != 1 || size != kDigestSize)
    throw std::runtime_error("SHA-256 is not available");
  return out;
}

uint64_t read_le(std::string_view file, size_t at, size_t size) {
  uint64_t v = 0;
  for (size_t i = 0; i < size; ++i) v |= uint64_t{static_cast<uint8_t>(file[at + i])} << (8 * i);
  return v;
}

void write_le(std::string &out, size_t at, uint64_t v, size_t size) {
  for (size_t i = 0; i < size; ++i) out[at + i] = static_cast<char>((v >> (8 * i)) & 0xff);
}

// The NUL-padded text of a field; false when it fills the field without
// terminating or holds something after its end that is not padding.
bool field_text(std::string_view file, size_t at, size_t size, std::string &out) {
  std::string_view field = file.substr(at, size);
  size_t end = field.find('\0');
  if (end == std::string_view::npos) return false;
  if (field.find_first_not_of('\0', end) != std::string_view::npos) return false;
  out.assign(field.substr(0, end));
  return true;
}

bool printable(std::string_view text) {
  for (char c : text)
    if (c < 0x20 || c > 0x7e) return false;
  return true;
}

}  // namespace

const char *image_error_text(ImageError error) {
  switch (error) {
    case ImageError::None: return "valid image";
    case ImageError::Short: return "shorter than an image header";
    case ImageError::Magic: return "not a firmware image";
    case ImageError::Format: return "unknown image format";
    case ImageError::Version: return "invalid version in the header";
    case ImageError::Description: return "invalid description in the header";
    case ImageError::Length: return "payload length does not match the file";
    case ImageError::Checksum: return "payload checksum mismatch";
    case ImageError::TooLarge: return "larger than the flash takes";
  }
  return "invalid image";
}

bool valid_version(std::string_view version) {
  int parts = 0;
  size_t i = 0;
  while (i < version.size()) {
    size_t start = i;
    uint32_t value = 0;
    while (i < version.size() && version[i] >= '0' && version[i] <= '9' && i - start < 5)
      value = value * 10 + static_cast<uint32_t>(version[i++] - '0');
    if (i == start || value > 65535) return false;
    if (++parts == 4) return i == version.size();
    if (i >= version.size() || version[i] != '.') return false;
    ++i;
  }
  return false;
}

ImageError check_image(std::string_view file, ImageInfo &info) {
  if (file.size() > kMaxImageSize) return ImageError::TooLarge;
  if (file.size() < kHeaderSize) return ImageError::Short;
  if (std::memcmp(file.data(), kMagic, sizeof kMagic) != 0) return ImageError::Magic;
  if (read_le(file, kFormatAt, 4) != kFormat || read_le(file, kHeaderSizeAt, 4) != kHeaderSize)
    return ImageError::Format;
  ImageInfo found;
  if (!field_text(file, kVersionAt, kVersionSize, found.version) || !valid_version(found.version))
    return ImageError::Version;
  if (!field_text(file, kDescriptionAt, kDescriptionSize, found.description) || !printable(found.description))
    return ImageError::Description;
  found.payload_size = read_le(file, kLengthAt, 8);
  if (found.payload_size != file.size() - kHeaderSize) return ImageError::Length;
  Digest digest = sha256(file.substr(kHeaderSize));
  if (std::memcmp(digest.data(), file.data() + kDigestAt, kDigestSize) != 0) return ImageError::Checksum;
  info = std::move(found);
  return ImageError::None;
}

std::string build_image(std::string_view version, std::string_view description, std::string_view payload) {
  if (!valid_version(version)) throw std::invalid_argument("the version must be four dotted numbers of 0..65535");
  if (description.size() >= kDescriptionSize || !printable(description))
    throw std::invalid_argument("the description must be printable and shorter than 128 characters");
  if (kHeaderSize + payload.size() > kMaxImageSize) throw std::invalid_argument("the payload is too large");
  std::string out(kHeaderSize, '\0');
  std::memcpy(out.data(), kMagic, sizeof kMagic);
  write_le(out, kFormatAt, kFormat, 4);
  write_le(out, kHeaderSizeAt, kHeaderSize, 4);
  std::memcpy(out.data() + kVersionAt, version.data(), version.size());
  std::memcpy(out.data() + kDescriptionAt, description.data(), description.size());
  write_le(out, kLengthAt, payload.size(), 8);
  Digest digest = sha256(payload);
  std::memcpy(out.data() + kDigestAt, digest.data(), kDigestSize);
  out.append(payload);
  return out;
}

std::string sha256_hex(std::string_view data) {
  static const char kHex[] = "0123456789abcdef";
  Digest digest = sha256(data);
  std::string out;
  for (uint8_t b : digest) {
    out.push_back(kHex[b >> 4]);
    out.push_back(kHex[b & 15]);
  }
  return out;
}

}  // namespace veltrum::fwimage
