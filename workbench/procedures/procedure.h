// The common part of all procedures: settings, the reason of a failure, and result sheets.
#pragma once

#include <array>
#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "contract/counted.h"
#include "contract/text.h"
#include "workbench/data/errors.h"
#include "workbench/procedures/shared_data.h"

namespace velmora {

// The fields of a variable list: " 5 | | 7" gives {5}, {}, {7}. Throws DataError for anything but
// numbers.
std::vector<std::vector<int>> ParseVariableFields(std::string_view text);

class Procedure : public vlm::Counted<Procedure, vlm::IProcedure> {
 public:
  int GetAnalysisID() final { return analysisId_; }
  void GetError(vlm::ITextSink* text) final { text->Assign(error_.data(), vlm::LengthOf(error_)); }
  int SetVariableList(const char* text, int length) final {
    return Try([&] { fields_ = ParseVariableFields(vlm::TextOf(text, length)); });
  }
  void GetCaseSelection(int* enabled, vlm::ITextSink* inclusion, vlm::ITextSink* exclusion) final {
    *enabled = cases_.enabled;
    inclusion->Assign(cases_.inclusion.data(), vlm::LengthOf(cases_.inclusion));
    exclusion->Assign(cases_.exclusion.data(), vlm::LengthOf(cases_.exclusion));
  }
  int SetCaseSelection(int enabled, const char* inclusion, int inclusionLength, const char* exclusion,
                       int exclusionLength) final {
    return Try([&] {
      cases_.enabled = enabled;
      cases_.inclusion = vlm::TextOf(inclusion, inclusionLength);
      cases_.exclusion = vlm::TextOf(exclusion, exclusionLength);
    });
  }
  int GetCaseWeight() final { return cases_.weightVariable; }
  int SetCaseWeight(int variableNumber) final;
  int SetOption(int option, int value) final;
  int SetResponseCodes(const char* text, int length) final {
    return Try([&] { responseCodes_ = vlm::TextOf(text, length); });
  }
  int SetPredictorCodes(const char* text, int length) final {
    return Try([&] { predictorCodes_ = vlm::TextOf(text, length); });
  }
  int Run() final {
    return Try([&] { Compute(); });
  }
  vlm::ISpreadsheet* GetResult(int result, int index) final {
    vlm::ISpreadsheet* document = nullptr;
    Try([&] {
      if (std::shared_ptr<Sheet> sheet = MakeResult(result, index)) {
        document = shared_->environment.wrapSheet(std::move(sheet));
      }
    });
    return document;
  }
  vlm::IWorkSheet* CreateWorkSheet() final {
    vlm::IWorkSheet* sheet = nullptr;
    Try([&] { sheet = MakeWork(); });
    return sheet;
  }
  vlm::ITree* CreateTree() final {
    vlm::ITree* tree = nullptr;
    Try([&] { tree = MakeTree(); });
    return tree;
  }

 protected:
  Procedure(int analysisId, std::shared_ptr<HostProcedures::Shared> shared, TablePointer table)
      : shared_(std::move(shared)), table_(std::move(table)), analysisId_(analysisId) {}
  friend Counted;
  virtual ~Procedure() = default;

  // These throw; GetError returns what().
  virtual void Compute() = 0;
  virtual std::shared_ptr<Sheet> MakeResult(int result, int index) = 0;  // null: there is none
  virtual vlm::IWorkSheet* MakeWork() { throw DataError("This procedure makes no work sheet."); }
  virtual vlm::ITree* MakeTree() { return nullptr; }  // null: there is none

  // Field i of the variable list, which must have as many numbers.
  const std::vector<int>& Field(std::size_t i) const;
  int Option(int option) const { return options_[static_cast<std::size_t>(option)]; }

  std::shared_ptr<HostProcedures::Shared> shared_;
  TablePointer table_;
  CaseSettings cases_;
  std::string responseCodes_, predictorCodes_;

 private:
  template <typename Function>
  int Try(Function function) noexcept {
    try {
      error_.clear();
      function();
      return 0;
    } catch (const std::exception& failure) {
      Remember(failure.what());
    } catch (...) {
      Remember("The procedure failed.");
    }
    return 1;
  }
  void Remember(const char* reason) noexcept {
    try {
      error_ = reason;
    } catch (...) {
      error_.clear();
    }
  }

  static constexpr std::size_t kOptionCount = 6;
  std::vector<std::vector<int>> fields_;
  std::array<int, kOptionCount> options_{0, 0, 5, 1, 0, 0};  // by ProcedureOption
  std::string error_;
  int analysisId_;
};

// A new tree analysis on the table; its one reference is the caller's. (tree_procedure.cpp)
vlm::IProcedure* MakeTreeProcedure(std::shared_ptr<HostProcedures::Shared> shared, TablePointer table);

}  // namespace velmora
