// Addresses of tables in database servers, as the server's own programs write them, with the table
// as one more parameter:
//
//   postgresql://anna@db.example.org:5432/sales?table=loans
//   mysql://anna@db.example.org/sales?table=loans          (also mariadb://)
#pragma once

#include <string>
#include <string_view>

namespace velmora {

enum class DatabaseServer { kNone, kPostgres, kMySql };

struct DatabaseAddress {
  DatabaseServer server = DatabaseServer::kNone;
  std::string withoutTable;  // for the server's library
  std::string table;         // empty: not in the address
  std::string shown;         // without its password
  // Decoded parts; port 0: the server's own.
  std::string user, password, host, database;
  int port = 0;
};

// server is kNone for anything else, such as the path of a file.
DatabaseAddress ParseDatabaseAddress(std::string_view text);

// A word of a command line, without the password where it is an address.
std::string WithoutPassword(const std::string& word);

}  // namespace velmora
