#include "workbench/server/sign_in.h"

#include <fcntl.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/rand.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "workbench/cli/exit_codes.h"
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

Secret::~Secret() { OPENSSL_cleanse(bytes_.data(), bytes_.size()); }

SignIn::SignIn(std::string_view password) : salt_{}, hash_{} {
  if (password.size() < kFewestCharacters)
    throw UsageError("The password is too short; it needs at least " + std::to_string(kFewestCharacters) +
                     " characters.");
  if (password.size() > kMostCharacters)
    throw UsageError("The password is too long; it has at most " + std::to_string(kMostCharacters) +
                     " characters.");
  FillRandom(salt_.data(), salt_.size());
  hash_ = HashOf(password);
}

// PBKDF2 (RFC 8018), so that a guess costs as much as possible.
SignIn::Hash SignIn::HashOf(std::string_view password) const {
  Hash hash{};
  if (PKCS5_PBKDF2_HMAC(password.data(), static_cast<int>(password.size()), salt_.data(),
                        static_cast<int>(salt_.size()), kRounds, EVP_sha256(), static_cast<int>(hash.size()),
                        hash.data()) != 1)
    throw RunError("The password cannot be hashed.");
  return hash;
}

std::optional<std::string> SignIn::Try(std::string_view password, const std::string& client, Time now) {
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

SignIn::Time* SignIn::LastUseOf(const std::string& cookie, Time now) {
  Time* found = nullptr;
  for (auto& [one, lastUse] : cookies_) {
    if (SameText(one, cookie) && now - lastUse <= kCookieLife) found = &lastUse;
  }
  return found;
}

bool SignIn::Knows(const std::string& cookie, Time now) {
  const std::lock_guard lock(mutex_);
  Time* const lastUse = LastUseOf(cookie, now);
  if (lastUse != nullptr) *lastUse = now;
  return lastUse != nullptr;
}

bool SignIn::IsOpen(const std::string& cookie, Time now) {
  const std::lock_guard lock(mutex_);
  return LastUseOf(cookie, now) != nullptr;
}

void SignIn::Forget(const std::string& cookie) {
  const std::lock_guard lock(mutex_);
  cookies_.erase(cookie);
}

Secret ReadPassword(const std::string& file) {
  constexpr char kVariable[] = "VELMORA_PASSWORD";
  if (file.empty()) {
    char* const text = std::getenv(kVariable);
    if (text == nullptr)
      throw UsageError("A password is missing: name its file with --password-file, or set VELMORA_PASSWORD.");
    Secret password(text);
    OPENSSL_cleanse(text, std::strlen(text));  // which others could read in /proc
    unsetenv(kVariable);
    return password;
  }
  std::error_code error;
  const std::filesystem::perms rights = std::filesystem::status(PathOf(file), error).permissions();
  using std::filesystem::perms;
  if (!error && (rights & (perms::group_all | perms::others_all)) != perms::none)
    throw UsageError("--password-file: others can read " + ShortenedText(file) + "; chmod 600 prevents it.");
  // Read without a stream, whose buffer would not be wiped.
  const int opened = open(PathOf(file).c_str(), O_RDONLY | O_CLOEXEC);
  char buffer[kMostCharacters + 1];
  const ssize_t count = opened < 0 ? -1 : read(opened, buffer, sizeof buffer);
  const int failure = errno;
  if (opened >= 0) close(opened);
  if (count < 0) throw RunError(file + " cannot be read: " + std::strerror(failure) + ".");
  const std::string_view text(buffer, static_cast<std::size_t>(count));
  Secret password(text.substr(0, text.find_first_of("\r\n")));
  OPENSSL_cleanse(buffer, sizeof buffer);
  return password;
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
