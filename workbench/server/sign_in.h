// Who may use a workbench that is served to other machines: whoever knows the password. Wrong
// passwords make the next try wait, twice as long each time.
//
//   SignIn door(ReadPassword("password.txt"));
//   std::optional<std::string> cookie = door.Try("guess", "192.0.2.7", now);   // nothing: wrong
//   bool known = door.Knows(*cookie, now);
#pragma once

#include <array>
#include <chrono>
#include <map>
#include <mutex>
#include <optional>
#include <string>

namespace velmora {

class SignIn {
 public:
  using Time = std::chrono::steady_clock::time_point;

  // Keeps a salted hash of the password alone. Throws UsageError for a password that is too short.
  explicit SignIn(const std::string& password);

  // The cookie of a new window; nothing for a wrong password, and while client has to wait.
  std::optional<std::string> Try(const std::string& password, const std::string& client, Time now);
  // How long client may not try; zero: it may.
  std::chrono::seconds Wait(const std::string& client, Time now);
  // Cookies are good for half a day after their last use.
  bool Knows(const std::string& cookie, Time now);
  void Forget(const std::string& cookie);

 private:
  using Hash = std::array<unsigned char, 32>;
  struct Failures {
    int count = 0;
    Time next;  // when the client may try again
  };
  Hash HashOf(const std::string& password) const;
  void NoteFailure(const std::string& client, Time now);

  std::array<unsigned char, 16> salt_;
  Hash hash_;
  std::mutex tries_;  // one password is tried at a time
  std::map<std::string, Failures> failures_;
  std::mutex mutex_;                     // of the cookies
  std::map<std::string, Time> cookies_;  // with their last use
};

// file: with the password in its first line, which nobody else may read. Empty: the environment's
// VELMORA_PASSWORD, which is removed from it. Throws UsageError.
std::string ReadPassword(const std::string& file);

// 256 random bits as hexadecimal digits.
std::string RandomToken();

// Takes as long for a wrong first character as for a wrong last one.
bool SameText(const std::string& a, const std::string& b);

}  // namespace velmora
