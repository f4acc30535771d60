// Plain types of the contract between a host and the module. Interfaces and plain data only, so
// that a host built with another compiler can load the module: no standard-library type, no
// exception, no overloaded or inline virtual, no virtual destructor, no struct returned by value
// crosses the boundary.
//
// Conventions, for every call of the contract unless it says otherwise:
//   - everything runs on the host's user-interface thread;
//   - texts are UTF-8, given as pointer and length in bytes, not terminated, valid during the call;
//   - a text that a call returns is put into an ITextSink of the caller;
//   - variables and cases are numbered from 1 in parameters whose names end in Number, from 0 in
//     those that end in Index;
//   - flags are int, 0 or not 0; engine operations return 0 for success, operations of the step
//     table not 0;
//   - an interface pointer that a call returns is borrowed unless the call says "the caller
//     releases it".
#pragma once

#include <cstdint>

namespace vlm {

// Raised by one whenever a call changes or is added; the host refuses a module of another number by
// name.
inline constexpr int kContractVersion = 8;

// The host's general missing value, and the default missing-data code of a variable.
inline constexpr double kMissingValue = 1.7e308;

// Receives a text. Owned by the caller of the operation that fills it.
struct ITextSink {
  // Replaces what the sink holds. data may be null when length is 0.
  virtual void Assign(const char* data, int length) = 0;

 protected:
  ~ITextSink() = default;
};

// Receives whole numbers one by one. The operation that fills it calls Clear first.
struct IIntegerSink {
  virtual void Clear() = 0;
  virtual void Append(int value) = 0;

 protected:
  ~IIntegerSink() = default;
};

// An object that lives as long as references to it are counted.
struct ICounted {
  virtual void AddReference() = 0;
  virtual void ReleaseReference() = 0;

 protected:
  ~ICounted() = default;
};

// State that the host keeps for what the analyses of one module share. The module owns the storage,
// which lives as long as the module is loaded, and never reads it; the host may use the address as
// a key.
struct SharedBlock {
  std::uint64_t words[8];
};

}  // namespace vlm
