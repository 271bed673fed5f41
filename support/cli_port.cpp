#include "support/cli_port.h"

#include <cstdlib>
#include <memory>

#include "support/device.h"
#include "support/files.h"

int read_cli_telnet_port(const std::string &root) {
  std::unique_ptr<char, decltype(&std::free)> text(load_file((root + CLI_TELNET_PORT_FILE).c_str()), &std::free);
  if (!text) return 0;
  char *end = nullptr;
  long port = std::strtol(text.get(), &end, 10);
  if (end == text.get() || (*end != '\0' && *end != '\n') || port < 1 || port > 65535) return 0;
  return static_cast<int>(port);
}

int write_cli_telnet_port(const std::string &root, int port) {
  return write_file_atomic(root + CLI_TELNET_PORT_FILE, std::to_string(port) + "\n");
}

int cli_telnet_port() {
  const std::string &root = device_root();
  if (root.empty()) return kCliTelnetPort;
  int port = read_cli_telnet_port(root);
  return port ? port : kCliTelnetPort;
}
