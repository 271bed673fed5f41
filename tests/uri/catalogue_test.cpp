// The URI table against the resource catalogue: every resource in its
// place, with exactly its methods and its flag, and lookup by exact path.
#include <gtest/gtest.h>

#include <string>

#include "uri/uri_table.h"

namespace {

struct CatalogueRow {
  const char *name;
  const char *methods;  // G, P, D for GET, POST, DELETE
  int flag;
};

// The catalogue as the product documents it, in table order.
const CatalogueRow kCatalogue[] = {
    {"ping", "GP", 1},
    {"hang", "GP", 0},
    {"user_password_change", "P", 1},
    {"http_config", "GP", 0},
    {"https_cert_mgmt", "GP", 0},
    {"https_cert_upld", "P", 0},
    {"global_states", "GP", 0},
    {"dnslookup_start", "G", 0},
    {"dnslookup_stop", "P", 0},
    {"dnslookup_results", "G", 0},
    {"ping_test_start", "P", 0},
    {"ping_test_status", "G", 0},
    {"traceroute_status", "G", 0},
    {"traceroute_start", "P", 0},
    {"ping_test", "P", 1},
    {"traceroute_test", "P", 1},
    {"device_fw_update", "P", 0},
    {"device_fw_update_status", "G", 1},
    {"dual_image_status", "G", 0},
    {"active_image", "GP", 0},
    {"devicefirmwareupdate", "P", 0},
    {"fw_update", "G", 1},
    {"fw_update_check", "G", 1},
    {"fw_download", "P", 1},
    {"fw_download_status", "G", 1},
    {"image_status", "G", 1},
    {"image_operation", "P", 1},
    {"image_description", "P", 1},
    {"copy_image", "P", 1},
    {"device_factory_reset", "P", 1},
    {"device_reboot", "P", 1},
    {"download", "P", 0},
    {"download_status", "G", 1},
    {"mgmt_http_file_export", "P", 1},
    {"mgmt_file_export", "P", 1},
    {"dai_global_cfg", "GP", 1},
    {"dai_vlan_cfg", "GP", 1},
    {"dai_intf_cfg", "GP", 1},
    {"dai_acl_cfg", "GPD", 1},
    {"dai_aclrule_cfg", "GPD", 1},
    {"dai_stats", "G", 1},
    {"dot1x_port_summary", "G", 1},
    {"port_security_dynamicmac", "G", 1},
    {"port_security_cfg", "GP", 1},
    {"dot1x_global_cfg", "GP", 1},
    {"port_security_settings", "GP", 1},
    {"port_security_violations", "G", 1},
    {"port_security_intf", "GP", 1},
    {"acl_cfg", "PD", 1},
    {"aclrule_cfg", "D", 1},
    {"acl_count_get", "G", 1},
    {"acl_config", "G", 1},
    {"mac_aclrule_cfg", "GP", 1},
    {"ip_aclrule_cfg", "GP", 1},
    {"ipextended_aclrule_cfg", "GP", 1},
    {"ipv6_aclrule_cfg", "GP", 1},
    {"dot1x_client_summary", "G", 1},
    {"port_authentication_cfg", "GP", 1},
    {"port_auth_initialise_cfg", "P", 1},
    {"acl_binding", "GP", 1},
    {"acl_intf_binding", "GD", 1},
    {"acl_vlan_binding", "GPD", 1},
    {"dhcpsnp_global_cfg", "GP", 1},
    {"dhcpsnpg_binding_static", "GPD", 1},
    {"dhcpsnpg_binding_dynamic", "G", 1},
    {"dhcp_snpg_stats", "G", 1},
    {"dhcpsnp_intf_cfg", "GP", 1},
    {"dhcpsnp_vlan", "GP", 1},
    {"dhcpsnp_persistent_cfg", "GP", 1},
    {"dhcpl2relay_global_cfg", "GP", 1},
    {"dhcpl2relay_stats", "G", 1},
    {"dhcpl2relay_vlan", "GP", 1},
    {"dhcpl2relay_intf", "GP", 1},
    {"tacacs_global_cfg", "GP", 1},
    {"tacacs_server_cfg", "GPD", 1},
    {"acal_rule_cfg", "GPD", 1},
    {"protocol_access_control", "GP", 1},
    {"macfilter_config", "GPD", 1},
    {"macfilter_portsetting", "GP", 1},
    {"stormcontrol_global_cfg", "GP", 1},
    {"stormcontrol_intf_cfg", "GP", 1},
    {"dot1x_auth_list", "GP", 1},
    {"http_https_auth_list", "GP", 1},
    {"radius_server_cfg", "GPD", 1},
    {"radius_server_stats", "G", 1},
    {"radius_global_cfg", "GP", 1},
    {"radius_accounting_cfg", "GP", 1},
    {"radius_accounting_stats_clear", "P", 1},
    {"radius_accounting_stats", "G", 1},
    {"loop_protection_clear", "P", 1},
    {"loopprotection_global_cfg", "GP", 1},
    {"loop_protection_cfg", "GP", 1},
    {"auto_dos_cfg", "GP", 1},
    {"dos_service_cfg", "GP", 1},
    {"dot1x_eapol_stats", "GP", 1},
    {"lldp_local_device", "G", 0},
    {"lldpmed_polcy", "G", 0},
    {"lldp_local_port", "G", 0},
    {"lldp_neighbor_info", "G", 1},
    {"lldp_neighbor_detailed_info", "G", 1},
    {"private_vlan_association", "GPD", 1},
    {"private_vlan_host", "GPD", 1},
    {"private_vlan_promiscuous_cfg", "GPD", 1},
    {"lldp_system_cfg", "GP", 1},
    {"mac_address_table", "G", 1},
    {"mac_address_table_clear", "P", 1},
    {"dynamic_macage_cfg", "GP", 1},
    {"mst_instance_cfg", "GPD", 1},
    {"stp_stats", "G", 1},
    {"cst_port_cfg", "GP", 1},
    {"cst_port_status", "G", 1},
    {"stp_status_get", "G", 1},
    {"stp_global_cfg", "GP", 1},
    {"cst_global_cfg", "GP", 1},
    {"mst_status_get", "G", 1},
    {"rstp_intf_get", "G", 1},
    {"mst_port_cfg", "GP", 1},
    {"macbased_vlan_cfg", "GPD", 0},
    {"avoip_status", "G", 1},
    {"avoip_global_cfg", "GP", 1},
    {"avoip_protocol_cfg", "GP", 1},
    {"avlan_oui_port_cfg", "GP", 1},
    {"avlan_oui_cfg", "GP", 1},
    {"vlan_advanced_cfg", "GP", 1},
    {"telephony_oui_cfg", "GPD", 1},
    {"protected_mbrship", "GP", 1},
    {"swcfg_vlan", "GPD", 0},
    {"swcfg_vlan_reset", "P", 0},
    {"swcfg_vlan_membership", "GP", 0},
    {"protocol_vlangroup_cfg", "GPD", 1},
    {"swcfg_pbvlan_membership", "GP", 1},
    {"swcfg_lag_membership", "GP", 1},
    {"swcfg_pvlan_portmode", "GP", 1},
    {"lldp_medport_cfg", "GP", 0},
    {"lacp_global_cfg", "GP", 1},
    {"lacp_intf_cfg", "GP", 1},
    {"lag_cfg", "GP", 1},
    {"static_macaddress_cfg", "GPD", 1},
    {"port_configuration", "GP", 1},
    {"pvlan_type", "GP", 1},
    {"voicevlan_global_cfg", "GP", 1},
    {"voicevlan_intf_cfg", "GP", 1},
    {"lldp_port_cfg", "GP", 0},
    {"greenethernet_global_cfg", "GP", 1},
    {"greenethernet_intf_cfg", "GP", 1},
    {"port_mirroring_cfg", "GP", 1},
    {"lldp_local_detailed_info", "G", 1},
    {"switch_stats", "GP", 1},
    {"port_stats", "GP", 1},
    {"port_detailed_stats", "G", 1},
    {"port_detailed_stats_clr", "P", 1},
    {"cable_test_status", "P", 1},
    {"garp_global_cfg", "GP", 1},
    {"garp_port_cfg", "GP", 1},
    {"mcast_auto_video", "GP", 0},
    {"mvr_stats_get", "G", 1},
    {"mvr_global_cfg", "GP", 1},
    {"mvr_group_cfg", "GPD", 1},
    {"mvr_intf_cfg", "GP", 1},
    {"mvr_grp_mbrship", "GP", 0},
    {"igmp_snpg_cfg", "GP", 1},
    {"igmp_snpg_table", "G", 1},
    {"igmp_snpg_intfcfg", "GP", 1},
    {"igmp_snpg_vlancfg", "GP", 1},
    {"igmp_mcastrouter_cfg", "GP", 1},
    {"igmp_mcast_vlancfg", "GP", 1},
    {"igmp_querier_cfg", "GP", 1},
    {"igs_querier_vlancfg", "GPD", 1},
    {"igs_querier_vlanstatus", "G", 1},
    {"mld_querier_cfg", "GP", 1},
    {"mld_querier_vlancfg", "GPD", 1},
    {"mld_snpg_cfg", "GP", 1},
    {"mld_snpg_intfcfg", "GP", 1},
    {"mld_snpg_vlancfg", "GPD", 1},
    {"mld_mcastrouter_cfg", "GP", 1},
    {"mld_mcast_vlancfg", "GP", 1},
    {"mcast_mfdb_stats", "G", 1},
    {"mcast_mfdb_table", "G", 1},
    {"mcast_mfdb_table_clear", "P", 1},
    {"static_arp_cfg", "GPD", 1},
    {"router_discovery_cfg", "GP", 1},
    {"arp_global_cfg", "GP", 1},
    {"mgmt_arp_cache", "G", 1},
    {"routing_arp_cache", "G", 1},
    {"ipv6_global_cfg", "GP", 1},
    {"ipv6_neighbor_table", "G", 1},
    {"ipv6_route_preference", "GP", 1},
    {"ipv6_statistics", "G", 1},
    {"ipv6_route_table", "G", 1},
    {"ipv6_vlan_cfg", "GP", 1},
    {"vlan_routing_wizard", "P", 1},
    {"ipv6_prefix_cfg", "GPD", 1},
    {"ipv6_staticroute_cfg", "GPD", 1},
    {"route_config", "GPD", 1},
    {"route_status_get", "G", 1},
    {"ip_routing_cfg", "GP", 1},
    {"ip_vlan_routing_cfg", "GPD", 1},
    {"ip_statistics", "G", 1},
    {"arp_entry_delete", "D", 1},
    {"cos_global_cfg", "GP", 1},
    {"cos_intf_cfg", "GP", 1},
    {"qos_intf_queue_cfg", "GP", 1},
    {"service_cfg", "GP", 1},
    {"dot1p_queue_cfg", "GP", 1},
    {"dscp_queue_cfg", "GP", 1},
    {"service_stats", "G", 1},
    {"class_cfg", "GPD", 1},
    {"policy_cfg", "GPD", 1},
    {"ds_status", "G", 0},
    {"ds_admin_cfg", "GP", 1},
    {"dashboard_cfg", "G", 0},
    {"pellmar_cfg", "GP", 1},
    {"network_status", "G", 1},
    {"ip_network_cfg", "GP", 1},
    {"dns_global_cfg", "GP", 1},
    {"dns_server_cfg", "GPD", 1},
    {"ipv6_network_interface_cfg", "GPD", 1},
    {"system_information", "GP", 1},
    {"app_information", "G", 1},
    {"time_dst_cfg", "GP", 1},
    {"switch_discovery_cfg", "GP", 1},
    {"dynamic_host_get", "G", 1},
    {"ntp_global_cfg", "GP", 1},
    {"ntp_server_status", "G", 1},
    {"ntp_global_status", "G", 1},
    {"time_global_cfg", "GP", 1},
    {"dns_host_cfg", "GPD", 1},
    {"dns_host_cache_clear", "P", 1},
    {"ipv6_network_cfg", "GP", 1},
    {"ipv6_network_neighbor", "G", 1},
    {"snmp_trap_cfg", "GPD", 1},
    {"snmpv3_user_cfg", "GPD", 1},
    {"snmpv3_trap_cfg", "GPD", 1},
    {"snmp_trap_flags", "GP", 1},
    {"cpu_threshold", "G", 1},
    {"system_cpu_status", "G", 1},
    {"telnet_srv_cfg", "GP", 1},
    {"dhcpsrv_exclude_address", "GPD", 1},
    {"dhcpsrv_statistics", "GP", 1},
    {"dhcpipv6srv_binding", "GP", 1},
    {"dhcpsrv_global_cfg", "GP", 1},
    {"dhcpsrv_binding", "GP", 1},
    {"dhcprelay_statistics", "GP", 1},
    {"dhcpipv6srv_statistics", "GP", 1},
    {"dhcpipv6relay_statistics", "GP", 1},
    {"dhcpipv6srv_global_cfg", "GP", 1},
    {"dhcprelay_global_cfg", "GP", 1},
    {"dhcprelay_server_cfg", "GPD", 1},
    {"dhcprelay_vlan_cfg", "GP", 1},
    {"dhcpipv6srv_pools_cfg", "GPD", 1},
    {"dhcpsrv_pools_cfg", "GPD", 1},
    {"dhcpipv6relay_vlan_cfg", "GPD", 1},
    {"snmp_community_cfg", "GPD", 1},
    {"ssh_global_cfg", "GP", 1},
    {"ssh_key", "PD", 1},
    {"ssh_key_status", "G", 1},
    {"memory_logs", "G", 1},
    {"memory_logs_clear", "P", 1},
    {"flash_log_cfg", "GP", 1},
    {"flash_current_logs", "G", 1},
    {"flash_previous_logs", "G", 1},
    {"trap_logs", "G", 1},
    {"trap_logs_clear", "P", 1},
    {"memory_log_cfg", "GP", 1},
    {"server_log_global_cfg", "GP", 1},
    {"server_log_cfg", "GPD", 1},
    {"secure_diagnostics", "GP", 0},
    {"switch_discovery_upnp", "GP", 0},
    {"ntp_server_cfg", "GPD", 1},
};

TEST(UriCatalogue, EveryRowInOrderWithItsMethodsAndFlag) {
  ASSERT_EQ(UriTableCount, std::size(kCatalogue));
  int flagged = 0;
  for (size_t i = 0; i < UriTableCount; ++i) {
    const UriEntry &row = UriTable[i];
    const UriMethods &offered = UriTableMethods[i];
    const CatalogueRow &want = kCatalogue[i];
    SCOPED_TRACE(want.name);
    EXPECT_EQ(std::string(row.uri), std::string("/api/v1/") + want.name);
    std::string methods = std::string(offered.get ? "G" : "") + (offered.post ? "P" : "") + (offered.del ? "D" : "");
    EXPECT_EQ(methods, want.methods);
    EXPECT_EQ(row.flag, want.flag);
    EXPECT_EQ(row.put, nullptr);
    // A slot that holds a handler is always one the resource offers.
    if (row.get) {
      EXPECT_TRUE(offered.get);
    }
    if (row.post) {
      EXPECT_TRUE(offered.post);
    }
    if (row.del) {
      EXPECT_TRUE(offered.del);
    }
    flagged += row.flag;
  }
  EXPECT_EQ(flagged, 237);
}

TEST(UriCatalogue, LookupIsExact) {
  const UriEntry *ping = find_uri_entry("/api/v1/ping");
  ASSERT_NE(ping, nullptr);
  EXPECT_EQ(ping, &UriTable[0]);
  EXPECT_EQ(ping->get, ping->post);  // one handler answers both
  EXPECT_EQ(find_uri_entry("/api/v1/ping/"), nullptr);
  EXPECT_EQ(find_uri_entry("/API/v1/ping"), nullptr);
  EXPECT_EQ(find_uri_entry("/api/v1/pin"), nullptr);
  EXPECT_EQ(find_uri_entry(""), nullptr);
  EXPECT_EQ(find_uri_entry(nullptr), nullptr);
  EXPECT_EQ(find_uri_entry("/api/v1/login"), nullptr);  // served before the table
  EXPECT_EQ(find_uri_entry("/api/v1/ntp_server_cfg"), &UriTable[UriTableCount - 1]);
}

TEST(UriCatalogue, ResourcesWithUnusualMethodSets) {
  auto methods = [](const char *name) {
    const UriEntry *row = find_uri_entry((std::string("/api/v1/") + name).c_str());
    if (!row) return std::string("missing");
    const UriMethods &m = UriTableMethods[row - UriTable];
    return std::string(m.get ? "G" : "") + (m.post ? "P" : "") + (m.del ? "D" : "");
  };
  EXPECT_EQ(methods("aclrule_cfg"), "D");
  EXPECT_EQ(methods("arp_entry_delete"), "D");
  EXPECT_EQ(methods("cable_test_status"), "P");
  EXPECT_EQ(methods("ssh_key"), "PD");
  EXPECT_EQ(methods("acl_intf_binding"), "GD");
}

}  // namespace
