#include "workbench/server/host_name.h"

#include <algorithm>

namespace velmora {

std::string HostToBind(const std::string& host) {
  const bool hasBrackets = host.size() > 2 && host.front() == '[' && host.back() == ']';
  return hasBrackets ? host.substr(1, host.size() - 2) : host;
}

std::string HostInAddress(const std::string& host) {
  std::string name = HostToBind(host);
  std::transform(name.begin(), name.end(), name.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  return name.find(':') == std::string::npos ? name : "[" + name + "]";
}

bool IsOfThisMachine(const std::string& host) {
  const std::string name = HostInAddress(host);
  return name == "127.0.0.1" || name == "localhost" || name == "[::1]";
}

}  // namespace velmora
