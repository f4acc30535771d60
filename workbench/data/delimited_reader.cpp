// Delimited text: RecordSplitter finds the fields on a thread of its own, ColumnBuilder parses them
// on this one. Columns that turn out to be text after numbers have been parsed are read a second
// time, alone.
#include <algorithm>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <optional>
#include <sstream>
#include <thread>

#include "workbench/data/reader_parts.h"
#include "workbench/data/record_splitter.h"
#include "workbench/data/table_sidecar.h"
#include "workbench/system/system.h"

namespace velmora {

namespace {

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

RecordSplitter::Source ReadFrom(const std::string& path) {
  const std::shared_ptr<std::FILE> file(OpenFile(PathOf(path), "rb"), CloseFile());
  if (!file) throw DataError("Cannot open " + path + " for reading: " + std::strerror(errno) + ".");
  return [file, path](char* buffer, std::size_t size) {
    const std::size_t count = std::fread(buffer, 1, size, file.get());
    if (std::ferror(file.get())) throw DataError("Cannot read " + path + " to its end.");
    return count;
  };
}

// Splits on a thread of its own, a few blocks ahead.
class SplitterThread {
 public:
  explicit SplitterThread(RecordSplitter& splitter) : splitter_(splitter), thread_([this] { Run(); }) {}
  ~SplitterThread() {
    {
      const std::lock_guard lock(mutex_);
      stopped_ = true;
    }
    changed_.notify_all();
    thread_.join();
  }
  SplitterThread(const SplitterThread&) = delete;
  SplitterThread& operator=(const SplitterThread&) = delete;

  // The next block in place of one that has been used; false after the last. Throws what the
  // splitter throws.
  bool Next(RecordBlock& block) {
    std::unique_lock lock(mutex_);
    if (!block.bytes.empty()) used_.push_back(std::move(block));
    changed_.wait(lock, [this] { return !ready_.empty() || ended_; });
    if (ready_.empty()) {
      if (failure_) std::rethrow_exception(failure_);
      return false;
    }
    block = std::move(ready_.front());
    ready_.pop_front();
    changed_.notify_all();
    return true;
  }

 private:
  static constexpr std::size_t kBlocksAhead = 4;

  void Run() {
    try {
      while (SplitOne()) {
      }
    } catch (...) {
      failure_ = std::current_exception();
    }
    const std::lock_guard lock(mutex_);
    ended_ = true;
    changed_.notify_all();
  }

  bool SplitOne() {
    RecordBlock block;
    {
      std::unique_lock lock(mutex_);
      changed_.wait(lock, [this] { return ready_.size() < kBlocksAhead || stopped_; });
      if (stopped_) return false;
      if (!used_.empty()) {
        block = std::move(used_.back());
        used_.pop_back();
      }
    }
    // Keeps the memory, drops the content.
    block.bytes.clear();
    if (!splitter_.Next(block)) return false;
    const std::lock_guard lock(mutex_);
    ready_.push_back(std::move(block));
    changed_.notify_all();
    return true;
  }

  RecordSplitter& splitter_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<RecordBlock> ready_;
  std::vector<RecordBlock> used_;
  bool stopped_ = false;
  bool ended_ = false;
  std::exception_ptr failure_;
  std::thread thread_;
};

std::optional<TableSidecar> LoadSidecar(const std::string& path) {
  const std::string sidecarPath = SidecarPath(path);
  std::ifstream file(PathOf(sidecarPath), std::ios::binary);
  if (!file) return std::nullopt;
  std::ostringstream text;
  text << file.rdbuf();
  return ParseSidecar(text.str(), sidecarPath);
}

class DelimitedReader {
 public:
  DelimitedReader(const std::string& path, const ReadOptions& options, char delimiter)
      : path_(path), options_(options), progress_(options), delimiter_(delimiter) {
    fileBytes_ = static_cast<double>(std::filesystem::file_size(PathOf(path)));
  }

  void Read(Table& table, std::vector<std::string>& warnings) {
    auto splitter = std::make_unique<RecordSplitter>(path_, delimiter_, ReadFrom(path_));
    delimiter_ = splitter->Delimiter();
    std::vector<std::string> names = splitter->Names();
    SettleNames(path_, names, warnings);
    builders_.reserve(names.size());
    for (std::size_t i = 0; i < names.size(); ++i)
      builders_.emplace_back(names[i], static_cast<int>(i) + 1, delimiter_ != ',', &options_.missingTexts);
    const std::optional<TableSidecar> sidecar = LoadSidecar(path_);
    if (sidecar) ForceTexts(*sidecar, builders_);
    std::vector<std::size_t> wanted(builders_.size());
    for (std::size_t i = 0; i < wanted.size(); ++i) wanted[i] = i;
    ReadColumns(*splitter, wanted);
    table.caseCount = splitter->RowCount();
    if (delimiter_ != ',') SettleMarks(builders_);
    ReadAgain();
    std::vector<ColumnNote> notes;
    for (ColumnBuilder& builder : builders_) {
      progress_.Check(1);
      table.columns.push_back(builder.Finish(notes));
    }
    AppendSentences(notes, path_, warnings);
    if (sidecar) ApplySidecar(*sidecar, table, warnings);
  }

 private:
  // 1,022 is a number either way; 10.5 or 0,25 elsewhere in the file says which mark is the decimal
  // one.
  static void SettleMarks(std::vector<ColumnBuilder>& builders) {
    const auto any = [&](char mark) {
      return std::any_of(builders.begin(), builders.end(),
                         [&](const ColumnBuilder& builder) { return builder.ShowsDecimal(mark); });
    };
    const bool point = any('.');
    const bool comma = any(',');
    for (ColumnBuilder& builder : builders) {
      if (point != comma) {
        builder.SetGroupMark(point ? ',' : '.');
      } else if (!point && builder.CouldGroup(',')) {
        builder.WarnOfCommas();
      }
    }
  }

  void ReadAgain() {
    std::vector<std::size_t> again;
    for (std::size_t i = 0; i < builders_.size(); ++i)
      if (builders_[i].NeedsTexts()) again.push_back(i);
    if (again.empty()) return;
    for (const std::size_t i : again) builders_[i].RestartAsText();
    RecordSplitter splitter(path_, delimiter_, ReadFrom(path_));
    if (splitter.Names().size() == builders_.size()) ReadColumns(splitter, again);
    for (const ColumnBuilder& builder : builders_)
      if (builder.CaseCount() != builders_.front().CaseCount())
        throw DataError(path_ + " was changed while it was read.");
  }

  void ReadColumns(RecordSplitter& splitter, const std::vector<std::size_t>& wanted) {
    SplitterThread thread(splitter);
    RecordBlock block;
    bool reserved = false;
    while (thread.Next(block)) {
      if (!reserved) Reserve(block, wanted);
      reserved = true;
      for (const std::size_t column : wanted) {
        ColumnBuilder& builder = builders_[column];
        for (std::int64_t row = 0; row < block.rowCount; ++row) builder.AddField(block.Text(row, column));
      }
      progress_.Check(static_cast<double>(block.bytesRead) / fileBytes_);
    }
  }

  // As many cases as the file holds if the rest is like its begin.
  void Reserve(const RecordBlock& block, const std::vector<std::size_t>& wanted) {
    const double rowsPerByte = static_cast<double>(block.rowCount) / static_cast<double>(block.bytesRead);
    const auto expected = static_cast<std::int64_t>(1.02 * rowsPerByte * fileBytes_) + 16;
    for (const std::size_t column : wanted) builders_[column].Reserve(expected);
  }

  const std::string& path_;
  const ReadOptions& options_;
  ReadProgress progress_;
  char delimiter_;
  double fileBytes_ = 0;
  std::vector<ColumnBuilder> builders_;
};

}  // namespace

void ForceTexts(const TableSidecar& sidecar, std::vector<ColumnBuilder>& builders) {
  for (ColumnBuilder& builder : builders) {
    const auto found = sidecar.variables.find(builder.Name());
    if (found != sidecar.variables.end() && found->second.kind == "text") builder.ForceText();
  }
}

void ReadDelimited(const std::string& path, const ReadOptions& options, char delimiter, Table& table,
                   std::vector<std::string>& warnings) {
  DelimitedReader(path, options, delimiter).Read(table, warnings);
}

}  // namespace velmora
