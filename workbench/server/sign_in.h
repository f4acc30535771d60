// Admits users of a workbench that is served to other machines by a password. After wrong passwords
// the next attempt has to wait, twice as long each time.
//
//   SignIn door(ReadPassword("password.txt").Text());
//   std::optional<std::string> cookie = door.Try("guess", "192.0.2.7", now);   // nothing: wrong
//   bool known = door.Knows(*cookie, now);
#pragma once

#include <array>
#include <chrono>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velmora {

// A text that is overwritten when it ends. It lives on the heap, since a moved std::string leaves a
// short text where it was.
class Secret {
 public:
  explicit Secret(std::string_view text) : bytes_(text.begin(), text.end()) {}
  Secret(Secret&&) noexcept = default;
  Secret& operator=(Secret&&) = delete;
  ~Secret();
  std::string_view Text() const { return {bytes_.data(), bytes_.size()}; }

 private:
  std::vector<char> bytes_;
};

class SignIn {
 public:
  using Time = std::chrono::steady_clock::time_point;

  // Keeps a salted hash of the password alone; the caller wipes the text. Throws UsageError for a
  // password that is too short or too long.
  explicit SignIn(std::string_view password);

  // The cookie of a new window; nothing for a wrong password, and while client has to wait.
  std::optional<std::string> Try(std::string_view password, const std::string& client, Time now);
  // How long client may not try; zero: it may.
  std::chrono::seconds Wait(const std::string& client, Time now);
  // Cookies are good for half a day after their last use.
  bool Knows(const std::string& cookie, Time now);
  // The same without counting as a use of the cookie, for a stream of events that continues.
  bool IsOpen(const std::string& cookie, Time now);
  void Forget(const std::string& cookie);

 private:
  using Hash = std::array<unsigned char, 32>;
  struct Failures {
    int count = 0;
    Time next;  // when the client may try again
  };
  Hash HashOf(std::string_view password) const;
  void NoteFailure(const std::string& client, Time now);

  std::array<unsigned char, 16> salt_;
  Hash hash_;
  std::mutex tries_;  // only one password is checked at a time
  std::map<std::string, Failures> failures_;
  std::mutex mutex_;                     // of the cookies
  std::map<std::string, Time> cookies_;  // with their last use

  // Expects mutex_ to be held. Null: the cookie is unknown or has expired.
  Time* LastUseOf(const std::string& cookie, Time now);
};

// file: with the password in its first line, which nobody else may read. Empty: the environment's
// VELMORA_PASSWORD, which is overwritten and removed from it. Throws UsageError and RunError.
Secret ReadPassword(const std::string& file);

// 256 random bits as hexadecimal digits.
std::string RandomToken();

// Takes as long for a wrong first character as for a wrong last one.
bool SameText(const std::string& a, const std::string& b);

}  // namespace velmora
