#include "workbench/server/sign_in.h"

#include <openssl/evp.h>
#include <openssl/rand.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "workbench/cli/exit_codes.h"
#include "workbench/cli/run_files.h"
#include "workbench/documents/terminal_text.h"
#include "workbench/system/system.h"

namespace velmora {
namespace {

constexpr std::size_t kFewestCharacters = 8, kMostCharacters = 1000;
constexpr int kRounds = 200000;
constexpr int kFreeTries = 3;      // wrong passwords before the first wait
constexpr int kMostDoublings = 8;  // of a wait of one second
constexpr std::size_t kMostClients = 10000, kMostCookies = 1000;
constexpr auto kCookieLife = std::chrono::hours(12);

void FillRandom(unsigned char* bytes, std::size_t size) {
  if (RAND_bytes(bytes, static_cast<int>(size)) != 1) throw RunError("The system gives no random numbers.");
}

}  // namespace

SignIn::SignIn(const std::string& password) : salt_{}, hash_{} {
  if (password.size() < kFewestCharacters)
    throw UsageError("The password is too short; it needs at least " + std::to_string(kFewestCharacters) +
                     " characters.");
  FillRandom(salt_.data(), salt_.size());
  hash_ = HashOf(password);
}

// PBKDF2 (RFC 8018), so that a guess costs as much as possible.
SignIn::Hash SignIn::HashOf(const std::string& password) const {
  Hash hash{};
  if (PKCS5_PBKDF2_HMAC(password.data(), static_cast<int>(password.size()), salt_.data(),
                        static_cast<int>(salt_.size()), kRounds, EVP_sha256(), static_cast<int>(hash.size()),
                        hash.data()) != 1)
    throw RunError("The password cannot be hashed.");
  return hash;
}

std::optional<std::string> SignIn::Try(const std::string& password, const std::string& client, Time now) {
  const std::lock_guard oneByOne(tries_);
  const auto failed = failures_.find(client);
  if (failed != failures_.end() && now < failed->second.next) return std::nullopt;
  const Hash hash = HashOf(password.substr(0, kMostCharacters));
  unsigned difference = 0;
  for (std::size_t i = 0; i < hash.size(); ++i) difference |= static_cast<unsigned>(hash[i] ^ hash_[i]);
  if (difference != 0 || password.size() > kMostCharacters) {
    NoteFailure(client, now);
    return std::nullopt;
  }
  failures_.erase(client);
  const std::lock_guard lock(mutex_);
  std::erase_if(cookies_, [&](const auto& entry) { return now - entry.second > kCookieLife; });
  if (cookies_.size() >= kMostCookies) cookies_.clear();
  std::string cookie = RandomToken();
  cookies_[cookie] = now;
  return cookie;
}

void SignIn::NoteFailure(const std::string& client, Time now) {
  if (failures_.size() >= kMostClients)
    std::erase_if(failures_, [&](const auto& entry) { return entry.second.next < now; });
  if (failures_.size() >= kMostClients) failures_.erase(failures_.begin());
  Failures& failures = failures_[client];
  ++failures.count;
  const int doublings = std::clamp(failures.count - kFreeTries, -1, kMostDoublings);
  failures.next = doublings < 0 ? now : now + std::chrono::seconds(1LL << doublings);
}

std::chrono::seconds SignIn::Wait(const std::string& client, Time now) {
  const std::lock_guard lock(tries_);
  const auto failed = failures_.find(client);
  if (failed == failures_.end() || failed->second.next <= now) return std::chrono::seconds(0);
  return std::chrono::ceil<std::chrono::seconds>(failed->second.next - now);
}

bool SignIn::Knows(const std::string& cookie, Time now) {
  const std::lock_guard lock(mutex_);
  bool known = false;
  for (auto& [one, lastUse] : cookies_) {
    if (!SameText(one, cookie) || now - lastUse > kCookieLife) continue;
    lastUse = now;
    known = true;
  }
  return known;
}

void SignIn::Forget(const std::string& cookie) {
  const std::lock_guard lock(mutex_);
  cookies_.erase(cookie);
}

std::string ReadPassword(const std::string& file) {
  constexpr char kVariable[] = "VELMORA_PASSWORD";
  if (file.empty()) {
    const char* const text = std::getenv(kVariable);
    if (text == nullptr)
      throw UsageError("A password is missing: name its file with --password-file, or set VELMORA_PASSWORD.");
    std::string password = text;
    unsetenv(kVariable);
    return password;
  }
  std::error_code error;
  const std::filesystem::perms rights = std::filesystem::status(PathOf(file), error).permissions();
  using std::filesystem::perms;
  if (!error && (rights & (perms::group_all | perms::others_all)) != perms::none)
    throw UsageError("--password-file: others can read " + ShortenedText(file) + "; chmod 600 prevents it.");
  const std::string text = ReadWholeFile(file);
  return text.substr(0, text.find_first_of("\r\n"));
}

std::string RandomToken() {
  unsigned char bytes[32];
  FillRandom(bytes, sizeof bytes);
  std::string text;
  for (const unsigned char byte : bytes) {
    for (const int digit : {byte >> 4, byte & 15}) text += "0123456789abcdef"[digit];
  }
  return text;
}

bool SameText(const std::string& a, const std::string& b) {
  if (a.size() != b.size()) return false;
  unsigned difference = 0;
  for (std::size_t i = 0; i < a.size(); ++i)
    difference |= static_cast<unsigned>(static_cast<unsigned char>(a[i]) ^ static_cast<unsigned char>(b[i]));
  return difference == 0;
}

}  // namespace velmora
