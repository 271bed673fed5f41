// Firmware: the switch's two image slots, their upgrade, and what the
// platform tells the agent about the firmware its update server offers.
//
// Flash. Each slot of Sim::images() holds an image file at
// "/mnt/images/<label>" under the device root, and "/mnt/images/slots.json"
// records which image runs, which boots next and each slot's description.
// At the first start the flash gets the factory images (the records the
// model starts with, as real image files); later starts read it back, and a
// slot whose file is missing or invalid is empty. Neither a reload nor a
// factory reset touches the flash.
//
// Booting (the service's start and every reload) runs the image marked next:
// it becomes the active image, and its version is what the switch runs.
//
// What the platform refuses (see platform/calls/07_firmware.h): a label that
// names no slot, a unit other than 1, an image file that is not a valid
// image (OPEN_E_FAIL, the slot unchanged), overwriting the running image,
// deleting the running image or the one that boots next, anything on an
// empty slot but an upgrade or a copy into it.
//
// The firmware offered by the update server. On a switch the platform's
// cloud component learns which firmware file the switch should fetch and
// writes "/tmp/fw/fw_write_image" (the file name), "/tmp/fw/fw_write_magic"
// (its SHA-256 digest), "/tmp/fw/fw_write_size" (its size) and, for the
// agent's update check, "/tmp/fw/fw_write_version" (its version). Here the
// offer is the row of the dynamic table "firmware_offer" (key [1], record
// {"file", "version", "sha256", "size"}), which tests and the run script
// write through the control tool; the files follow it. /tmp is the switch's
// RAM: a reload clears "/tmp/fw" (and the dynamic table), a factory reset
// the offer.
//
// The machine model is the dynamic setting "machine.model".
#include <sys/stat.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>

#include "platform/calls/07_firmware.h"
#include "sim/bind.h"
#include "sim/features/common.h"
#include "sim/fw_image.h"
#include "support/files.h"
#include "support/json_ptr.h"
#include "support/log.h"

namespace veltrum::sim {

namespace {

using namespace calls::firmware;

constexpr uint32_t kLocalUnit = 1;
constexpr const char *kFlashDir = "/mnt/images";
constexpr const char *kFlashRecord = "/mnt/images/slots.json";
constexpr const char *kOfferDir = "/tmp/fw";
constexpr const char *kOfferTable = "firmware_offer";
constexpr const char *kModelKey = "machine.model";
constexpr size_t kMaxDescription = OPEN_IMAGE_DESCR_SIZE - 1;
constexpr uint64_t kFactoryPayloadSize = 64 * 1024;

const SettingSpec kModel{.key = kModelKey, .initial = std::string("VSW-2428P"), .min = 1, .max = 255,
                         .persist = false};
const TableSpec kOffer{kOfferTable, 1, false};

class Flash {
 public:
  explicit Flash(Sim &sim) : sim_(sim) {}

  std::string path(const std::string &relative) const { return sim_.options().root + relative; }
  std::string image_path(const FirmwareImage &slot) const { return path(std::string(kFlashDir) + "/" + slot.label); }

  FirmwareImage *slot(const open_buffdesc *label) {
    std::string text = buffer_text(label);
    for (auto &image : sim_.images())
      if (image.label == text) return &image;
    return nullptr;
  }

  // Reads the flash back, or lays the factory images down on a new one.
  void load() {
    std::string record_path = path(kFlashRecord);
    if (!exists(record_path.c_str())) {
      for (auto &image : sim_.images()) {
        if (image.version.empty()) continue;
        std::string payload(kFactoryPayloadSize, '\0');
        for (size_t i = 0; i < payload.size(); ++i) payload[i] = static_cast<char>((i * 131 + image.version.size()) & 0xff);
        write_file_atomic(image_path(image), fwimage::build_image(image.version, image.description, payload));
      }
      save();
      return;
    }
    JsonPtr record(json_object_from_file(record_path.c_str()));
    if (!record) agent_log(1, "%s is unreadable, the image slots keep their files only", record_path.c_str());
    json_object *descriptions = nullptr;
    if (record) json_object_object_get_ex(record.get(), "descriptions", &descriptions);
    std::string active = member_text(record.get(), "active");
    std::string next = member_text(record.get(), "next");
    for (auto &image : sim_.images()) {
      fwimage::ImageInfo info;
      image.version = read_image(image_path(image), info) ? info.version : "";
      image.description = image.version.empty() ? "" : member_text(descriptions, image.label.c_str());
      image.active = image.label == active;
      image.next_active = image.label == next;
    }
    settle();
  }

  // Writes the flash's record of the slots.
  void save() const {
    JsonPtr record(json_object_new_object());
    JsonPtr descriptions(json_object_new_object());
    for (const auto &image : sim_.images()) {
      if (image.active) json_object_object_add(record.get(), "active", json_object_new_string(image.label.c_str()));
      if (image.next_active) json_object_object_add(record.get(), "next", json_object_new_string(image.label.c_str()));
      json_object_object_add(descriptions.get(), image.label.c_str(), json_object_new_string(image.description.c_str()));
    }
    json_object_object_add(record.get(), "descriptions", json_object_get(descriptions.get()));
    if (write_file_atomic(path(kFlashRecord), json_text(record.get()) + "\n") != 0)
      agent_log(1, "cannot write %s", path(kFlashRecord).c_str());
  }

  // A boot: the image marked next runs.
  void boot() {
    for (auto &image : sim_.images()) image.active = image.next_active;
    settle();
    save();
    std::error_code ignored;
    std::filesystem::remove_all(path(kOfferDir), ignored);
  }

  std::vector<FirmwareImage> &images() { return sim_.images(); }

  // Writes an image file into a slot that does not run: the file must be a
  // whole, well-formed image (its checksum right), as a switch checks it.
  open_error_t upgrade(FirmwareImage &slot, const std::string &file) {
    if (slot.active) return OPEN_E_INUSE;
    if (!exists(file.c_str())) return OPEN_E_NOT_FOUND;
    fwimage::ImageInfo info;
    fwimage::ImageError why = fwimage::ImageError::Short;
    if (!read_image(file, info, &why)) {
      agent_log(4, "image upgrade of %s refused: %s", slot.label.c_str(), fwimage::image_error_text(why));
      return OPEN_E_FAIL;
    }
    return write(slot, file, info) ? OPEN_E_NONE : OPEN_E_INTERNAL;
  }

  // Whether a file is a valid image; its header in `info`.
  static bool read_image(const std::string &file, fwimage::ImageInfo &info, fwimage::ImageError *why = nullptr) {
    struct stat st {};
    if (::stat(file.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) return false;
    fwimage::ImageError error = fwimage::ImageError::TooLarge;
    if (static_cast<uint64_t>(st.st_size) <= fwimage::kMaxImageSize) {
      std::ifstream in(file, std::ios::binary);
      std::ostringstream bytes;
      bytes << in.rdbuf();
      error = in.bad() ? fwimage::ImageError::Short : fwimage::check_image(bytes.str(), info);
    }
    if (why) *why = error;
    return error == fwimage::ImageError::None;
  }

  // Writes `file` (already checked) into `slot`.
  bool write(FirmwareImage &slot, const std::string &file, const fwimage::ImageInfo &info) {
    if (copy_file(file.c_str(), image_path(slot).c_str()) != 0) return false;
    slot.version = info.version;
    slot.description = info.description;
    save();
    return true;
  }

 private:
  static std::string member_text(json_object *object, const char *key) {
    json_object *value = nullptr;
    if (!object || !json_object_object_get_ex(object, key, &value) || !json_object_is_type(value, json_type_string))
      return {};
    return json_object_get_string(value);
  }

  // Exactly one image runs and one boots next, each holding a file: what a
  // damaged record or a missing file leaves otherwise is set right.
  void settle() {
    auto &images = sim_.images();
    auto usable = [](const FirmwareImage &i) { return !i.version.empty(); };
    FirmwareImage *active = nullptr;
    for (auto &i : images)
      if (i.active && usable(i) && !active) active = &i;
    for (auto &i : images)
      if (!active && usable(i)) active = &i;
    FirmwareImage *next = nullptr;
    for (auto &i : images)
      if (i.next_active && usable(i) && !next) next = &i;
    if (!next) next = active;
    for (auto &i : images) {
      i.active = &i == active;
      i.next_active = &i == next;
    }
  }

  Sim &sim_;
};

// The files under "/tmp/fw" that tell the agent what to fetch, from the
// offer's row (none without a row). The control tool writes the row: a
// member it left out gives an empty file, which the agent refuses as it
// would a damaged offer.
void write_offer_files(Sim &sim, const Table &offer) {
  std::string dir = sim.options().root + kOfferDir;
  const char *names[] = {"fw_write_image", "fw_write_magic", "fw_write_size", "fw_write_version"};
  const auto *row = offer.next({});
  if (!row) {
    for (const char *name : names) std::remove((dir + "/" + name).c_str());
    return;
  }
  const Record &r = row->second;
  std::string texts[] = {record_text(r, "file"), record_text(r, "sha256"), std::to_string(record_integer(r, "size")),
                         record_text(r, "version")};
  for (size_t i = 0; i < std::size(names); ++i)
    if (write_file_atomic(dir + "/" + names[i], texts[i] + "\n") != 0)
      agent_log(1, "cannot write %s/%s", dir.c_str(), names[i]);
}

}  // namespace

VELTRUM_SIM_PART(firmware, kFamily) {
  auto flash = std::make_shared<Flash>(sim);
  if (make_dirs(flash->path(kFlashDir)) != 0) agent_log(1, "cannot create %s", flash->path(kFlashDir).c_str());
  flash->load();
  sim.on_boot([flash](Sim &) { flash->boot(); });

  SettingRef model = sim.store().define(kModel);
  const Table &offer = sim.store().define_table(kOffer);
  sim.on_state_set([&offer](Sim &s, const std::string &name) {
    if (name == kOfferTable) write_offer_files(s, offer);
  });
  sim.on_factory_defaults([&offer](Sim &s) { write_offer_files(s, offer); });

  sim.implement<CallId::rpcclt_openapiSystemLocalUnitGet>([](openapiClientHandle_t *, uint32_t *unit) {
    if (!unit) return OPEN_E_PARAM;
    *unit = kLocalUnit;
    return OPEN_E_NONE;
  });
  sim.implement<CallId::rpcclt_openapiSystemRegMachineModelGet>([model](openapiClientHandle_t *, open_buffdesc *out) {
    return fill_text(out, model.text());
  });
  // A code file a transfer brought in goes into its slot as an upgrade does.
  sim.set_image_writer([flash](Sim &, const std::string &label, const std::string &file) {
    for (auto &slot : flash->images())
      if (slot.label == label) return flash->upgrade(slot, file);
    return OPEN_E_PARAM;
  });

  sim.implement<CallId::rpcclt_openapiImageLabelsGet>(
      [&sim](openapiClientHandle_t *, open_buffdesc *image1, open_buffdesc *image2) {
        if (open_error_t rc = fill_text(image1, sim.images()[0].label)) return rc;
        return fill_text(image2, sim.images()[1].label);
      });
  sim.implement<CallId::rpcclt_openapiImageLabelIsValid>([flash](openapiClientHandle_t *, const open_buffdesc *label) {
    return flash->slot(label) ? OPEN_E_NONE : OPEN_E_NOT_FOUND;
  });
  sim.implement<CallId::rpcclt_openapiImageFileNameMaxLengthGet>([](openapiClientHandle_t *, uint32_t *length) {
    if (!length) return OPEN_E_PARAM;
    *length = OPEN_IMAGE_LABEL_SIZE - 1;
    return OPEN_E_NONE;
  });

  sim.implement<CallId::rpcclt_openapiImageDescrGet>(
      [flash](openapiClientHandle_t *, const open_buffdesc *label, open_buffdesc *descr) {
        const FirmwareImage *slot = flash->slot(label);
        if (!slot) return OPEN_E_PARAM;
        if (open_error_t rc = fill_text(descr, slot->description)) return rc;
        return slot->description.empty() ? OPEN_E_EMPTY : OPEN_E_NONE;
      });
  sim.implement<CallId::rpcclt_openapiImageDescrSet>(
      [flash](openapiClientHandle_t *, const open_buffdesc *label, const open_buffdesc *descr) {
        FirmwareImage *slot = flash->slot(label);
        std::string text = buffer_text(descr);
        if (!slot || text.size() > kMaxDescription || !text_matches(TextSyntax::ANY, text)) return OPEN_E_PARAM;
        if (slot->version.empty()) return OPEN_E_EMPTY;
        slot->description = text;
        flash->save();
        return OPEN_E_NONE;
      });

  sim.implement<CallId::rpcclt_openapiImageNamesGet>([&sim](openapiClientHandle_t *, uint32_t unit, open_buffdesc *v1,
                                                            open_buffdesc *v2, open_buffdesc *active) {
    if (unit != kLocalUnit) return OPEN_E_PARAM;
    const auto &images = sim.images();
    std::string running;
    for (const auto &i : images)
      if (i.active) running = i.label;
    if (open_error_t rc = fill_text(v1, images[0].version)) return rc;
    if (open_error_t rc = fill_text(v2, images[1].version)) return rc;
    return fill_text(active, running);
  });
  sim.implement<CallId::rpcclt_openapiImageVersionAndNameGet>(
      [&sim](openapiClientHandle_t *, uint32_t unit, open_buffdesc *v1, open_buffdesc *v2, open_buffdesc *current,
             open_buffdesc *next) {
        if (unit != kLocalUnit) return OPEN_E_PARAM;
        const auto &images = sim.images();
        std::string running, booting;
        for (const auto &i : images) {
          if (i.active) running = i.label;
          if (i.next_active) booting = i.label;
        }
        if (open_error_t rc = fill_text(v1, images[0].version)) return rc;
        if (open_error_t rc = fill_text(v2, images[1].version)) return rc;
        if (open_error_t rc = fill_text(current, running)) return rc;
        return fill_text(next, booting);
      });

  sim.implement<CallId::rpcclt_openapiImageActivate>(
      [&sim, flash](openapiClientHandle_t *, uint32_t unit, const open_buffdesc *label, OPEN_BOOL_t updateBootCode) {
        FirmwareImage *slot = flash->slot(label);
        if (unit != kLocalUnit || !slot || updateBootCode > OPEN_TRUE) return OPEN_E_PARAM;
        if (slot->version.empty()) return OPEN_E_EMPTY;
        if (slot->active && slot->next_active) return OPEN_E_EXISTS;
        for (auto &i : sim.images()) i.next_active = &i == slot;
        flash->save();
        return OPEN_E_NONE;
      });
  sim.implement<CallId::rpcclt_openapiImageDelete>(
      [flash](openapiClientHandle_t *, uint32_t unit, const open_buffdesc *label) {
        FirmwareImage *slot = flash->slot(label);
        if (unit != kLocalUnit || !slot) return OPEN_E_PARAM;
        if (slot->version.empty()) return OPEN_E_EMPTY;
        if (slot->active || slot->next_active) return OPEN_E_INUSE;
        std::remove(flash->image_path(*slot).c_str());
        slot->version.clear();
        slot->description.clear();
        flash->save();
        return OPEN_E_NONE;
      });

  sim.implement<CallId::rpcclt_openapiImageUpgrade>(
      [&sim, flash](openapiClientHandle_t *, const open_buffdesc *path, const open_buffdesc *label) {
        FirmwareImage *slot = flash->slot(label);
        std::string file = buffer_text(path);
        if (!slot || file.empty() || file[0] != '/') return OPEN_E_PARAM;
        return flash->upgrade(*slot, sim.options().root + file);
      });
  sim.implement<CallId::rpcclt_openapiFileCopy>([flash](openapiClientHandle_t *, uint32_t unit,
                                                        const open_buffdesc *source, const open_buffdesc *destination) {
    FirmwareImage *from = flash->slot(source);
    FirmwareImage *to = flash->slot(destination);
    if (unit != kLocalUnit || !from || !to || from == to) return OPEN_E_PARAM;
    if (from->version.empty()) return OPEN_E_EMPTY;
    if (to->active) return OPEN_E_INUSE;
    fwimage::ImageInfo info;
    if (!Flash::read_image(flash->image_path(*from), info)) return OPEN_E_INTERNAL;
    info.description = from->description;
    return flash->write(*to, flash->image_path(*from), info) ? OPEN_E_NONE : OPEN_E_INTERNAL;
  });
}

}  // namespace veltrum::sim
