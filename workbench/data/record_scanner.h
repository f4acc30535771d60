// Scans delimited text: finds records and fields, reads numbers where they are, and finds the first
// place that is damaged.
//
//   record   = field *(delimiter field) line-end
//   field    = plain | blanks '"' quoted '"' blanks        "" inside quotes is one quote
//   line-end = LF | CR LF | CR
//
// A block is scanned on its own, on any thread, as if a record began with it. Whether one does is
// known once the block before it has been scanned (delimited_text.h).
//
//   RecordScanner scanner(',', 3);
//   scanner.Scan(block, plans);
//   double age = block.Cells(0)[row];
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "workbench/data/text_format.h"

namespace velmora {

// How a column's fields are scanned: skipped, read as numbers, or kept as places.
enum class ColumnUse : std::uint8_t { kSkip, kNumbers, kTexts };

struct ColumnPlan {
  ColumnUse use = ColumnUse::kNumbers;
  char decimalMark = 0;       // of numbers that are read at once; 0: whole numbers only
  std::uint32_t skipRun = 0;  // this and the following columns that are skipped; see SetSkipRuns
};
// Counts the runs of columns that are skipped, which the scanner passes over faster.
void SetSkipRuns(std::span<ColumnPlan> plans);

// Where a field lies in its block, without its quotes.
struct FieldPlace {
  std::uint32_t begin = 0;
  std::uint32_t length : 31 = 0;
  std::uint32_t escaped : 1 = 0;  // holds doubled quotes
};

// Both count from 1: records within a block, or rows of the file with the header as the first.
struct TextPosition {
  std::int64_t row = 0;  // 0: none
  std::int64_t line = 0;
};

enum class TextDamage : std::uint8_t {
  kNone,
  kNul,
  kOpenQuote,
  kTextAfterQuote,
  kFieldCount,
  kEncoding,
  kTooLong,
};

struct TextBlock {
  // A field of a column of numbers that was not read at once.
  struct OtherField {
    std::uint32_t row = 0;
    std::uint32_t slot = 0;
    FieldPlace place;
  };

  std::vector<char> bytes;
  bool isLast = false;         // nothing follows in the file
  std::int64_t fileBytes = 0;  // of the file, up to the end of this block

  // Filled by Scan. Slots count the columns that are not skipped. Cells of a column of numbers are
  // finite or kMissing; a FieldPlace is kept as the bits of a double in a column of texts.
  std::unique_ptr<double[]> cells;
  std::size_t cellCapacity = 0;
  std::size_t stride = 0;
  std::vector<OtherField> others;         // ascending by slot, then row
  std::vector<std::uint32_t> otherBegin;  // per slot, and the end
  std::int64_t rowCount = 0;              // of the table
  std::int64_t recordCount = 0;           // rowCount and the records left out
  std::int64_t lineCount = 0;
  std::int64_t raggedCount = 0;
  TextPosition firstRagged;
  std::int64_t lineFeeds = 0;  // lines that end in LF or CR LF
  TextPosition loneReturn;     // the first line that ends in CR
  std::size_t scanned = 0;     // bytes of finished records; what follows belongs to the next block
  TextDamage damage = TextDamage::kNone;
  TextPosition damagedAt;
  std::size_t damagedFieldCount = 0;

  std::span<const double> Cells(std::size_t slot) const {
    return {cells.get() + slot * stride, static_cast<std::size_t>(rowCount)};
  }
  std::span<const OtherField> Others(std::size_t slot) const {
    return std::span(others).subspan(otherBegin[slot], otherBegin[slot + 1] - otherBegin[slot]);
  }
  // The text of a field; scratch holds it where doubled quotes had to become one.
  std::string_view Text(FieldPlace place, std::string& scratch) const;
};

// The first record of a file.
struct HeaderRecord {
  std::vector<std::string> names;  // blanks around names without quotes dropped
  std::size_t end = 0;             // of the record in the text
  std::int64_t lineCount = 0;      // up to there
};

class RecordScanner {
 public:
  // columnCount: of every record; 0 for a scanner of headers. Quotes mean nothing special when the
  // delimiter is a quote. doubtful: numbers that are not read at once, because their text may mean
  // a missing value.
  RecordScanner(char delimiter, std::size_t columnCount, RaggedRecords ragged = RaggedRecords::kError,
                std::vector<double> doubtful = {});

  // plans: one per column. Blank lines are skipped, except in text of one column. Stops at the
  // first damage.
  void Scan(TextBlock& block, std::span<const ColumnPlan> plans) const;

  // The first record that is not blank; nothing when it goes on beyond the text, or is damaged
  // (then block says how). Only bytes and isLast of the block are used.
  std::optional<HeaderRecord> ScanHeader(TextBlock& block) const;

 private:
  enum Class : unsigned char { kPlain, kDelimiter, kQuote, kLineFeed, kReturn, kBlank, kNul };
  struct Cursor;

  std::size_t SkipFields(Cursor& cursor, std::size_t count) const;
  bool ScanField(Cursor& cursor, TextBlock& block, FieldPlace& place) const;
  bool ScanLineEnd(Cursor& cursor, TextBlock& block) const;
  bool ScanRecord(Cursor& cursor, TextBlock& block, std::span<const ColumnPlan> plans) const;
  void SettleFieldCount(const Cursor& cursor, TextBlock& block, std::span<const ColumnPlan> plans,
                        std::size_t count, std::size_t firstOther) const;
  void CheckEncoding(TextBlock& block) const;
  const char* ReadNumber(const char* at, const char* end, bool isLast, char decimalMark, double& value) const;
  bool IsDoubtful(double value) const {
    return std::find(doubtful_.begin(), doubtful_.end(), value) != doubtful_.end();
  }
  Class ClassOf(char c) const { return static_cast<Class>(classes_[static_cast<unsigned char>(c)]); }
  bool EndsField(char c) const { return endsField_[static_cast<unsigned char>(c)]; }

  std::array<unsigned char, 256> classes_{};
  std::array<bool, 256> endsField_{};  // the delimiter and line ends
  char delimiter_;
  std::size_t columnCount_;
  RaggedRecords ragged_;
  std::vector<double> doubtful_;
  bool numbersAtOnce_;  // the delimiter is no part of a number
};

}  // namespace velmora
