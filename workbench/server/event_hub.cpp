#include "workbench/server/event_hub.h"

namespace velmora {
namespace {

constexpr std::size_t kMostEvents = 2000;

}  // namespace

std::shared_ptr<EventHub::Listener> EventHub::Listen() {
  const std::lock_guard lock(mutex_);
  deserted_.reset();
  return *listeners_.insert(std::make_shared<Listener>()).first;
}

void EventHub::Leave(const std::shared_ptr<Listener>& listener) {
  const std::lock_guard lock(mutex_);
  if (listeners_.erase(listener) > 0 && listeners_.empty()) deserted_ = std::chrono::steady_clock::now();
}

void EventHub::Publish(const std::string& event) {
  {
    const std::lock_guard lock(mutex_);
    for (const std::shared_ptr<Listener>& listener : listeners_) {
      if (listener->events.size() >= kMostEvents) listener->cutOff = true;
      if (!listener->cutOff) listener->events.push_back(event);
    }
  }
  changed_.notify_all();
}

std::optional<std::string> EventHub::Wait(Listener& listener, std::chrono::milliseconds time) {
  std::unique_lock lock(mutex_);
  changed_.wait_for(lock, time, [&] { return closed_ || listener.cutOff || !listener.events.empty(); });
  if (listener.cutOff) return std::nullopt;
  if (listener.events.empty()) return closed_ ? std::nullopt : std::optional<std::string>("");
  std::string event = std::move(listener.events.front());
  listener.events.pop_front();
  return event;
}

void EventHub::Close() {
  {
    const std::lock_guard lock(mutex_);
    closed_ = true;
  }
  changed_.notify_all();
}

int EventHub::ListenerCount() {
  const std::lock_guard lock(mutex_);
  return static_cast<int>(listeners_.size());
}

std::chrono::milliseconds EventHub::Deserted() {
  const std::lock_guard lock(mutex_);
  if (!deserted_) return std::chrono::milliseconds(0);
  return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - *deserted_);
}

}  // namespace velmora
