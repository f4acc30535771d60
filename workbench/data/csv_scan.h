// Reads the shape of a delimited text file before its cells are read: separator, column names, number of
// records; and refuses a file that is not whole, with one sentence that names the place.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace velmora {

struct CsvShape {
  char delimiter = ',';
  std::vector<std::string> names;      // as they stand, blanks around dropped; may be empty or repeated
  std::int64_t recordsBeforeData = 1;  // blank lines and a line "sep=;" before the header, and the header
  std::int64_t caseCount = 0;          // records after the header
  std::int64_t longestRecord = 0;      // bytes
  bool mixedLineEnds = false;          // some lines end in CR LF and some in LF
};

// delimiter 0: found from the first records. Throws DataError for a file that cannot be opened, is empty, has
// no records, has a record whose number of fields differs from the header's, a quote that is not closed or is
// followed by text, bytes that are not UTF-8, a NUL byte, or lone carriage returns among other line ends.
// tick is called about every megabyte with the bytes read so far; it may throw.
CsvShape ScanCsv(const std::string& path, char delimiter, const std::function<void(std::int64_t)>& tick);

}  // namespace velmora
