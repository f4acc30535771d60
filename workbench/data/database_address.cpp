#include "workbench/data/database_address.h"

#include <array>
#include <charconv>
#include <utility>

namespace velmora {

namespace {

constexpr std::array<std::pair<std::string_view, DatabaseServer>, 4> kSchemes = {
    {{"postgresql://", DatabaseServer::kPostgres},
     {"postgres://", DatabaseServer::kPostgres},
     {"mysql://", DatabaseServer::kMySql},
     {"mariadb://", DatabaseServer::kMySql}}};

// %41 is A.
std::string Decoded(std::string_view text) {
  std::string plain;
  for (std::size_t i = 0; i < text.size(); ++i) {
    unsigned code = 0;
    if (text[i] == '%' && i + 2 < text.size()) {
      const char* const digits = text.data() + i + 1;
      const auto [end, error] = std::from_chars(digits, digits + 2, code, 16);
      if (error == std::errc() && end == digits + 2) {
        plain += static_cast<char>(code);
        i += 2;
        continue;
      }
    }
    plain += text[i];
  }
  return plain;
}

// Splits at the first mark; second is empty when there is none.
std::pair<std::string_view, std::string_view> SplitAt(std::string_view text, char mark) {
  const std::size_t place = text.find(mark);
  if (place == std::string_view::npos) return {text, {}};
  return {text.substr(0, place), text.substr(place + 1)};
}

}  // namespace

DatabaseAddress ParseDatabaseAddress(std::string_view text) {
  DatabaseAddress address;
  std::string_view scheme;
  for (const auto& [begin, server] : kSchemes) {
    if (!text.starts_with(begin)) continue;
    scheme = begin;
    address.server = server;
  }
  address.shown = address.withoutTable = text;
  if (address.server == DatabaseServer::kNone) return address;
  const auto [place, parameters] = SplitAt(text.substr(scheme.size()), '?');
  const auto [authority, database] = SplitAt(place, '/');
  const std::size_t at = authority.rfind('@');
  const auto [user, password] =
      SplitAt(at == std::string_view::npos ? std::string_view() : authority.substr(0, at), ':');
  const std::string_view server = at == std::string_view::npos ? authority : authority.substr(at + 1);
  const auto [host, port] = SplitAt(server, ':');
  address.user = Decoded(user);
  address.password = Decoded(password);
  address.host = Decoded(host);
  address.database = Decoded(database);
  std::from_chars(port.data(), port.data() + port.size(), address.port);

  const std::string slash = place.find('/') == std::string_view::npos ? "" : "/";
  std::string kept, shown;
  for (std::string_view rest = parameters; !rest.empty();) {
    const auto [parameter, others] = SplitAt(rest, '&');
    rest = others;
    const auto [name, value] = SplitAt(parameter, '=');
    if (name == "table")
      address.table = Decoded(value);
    else
      kept += (kept.empty() ? "?" : "&") + std::string(parameter);
    if (name != "password" && name != "sslpassword")
      shown += (shown.empty() ? "?" : "&") + std::string(parameter);
  }
  address.withoutTable = std::string(scheme) + std::string(place) + kept;
  address.shown = std::string(scheme) + std::string(user) + (at == std::string_view::npos ? "" : "@") +
                  std::string(server) + slash + std::string(database) + shown;
  return address;
}

std::string WithoutPassword(const std::string& word) { return ParseDatabaseAddress(word).shown; }

}  // namespace velmora
