// One pass over the bytes with a small state machine; plain bytes inside a field are skipped by a table
// look-up.
//
//   record  = field *(delimiter field) line-end
//   field   = plain | blanks '"' quoted '"' blanks        "" inside quotes is one quote
//   line-end = LF | CR LF | CR
#include "workbench/data/csv_scan.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string_view>

#include "workbench/data/errors.h"
#include "workbench/data/utf8_check.h"
#include "workbench/system/system.h"

namespace velmora {

namespace {

constexpr std::size_t kBlockBytes = std::size_t{1} << 20;
constexpr std::size_t kSampleBytes = std::size_t{1} << 18;
constexpr std::string_view kDelimiters = ",;\t|";

enum Class : unsigned char { kPlain, kDelimiter, kQuote, kLineFeed, kReturn, kBlank, kHigh, kNul };

using ClassTable = std::array<unsigned char, 256>;

ClassTable MakeClasses(char delimiter) {
  ClassTable classes{};
  for (std::size_t byte = 128; byte < 256; ++byte) classes[byte] = kHigh;
  classes[0] = kNul;
  classes[' '] = kBlank;
  classes['\n'] = kLineFeed;
  classes['\r'] = kReturn;
  classes['"'] = kQuote;
  classes[static_cast<unsigned char>(delimiter)] = kDelimiter;
  return classes;
}

std::string Plural(std::int64_t count, const char* thing) {
  return std::to_string(count) + " " + thing + (count == 1 ? "" : "s");
}

class Scanner {
 public:
  Scanner(const std::string& path, char delimiter) : path_(path), classes_(MakeClasses(delimiter)) {
    shape_.delimiter = delimiter;
  }

  void Feed(const char* begin, const char* end) {
    const char* p = begin;
    while (p != end) {
      const auto byte = static_cast<unsigned char>(*p);
      const unsigned char kind = classes_[byte];
      if (kind == kPlain && state_ == kUnquoted && utf8Complete_) {
        const char* run = p;
        while (p != end && classes_[static_cast<unsigned char>(*p)] == kPlain) ++p;
        recordBytes_ += p - run;
        if (header_) field_.append(run, p);
        afterReturn_ = false;
        continue;
      }
      ++p;
      Step(byte, kind);
    }
  }

  // The first record is none of the table.
  void SkipFirstRecord() { skipsRecord_ = true; }

  CsvShape Finish() {
    if (!utf8Complete_) FailEncoding();
    if (state_ == kQuoted) FailAt(quoteRow_, quoteLine_, "a quote is opened and never closed");
    if (recordBytes_ > 0) EndRecord();
    if (header_) throw DataError(path_ + " is empty: it has no line that names the columns.");
    if (shape_.caseCount == 0) throw DataError(path_ + " has column names but no cases.");
    if (loneReturnRow_ == 0) loneReturnRow_ = Row() - 1, loneReturnLine_ = line_ - 1;
    if (returns_ > 0 && (feeds_ > 0 || pairs_ > 0))
      FailAt(loneReturnRow_, loneReturnLine_,
             "a line ends in a lone carriage return while other lines end in line feeds");
    shape_.mixedLineEnds = feeds_ > 0 && pairs_ > 0;
    return std::move(shape_);
  }

 private:
  enum State { kFieldStart, kUnquoted, kQuoted, kQuoteInQuoted, kAfterQuoted };

  std::int64_t Row() const { return shape_.caseCount + (header_ ? 1 : 2); }

  [[noreturn]] void FailAt(std::int64_t row, std::int64_t line, const std::string& what) const {
    std::string place = path_ + ", row " + std::to_string(row);
    if (line != row) place += " (line " + std::to_string(line) + ")";
    throw DataError(place + ": " + what + ".");
  }
  [[noreturn]] void Fail(const std::string& what) const { FailAt(Row(), line_, what); }
  [[noreturn]] void FailEncoding() const {
    Fail("the bytes are not UTF-8; save the file with the encoding UTF-8");
  }

  void Step(unsigned char byte, unsigned char kind) {
    if (kind == kHigh || !utf8Complete_) {
      if (!utf8_.Accept(byte)) FailEncoding();
      utf8Complete_ = utf8_.Complete();
    }
    if (kind == kNul) Fail("a NUL byte stands here, so this is not a text file");
    if (afterReturn_) {
      afterReturn_ = false;
      if (kind == kLineFeed) {
        // The line end was counted at the return.
        if (state_ != kQuoted)
          --returns_, ++pairs_;
        else
          KeepQuotedByte(byte);
        return;
      }
      if (state_ != kQuoted && returns_ == 1 && loneReturnRow_ == 0) {
        loneReturnRow_ = Row() - 1;
        loneReturnLine_ = line_ - 1;
      }
    }
    if (state_ == kQuoted) return StepQuoted(byte, kind);
    if (kind == kLineFeed || kind == kReturn) return EndLine(kind);
    ++recordBytes_;
    if (kind == kDelimiter) return EndField();
    switch (state_) {
      case kFieldStart:
        if (kind == kQuote) {
          state_ = kQuoted;
          quoteRow_ = Row();
          quoteLine_ = line_;
          field_.clear();
          fieldQuoted_ = true;
          return;
        }
        if (kind != kBlank) state_ = kUnquoted;
        break;
      case kQuoteInQuoted:
        if (kind == kQuote) {
          state_ = kQuoted;
          break;
        }
        if (kind != kBlank) Fail("text follows a closing quote");
        state_ = kAfterQuoted;
        return;
      case kAfterQuoted:
        if (kind != kBlank) Fail("text follows a closing quote");
        return;
      default:
        break;
    }
    if (header_) field_.push_back(static_cast<char>(byte));
  }

  void StepQuoted(unsigned char byte, unsigned char kind) {
    if (kind == kQuote) {
      ++recordBytes_;
      state_ = kQuoteInQuoted;
      return;
    }
    if (kind == kLineFeed || kind == kReturn) {
      ++line_;
      afterReturn_ = kind == kReturn;
    }
    KeepQuotedByte(byte);
  }

  void KeepQuotedByte(unsigned char byte) {
    ++recordBytes_;
    if (header_) field_.push_back(static_cast<char>(byte));
  }

  void EndField() {
    ++fields_;
    if (header_) AddName();
    state_ = kFieldStart;
  }

  // Blanks around a name are dropped unless the name is quoted.
  void AddName() {
    if (fieldQuoted_) {
      shape_.names.push_back(std::move(field_));
      field_.clear();
      fieldQuoted_ = false;
      return;
    }
    const std::size_t first = field_.find_first_not_of(" \t");
    const std::size_t last = field_.find_last_not_of(" \t");
    shape_.names.push_back(first == std::string::npos ? "" : field_.substr(first, last - first + 1));
    field_.clear();
  }

  void EndLine(unsigned char kind) {
    if (recordBytes_ == 0 && (header_ || shape_.names.size() > 1)) {
      if (header_) ++shape_.recordsBeforeData;
    } else {
      EndRecord();
    }
    ++line_;
    if (kind == kLineFeed) {
      ++feeds_;
    } else {
      ++returns_;
      afterReturn_ = true;
    }
  }

  void EndRecord() {
    EndField();
    if (skipsRecord_) {
      skipsRecord_ = false;
      shape_.names.clear();
      ++shape_.recordsBeforeData;
    } else if (header_) {
      header_ = false;
    } else {
      if (fields_ != static_cast<std::int64_t>(shape_.names.size()))
        Fail(Plural(fields_, "field") + " where the first line names " +
             Plural(static_cast<std::int64_t>(shape_.names.size()), "column"));
      ++shape_.caseCount;
    }
    shape_.longestRecord = std::max(shape_.longestRecord, recordBytes_);
    recordBytes_ = 0;
    fields_ = 0;
  }

  std::string path_;
  ClassTable classes_;
  CsvShape shape_;
  Utf8Check utf8_;
  bool utf8Complete_ = true;
  State state_ = kFieldStart;
  bool skipsRecord_ = false;
  bool header_ = true;
  bool afterReturn_ = false;
  std::string field_;  // of the header only
  bool fieldQuoted_ = false;
  std::int64_t fields_ = 0;
  std::int64_t recordBytes_ = 0;
  std::int64_t line_ = 1;
  std::int64_t quoteRow_ = 0;
  std::int64_t quoteLine_ = 0;
  std::int64_t feeds_ = 0;
  std::int64_t returns_ = 0;
  std::int64_t pairs_ = 0;
  std::int64_t loneReturnRow_ = 0;
  std::int64_t loneReturnLine_ = 0;
};

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

// How many fields each of the first records has under a delimiter: the header's number, and whether all
// agree.
struct SampleCount {
  std::size_t fields = 0;
  bool agree = true;
};

SampleCount CountSample(std::string_view sample, char delimiter, bool wholeFile) {
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
  for (char c : sample) {
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
  if (wholeFile || records == 0) endRecord();
  return count;
}

char FindDelimiter(std::string_view sample, bool wholeFile) {
  char best = ',';
  std::size_t bestFields = 1;
  bool bestAgrees = false;
  for (char delimiter : kDelimiters) {
    const SampleCount count = CountSample(sample, delimiter, wholeFile);
    if (count.fields < 2) continue;
    if ((count.agree && !bestAgrees) || (count.agree == bestAgrees && count.fields > bestFields)) {
      best = delimiter;
      bestFields = count.fields;
      bestAgrees = count.agree;
    }
  }
  return best;
}

// The separator that a first line such as "sep=;" names, as spreadsheets write it, or 0.
char SeparatorLine(std::string_view sample) {
  const bool named = sample.size() >= 6 && (sample.starts_with("sep=") || sample.starts_with("SEP=")) &&
                     (sample[5] == '\n' || sample[5] == '\r');
  return named && kDelimiters.find(sample[4]) != std::string_view::npos ? sample[4] : '\0';
}

}  // namespace

CsvShape ScanCsv(const std::string& path, char delimiter, const std::function<void(std::int64_t)>& tick) {
  const std::unique_ptr<std::FILE, CloseFile> file(OpenFile(PathOf(path), "rb"));
  if (!file) throw DataError("Cannot open " + path + " for reading: " + std::strerror(errno) + ".");
  std::vector<char> block(kBlockBytes);
  std::unique_ptr<Scanner> scanner;
  std::int64_t done = 0;
  for (;;) {
    const std::size_t count = std::fread(block.data(), 1, block.size(), file.get());
    if (std::ferror(file.get())) throw DataError("Cannot read " + path + " to its end.");
    std::string_view bytes(block.data(), count);
    if (!scanner) {
      if (bytes.empty()) throw DataError(path + " is empty.");
      if (bytes.substr(0, 2) == "\xFF\xFE" || bytes.substr(0, 2) == "\xFE\xFF")
        throw DataError(path + " is UTF-16; save the file with the encoding UTF-8.");
      if (bytes.substr(0, 3) == "\xEF\xBB\xBF") bytes.remove_prefix(3);
      const std::string_view sample = bytes.substr(0, kSampleBytes);
      const char named = SeparatorLine(sample);
      if (delimiter == 0) delimiter = named != 0 ? named : FindDelimiter(sample, count < kSampleBytes);
      scanner = std::make_unique<Scanner>(path, delimiter);
      if (named != 0) scanner->SkipFirstRecord();
    }
    scanner->Feed(bytes.data(), bytes.data() + bytes.size());
    done += static_cast<std::int64_t>(count);
    if (count < block.size()) break;
    tick(done);
  }
  return scanner->Finish();
}

}  // namespace velmora
