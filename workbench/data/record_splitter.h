// Splits delimited text into records and fields, block by block, and refuses text that is not
// whole, with one sentence that names the place.
//
//   record   = field *(delimiter field) line-end
//   field    = plain | blanks '"' quoted '"' blanks        "" inside quotes is one quote
//   line-end = LF | CR LF | CR
//
//   RecordSplitter splitter("a.csv", 0, source);
//   RecordBlock block;
//   while (splitter.Next(block)) use(block.Text(row, column));
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace velmora {

// Whole records: their bytes and where each field lies in them, row by row.
struct RecordBlock {
  struct Field {
    std::uint32_t begin = 0;
    std::uint32_t length = 0;
  };
  std::vector<char> bytes;
  std::vector<Field> fields;
  std::size_t columnCount = 0;
  std::int64_t rowCount = 0;
  std::int64_t bytesRead = 0;  // of the source, up to the end of this block

  std::string_view Text(std::int64_t row, std::size_t column) const {
    const Field& field = fields[static_cast<std::size_t>(row) * columnCount + column];
    return {bytes.data() + field.begin, field.length};
  }
};

class RecordSplitter {
 public:
  // Fills the buffer from its begin as far as there is text; less than its size means the end.
  using Source = std::function<std::size_t(char* buffer, std::size_t size)>;

  // Reads the first record, which names the columns. name: of the file, for messages. delimiter 0:
  // the one of , ; tab | that a first line such as "sep=;" names, else the one that gives the first
  // records equally many fields, the most fields if several do.
  //
  // This and Next throw DataError for text that is empty or UTF-16, has no records, has a record
  // whose number of fields differs from the header's, a quote that is never closed or is followed
  // by text, bytes that are not UTF-8, a NUL, or lone carriage returns among other line ends.
  // blockBytes: how much is read at a time, unless a record is longer.
  RecordSplitter(std::string name, char delimiter, Source source,
                 std::size_t blockBytes = std::size_t{1} << 19);

  char Delimiter() const { return delimiter_; }
  // As they are in the file, blanks around them dropped; they may be empty or repeated.
  const std::vector<std::string>& Names() const { return names_; }
  std::int64_t RowCount() const { return rowCount_; }

  // The next records, at least one; blank lines are skipped, except in text of one column. False
  // after the last.
  bool Next(RecordBlock& block);

 private:
  struct Position {
    std::int64_t row = 0;  // 0: none
    std::int64_t line = 0;
  };

  void ReadStart();
  void ReadHeader();
  void Refill(std::vector<char>& bytes);
  bool Scan(RecordBlock& block);
  bool ScanField(RecordBlock& block, std::size_t& at, std::int64_t& line);
  bool ScanLineEnd(const RecordBlock& block, std::size_t& at, std::int64_t line);
  void FinishRecords(RecordBlock& block, std::int64_t firstRow, std::int64_t firstLine);
  [[noreturn]] void FailAtEncoding(const RecordBlock& block, std::size_t at, std::int64_t firstRow,
                                   std::int64_t firstLine) const;
  void CheckEnd() const;
  std::int64_t Row() const { return rowCount_ + (header_ ? 1 : 2); }
  [[noreturn]] void Fail(Position at, const std::string& problem) const;

  std::string name_;
  char delimiter_;
  Source source_;
  std::size_t blockBytes_;
  std::array<unsigned char, 256> classes_{};
  std::vector<std::string> names_;
  std::vector<char> carry_;           // bytes that belong to no finished record
  std::vector<std::size_t> escaped_;  // fields of the current block that hold doubled quotes
  std::vector<bool> quoted_;          // for each field of the header
  std::size_t scanned_ = 0;           // bytes of the current block that belong to finished records
  bool header_ = true;
  bool ended_ = false;  // the source has
  std::int64_t bytesRead_ = 0;
  std::int64_t rowCount_ = 0;
  std::int64_t line_ = 1;
  std::int64_t lineFeeds_ = 0;  // lines that end in LF or CR LF
  Position loneReturn_;         // the first line that ends in CR
};

}  // namespace velmora
