// The simulated switch's firmware in-process: the image format's checks, the
// image slots' refusals and life cycle (a reload boots the image marked
// next, the flash outlives the service), and the files of the firmware the
// update server offers. The flows over HTTP are in
// tests/integration/firmware_test.cpp.
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "core/platform_client.h"
#include "platform/calls/07_firmware.h"
#include "platform/calls/08_files.h"
#include "sim/fw_image.h"
#include "tests/common/sim_fixture.h"

namespace {

using veltrum::fwimage::ImageError;
using veltrum::test::InProcessSim;

open_buffdesc text(const char *s) { return {static_cast<uint32_t>(std::strlen(s) + 1), const_cast<char *>(s)}; }

std::string read_file(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream out;
  out << in.rdbuf();
  return out.str();
}

ImageError check(const std::string &file) {
  veltrum::fwimage::ImageInfo info;
  return veltrum::fwimage::check_image(file, info);
}

TEST(FirmwareImageFormat, RefusesWhatIsNotAWholeValidImage) {
  std::string image = veltrum::fwimage::build_image("7.8.12.1", "Release 7.8.12", std::string(1000, 'x'));
  veltrum::fwimage::ImageInfo info;
  ASSERT_EQ(veltrum::fwimage::check_image(image, info), ImageError::None);
  EXPECT_EQ(info.version, "7.8.12.1");
  EXPECT_EQ(info.description, "Release 7.8.12");
  EXPECT_EQ(info.payload_size, 1000u);

  EXPECT_EQ(check(image.substr(0, 100)), ImageError::Short);
  EXPECT_EQ(check(image.substr(0, image.size() - 1)), ImageError::Length);
  EXPECT_EQ(check(image + "y"), ImageError::Length);
  std::string flipped = image;
  flipped[600] ^= 1;
  EXPECT_EQ(check(flipped), ImageError::Checksum);
  std::string magic = image;
  magic[0] = 'X';
  EXPECT_EQ(check(magic), ImageError::Magic);
  std::string format = image;
  format[8] = 2;
  EXPECT_EQ(check(format), ImageError::Format);
  for (const char *bad : {"7.8.12", "7.8.12.1.5", "7.8.x.1", "70000.1.1.1", "7..12.1"}) {
    std::string version = image;
    std::memset(version.data() + 16, 0, 32);
    std::memcpy(version.data() + 16, bad, std::strlen(bad));
    EXPECT_EQ(check(version), ImageError::Version) << bad;
  }
  std::string unterminated = image;
  std::memset(unterminated.data() + 48, 'd', 128);
  EXPECT_EQ(check(unterminated), ImageError::Description);

  EXPECT_THROW(veltrum::fwimage::build_image("7.8", "", ""), std::invalid_argument);
  EXPECT_THROW(veltrum::fwimage::build_image("1.2.3.4", "line\nbreak", ""), std::invalid_argument);
}

// The image slots as the agent sees them through the platform calls.
class SimFirmware : public ::testing::Test {
 protected:
  struct Slots {
    std::string version1, version2, current, next;
  };
  Slots slots() {
    char t[4][OPEN_IMAGE_LABEL_SIZE] = {};
    open_buffdesc d[4];
    for (int i = 0; i < 4; ++i) d[i] = {OPEN_IMAGE_LABEL_SIZE, t[i]};
    EXPECT_EQ(rpcclt_openapiImageVersionAndNameGet(sim_.client(), 1, &d[0], &d[1], &d[2], &d[3]), OPEN_E_NONE);
    return {t[0], t[1], t[2], t[3]};
  }
  // An image file of `version` under the device root; its switch path.
  std::string image_file(const std::string &version, const std::string &name = "/tmp/new.vfw") {
    std::ofstream(sim_.root() + name, std::ios::binary)
        << veltrum::fwimage::build_image(version, "Build " + version, std::string(4096, 'p'));
    return name;
  }
  open_error_t upgrade(const std::string &path, const char *label) {
    open_buffdesc p = text(path.c_str());
    open_buffdesc l = text(label);
    return rpcclt_openapiImageUpgrade(sim_.client(), &p, &l);
  }
  open_error_t activate(const char *label, uint32_t unit = 1) {
    open_buffdesc l = text(label);
    return rpcclt_openapiImageActivate(sim_.client(), unit, &l, OPEN_FALSE);
  }
  open_error_t remove(const char *label) {
    open_buffdesc l = text(label);
    return rpcclt_openapiImageDelete(sim_.client(), 1, &l);
  }
  open_error_t copy(const char *from, const char *to) {
    open_buffdesc f = text(from);
    open_buffdesc t = text(to);
    return rpcclt_openapiFileCopy(sim_.client(), 1, &f, &t);
  }
  std::pair<open_error_t, std::string> description(const char *label) {
    char out[OPEN_IMAGE_DESCR_SIZE] = {};
    open_buffdesc l = text(label);
    open_buffdesc d{sizeof out, out};
    open_error_t rc = rpcclt_openapiImageDescrGet(sim_.client(), &l, &d);
    return {rc, out};
  }

  InProcessSim sim_;
};

TEST_F(SimFirmware, RefusalsLeaveTheSlotsAsTheyWere) {
  Slots factory = slots();
  EXPECT_EQ(factory.version1, "7.8.11.19");
  EXPECT_EQ(factory.version2, "7.8.10.4");
  EXPECT_EQ(factory.current, "image1");
  EXPECT_EQ(factory.next, "image1");

  EXPECT_EQ(activate("image3"), OPEN_E_PARAM);
  EXPECT_EQ(activate("image2", 2), OPEN_E_PARAM);
  EXPECT_EQ(activate("image1"), OPEN_E_EXISTS);  // runs and boots next already
  EXPECT_EQ(remove("image1"), OPEN_E_INUSE);     // the running image
  EXPECT_EQ(upgrade(image_file("7.9.0.1"), "image1"), OPEN_E_INUSE);
  EXPECT_EQ(upgrade("tmp/new.vfw", "image2"), OPEN_E_PARAM);
  EXPECT_EQ(upgrade("/tmp/none.vfw", "image2"), OPEN_E_NOT_FOUND);
  EXPECT_EQ(copy("image2", "image2"), OPEN_E_PARAM);
  EXPECT_EQ(copy("image2", "image1"), OPEN_E_INUSE);

  // A corrupt and a truncated file are refused as a bad checksum.
  std::string good = read_file(sim_.root() + image_file("7.9.0.1"));
  std::string corrupt = good;
  corrupt[corrupt.size() - 10] ^= 0x40;
  std::ofstream(sim_.root() + "/tmp/corrupt.vfw", std::ios::binary) << corrupt;
  std::ofstream(sim_.root() + "/tmp/short.vfw", std::ios::binary) << good.substr(0, good.size() / 2);
  EXPECT_EQ(upgrade("/tmp/corrupt.vfw", "image2"), OPEN_E_FAIL);
  EXPECT_EQ(upgrade("/tmp/short.vfw", "image2"), OPEN_E_FAIL);

  Slots after = slots();
  EXPECT_EQ(after.version1, factory.version1);
  EXPECT_EQ(after.version2, factory.version2);
  EXPECT_EQ(after.next, "image1");
}

TEST_F(SimFirmware, UpgradeActivateReloadDeleteAndCopy) {
  ASSERT_EQ(upgrade(image_file("7.9.0.1"), "image2"), OPEN_E_NONE);
  EXPECT_EQ(slots().version2, "7.9.0.1");
  EXPECT_EQ(description("image2"), std::make_pair(OPEN_E_NONE, std::string("Build 7.9.0.1")));

  ASSERT_EQ(activate("image2"), OPEN_E_NONE);
  EXPECT_EQ(activate("image2"), OPEN_E_NONE);  // marked again: still only marked
  EXPECT_EQ(remove("image2"), OPEN_E_INUSE);   // boots next
  Slots marked = slots();
  EXPECT_EQ(marked.current, "image1");
  EXPECT_EQ(marked.next, "image2");

  ASSERT_EQ(rpcclt_openapiSystemReload(sim_.client()), OPEN_E_NONE);
  // The service goes away for the reboot and comes back.
  auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (rpcclt_openapiConnectivityCheck(sim_.client()) != OPEN_E_NONE && std::chrono::steady_clock::now() < deadline)
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  Slots rebooted = slots();
  EXPECT_EQ(rebooted.current, "image2");
  EXPECT_EQ(rebooted.next, "image2");

  // The old image no longer runs: it can go, once.
  ASSERT_EQ(remove("image1"), OPEN_E_NONE);
  EXPECT_EQ(remove("image1"), OPEN_E_EMPTY);
  EXPECT_EQ(slots().version1, "");
  EXPECT_EQ(description("image1"), std::make_pair(OPEN_E_EMPTY, std::string()));
  EXPECT_EQ(activate("image1"), OPEN_E_EMPTY);
  open_buffdesc l = text("image1");
  open_buffdesc d = text("anything");
  EXPECT_EQ(rpcclt_openapiImageDescrSet(sim_.client(), &l, &d), OPEN_E_EMPTY);

  // A copy fills the slot again with the image and its description.
  ASSERT_EQ(copy("image2", "image1"), OPEN_E_NONE);
  EXPECT_EQ(slots().version1, "7.9.0.1");
  open_buffdesc own = text("kept by the copy");
  ASSERT_EQ(rpcclt_openapiImageDescrSet(sim_.client(), &l, &own), OPEN_E_NONE);
  EXPECT_EQ(copy("image1", "image2"), OPEN_E_INUSE);  // image2 runs now
  EXPECT_EQ(description("image1").second, "kept by the copy");
  std::string long_text(OPEN_IMAGE_DESCR_SIZE, 'd');
  open_buffdesc too_long = text(long_text.c_str());
  EXPECT_EQ(rpcclt_openapiImageDescrSet(sim_.client(), &l, &too_long), OPEN_E_PARAM);
}

TEST_F(SimFirmware, TheFlashOutlivesTheServiceAndItsConfiguration) {
  ASSERT_EQ(upgrade(image_file("7.9.0.1"), "image2"), OPEN_E_NONE);
  ASSERT_EQ(activate("image2"), OPEN_E_NONE);
  sim_.factory_reset();
  EXPECT_EQ(slots().next, "image2");

  // A second service on the same root finds the flash as it was left, and
  // its start is a boot.
  veltrum::sim::SimOptions options;
  options.root = sim_.root();
  veltrum::sim::Sim restarted(options);
  restarted.load_config();
  const auto &images = restarted.images();
  ASSERT_EQ(images.size(), 2u);
  EXPECT_EQ(images[1].version, "7.9.0.1");
  EXPECT_EQ(images[1].description, "Build 7.9.0.1");
  EXPECT_TRUE(images[1].active);
  EXPECT_TRUE(images[1].next_active);
  EXPECT_FALSE(images[0].active);

  // A slot whose file went bad is empty at the next start.
  std::filesystem::resize_file(sim_.root() + "/mnt/images/image1", 300);
  veltrum::sim::Sim damaged(options);
  EXPECT_EQ(damaged.images()[0].version, "");
}

TEST_F(SimFirmware, TheOfferIsWrittenForTheAgentAndGoneAfterAReload) {
  std::string dir = sim_.root() + "/tmp/fw";
  ASSERT_EQ(sim_.set("firmware_offer",
                     R"({"key":[1],"record":{"file":"vsw-7.9.0.1.vfw","version":"7.9.0.1","sha256":"ab12","size":4352}})"),
            OPEN_E_NONE);
  EXPECT_EQ(read_file(dir + "/fw_write_image"), "vsw-7.9.0.1.vfw\n");
  EXPECT_EQ(read_file(dir + "/fw_write_magic"), "ab12\n");
  EXPECT_EQ(read_file(dir + "/fw_write_size"), "4352\n");
  EXPECT_EQ(read_file(dir + "/fw_write_version"), "7.9.0.1\n");

  std::ofstream(dir + "/image") << "partial";
  sim_.reload();
  EXPECT_FALSE(std::filesystem::exists(dir));

  char model[16] = {};
  open_buffdesc m{sizeof model, model};
  ASSERT_EQ(rpcclt_openapiSystemRegMachineModelGet(sim_.client(), &m), OPEN_E_NONE);
  EXPECT_STREQ(model, "VSW-2428P");
  open_buffdesc small{4, model};
  EXPECT_EQ(rpcclt_openapiSystemRegMachineModelGet(sim_.client(), &small), OPEN_E_BUFFER);
}

}  // namespace
