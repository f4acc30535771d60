// Rows that a database server sends as texts, each column of a known kind.
#pragma once

#include <string_view>

#include "workbench/data/row_blocks.h"

namespace velmora {

// Adds the cell that the text says: a number, a whole number, or the text itself. A text that is no
// number is missing, such as MySQL's date 0000-00-00.
void AddServerCell(const ForeignColumn& column, bool asText, std::size_t index, std::string_view text,
                   RowBlocks& blocks);

// A library of Debian or another system, by the name that programs are linked with, such as
// libpq.so.5. Throws DataError that says what to install.
void* ServerLibrary(const char* fileName, const char* whatFor);
// A function of it. Throws DataError.
void* ServerFunction(void* library, const char* name);

}  // namespace velmora
