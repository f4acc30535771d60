// Rows that a database server sends as texts, each column of a known kind.
#pragma once

#include <string_view>

#include "workbench/data/row_blocks.h"

namespace velmora {

// Adds the cell that the text says: a number, a whole number, or the text itself. A text that is
// not a number, such as MySQL's date 0000-00-00, becomes missing.
void AddServerCell(const ForeignColumn& column, bool asText, std::size_t index, std::string_view text,
                   RowBlocks& blocks);

// The client library of a server, loaded on demand. A reader derives a struct with one member per
// function that it calls:
//
//   struct Library : ServerLibrary {
//     Library() : ServerLibrary("libpq.so.5", "tables of PostgreSQL") {}
//     VELMORA_SERVER_FUNCTION(PQexec);
//   };
class ServerLibrary {
 public:
  // fileName: the one that programs are linked with. Throws DataError that says what to install.
  ServerLibrary(const char* fileName, const char* whatFor);

  // Throws DataError when the library lacks the function.
  template <typename Function>
  Function* Find(const char* name) const {
    return reinterpret_cast<Function*>(Address(name));
  }

 private:
  void* Address(const char* name) const;

  void* library_ = nullptr;
};

#define VELMORA_SERVER_FUNCTION(name) decltype(&::name) name = Find<decltype(::name)>(#name)

}  // namespace velmora
