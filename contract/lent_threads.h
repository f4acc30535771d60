// Threads that a host lends to the module. The host itself stays on its own thread: a task calls
// nothing of it but what this file says.
#pragma once

namespace vlm {

// Implemented by the module.
struct IPoolTask {
  // Runs one of the tasks, on any thread. worker: 0 to GetThreadCount() - 1, different for tasks
  // that run at the same time. Lets no exception out.
  virtual void RunTask(int index, int worker) = 0;
  // Called now and then on the thread that called Run; not 0: no more tasks shall begin.
  virtual int IsStopped() = 0;

 protected:
  ~IPoolTask() = default;
};

// kWorkerPoolExtension of IEngineServices. A module whose host has none works alone.
struct IWorkerPool {
  virtual int GetThreadCount() = 0;
  // Calls task->RunTask for 0 to count - 1, starting the tasks in this order, and returns when all
  // that were started have ended. Called on the host's thread. Returns 0, or not 0 when the task
  // was stopped.
  virtual int Run(IPoolTask* task, int count) = 0;
  // Not 0: tasks may call, of the services, GetNbCases, LoadText, StripFormatting and ShowNotice,
  // and of the host CreateProcedure, GetDecimalSeparator and MessageOutput. What procedures give is
  // used by one task alone until Run has returned, then on the host's thread. Notices and messages
  // are shown when Run returns, in the order of the tasks. A procedure fails once its task is
  // stopped.
  virtual int AllowsProcedures() = 0;

 protected:
  ~IWorkerPool() = default;
};

}  // namespace vlm
