// veltrum-fwimage: builds and inspects firmware image files (sim/fw_image.h).
//
//   veltrum-fwimage build --version V [--description TEXT]
//                         (--payload FILE | --payload-size BYTES) --out FILE
//   veltrum-fwimage info FILE
//   veltrum-fwimage offer FILE
//
// "build" writes an image of the payload (a given file, or BYTES of
// pseudo-random data that depend on the version only, so a build is
// repeatable). "info" checks an image as the switch does and prints
// {"version", "description", "size", "sha256"}: the size and the SHA-256
// digest are those of the whole file, as an update server announces them.
// "offer" prints the simulator's "firmware_offer" row for the file
// ({"key": [1], "record": {"file", "version", "sha256", "size"}}), which
// `veltrum-simctl set firmware_offer` takes: the platform then tells the
// agent to fetch that file from the update server.
// An invalid image is reported on standard error, with exit status 1.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>

#include <json-c/json.h>

#include "sim/fw_image.h"
#include "support/files.h"
#include "support/json_ptr.h"

namespace {

[[noreturn]] void usage() {
  std::fprintf(stderr,
               "usage: veltrum-fwimage build --version V [--description TEXT] "
               "(--payload FILE | --payload-size BYTES) --out FILE\n"
               "       veltrum-fwimage info FILE\n"
               "       veltrum-fwimage offer FILE\n");
  std::exit(2);
}

[[noreturn]] void fail(const std::string &message) {
  std::fprintf(stderr, "veltrum-fwimage: %s\n", message.c_str());
  std::exit(1);
}

bool read_whole(const std::string &path, std::string &out) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  std::ostringstream text;
  text << in.rdbuf();
  out = text.str();
  return !in.bad();
}

std::string generated_payload(const std::string &version, uint64_t size) {
  uint64_t state = 0x9e3779b97f4a7c15ull;
  for (char c : version) state = (state ^ static_cast<uint8_t>(c)) * 0x100000001b3ull;
  std::string out(size, '\0');
  for (char &c : out) {
    state ^= state << 13;
    state ^= state >> 7;
    state ^= state << 17;
    c = static_cast<char>(state & 0xff);
  }
  return out;
}

int build(int argc, char **argv) {
  std::string version, description, payload_path, out_path;
  long long payload_size = -1;
  for (int i = 2; i < argc; ++i) {
    std::string a = argv[i];
    if (i + 1 >= argc) usage();
    std::string v = argv[++i];
    if (a == "--version") {
      version = v;
    } else if (a == "--description") {
      description = v;
    } else if (a == "--payload") {
      payload_path = v;
    } else if (a == "--payload-size") {
      char *end = nullptr;
      payload_size = std::strtoll(v.c_str(), &end, 10);
      if (v.empty() || *end || payload_size < 0) usage();
    } else if (a == "--out") {
      out_path = v;
    } else {
      usage();
    }
  }
  if (version.empty() || out_path.empty() || payload_path.empty() == (payload_size < 0)) usage();
  std::string payload;
  if (!payload_path.empty()) {
    if (!read_whole(payload_path, payload)) fail("cannot read " + payload_path);
  } else {
    if (static_cast<uint64_t>(payload_size) > veltrum::fwimage::kMaxImageSize) fail("the payload is too large");
    payload = generated_payload(version, static_cast<uint64_t>(payload_size));
  }
  std::string image;
  try {
    image = veltrum::fwimage::build_image(version, description, payload);
  } catch (const std::invalid_argument &e) {
    fail(e.what());
  }
  if (write_file_atomic(out_path, image) != 0) fail("cannot write " + out_path);
  return 0;
}

int describe(int argc, char **argv, bool as_offer) {
  if (argc != 3) usage();
  std::string file;
  if (!read_whole(argv[2], file)) fail(std::string("cannot read ") + argv[2]);
  veltrum::fwimage::ImageInfo image;
  veltrum::fwimage::ImageError error = veltrum::fwimage::check_image(file, image);
  if (error != veltrum::fwimage::ImageError::None)
    fail(std::string(argv[2]) + ": " + veltrum::fwimage::image_error_text(error));
  JsonPtr out(json_object_new_object());
  if (as_offer) {
    std::string name = argv[2];
    name = name.substr(name.find_last_of('/') + 1);
    json_object_object_add(out.get(), "file", json_object_new_string(name.c_str()));
  }
  json_object_object_add(out.get(), "version", json_object_new_string(image.version.c_str()));
  if (!as_offer)
    json_object_object_add(out.get(), "description", json_object_new_string(image.description.c_str()));
  json_object_object_add(out.get(), "size", json_object_new_int64(static_cast<int64_t>(file.size())));
  json_object_object_add(out.get(), "sha256", json_object_new_string(veltrum::fwimage::sha256_hex(file).c_str()));
  if (as_offer) {
    JsonPtr row(json_object_new_object());
    json_object *key = json_object_new_array();
    json_object_array_add(key, json_object_new_int(1));
    json_object_object_add(row.get(), "key", key);
    json_object_object_add(row.get(), "record", json_object_get(out.get()));
    out = std::move(row);
  }
  std::printf("%s\n", json_text(out.get()).c_str());
  return 0;
}

}  // namespace

int main(int argc, char **argv) {
  if (argc < 2) usage();
  if (std::strcmp(argv[1], "build") == 0) return build(argc, argv);
  if (std::strcmp(argv[1], "info") == 0) return describe(argc, argv, false);
  if (std::strcmp(argv[1], "offer") == 0) return describe(argc, argv, true);
  usage();
}
