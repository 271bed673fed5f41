#include "core/mgmt_address.h"

#include <arpa/inet.h>

#include "core/platform_client.h"
#include "support/log.h"
#include "support/mem.h"

int mgmt_ipv4_address_get(char *buffer, size_t size) {
  if (!buffer) return -1;

  uint32_t vlan = 0;
  if (rpcclt_openapiNetworkMgmtVlanGet(&g_client_handle, &vlan) != OPEN_E_NONE) {
    agent_log(1, "Failed to get managment vlan");
    return -1;
  }

  uint32_t if_num = 0;
  if (rpcclt_openapiRtrVlanIntfIfNumGet(&g_client_handle, vlan, &if_num) != OPEN_E_NONE)
    agent_log(7, "Failed to get or No router interface of Mgmt Vlan Id %d", static_cast<int>(vlan));

  open_inet_addr_t routed{};
  uint32_t prefix_length = 0;
  open_error_t rc = rpcclt_openapiRtrIntfIpAddrGet(&g_client_handle, OPEN_AF_INET, if_num, &routed, &prefix_length);

  uint32_t host_order = 0;
  if (if_num != 0 && rc != OPEN_E_UNAVAIL) {
    host_order = routed.addr.ipv4;
  } else {
    uint32_t mask = 0;
    rc = rpcclt_openapiNetworkPortIPv4AddrGet(&g_client_handle, &host_order, &mask);
    if (rc != OPEN_E_NONE) {
      agent_log(1, "GET IP Address Failed (%d).\n", rc);
      return -1;
    }
  }

  in_addr address{htonl(host_order)};
  char text[INET_ADDRSTRLEN] = {};
  inet_ntop(AF_INET, &address, text, sizeof text);
  if (size == 0) return 0;
  strncpyt(buffer, text, size - 1);
  return 0;
}
