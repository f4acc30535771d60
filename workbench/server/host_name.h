// Hosts as browsers name them in addresses and in the header Host.
//
//   HostInAddress("Stats.Example.org")   // stats.example.org
//   HostInAddress("::1")                 // [::1]
#pragma once

#include <string>

namespace velmora {

// host: a name or an address, of IPv6 with or without brackets.
std::string HostInAddress(const std::string& host);

// host as a socket takes it, which is without brackets.
std::string HostToBind(const std::string& host);

// True for the addresses that only programs of this machine reach.
bool IsOfThisMachine(const std::string& host);

}  // namespace velmora
