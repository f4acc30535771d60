// Takes the place of the console for the work of one thread: receives its lines and its progress,
// and may stop it. Calls of the library have a monitor, commands do not.
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
  // Whether to stop the work, which then throws Cancelled. Called often.
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

// The monitor of the calling thread; null: the console.
RunMonitor* CurrentMonitor();

}  // namespace velmora
