#include "workbench/data/delimited_text.h"

#include <algorithm>

#include "workbench/data/errors.h"

namespace velmora {

namespace {

constexpr std::size_t kStartBytes = 16;  // enough for a byte-order mark and a line "sep=;"
constexpr std::size_t kSampleBytes = std::size_t{1} << 18;
constexpr std::size_t kLongestBlock = 0x7FFFFFF0U;  // places of fields have 31 bits
constexpr std::size_t kMostBlockBytes = std::size_t{1} << 24;
constexpr std::size_t kRecordsPerBlock = 32;
constexpr std::string_view kDelimiters = ",;\t|";

std::string Plural(std::size_t count, const char* thing) {
  return std::to_string(count) + " " + thing + (count == 1 ? "" : "s");
}

// How many fields the first records have with a delimiter: the header's number, and whether all
// others have as many.
struct SampleCount {
  std::size_t fields = 0;
  bool agree = true;
};

SampleCount CountSample(std::string_view sample, char delimiter, bool isWhole) {
  constexpr int kRecords = 100;
  SampleCount count;
  std::size_t fields = 1;
  std::size_t bytes = 0;
  bool quoted = false;
  int records = 0;
  const auto endRecord = [&] {
    if (bytes == 0) return;
    if (records++ == 0) count.fields = fields;
    count.agree &= fields == count.fields;
    fields = 1;
    bytes = 0;
  };
  for (const char c : sample) {
    if (records == kRecords) break;
    if (!quoted && (c == '\n' || c == '\r')) {
      endRecord();
      continue;
    }
    ++bytes;
    if (c == '"')
      quoted = !quoted;
    else if (c == delimiter && !quoted)
      ++fields;
  }
  if (isWhole || records == 0) endRecord();
  return count;
}

char FindDelimiter(std::string_view sample, bool isWhole) {
  char best = ',';
  std::size_t bestFields = 1;
  bool bestAgrees = false;
  for (const char delimiter : kDelimiters) {
    const SampleCount count = CountSample(sample, delimiter, isWhole);
    if (count.fields < 2) continue;
    if ((count.agree && !bestAgrees) || (count.agree == bestAgrees && count.fields > bestFields)) {
      best = delimiter;
      bestFields = count.fields;
      bestAgrees = count.agree;
    }
  }
  return best;
}

// The delimiter that a first line such as "sep=;" names, as spreadsheets write it, or 0.
char DelimiterLine(std::string_view text) {
  const bool named = text.size() >= 6 && (text.starts_with("sep=") || text.starts_with("SEP=")) &&
                     (text[5] == '\n' || text[5] == '\r');
  return named && kDelimiters.find(text[4]) != std::string_view::npos ? text[4] : '\0';
}

// The end of the last whole line; 0 when there is none for certain, since a CR at the end may be
// half of a line end.
std::size_t EndOfLines(std::string_view text) {
  const std::size_t lineFeed = text.rfind('\n');
  if (lineFeed != std::string_view::npos) return lineFeed + 1;
  const std::size_t carriageReturn = text.substr(0, text.empty() ? 0 : text.size() - 1).rfind('\r');
  return carriageReturn == std::string_view::npos ? 0 : carriageReturn + 1;
}

}  // namespace

DelimitedText::DelimitedText(std::string name, char delimiter, TextSource source, TextFormat format,
                             std::size_t blockBytes)
    : name_(std::move(name)),
      delimiter_(delimiter),
      source_(std::move(source)),
      format_(format),
      blockBytes_(blockBytes) {
  ReadStart();
  ReadHeader();
}

std::string DelimitedText::Sentence(TextPosition at, const std::string& problem) const {
  std::string place = name_ + ", row " + std::to_string(at.row);
  if (at.line != at.row) place += " (line " + std::to_string(at.line) + ")";
  return place + ": " + problem + ".";
}

void DelimitedText::Fail(TextPosition at, const std::string& problem) const {
  throw DataError(Sentence(at, problem));
}

void DelimitedText::FailWith(const TextBlock& block) const {
  const TextPosition at{before_.row + block.damagedAt.row, before_.line + block.damagedAt.line};
  switch (block.damage) {
    case TextDamage::kNul:
      Fail(at, "there is a NUL byte, so this is not a text file");
    case TextDamage::kOpenQuote:
      Fail(at, "a quote is opened and never closed");
    case TextDamage::kTextAfterQuote:
      Fail(at, "text follows a closing quote");
    case TextDamage::kFieldCount:
      Fail(at, Plural(block.damagedFieldCount, "field") + " where the first line " +
                   (format_.hasHeader ? "names " + Plural(names_.size(), "column")
                                      : "has " + std::to_string(names_.size())));
    case TextDamage::kEncoding:
      throw NotUtf8(Sentence(at, "the bytes are not UTF-8; save the file with the encoding UTF-8"));
    case TextDamage::kTooLong:
    case TextDamage::kNone:
      break;
  }
  Fail(at, "a record is longer than 2 GB");
}

// Reads as much again as there is, so that a long record is not scanned too often.
void DelimitedText::Refill(std::vector<char>& bytes) {
  const std::size_t held = bytes.size();
  const std::size_t wanted = std::max(blockBytes_, held);
  tooLong_ = held + wanted > kLongestBlock;
  if (tooLong_) return;
  bytes.resize(held + wanted);
  const std::size_t count = source_.read(bytes.data() + held, wanted);
  bytes.resize(held + count);
  ended_ = count < wanted;
}

// Settles the delimiter and drops what precedes the header: a byte-order mark, a line that names
// the delimiter.
void DelimitedText::ReadStart() {
  while (!ended_ && unread_.size() < kStartBytes) Refill(unread_);
  std::string_view text(unread_.data(), unread_.size());
  if (text.empty()) throw DataError(name_ + " is empty.");
  if (text.starts_with("\xFF\xFE") || text.starts_with("\xFE\xFF"))
    throw DataError(name_ + " is UTF-16; give --encoding utf-16.");
  if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
  const char named = DelimiterLine(text);
  if (delimiter_ == 0)
    delimiter_ = named != 0
                     ? named
                     : FindDelimiter(text.substr(0, kSampleBytes), ended_ && text.size() < kSampleBytes);
  if (named != 0) {
    text.remove_prefix(text.substr(5).starts_with("\r\n") ? 7 : 6);
    ++before_.line;
  }
  unread_.erase(unread_.begin(), unread_.end() - static_cast<std::ptrdiff_t>(text.size()));
}

void DelimitedText::ReadHeader() {
  const RecordScanner scanner(delimiter_, 0);
  TextBlock block;
  block.bytes.swap(unread_);
  std::optional<HeaderRecord> header;
  for (;;) {
    block.isLast = ended_;
    header = scanner.ScanHeader(block);
    if (block.damage != TextDamage::kNone) FailWith(block);
    if (header) break;
    if (ended_) throw DataError(name_ + " is empty: it has no line that names the columns.");
    Refill(block.bytes);
    if (tooLong_) Fail({1, before_.line + 1}, "a record is longer than 2 GB");
  }
  names_ = std::move(header->names);
  blockBytes_ = std::max(blockBytes_, std::min(kRecordsPerBlock * header->end, kMostBlockBytes));
  if (!format_.hasHeader) {
    for (std::size_t i = 0; i < names_.size(); ++i) names_[i] = "v" + std::to_string(i + 1);
    unread_ = std::move(block.bytes);
    return;
  }
  unread_.assign(block.bytes.begin() + static_cast<std::ptrdiff_t>(header->end), block.bytes.end());
  if (block.loneReturn.row > 0) loneReturn_ = {block.loneReturn.row, before_.line + block.loneReturn.line};
  lineFeeds_ = block.lineFeeds;
  before_.line += header->lineCount;
  ++before_.row;
}

bool DelimitedText::NextBytes(TextBlock& block) {
  if (delivered_) return false;
  block.bytes.swap(unread_);
  std::size_t end = 0;
  while (!ended_ && !tooLong_ && (end = EndOfLines({block.bytes.data(), block.bytes.size()})) == 0)
    Refill(block.bytes);
  if (ended_) end = block.bytes.size();
  unread_.assign(block.bytes.begin() + static_cast<std::ptrdiff_t>(end), block.bytes.end());
  block.bytes.resize(end);
  block.isLast = delivered_ = ended_ || tooLong_;
  block.fileBytes = source_.fileBytes();
  return true;
}

void DelimitedText::Settle(TextBlock& block, const RecordScanner& scanner,
                           std::span<const ColumnPlan> plans) {
  const bool tooLong = block.isLast && tooLong_;
  if (!open_.empty()) {
    const std::size_t added = block.bytes.size();
    block.bytes.insert(block.bytes.begin(), open_.begin(), open_.end());
    if (block.bytes.size() > kLongestBlock) block.damage = TextDamage::kTooLong;
    if (!block.isLast && added < open_.size() && block.damage != TextDamage::kTooLong) {
      // Too short for a scan: the next one waits until there is twice as much.
      open_.swap(block.bytes);
      block.bytes.clear();
      block.rowCount = 0;
      return;
    }
    if (block.damage != TextDamage::kTooLong) scanner.Scan(block, plans);
  }
  if (block.damage != TextDamage::kNone) FailWith(block);
  open_.assign(block.bytes.begin() + static_cast<std::ptrdiff_t>(block.scanned), block.bytes.end());
  if (block.loneReturn.row > 0 && loneReturn_.row == 0)
    loneReturn_ = {before_.row + block.loneReturn.row, before_.line + block.loneReturn.line};
  lineFeeds_ += block.lineFeeds;
  if (block.raggedCount > 0 && raggedCount_ == 0) firstRaggedRow_ = before_.row + block.firstRagged.row;
  raggedCount_ += block.raggedCount;
  rowCount_ += block.rowCount;
  before_.row += block.recordCount;
  before_.line += block.lineCount;
  if (tooLong) Fail({before_.row + 1, before_.line + 1}, "a record is longer than 2 GB");
}

void DelimitedText::CheckEnd() const {
  if (rowCount_ == 0 && raggedCount_ > 0)
    throw DataError("No row of " + name_ + " has as many fields as there are columns.");
  if (rowCount_ == 0) throw DataError(name_ + " has column names but no cases.");
  if (loneReturn_.row > 0 && lineFeeds_ > 0)
    Fail(loneReturn_, "a line ends in a lone carriage return while other lines end in line feeds");
}

}  // namespace velmora
