// Replaces text_unpack_present.cpp in builds without zlib and libzstd.
#include "workbench/data/errors.h"
#include "workbench/data/text_source.h"

namespace velmora {

TextSource Unpacked(TextSource source, std::string_view start, const std::string& path) {
  if (start.starts_with("\x1F\x8B") || start.starts_with("\x28\xB5\x2F\xFD"))
    throw DataError("Cannot unpack " + path +
                    ": packed files are not read by this build of velmora; unpack it first.");
  return source;
}

}  // namespace velmora
