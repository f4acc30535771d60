// Data in parts of include/velmora.h: states that merge.
#include "workbench/api/arrow_import.h"
#include "workbench/api/c_handles.h"
#include "workbench/api/options_json.h"

namespace velmora {
namespace {

PartSettings ReadPartSettings(const char* json) {
  CommandParser parser;
  int cells = 6400, levels = 100000;
  PartSettings settings;
  parser.WholeNumber("--cells", cells, 100, 1 << 20);
  parser.WholeNumber("--levels", levels, 100, 1 << 24);
  parser.Text("--cases", settings.cases);
  parser.Text("--squares", settings.squares);
  parser.Parse(CommandWords(OptionsText(json)));
  settings.limits = {static_cast<std::size_t>(cells), static_cast<std::size_t>(levels)};
  return settings;
}

// A stream without rows is an empty part.
void TakePart(const ArrowBatches& batches, SessionState& state, PartRun& run) {
  if (batches.RowCount() > 0) run.Take(batches.MakeTable(run.MissingTexts(), state.notices));
}

}  // namespace
}  // namespace velmora

using namespace velmora;

extern "C" {

int velmora_state_new(velmora_session* session, const char* analysis, const char* options,
                      const char* settings, velmora_state** state) {
  return ForHandle(session, "session", [&](SessionState& shared) {
    const std::string name = &Required(analysis, "analysis");
    Required(state, "state");
    *state = nullptr;
    std::vector<std::string> words = CommandWords(OptionsText(options));
    RefuseCommandOnly(words);
    words.insert(words.begin(), kTableName);
    const PartSettings parts = ReadPartSettings(settings);
    auto made = std::make_unique<velmora_state>();
    made->state = session->state;
    shared.Work([&] { made->run = StartPartRun(name, words, parts); });
    *state = made.release();
  });
}

int velmora_state_load(velmora_session* session, const char* bytes, size_t length, velmora_state** state) {
  return ForHandle(session, "session", [&](SessionState& shared) {
    Required(bytes, "bytes");
    Required(state, "state");
    *state = nullptr;
    auto made = std::make_unique<velmora_state>();
    made->state = session->state;
    shared.Work([&] { made->run = ReadPartRun({bytes, length}); });
    *state = made.release();
  });
}

void velmora_state_free(velmora_state* state) { delete state; }

int velmora_state_update(velmora_state* state, struct ArrowArrayStream* stream) {
  return ForHandle(state, "state", [&](SessionState& shared) {
    const ArrowBatches batches(Required(stream, "stream"));
    shared.Work([&] { TakePart(batches, shared, *state->run); });
  });
}

int velmora_state_merge(velmora_state* state, const char* bytes, size_t length) {
  return ForHandle(state, "state", [&](SessionState& shared) {
    Required(bytes, "bytes");
    shared.Work([&] { state->run->Merge({bytes, length}); });
  });
}

int velmora_state_bytes(velmora_state* state, const char** bytes, size_t* length) {
  return ForHandle(state, "state", [&](SessionState& shared) {
    Required(bytes, "bytes");
    Required(length, "length");
    shared.Work([&] { GiveText(state->handedOut, state->run->Bytes(), bytes, length); });
  });
}

int velmora_state_next(velmora_state* state, const char** bytes, size_t* length) {
  return ForHandle(state, "state", [&](SessionState& shared) {
    Required(bytes, "bytes");
    Required(length, "length");
    shared.Work([&] { GiveText(state->handedOut, state->run->SecondPass(), bytes, length); });
  });
}

int velmora_state_finish(velmora_state* first, velmora_state* second, velmora_result** result) {
  return ForHandle(first, "first", [&](SessionState& shared) {
    const PartRun& sums = *Required(second, "second").run;
    Required(result, "result");
    *result = nullptr;
    auto made = std::make_unique<velmora_result>();
    made->state = first->state;
    made->image = std::make_unique<ModuleImage>(shared.modulePath);
    shared.Work([&] { made->run = first->run->Finish(sums, "--module=" + made->image->Path()); });
    *result = made.release();
  });
}
}
