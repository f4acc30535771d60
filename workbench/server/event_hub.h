// Tells every open window what has changed: each window listens to a stream of events.
//
//   const std::shared_ptr<EventHub::Listener> window = hub.Listen();
//   hub.Publish("{\"type\":\"count\"}");
//   std::optional<std::string> event = hub.Wait(*window, std::chrono::seconds(10));
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>

namespace velmora {

class EventHub {
 public:
  // Events that wait for one window. A window that stops reading is disconnected, and loads
  // everything again when it returns.
  struct Listener {
    std::deque<std::string> events;
    bool cutOff = false;
  };

  std::shared_ptr<Listener> Listen();
  void Leave(const std::shared_ptr<Listener>& listener);
  void Publish(const std::string& event);
  // The next event; an empty text when none has come in time; nothing when the listener is cut off
  // or has heard everything of a closed hub.
  std::optional<std::string> Wait(Listener& listener, std::chrono::milliseconds time);
  void Close();

  int ListenerCount();
  // How long there has been no listener; zero while there is one and before the first one.
  std::chrono::milliseconds Deserted();

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::set<std::shared_ptr<Listener>> listeners_;
  std::optional<std::chrono::steady_clock::time_point> deserted_;
  bool closed_ = false;
};

}  // namespace velmora
