// Automation objects of include/velmora.h: handles, and values in both directions.
#include <cstdint>
#include <limits>

#include "workbench/api/c_handles.h"
#include "workbench/api/object_members.h"
#include "workbench/api/options_json.h"
#include "workbench/api/script_session.h"
#include "workbench/cli/data_input.h"
#include "workbench/data/unicode.h"

// All but the links is used on the session's thread.
struct velmora_object {
  velmora_object(std::shared_ptr<velmora::SessionState> sessionState, const velmora::ObjectReference& object)
      : state(std::move(sessionState)), target(object), interfaceName(velmora::InterfaceName(object)) {}

  const std::shared_ptr<velmora::SessionState> state;
  velmora::ObjectReference target;  // empty once the session is closed
  const std::string interfaceName;
  // What the latest call gave: the value, and its arrays as they were handed out.
  velmora::Variant answer;
  std::vector<std::vector<velmora_value>> arrays;
  std::string handedOut;
  std::optional<velmora::MemberFailure> failed;         // of the latest call of a member
  velmora_object *previous = nullptr, *next = nullptr;  // of the list in ObjectHandles
};

namespace velmora {
namespace {

constexpr int kDeepestArray = 32;
constexpr std::int64_t kLargestExactInteger = std::int64_t{1} << 53;

// --- Values

Variant IntegerOf(std::int64_t value) {
  if (value >= std::numeric_limits<int>::min() && value <= std::numeric_limits<int>::max())
    return static_cast<int>(value);
  if (value > kLargestExactInteger || value < -kLargestExactInteger)
    throw UsageError("A whole number beyond 2 to the power of 53 cannot be passed exactly.");
  return static_cast<double>(value);
}

std::size_t LengthOf(const velmora_value& value, const void* content) {
  if (value.length < 0 || value.length > std::numeric_limits<int>::max())
    throw UsageError("The length of a value is " + std::to_string(value.length) + ".");
  if (value.length > 0 && content == nullptr) throw UsageError("A value with a length has no content.");
  return static_cast<std::size_t>(value.length);
}

// A value of the caller; object: that it is passed to.
Variant TakenValue(const velmora_value& value, const velmora_object& object, int depth = 0) {
  switch (value.type) {
    case VELMORA_EMPTY:
      return {};
    case VELMORA_INTEGER:
      return IntegerOf(value.as.integer);
    case VELMORA_REAL:
      return value.as.real;
    case VELMORA_TEXT: {
      const std::size_t length = LengthOf(value, value.as.text);
      std::string text(length == 0 ? "" : value.as.text, length);
      if (FirstByteBeyondUtf8(text) != std::string::npos) throw UsageError("A text of a value is not UTF-8.");
      return text;
    }
    case VELMORA_OBJECT: {
      const velmora_object& passed = Required(value.as.object, "object of a value");
      if (passed.state != object.state) throw UsageError("An object of another session cannot be passed.");
      return passed.target;
    }
    case VELMORA_ARRAY: {
      if (depth >= kDeepestArray) throw UsageError("Arrays are nested too deeply.");
      const std::size_t count = LengthOf(value, value.as.items);
      Variant::Array items;
      items.reserve(count);
      for (std::size_t index = 0; index < count; ++index)
        items.push_back(TakenValue(value.as.items[index], object, depth + 1));
      return items;
    }
    default:
      throw UsageError("There is no type of values " + std::to_string(value.type) + ".");
  }
}

velmora_object* NewHandle(const std::shared_ptr<SessionState>& state, const ObjectReference& target) {
  auto made = std::make_unique<velmora_object>(state, target);
  state->objects.Add(*made);
  return made.release();
}

velmora_value HandedOut(velmora_object& owner, const vlm::AutomationValue& given);

// item(index): one of the count items.
template <typename Item>
velmora_value HandedOutArray(velmora_object& owner, int count, Item item) {
  std::vector<velmora_value> items;
  items.reserve(static_cast<std::size_t>(count));
  for (int index = 0; index < count; ++index) items.push_back(item(index));
  velmora_value value{};
  value.type = VELMORA_ARRAY;
  value.length = count;
  // Moving an outer vector's elements keeps their buffers where they are.
  owner.arrays.push_back(std::move(items));
  value.as.items = owner.arrays.back().data();
  return value;
}

velmora_value HandedOutInteger(int integer) {
  velmora_value value{};
  value.type = VELMORA_INTEGER;
  value.as.integer = integer;
  return value;
}

// A view of the owner's answer for the caller; objects in it get handles.
velmora_value HandedOut(velmora_object& owner, const vlm::AutomationValue& given) {
  velmora_value value{};
  switch (given.type) {
    case vlm::kAutomationInt:
      return HandedOutInteger(given.intValue);
    case vlm::kAutomationReal:
      value.type = VELMORA_REAL;
      value.as.real = given.realValue;
      return value;
    case vlm::kAutomationText:
      value.type = VELMORA_TEXT;
      value.length = given.length;
      value.as.text = given.text;
      return value;
    case vlm::kAutomationIntArray:
      return HandedOutArray(owner, given.length,
                            [&](int index) { return HandedOutInteger(given.integers[index]); });
    case vlm::kAutomationArray:
      return HandedOutArray(owner, given.length,
                            [&](int index) { return HandedOut(owner, given.items[index]); });
    case vlm::kAutomationObject:
      if (given.object == nullptr) return value;
      value.type = VELMORA_OBJECT;
      value.as.object = NewHandle(owner.state, ObjectReference(given.object));
      return value;
    default:
      return value;
  }
}

void GiveAnswer(velmora_object& owner, velmora_value* value) {
  if (value == nullptr) return;
  std::vector<std::vector<vlm::AutomationValue>> storage;
  *value = HandedOut(owner, owner.answer.View(storage));
}

// --- Calls

// Runs work on the session's thread for an object that is still there.
template <typename Work>
int ForObject(velmora_object* object, Work work) {
  return ForHandle(object, "object", [&](SessionState& state) {
    state.Work([&] {
      state.objects.Sweep();
      if (!object->target) throw RunError("The session of the object is closed.");
      work(*object);
    });
  });
}

int Use(velmora_object* object, const char* member, MemberUse use, const velmora_value* arguments,
        std::size_t count, velmora_value* result) {
  if (object != nullptr) object->failed.reset();
  return ForObject(object, [&](velmora_object& owner) {
    const std::string name = &Required(member, "member");
    if (count > 0) Required(arguments, "arguments");
    std::vector<Variant> taken;
    for (std::size_t index = 0; index < count; ++index) taken.push_back(TakenValue(arguments[index], owner));
    owner.answer = {};
    owner.arrays.clear();
    try {
      owner.answer = CallMember(owner.target, name, use, taken);
    } catch (const MemberFailure& failure) {
      owner.failed = failure;
      throw;
    }
    GiveAnswer(owner, result);
  });
}

void StartApplication(SessionState& state, const char* options) {
  ModuleOptions module;
  bool quiet = false;
  CommandParser parser;
  module.AddTo(parser);
  parser.Flag("--quiet", quiet);
  parser.Parse(CommandWords(OptionsText(options)));
  if (!module.path.empty()) throw UsageError("--module: velmora_open takes it.");
  auto started = std::make_unique<ScriptSession>(state.modulePath, module, quiet);
  if (!state.table.columns.empty()) {
    started->session.SetTable(PrepareTable(std::exchange(state.table, {}), {}));
    state.userMissing.reset();
  }
  state.scripts = std::move(started);
}

// --- Handles

void Link(velmora_object*& list, velmora_object& handle) {
  handle.previous = nullptr;
  handle.next = list;
  if (list != nullptr) list->previous = &handle;
  list = &handle;
}

void Unlink(velmora_object*& list, velmora_object& handle) {
  (handle.previous != nullptr ? handle.previous->next : list) = handle.next;
  if (handle.next != nullptr) handle.next->previous = handle.previous;
}

}  // namespace

void ObjectHandles::Add(velmora_object& handle) {
  const std::lock_guard lock(mutex_);
  Link(live_, handle);
}

void ObjectHandles::Free(velmora_object* handle) noexcept {
  {
    const std::lock_guard lock(mutex_);
    Unlink(live_, *handle);
    if (!closed_) return Link(freed_, *handle);
  }
  delete handle;
}

void ObjectHandles::Sweep() noexcept {
  velmora_object* handle = nullptr;
  {
    const std::lock_guard lock(mutex_);
    handle = std::exchange(freed_, nullptr);
  }
  while (handle != nullptr) delete std::exchange(handle, handle->next);
}

void ObjectHandles::Close() noexcept {
  {
    const std::lock_guard lock(mutex_);
    closed_ = true;
    for (velmora_object* handle = live_; handle != nullptr; handle = handle->next) {
      handle->answer = {};
      handle->target = {};
    }
  }
  Sweep();
}

SessionState::SessionState() = default;
SessionState::~SessionState() = default;

void EndApplication(SessionState& state) noexcept {
  if (state.scripts == nullptr) return;
  const int code = Guarded(state.error, [&] {
    state.Work([&] {
      state.objects.Close();
      state.scripts.reset();
    });
  });
  // A child process has no thread on which the session of its parent could end.
  if (code != VELMORA_OK) static_cast<void>(state.scripts.release());
}

}  // namespace velmora

using namespace velmora;

extern "C" {

int velmora_application(velmora_session* session, const char* options, velmora_object** application) {
  return ForHandle(session, "session", [&](SessionState& state) {
    Required(application, "application");
    if (state.scripts != nullptr && !CommandWords(OptionsText(options)).empty())
      throw UsageError("The application has started already; only the first call takes options.");
    state.Work([&] {
      state.objects.Sweep();
      if (state.scripts == nullptr) StartApplication(state, options);
      *application =
          NewHandle(session->state, ObjectReference(state.scripts->session.Application().Object()));
    });
  });
}

void velmora_object_free(velmora_object* object) {
  if (object == nullptr) return;
  const std::shared_ptr<SessionState> state = object->state;
  state->objects.Free(object);
}

const char* velmora_object_interface(const velmora_object* object) {
  return object == nullptr ? "" : object->interfaceName.c_str();
}

int velmora_object_members(velmora_object* object, const char** json) {
  return ForObject(object, [&](velmora_object& owner) {
    Required(json, "json");
    GiveText(owner.handedOut, MembersJson(owner.target), json, nullptr);
  });
}

int velmora_object_get(velmora_object* object, const char* member, velmora_value* value) {
  return Use(object, member, MemberUse::kGet, nullptr, 0, value);
}

int velmora_object_put(velmora_object* object, const char* member, const velmora_value* value) {
  return Use(object, member, MemberUse::kPut, value, 1, nullptr);
}

int velmora_object_call(velmora_object* object, const char* member, const velmora_value* arguments,
                        size_t count, velmora_value* result) {
  return Use(object, member, MemberUse::kCall, arguments, count, result);
}

int velmora_object_failure(velmora_object* object, const char** member, const char** reason,
                           int32_t* number) {
  return ForHandle(object, "object", [&](SessionState&) {
    if (!object->failed) throw UsageError("The object's latest call has not failed in a member.");
    if (member != nullptr) *member = object->failed->Member().c_str();
    if (reason != nullptr) *reason = object->failed->Reason().c_str();
    if (number != nullptr) *number = object->failed->Number();
  });
}
}
