#include <unordered_map>

#include "platform/family.h"

namespace veltrum::rpc {

namespace {
std::unordered_map<const void *, const char *> &names() {
  static std::unordered_map<const void *, const char *> all;
  return all;
}
}  // namespace

void register_stub_names(const StubName *list, size_t count) {
  for (size_t i = 0; i < count; ++i) names().emplace(list[i].stub, list[i].name);
}

const char *stub_name(const void *stub) {
  auto it = names().find(stub);
  return it == names().end() ? nullptr : it->second;
}

}  // namespace veltrum::rpc
