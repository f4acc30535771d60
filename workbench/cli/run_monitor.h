// Watches the work of one thread in place of the console: takes its lines and its progress, and may
// stop it. A call of the library has a monitor, a command has none.
//
//   const MonitoredThread monitored(monitor);
//   Table table = LoadTable(options);   // warnings go to monitor.Line, not to standard error
#pragma once

#include <string_view>

namespace velmora {

class RunMonitor {
 public:
  virtual ~RunMonitor() = default;
  // A warning or a remark for the user, one sentence.
  virtual void Line(std::string_view text) = 0;
  // fraction: 0 to 1 of the stage that caption names. Called often, so it must be cheap.
  virtual void Progress(std::string_view caption, double fraction) = 0;
  // Whether the work shall end, which it does by throwing Cancelled. Called often.
  virtual bool IsStopped() = 0;
};

// While it lives, monitor watches the calling thread. Not nested.
class MonitoredThread {
 public:
  explicit MonitoredThread(RunMonitor& monitor);
  ~MonitoredThread();
  MonitoredThread(const MonitoredThread&) = delete;
  MonitoredThread& operator=(const MonitoredThread&) = delete;
};

// Of the calling thread; null: the console.
RunMonitor* CurrentMonitor();

}  // namespace velmora
