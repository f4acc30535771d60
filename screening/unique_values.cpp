#include "screening/unique_values.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>
#include <vector>

#include "base/tolerant.h"
#include "frame/string_sink.h"
#include "screening/host_calls.h"

namespace vlmfsl {
namespace {

constexpr int kBlockRows = 4096;

// Says which response values are displayed as the bad code's text. A response has two values here, so the few
// seen are kept, each with the answer.
class BadCodeTest {
 public:
  BadCodeTest(vlm::ISpreadsheet& sheet, const std::string& badText) : sheet_(sheet), badText_(badText) {}

  // row: a row that holds the value.
  bool operator()(double value, int row) {
    if (hasLast_ && value == lastValue_) return lastIsBad_;  // bitwise repeats: exact on purpose
    for (const auto& [known, isBad] : known_) {
      if (known == value) return Remember(value, isBad);
    }
    const bool isBad = CellText(sheet_, row, 2) == badText_;
    if (known_.size() < 64) known_.emplace_back(value, isBad);
    return Remember(value, isBad);
  }

 private:
  bool Remember(double value, bool isBad) {
    hasLast_ = true;
    lastValue_ = value;
    return lastIsBad_ = isBad;
  }

  vlm::ISpreadsheet& sheet_;
  const std::string& badText_;
  std::vector<std::pair<double, bool>> known_;
  bool hasLast_ = false;
  double lastValue_ = 0;
  bool lastIsBad_ = false;
};

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
    BadCodeTest isBad(*workSheet_, badText_);
    RowBlock finished(sheet);
    double value = 0;
    int cases = 0;
    int bad = 0;
    for (int first = 1; first <= rowCount; first += kBlockRows) {
      const int count = std::min(kBlockRows, rowCount - first + 1);
      workSheet_->ReadColumn(1, first, count, predictor.data());
      workSheet_->ReadColumn(2, first, count, response.data());
      for (int i = 0; i < count; ++i) {
        const double x = predictor[static_cast<std::size_t>(i)];
        if (cases > 0 && x != value && !NearlyEqual(x, value)) {
          finished.Add(value, bad, cases);
          cases = 0;
          bad = 0;
        }
        value = x;
        ++cases;
        bad += isBad(response[static_cast<std::size_t>(i)], first + i) ? 1 : 0;
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
