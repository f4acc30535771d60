// SHA-256 (FIPS 180-4) of a file, by which a report names the data that it was made from.
#pragma once

#include <string>

namespace velmora {

// 64 hexadecimal digits, as sha256sum prints them; empty when the file cannot be read.
std::string Sha256OfFile(const std::string& path);

}  // namespace velmora
