#include "module/screening/unique_values.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <span>
#include <utility>
#include <vector>

#include "base/tolerant.h"
#include "contract/counted.h"
#include "contract/text.h"
#include "module/screening/host_calls.h"

namespace vlmfsl {
namespace {

constexpr int kBlockRows = 1024;  // all columns of a block stay in the nearest cache

// Marks the cases whose response is displayed as the bad code's text. A response has two values
// here, so the displayed text is read once per value, and cases are compared with the last two
// values.
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

  // False when there is another value; the marks are then invalid. Values are compared exactly: the
  // same code is the same double.
  bool MarkByLastTwo(std::span<const double> responses, std::uint8_t* marks) const {
    const Known a = lastTwo_[0];
    const Known b = lastTwo_[1];
    const auto bitsOfA = std::bit_cast<std::uint64_t>(a.value);
    const auto bitsOfB = std::bit_cast<std::uint64_t>(b.value);
    const unsigned aIsBad = a.isBad ? 1 : 0;
    const unsigned bIsBad = b.isBad ? 1 : 0;
    unsigned others = 0;
    for (std::size_t i = 0; i < responses.size(); ++i) {
      const auto bits = std::bit_cast<std::uint64_t>(responses[i]);
      const unsigned isA = bits == bitsOfA ? 1 : 0;
      const unsigned isB = bits == bitsOfB ? 1 : 0;
      others |= (isA | isB) ^ 1u;
      marks[i] = static_cast<std::uint8_t>((isA & aIsBad) | (isB & bIsBad));
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

// isAnother[i] := 1 when value i + 1 is neither value i nor within 15 units in the last place of
// it, else 0. values: rising or falling.
void MarkOthers(std::span<const double> values, std::uint8_t* isAnother) {
  constexpr auto kUlps = static_cast<std::uint64_t>(vlm::kToleranceUlps);
  const std::size_t count = values.size() - 1;
  auto last = static_cast<std::uint64_t>(vlm::OrderedBits(values[0]));
  for (std::size_t i = 0; i < count; ++i) {
    const auto image = static_cast<std::uint64_t>(vlm::OrderedBits(values[i + 1]));
    isAnother[i] = image - last + kUlps > 2 * kUlps ? 1 : 0;  // the distance, whichever of the two is greater
    last = image;
  }
  if (!std::isinf(values.front()) && !std::isinf(values.back())) return;
  // The ordered bits of the largest doubles are next to those of the infinities, but the values are
  // not close.
  for (std::size_t i = 0; i < count; ++i) {
    if (std::isinf(values[i]) != std::isinf(values[i + 1])) isAnother[i] = 1;
  }
}

// Rows before they are written to the sheet; the last one grows while its value repeats.
class RowBlock {
 public:
  explicit RowBlock(vlm::ISpreadsheet& sheet) : sheet_(sheet) {}

  // The next cases. isAnother[i]: case i begins a new row. Rows are counted without a branch: no
  // processor can predict where values repeat.
  void Add(std::span<const double> values, const std::uint8_t* isAnother, const std::uint8_t* isBad) {
    std::size_t row = rowCount_;
    std::int32_t cases = row > 0 ? cases_[row - 1] : 0;
    std::int32_t bad = row > 0 ? bad_[row - 1] : 0;
    double* const valueOf = value_.data();
    std::int32_t* const casesOf = cases_.data();
    std::int32_t* const badOf = bad_.data();
    for (std::size_t i = 0; i < values.size(); ++i) {
      const std::int32_t kept = isAnother[i] - 1;  // a mask: keeps the running counts, or clears them
      row += isAnother[i];
      cases = (cases & kept) + 1;
      bad = (bad & kept) + isBad[i];
      valueOf[row - 1] = values[i];
      casesOf[row - 1] = cases;
      badOf[row - 1] = bad;
    }
    rowCount_ = row;
  }

  // Writes all rows but the last, which may still grow, or (with last) that one, too.
  void Flush(bool last) {
    const std::size_t count = last || rowCount_ == 0 ? rowCount_ : rowCount_ - 1;
    if (count == 0) return;
    Write(kUniqueValueColumn, value_.data(), count);
    for (std::size_t i = 0; i < count; ++i) figures_[i] = 100.0 * bad_[i] / cases_[i];
    Write(kUniqueRateColumn, figures_.data(), count);
    for (std::size_t i = 0; i < count; ++i) figures_[i] = bad_[i];
    Write(kUniqueBadColumn, figures_.data(), count);
    for (std::size_t i = 0; i < count; ++i) figures_[i] = cases_[i] - bad_[i];
    Write(kUniqueGoodColumn, figures_.data(), count);
    firstRow_ += static_cast<int>(count);
    if (count < rowCount_) {
      value_[0] = value_[count];
      cases_[0] = cases_[count];
      bad_[0] = bad_[count];
    }
    rowCount_ -= count;
  }

 private:
  static constexpr std::size_t kRows =
      std::size_t{kBlockRows} + 1;  // a block of new ones, and the one that grows

  void Write(int column, const double* cells, std::size_t count) {
    sheet_.WriteColumn(column, firstRow_, static_cast<int>(count), cells);
  }

  vlm::ISpreadsheet& sheet_;
  std::vector<double> value_ = std::vector<double>(kRows);
  std::vector<double> figures_ = std::vector<double>(kRows);
  std::vector<std::int32_t> cases_ = std::vector<std::int32_t>(kRows);
  std::vector<std::int32_t> bad_ = std::vector<std::int32_t>(kRows);
  std::size_t rowCount_ = 0;
  int firstRow_ = 1;
};

class UniqueValuesMaker final : public vlm::Counted<UniqueValuesMaker, vlm::ISheetMaker> {
 public:
  UniqueValuesMaker(const vlm::Ref<vlm::IWorkSheet>& workSheet, std::string badText, UniqueValueNames names)
      : workSheet_(workSheet), badText_(std::move(badText)), names_(std::move(names)) {}

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
  friend Counted;
  ~UniqueValuesMaker() = default;

  void Name(vlm::ISpreadsheet& sheet) const {
    const std::string* names[] = {&names_.predictor, &names_.rate, &names_.bad, &names_.good};
    for (int column = 1; column <= 4; ++column) {
      const std::string& name = *names[column - 1];
      sheet.SetColumnName(column, name.data(), vlm::LengthOf(name));
    }
  }

  void Fill(vlm::ISpreadsheet& sheet) {
    const int rowCount = workSheet_->GetRowCount();
    std::vector<double> predictor(kBlockRows + 1);  // the first: last value of the block before
    std::vector<double> response(kBlockRows);
    std::vector<std::uint8_t> isBad(kBlockRows);
    std::vector<std::uint8_t> isAnother(kBlockRows);
    BadCodeMarks marks(*workSheet_, badText_);
    RowBlock rows(sheet);
    for (int first = 1; first <= rowCount; first += kBlockRows) {
      const int count = std::min(kBlockRows, rowCount - first + 1);
      const auto size = static_cast<std::size_t>(count);
      predictor[0] = predictor[kBlockRows];
      workSheet_->ReadColumn(1, first, count, predictor.data() + 1);
      if (first == 1) predictor[0] = predictor[1];
      workSheet_->ReadColumn(2, first, count, response.data());
      marks.Mark(std::span(response).first(size), first, isBad.data());
      MarkOthers(std::span(predictor).first(size + 1), isAnother.data());
      if (first == 1) isAnother[0] = 1;
      rows.Add(std::span(predictor).subspan(1, size), isAnother.data(), isBad.data());
      rows.Flush(false);
    }
    rows.Flush(true);
  }

  vlm::Ref<vlm::IWorkSheet> workSheet_;
  std::string badText_;
  UniqueValueNames names_;
};

}  // namespace

vlm::Ref<vlm::ISheetMaker> MakeUniqueValuesMaker(const vlm::Ref<vlm::IWorkSheet>& workSheet,
                                                 std::string badText, UniqueValueNames names) {
  return vlm::Ref<vlm::ISheetMaker>::Adopt(
      new UniqueValuesMaker(workSheet, std::move(badText), std::move(names)));
}

}  // namespace vlmfsl
