#include "workbench/procedures/host_procedures.h"

#include <charconv>

#include "workbench/procedures/procedure.h"

namespace velmora {

std::vector<std::vector<int>> ParseVariableFields(std::string_view text) {
  std::vector<std::vector<int>> fields(1);
  for (std::size_t at = 0; at < text.size();) {
    const char c = text[at];
    if (c == '|') fields.emplace_back();
    if (c == '|' || c == ' ') {
      ++at;
      continue;
    }
    int number = 0;
    const auto read = std::from_chars(text.data() + at, text.data() + text.size(), number);
    if (read.ec != std::errc() || number < 1) {
      throw DataError("The variable list \"" + std::string(text) + "\" has something that is no number.");
    }
    fields.back().push_back(number);
    at = static_cast<std::size_t>(read.ptr - text.data());
  }
  return fields;
}

int Procedure::SetCaseWeight(int variableNumber) {
  return Try([&] {
    if (variableNumber < 0 || variableNumber > table_->VariableCount()) {
      throw DataError("There is no weight variable " + std::to_string(variableNumber) + ".");
    }
    cases_.weightVariable = variableNumber;
  });
}

int Procedure::SetOption(int option, int value) {
  return Try([&] {
    if (option < 1 || option >= static_cast<int>(kOptionCount)) {
      throw DataError("The analysis has no option " + std::to_string(option) + ".");
    }
    options_[static_cast<std::size_t>(option)] = value;
  });
}

const std::vector<int>& Procedure::Field(std::size_t i) const {
  static const std::vector<int> kNone;
  return i < fields_.size() ? fields_[i] : kNone;
}

namespace {

// The calling analysis: its selection and weights can be read; there is nothing to run.
class CallingAnalysis final : public Procedure {
 public:
  CallingAnalysis(std::shared_ptr<HostProcedures::Shared> shared, TablePointer table)
      : Procedure(vlm::kCallingAnalysis, std::move(shared), std::move(table)) {
    shared_->environment.selection(cases_.inclusion, cases_.exclusion);
    cases_.enabled = cases_.inclusion.empty() && cases_.exclusion.empty() ? 0 : 1;
    cases_.weightVariable = shared_->environment.weightVariable();
  }

 private:
  void Compute() override { throw DataError("This analysis cannot be run from outside."); }
  std::shared_ptr<Sheet> MakeResult(int, int) override { return nullptr; }
};

}  // namespace

HostProcedures::HostProcedures(ProcedureEnvironment environment)
    : shared_(std::make_shared<Shared>(std::move(environment))) {}

HostProcedures::~HostProcedures() = default;

ProcedureSettings& HostProcedures::Settings() { return shared_->settings; }

void HostProcedures::ForgetCaches() { shared_->Forget(); }

void HostProcedures::ReleaseData(std::shared_ptr<const Table> old) {
  shared_->ReleaseLiveTable(std::move(old));
}

vlm::IProcedure* HostProcedures::Create(int analysisId) {
  try {
    const TablePointer& table = shared_->LiveTable();
    if (analysisId == vlm::kCallingAnalysis) return new CallingAnalysis(shared_, table);
    if (analysisId == vlm::kTreeProcedure) return MakeTreeProcedure(shared_, table);
    return nullptr;
  } catch (...) {
    return nullptr;
  }
}

}  // namespace velmora
