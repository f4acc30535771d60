#include "screening/unique_values.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <span>
#include <utility>
#include <vector>

#include "base/tolerant.h"
#include "frame/string_sink.h"
#include "screening/host_calls.h"

namespace vlmfsl {
namespace {

constexpr int kBlockRows = 4096;

// Marks the cases whose response is displayed as the bad code's text. A response has two values here, so the
// display is asked for each value once and cases are compared with the two seen last.
class BadCodeMarks {
 public:
  BadCodeMarks(vlm::ISpreadsheet& sheet, const std::string& badText) : sheet_(sheet), badText_(badText) {}

  // marks[i] := 1 for a bad case, else 0. firstRow: row of the first response.
  void Mark(std::span<const double> responses, int firstRow, std::uint8_t* marks) {
    if (MarkByLastTwo(responses, marks)) return;
    for (std::size_t i = 0; i < responses.size(); ++i) {
      marks[i] = IsBad(responses[i], firstRow + static_cast<int>(i)) ? 1 : 0;
    }
  }

 private:
  struct Known {
    double value = std::numeric_limits<double>::quiet_NaN();  // equals no response
    bool isBad = false;
  };

  // False when there is another value; the marks are then not to be used. Values are compared exactly: the same
  // code is the same double.
  bool MarkByLastTwo(std::span<const double> responses, std::uint8_t* marks) const {
    const Known a = lastTwo_[0];
    const Known b = lastTwo_[1];
    unsigned others = 0;
    for (std::size_t i = 0; i < responses.size(); ++i) {
      const unsigned isA = responses[i] == a.value ? 1 : 0;
      const unsigned isB = responses[i] == b.value ? 1 : 0;
      others |= (isA | isB) ^ 1u;
      marks[i] = static_cast<std::uint8_t>((isA & (a.isBad ? 1u : 0u)) | (isB & (b.isBad ? 1u : 0u)));
    }
    return others == 0;
  }

  bool IsBad(double value, int row) {
    for (const Known& known : lastTwo_) {
      if (known.value == value) return known.isBad;
    }
    lastTwo_[1] = lastTwo_[0];
    lastTwo_[0] = {value, CellText(sheet_, row, 2) == badText_};
    return lastTwo_[0].isBad;
  }

  vlm::ISpreadsheet& sheet_;
  const std::string& badText_;
  Known lastTwo_[2];
};

// Not within 15 units in the last place. Most neighbours differ by far more than that, which one look tells:
// the tolerance is below 4e-15 of either.
bool IsAnotherValue(double a, double b) {
  constexpr double kWellBeyond = 1e-14;
  constexpr double kNormal = 1e-290;
  const double size = std::max(std::abs(a), std::abs(b));
  if (size > kNormal && std::abs(a - b) > kWellBeyond * size) return true;
  return a != b && !NearlyEqual(a, b);
}

// Finished rows on their way to the sheet.
class RowBlock {
 public:
  explicit RowBlock(vlm::ISpreadsheet& sheet) : sheet_(sheet) {
    for (auto& column : columns_) column.resize(kBlockRows);
  }

  void Add(double value, int bad, int cases) {
    const auto i = static_cast<std::size_t>(filled_);
    columns_[0][i] = value;
    columns_[1][i] = 100.0 * bad / cases;
    columns_[2][i] = bad;
    columns_[3][i] = cases - bad;
    if (++filled_ == kBlockRows) Flush();
  }

  void Flush() {
    for (int column = 1; column <= 4; ++column) {
      sheet_.WriteColumn(column, firstRow_, filled_, columns_[column - 1].data());
    }
    firstRow_ += filled_;
    filled_ = 0;
  }

 private:
  vlm::ISpreadsheet& sheet_;
  std::vector<double> columns_[4];
  int firstRow_ = 1;
  int filled_ = 0;
};

class UniqueValuesMaker final : public vlm::ISheetMaker {
 public:
  UniqueValuesMaker(const Ref<vlm::IWorkSheet>& workSheet, std::string badText, UniqueValueNames names)
      : workSheet_(workSheet), badText_(std::move(badText)), names_(std::move(names)) {}

  void AddReference() override { ++references_; }
  void ReleaseReference() override {
    if (--references_ == 0) delete this;
  }

  int MakeCells(vlm::ISpreadsheet* sheet) override {
    try {
      Name(*sheet);
      Fill(*sheet);
      return 0;
    } catch (...) {
      return 1;
    }
  }

 private:
  ~UniqueValuesMaker() = default;

  void Name(vlm::ISpreadsheet& sheet) const {
    const std::string* names[] = {&names_.predictor, &names_.rate, &names_.bad, &names_.good};
    for (int column = 1; column <= 4; ++column) {
      const std::string& name = *names[column - 1];
      sheet.SetColumnName(column, name.data(), LengthOf(name));
    }
  }

  void Fill(vlm::ISpreadsheet& sheet) {
    const int rowCount = workSheet_->GetRowCount();
    std::vector<double> predictor(kBlockRows);
    std::vector<double> response(kBlockRows);
    std::vector<std::uint8_t> isBad(kBlockRows);
    BadCodeMarks marks(*workSheet_, badText_);
    RowBlock finished(sheet);
    double value = 0;
    int cases = 0;
    int bad = 0;
    for (int first = 1; first <= rowCount; first += kBlockRows) {
      const int count = std::min(kBlockRows, rowCount - first + 1);
      workSheet_->ReadColumn(1, first, count, predictor.data());
      workSheet_->ReadColumn(2, first, count, response.data());
      marks.Mark(std::span(response).first(static_cast<std::size_t>(count)), first, isBad.data());
      for (int i = 0; i < count; ++i) {
        const double x = predictor[static_cast<std::size_t>(i)];
        if (cases > 0 && IsAnotherValue(x, value)) {
          finished.Add(value, bad, cases);
          cases = 0;
          bad = 0;
        }
        value = x;
        ++cases;
        bad += isBad[static_cast<std::size_t>(i)];
      }
    }
    if (cases > 0) finished.Add(value, bad, cases);
    finished.Flush();
  }

  int references_ = 1;
  Ref<vlm::IWorkSheet> workSheet_;
  std::string badText_;
  UniqueValueNames names_;
};

}  // namespace

Ref<vlm::ISheetMaker> MakeUniqueValuesMaker(const Ref<vlm::IWorkSheet>& workSheet, std::string badText,
                                            UniqueValueNames names) {
  return Ref<vlm::ISheetMaker>::Adopt(new UniqueValuesMaker(workSheet, std::move(badText), std::move(names)));
}

}  // namespace vlmfsl
