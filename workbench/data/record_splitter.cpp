// A record is scanned once its bytes lie in one block; one that goes beyond the block's end is
// scanned again after more has been read. Blocks at least double meanwhile, so the time stays
// linear.
#include "workbench/data/record_splitter.h"

#include <algorithm>

#include "workbench/data/errors.h"
#include "workbench/data/unicode.h"

namespace velmora {

namespace {

constexpr std::size_t kStartBytes = 16;  // enough for a byte-order mark and a line "sep=;"
constexpr std::size_t kSampleBytes = std::size_t{1} << 18;
constexpr std::size_t kLongestBlock = 0xFFFFFFF0U;  // places of fields have 32 bits
constexpr std::string_view kDelimiters = ",;\t|";

enum Class : unsigned char { kPlain, kDelimiter, kQuote, kLineFeed, kReturn, kBlank, kNul };

std::string Plural(std::size_t count, const char* thing) {
  return std::to_string(count) + " " + thing + (count == 1 ? "" : "s");
}

// How many fields each of the first records has under a delimiter: the header's number, and whether
// all agree.
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

// Makes one quote of each two. Returns the length that is left.
std::uint32_t Unescape(char* text, std::uint32_t length) {
  std::uint32_t kept = 0;
  for (std::uint32_t i = 0; i < length; ++i) {
    text[kept++] = text[i];
    if (text[i] == '"') ++i;
  }
  return kept;
}

}  // namespace

RecordSplitter::RecordSplitter(std::string name, char delimiter, Source source, std::size_t blockBytes)
    : name_(std::move(name)), delimiter_(delimiter), source_(std::move(source)), blockBytes_(blockBytes) {
  ReadStart();
  classes_['\0'] = kNul;
  classes_[' '] = kBlank;
  classes_['\n'] = kLineFeed;
  classes_['\r'] = kReturn;
  classes_['"'] = kQuote;
  classes_[static_cast<unsigned char>(delimiter_)] = kDelimiter;
  ReadHeader();
}

void RecordSplitter::Fail(Position at, const std::string& problem) const {
  std::string place = name_ + ", row " + std::to_string(at.row);
  if (at.line != at.row) place += " (line " + std::to_string(at.line) + ")";
  throw DataError(place + ": " + problem + ".");
}

void RecordSplitter::Refill(std::vector<char>& bytes) {
  const std::size_t held = bytes.size();
  const std::size_t wanted = std::max(blockBytes_, held);
  if (held + wanted > kLongestBlock) Fail({Row(), line_}, "a record is longer than 2 GB");
  bytes.resize(held + wanted);
  const std::size_t count = source_(bytes.data() + held, wanted);
  bytes.resize(held + count);
  ended_ = count < wanted;
  bytesRead_ += static_cast<std::int64_t>(count);
}

// Settles the delimiter and drops what precedes the header: a byte-order mark, a line that names
// the delimiter.
void RecordSplitter::ReadStart() {
  while (!ended_ && carry_.size() < kStartBytes) Refill(carry_);
  std::string_view text(carry_.data(), carry_.size());
  if (text.empty()) throw DataError(name_ + " is empty.");
  if (text.starts_with("\xFF\xFE") || text.starts_with("\xFE\xFF"))
    throw DataError(name_ + " is UTF-16; save the file with the encoding UTF-8.");
  if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
  const char named = DelimiterLine(text);
  if (delimiter_ == 0)
    delimiter_ = named != 0
                     ? named
                     : FindDelimiter(text.substr(0, kSampleBytes), ended_ && text.size() < kSampleBytes);
  if (named != 0) {
    text.remove_prefix(text.substr(5).starts_with("\r\n") ? 7 : 6);
    ++line_;
  }
  carry_.erase(carry_.begin(), carry_.end() - static_cast<std::ptrdiff_t>(text.size()));
}

void RecordSplitter::ReadHeader() {
  RecordBlock block;
  const std::int64_t firstLine = line_;
  block.bytes.swap(carry_);
  while (header_) {
    if (Scan(block)) continue;
    if (ended_) throw DataError(name_ + " is empty: it has no line that names the columns.");
    Refill(block.bytes);
  }
  FinishRecords(block, 1, firstLine);
  for (std::size_t i = 0; i < block.fields.size(); ++i) {
    std::string_view name = block.Text(0, i);
    if (!quoted_[i]) {
      const std::size_t first = name.find_first_not_of(" \t");
      const std::size_t last = name.find_last_not_of(" \t");
      name = first == std::string_view::npos ? "" : name.substr(first, last - first + 1);
    }
    names_.emplace_back(name);
  }
}

bool RecordSplitter::Next(RecordBlock& block) {
  block.fields.clear();
  block.rowCount = 0;
  block.columnCount = names_.size();
  block.bytes.swap(carry_);
  const std::int64_t firstRow = Row();
  const std::int64_t firstLine = line_;
  for (;;) {
    while (Scan(block)) {
    }
    if (block.rowCount > 0) break;
    if (ended_) {
      CheckEnd();
      return false;
    }
    Refill(block.bytes);
  }
  FinishRecords(block, firstRow, firstLine);
  block.bytesRead = bytesRead_;
  return true;
}

void RecordSplitter::CheckEnd() const {
  if (rowCount_ == 0) throw DataError(name_ + " has column names but no cases.");
  if (loneReturn_.row > 0 && lineFeeds_ > 0)
    Fail(loneReturn_, "a line ends in a lone carriage return while other lines end in line feeds");
}

// Scans one record or blank line. False when its end has not been read yet; then nothing has
// changed.
bool RecordSplitter::Scan(RecordBlock& block) {
  std::size_t at = scanned_;
  if (at == block.bytes.size()) return false;
  std::int64_t line = line_;
  const auto kindOf = [&](std::size_t place) {
    return classes_[static_cast<unsigned char>(block.bytes[place])];
  };
  const bool isBlank = (kindOf(at) == kLineFeed || kindOf(at) == kReturn) && (header_ || names_.size() > 1);
  const std::size_t firstField = block.fields.size();
  const std::size_t firstEscaped = escaped_.size();
  bool whole = isBlank;
  if (!isBlank) {
    quoted_.clear();
    while ((whole = ScanField(block, at, line)) && at < block.bytes.size() && kindOf(at) == kDelimiter) ++at;
  }
  if (!whole || !ScanLineEnd(block, at, line)) {
    block.fields.resize(firstField);
    escaped_.resize(firstEscaped);
    return false;
  }
  if (!isBlank && header_) {
    header_ = false;
    block.columnCount = block.fields.size();
  } else if (!isBlank) {
    const std::size_t count = block.fields.size() - firstField;
    if (count != names_.size())
      Fail({Row(), line},
           Plural(count, "field") + " where the first line names " + Plural(names_.size(), "column"));
    ++block.rowCount;
    ++rowCount_;
  }
  scanned_ = at;
  line_ = line + 1;
  return true;
}

// Leaves at on the delimiter, the line end or the end of the text. False when the field may go on.
bool RecordSplitter::ScanField(RecordBlock& block, std::size_t& at, std::int64_t& line) {
  const char* const text = block.bytes.data();
  const std::size_t end = block.bytes.size();
  const auto kindOf = [&](std::size_t place) { return classes_[static_cast<unsigned char>(text[place])]; };
  const std::size_t start = at;
  while (at < end && kindOf(at) == kBlank) ++at;
  const bool quoted = at < end && kindOf(at) == kQuote;
  if (header_) quoted_.push_back(quoted);
  if (!quoted) {
    while (at < end && (kindOf(at) == kPlain || kindOf(at) == kBlank || kindOf(at) == kQuote)) ++at;
    if (at < end && kindOf(at) == kNul)
      Fail({Row(), line}, "there is a NUL byte, so this is not a text file");
    block.fields.push_back({static_cast<std::uint32_t>(start), static_cast<std::uint32_t>(at - start)});
    return at < end || ended_;
  }
  const Position opened{Row(), line};
  const std::size_t begin = ++at;
  bool escapes = false;
  for (;; ++at) {
    while (at < end && (kindOf(at) == kPlain || kindOf(at) == kDelimiter || kindOf(at) == kBlank)) ++at;
    if (at == end) {
      if (ended_) Fail(opened, "a quote is opened and never closed");
      return false;
    }
    const unsigned char kind = kindOf(at);
    if (kind == kNul) Fail({Row(), line}, "there is a NUL byte, so this is not a text file");
    if (kind == kReturn || (kind == kLineFeed && text[at - 1] != '\r')) ++line;
    if (kind != kQuote) continue;
    if (at + 1 == end && !ended_) return false;
    if (at + 1 == end || text[at + 1] != '"') break;
    escapes = true;
    ++at;
  }
  if (escapes) escaped_.push_back(block.fields.size());
  block.fields.push_back({static_cast<std::uint32_t>(begin), static_cast<std::uint32_t>(at - begin)});
  ++at;
  while (at < end && kindOf(at) == kBlank) ++at;
  if (at == end) return ended_;
  const unsigned char kind = kindOf(at);
  if (kind != kDelimiter && kind != kLineFeed && kind != kReturn)
    Fail({Row(), line}, "text follows a closing quote");
  return true;
}

// Moves at past the line end. False when its second half may not have been read yet.
bool RecordSplitter::ScanLineEnd(const RecordBlock& block, std::size_t& at, std::int64_t line) {
  if (at == block.bytes.size()) return true;
  if (block.bytes[at] == '\n') {
    ++lineFeeds_;
    ++at;
    return true;
  }
  if (at + 1 == block.bytes.size() && !ended_) return false;
  ++at;
  if (at < block.bytes.size() && block.bytes[at] == '\n') {
    ++lineFeeds_;
    ++at;
  } else if (loneReturn_.row == 0) {
    loneReturn_ = {Row(), line};
  }
  return true;
}

// What is done once per block: the encoding is checked, doubled quotes become one, the rest is kept
// for the next.
void RecordSplitter::FinishRecords(RecordBlock& block, std::int64_t firstRow, std::int64_t firstLine) {
  const std::string_view records(block.bytes.data(), scanned_);
  if (const std::size_t at = FirstByteBeyondUtf8(records); at != std::string_view::npos)
    FailAtEncoding(block, at, firstRow, firstLine);
  for (const std::size_t index : escaped_) {
    RecordBlock::Field& field = block.fields[index];
    field.length = Unescape(block.bytes.data() + field.begin, field.length);
  }
  escaped_.clear();
  carry_.assign(block.bytes.begin() + static_cast<std::ptrdiff_t>(scanned_), block.bytes.end());
  scanned_ = 0;
}

void RecordSplitter::FailAtEncoding(const RecordBlock& block, std::size_t at, std::int64_t firstRow,
                                    std::int64_t firstLine) const {
  Position place{firstRow - 1, firstLine};
  for (std::size_t i = 0; i < block.fields.size() && block.fields[i].begin <= at; i += block.columnCount)
    ++place.row;
  for (std::size_t i = 0; i < at; ++i)
    if (block.bytes[i] == '\n' || (block.bytes[i] == '\r' && block.bytes[i + 1] != '\n')) ++place.line;
  Fail(place, "the bytes are not UTF-8; save the file with the encoding UTF-8");
}

}  // namespace velmora
