// Network isolation for tests that run probes and name lookups: the test
// process, and so the simulator and agent it starts, moves into network and
// mount namespaces of its own before the first test. There the only
// interface is a loopback (brought up), /etc/hosts is the test's own, and
// /etc/resolv.conf points at 127.0.0.1, where nothing answers. No ping,
// trace or lookup of such a test can leave the machine, and a lookup of an
// unknown name fails at once.
//
//   // in the test file, at namespace scope:
//   const auto *kIsolation = veltrum::test::IsolatedNetwork::install(
//       "127.0.0.1 localhost\n::1 localhost\n");
//   // in each fixture's SetUp:
//   if (!IsolatedNetwork::active()) GTEST_SKIP() << IsolatedNetwork::why();
//
// Making the namespaces needs root (CI runs as root); without it the tests
// skip and say why.
#pragma once

#include <string>

#include <gtest/gtest.h>

namespace veltrum::test {

class IsolatedNetwork : public ::testing::Environment {
 public:
  // Registers the environment with GoogleTest; `hosts` becomes /etc/hosts.
  static const IsolatedNetwork *install(std::string hosts);
  static bool active();
  static const std::string &why();  // why the isolation could not be made

  void SetUp() override;

 private:
  explicit IsolatedNetwork(std::string hosts) : hosts_(std::move(hosts)) {}
  std::string hosts_;
};

}  // namespace veltrum::test
