// One pass over delimited text: its delimiter, the names of its columns, and blocks of bytes that
// end with a line. Blocks are scanned side by side as if each began with a record; Settle, called
// in their order, scans again where a quoted line end has been taken for the end of a record, and
// refuses text that is damaged, with one sentence that names the place.
//
//   DelimitedText text("a.csv", 0, OpenText("a.csv"));
//   const RecordScanner scanner(text.Delimiter(), text.Names().size());
//   while (text.NextBytes(block)) {
//     scanner.Scan(block, plans);
//     text.Settle(block, scanner, plans);
//   }
//   text.CheckEnd();
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "workbench/data/errors.h"
#include "workbench/data/record_scanner.h"
#include "workbench/data/text_source.h"

namespace velmora {

// The text has bytes that are not UTF-8.
class NotUtf8 : public DataError {
 public:
  using DataError::DataError;
};

class DelimitedText {
 public:
  // Small enough for a block and its cells to stay in a core's cache, large enough for wide records.
  static constexpr std::size_t kBlockBytes = std::size_t{1} << 19;

  // Reads the first record, which names the columns (or, without a header, counts them). name: of
  // the file, for messages. delimiter 0: the one of , ; tab | that a first line such as "sep=;"
  // names, else the one that gives the first records equally many fields, the most fields if
  // several do. blockBytes: how much is read at a time, unless a record is longer.
  //
  // All throw DataError for text that is empty, has no records, has a record whose number
  // of fields differs from the header's (unless the format takes those), a quote that is
  // never closed or is followed by text, bytes that are not UTF-8, a NUL, or lone carriage
  // returns among other line ends.
  DelimitedText(std::string name, char delimiter, TextSource source, TextFormat format = {},
                std::size_t blockBytes = kBlockBytes);

  char Delimiter() const { return delimiter_; }
  // The names as in the file, where they may be empty or repeated; v1, v2, ... without a header.
  const std::vector<std::string>& Names() const { return names_; }
  std::int64_t RowCount() const { return rowCount_; }
  // Records with more or fewer fields than columns, and the row of the first.
  std::int64_t RaggedCount() const { return raggedCount_; }
  std::int64_t FirstRaggedRow() const { return firstRaggedRow_; }

  // The next bytes, of one line at least unless they are the last. False after those.
  bool NextBytes(TextBlock& block);
  // Afterwards the block holds whole records only, and none where its bytes were too few.
  void Settle(TextBlock& block, const RecordScanner& scanner, std::span<const ColumnPlan> plans);
  void CheckEnd() const;

 private:
  void ReadStart();
  void ReadHeader();
  void Refill(std::vector<char>& bytes);
  [[noreturn]] void FailWith(const TextBlock& block) const;
  std::string Sentence(TextPosition at, const std::string& problem) const;
  [[noreturn]] void Fail(TextPosition at, const std::string& problem) const;

  std::string name_;
  char delimiter_;
  TextSource source_;
  TextFormat format_;
  std::size_t blockBytes_;
  std::vector<std::string> names_;
  std::vector<char> unread_;  // bytes after the last whole line
  bool ended_ = false;        // the source has ended
  bool tooLong_ = false;      // a record is
  bool delivered_ = false;    // the last block has been delivered
  std::vector<char> open_;    // of a record that goes on in the next block to be settled
  std::int64_t rowCount_ = 0;
  TextPosition before_;  // rows and lines before the next block
  std::int64_t raggedCount_ = 0;
  std::int64_t firstRaggedRow_ = 0;
  std::int64_t lineFeeds_ = 0;
  TextPosition loneReturn_;
};

}  // namespace velmora
