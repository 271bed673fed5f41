// The switch's management IPv4 address, as dotted text: the address of the
// routing interface on the management VLAN when there is one, else the
// service (network) port's address. Used for the setup redirect.
#pragma once

#include <cstddef>

// Writes the address into `buffer` (at most size - 1 characters). 0, or -1
// for a null buffer, an unreadable management VLAN or an unreadable network
// port address.
int mgmt_ipv4_address_get(char *buffer, size_t size);
