// Delimited text in one pass: blocks are read, scanned on all threads, and joined in the order
// of the file. A column that turns out to be text after numbers have lost their spelling is
// read a second time, alone.
#include <algorithm>
#include <bit>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <sstream>

#include "workbench/data/delimited_text.h"
#include "workbench/data/reader_parts.h"
#include "workbench/data/record_scanner.h"
#include "workbench/data/table_sidecar.h"
#include "workbench/data/text_source.h"
#include "workbench/system/system.h"
#include "workbench/system/worker_pool.h"

namespace velmora {

namespace {

std::optional<TableSidecar> LoadSidecar(const std::string& path) {
  const std::string sidecarPath = SidecarPath(path);
  std::ifstream file(PathOf(sidecarPath), std::ios::binary);
  if (!file) return std::nullopt;
  std::ostringstream text;
  text << file.rdbuf();
  return ParseSidecar(text.str(), sidecarPath);
}

// The numbers that --missing-text may mean, with either decimal mark.
std::vector<double> NumbersAmong(const std::vector<std::string>& texts) {
  std::vector<double> numbers;
  for (const std::string& text : texts)
    for (const bool decimalComma : {false, true})
      if (const Field field = ParseField(text, decimalComma); field.kind == FieldKind::kNumber)
        numbers.push_back(field.value);
  return numbers;
}

class DelimitedReader {
 public:
  DelimitedReader(const std::string& path, const std::string& name, const ReadOptions& options,
                  char delimiter)
      : path_(path),
        name_(name),
        options_(options),
        progress_(options),
        delimiter_(delimiter),
        encoding_(options.text.encoding),
        pool_(options.threads) {
    fileBytes_ = static_cast<double>(std::filesystem::file_size(PathOf(path)));
  }

  void Read(Table& table, std::vector<std::string>& warnings) {
    std::vector<std::string> notices;
    try {
      ReadOnce(table, notices);
    } catch (const NotUtf8&) {
      if (options_.text.encoding != TextEncoding::kDetect || !CouldBeWindows1252(path_)) throw;
      builders_.clear();
      memory_ = {};  // its files hold cells of the previous builders
      isStored_ = false;
      notices.clear();
      encoding_ = TextEncoding::kWindows1252;
      ReadOnce(table, notices);
      warnings.push_back(name_ + " is not UTF-8 and is read as Windows-1252.");
    }
    if (options_.text.encoding == TextEncoding::kDetect &&
        (encoding_ == TextEncoding::kUtf16Le || encoding_ == TextEncoding::kUtf16Be))
      warnings.push_back(name_ + " is read as UTF-16.");
    warnings.insert(warnings.end(), notices.begin(), notices.end());
  }

 private:
  DelimitedText Open() {
    // A small file needs no large buffer, but a packed one unpacks to many times its size.
    constexpr double kUnpacked = 16, kSmallest = 1 << 16, kLargest = DelimitedText::kBlockBytes;
    const double blockBytes = std::clamp(kUnpacked * fileBytes_, kSmallest, kLargest);
    TextSource source = OpenText(path_, encoding_);
    return {name_, delimiter_, std::move(source), options_.text, static_cast<std::size_t>(blockBytes)};
  }

  void ReadOnce(Table& table, std::vector<std::string>& warnings) {
    DelimitedText text = Open();
    delimiter_ = text.Delimiter();
    std::vector<std::string> names = text.Names();
    SettleNames(name_, names, warnings);
    builders_.reserve(names.size());
    for (std::size_t i = 0; i < names.size(); ++i)
      builders_.emplace_back(names[i], static_cast<int>(i) + 1, delimiter_ != ',', &options_.missingTexts);
    const std::optional<TableSidecar> sidecar = LoadSidecar(path_);
    if (sidecar) ForceTexts(*sidecar, builders_);
    wanted_.assign(builders_.size(), true);
    // Columns are skipped only if each is read independently: unless the delimiter is a comma, the
    // numbers of one column show how those of others are written (SettleMarks), and a sidecar may
    // describe any column.
    if (options_.choose && delimiter_ == ',' && !sidecar) wanted_ = options_.choose(names);
    ReadColumns(text, wanted_);
    table.caseCount = text.RowCount();
    if (text.RaggedCount() > 0) warnings.push_back(RaggedSentence(text));
    if (delimiter_ != ',') SettleMarks(builders_);
    ReadAgain(table.caseCount);
    Finish(table, warnings);
    if (sidecar) ApplySidecar(*sidecar, table, warnings);
  }

  std::string RaggedSentence(const DelimitedText& text) const {
    const std::int64_t count = text.RaggedCount();
    const bool one = count == 1;
    const bool padded = options_.text.ragged == RaggedRecords::kPad;
    return std::to_string(count) + (one ? " row of " : " rows of ") + name_ + (one ? " has" : " have") +
           " not as many fields as there are columns (" + (one ? "" : "the first is ") + "row " +
           std::to_string(text.FirstRaggedRow()) + ") and " + (one ? "is" : "are") +
           (padded ? " filled with missing values or cut." : " left out.");
  }

  // Blocks that are scanned side by side. failure: what has ended the reading after them.
  struct Batch {
    std::vector<TextBlock> blocks;
    std::size_t count = 0;
    std::exception_ptr failure;
    std::span<TextBlock> Blocks() { return std::span(blocks).first(count); }
  };

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

  // Reads the columns again that turned out to be text after the spelling of their numbers was
  // lost.
  void ReadAgain(std::int64_t caseCount) {
    std::vector<bool> again(builders_.size());
    for (std::size_t i = 0; i < again.size(); ++i) again[i] = builders_[i].NeedsTexts();
    if (std::find(again.begin(), again.end(), true) == again.end()) return;
    for (std::size_t i = 0; i < again.size(); ++i)
      if (again[i]) builders_[i].RestartAsText();
    DelimitedText text = Open();
    if (text.Names().size() == builders_.size()) ReadColumns(text, again);
    for (std::size_t i = 0; i < again.size(); ++i)
      if (again[i] && builders_[i].CaseCount() != caseCount)
        throw DataError(name_ + " was changed while it was read.");
  }

  void ReadColumns(DelimitedText& text, const std::vector<bool>& wanted) {
    const RecordScanner scanner(delimiter_, builders_.size(), options_.text.ragged,
                                NumbersAmong(options_.missingTexts));
    Batch now, next;
    FillBatch(text, now);
    bool first = true;
    while (now.count > 0 || now.failure) {
      const double begun = done_;
      done_ = now.count > 0 ? static_cast<double>(now.Blocks().back().fileBytes) / fileBytes_ : done_;
      MakePlans(wanted);
      const std::int64_t casesBefore = text.RowCount();
      RunTasks(now.count + 1, begun, [&](std::size_t task) {
        if (task == 0) return FillBatch(text, next);
        scanner.Scan(now.blocks[task - 1], plans_);
      });
      for (TextBlock& block : now.Blocks()) text.Settle(block, scanner, plans_);
      if (first) Reserve(now, text.RowCount());
      first = false;
      AddCells(now);
      TakeBack(now, scanner, casesBefore);
      StoreWhereLarge(text.RowCount());
      if (now.failure) std::rethrow_exception(now.failure);
      std::swap(now, next);
    }
    text.CheckEnd();
  }

  // begun: the progress before the tasks; done_: the progress after them.
  template <class Task>
  void RunTasks(std::size_t count, double begun, const Task& task) {
    const auto report = [&](double fraction) { return progress_.Report(begun + fraction * (done_ - begun)); };
    if (!pool_.Run(
            count, [&](std::size_t index, int) { task(index); }, report))
      throw Cancelled();
  }

  void FillBatch(DelimitedText& text, Batch& batch) const {
    constexpr std::size_t kBlocksPerThread = 4;
    constexpr std::size_t kMostBlocks = 64;
    // Memory for the text and the cells of a block in each of two batches, out of what the columns
    // may take.
    constexpr std::uint64_t kBytesPerBlock = std::uint64_t{8} << 20;
    std::uint64_t fitting = kMostBlocks;
    if (ColumnMemoryLimit() > 0)
      fitting = std::clamp<std::uint64_t>(ColumnMemoryLimit() / kBytesPerBlock, 2, kMostBlocks);
    batch.count = 0;
    batch.blocks.resize(std::min(static_cast<std::size_t>(fitting),
                                 kBlocksPerThread * static_cast<std::size_t>(pool_.ThreadCount())));
    try {
      while (batch.count < batch.blocks.size() && text.NextBytes(batch.blocks[batch.count])) ++batch.count;
    } catch (...) {
      batch.failure = std::current_exception();
    }
  }

  void MakePlans(const std::vector<bool>& wanted) {
    plans_.assign(builders_.size(), {});
    columnOfSlot_.clear();
    for (std::size_t i = 0; i < builders_.size(); ++i) {
      plans_[i].use = ColumnUse::kSkip;
      if (!wanted[i] || builders_[i].NeedsTexts()) continue;
      plans_[i] = {builders_[i].HoldsTexts() ? ColumnUse::kTexts : ColumnUse::kNumbers,
                   builders_[i].SettledMark(), 0};
      columnOfSlot_.push_back(i);
    }
    SetSkipRuns(plans_);
  }

  void StoreWhereLarge(std::int64_t rowCount) {
    const auto columns = static_cast<std::uint64_t>(std::count(wanted_.begin(), wanted_.end(), true));
    if (isStored_ || !memory_.StoreFor(columns * static_cast<std::uint64_t>(rowCount))) return;
    isStored_ = true;
    for (ColumnBuilder& builder : builders_)
      builder.StoreIn(memory_.StoreFor(0), memory_.WaitingCells(columns));
  }

  // Estimates the number of cases from the beginning of the file.
  void Reserve(Batch& batch, std::int64_t rowCount) {
    if (batch.count == 0 || batch.Blocks().back().fileBytes == 0) return;
    const double rowsPerByte =
        static_cast<double>(rowCount) / static_cast<double>(batch.Blocks().back().fileBytes);
    const auto expected = static_cast<std::int64_t>(1.02 * rowsPerByte * fileBytes_) + 16;
    StoreWhereLarge(expected);
    for (const std::size_t column : columnOfSlot_) builders_[column].Reserve(expected);
  }

  void AddCells(Batch& batch) {
    unfinished_.assign(columnOfSlot_.size(), kFinished);
    RunTasks(columnOfSlot_.size(), done_, [&](std::size_t slot) {
      ColumnBuilder& builder = builders_[columnOfSlot_[slot]];
      const bool wasBlank = builder.IsBlank();
      const bool asTexts = plans_[columnOfSlot_[slot]].use == ColumnUse::kTexts;
      std::string scratch;
      for (const TextBlock& block : batch.Blocks()) {
        if (block.rowCount == 0) continue;
        if (asTexts)
          AddTexts(block, slot, builder, scratch);
        else if (!AddNumbers(block, slot, builder, scratch))
          break;
      }
      builder.Flush();
      if (!asTexts && wasBlank && (builder.HoldsTexts() || builder.NeedsTexts())) unfinished_[slot] = kAgain;
    });
  }

  static void AddTexts(const TextBlock& block, std::size_t slot, ColumnBuilder& builder,
                       std::string& scratch) {
    for (const double cell : block.Cells(slot))
      builder.AddField(block.Text(std::bit_cast<FieldPlace>(cell), scratch));
  }

  // False when the column turns out to be one of texts.
  static bool AddNumbers(const TextBlock& block, std::size_t slot, ColumnBuilder& builder,
                         std::string& scratch) {
    const std::span<const double> cells = block.Cells(slot);
    std::size_t row = 0;
    for (const TextBlock::OtherField& other : block.Others(slot)) {
      builder.AddNumbers(cells.subspan(row, other.row - row));
      builder.AddField(block.Text(other.place, scratch));
      if (builder.HoldsTexts() || builder.NeedsTexts()) return false;
      row = other.row + 1;
    }
    builder.AddNumbers(cells.subspan(row));
    return true;
  }

  // Columns without a value before this batch that turn out to be texts are read once more from the
  // batch, which spares another pass over the file.
  void TakeBack(Batch& batch, const RecordScanner& scanner, std::int64_t casesBefore) {
    std::vector<std::size_t> again;
    for (std::size_t slot = 0; slot < columnOfSlot_.size(); ++slot)
      if (unfinished_[slot] == kAgain) again.push_back(columnOfSlot_[slot]);
    if (again.empty()) return;
    for (ColumnPlan& plan : plans_) plan.use = ColumnUse::kSkip;
    for (const std::size_t column : again) {
      plans_[column].use = ColumnUse::kTexts;
      builders_[column].RestartAsText(casesBefore);
    }
    SetSkipRuns(plans_);
    columnOfSlot_ = std::move(again);
    RunTasks(batch.count, done_, [&](std::size_t block) { scanner.Scan(batch.blocks[block], plans_); });
    AddCells(batch);
  }

  void Finish(Table& table, std::vector<std::string>& warnings) {
    std::vector<std::vector<ColumnNote>> notesOf(builders_.size());
    table.columns.resize(builders_.size());
    done_ = 1;
    RunTasks(builders_.size(), 1, [&](std::size_t i) {
      if (wanted_[i]) {
        table.columns[i] = builders_[i].Finish(notesOf[i]);
        return;
      }
      // The column stays without values, so that variables keep their numbers.
      table.columns[i].name = builders_[i].Name();
    });
    std::vector<ColumnNote> notes;
    for (std::vector<ColumnNote>& some : notesOf)
      notes.insert(notes.end(), std::make_move_iterator(some.begin()), std::make_move_iterator(some.end()));
    AppendSentences(notes, name_, warnings);
  }

  static constexpr char kFinished = 0, kAgain = 1;

  const std::string& path_;
  const std::string& name_;
  const ReadOptions& options_;
  ReadProgress progress_;
  char delimiter_;
  TextEncoding encoding_;
  ColumnMemory memory_;
  bool isStored_ = false;
  WorkerPool pool_;
  double fileBytes_ = 0;
  double done_ = 0;  // of the file
  std::vector<ColumnBuilder> builders_;
  std::vector<bool> wanted_;
  std::vector<ColumnPlan> plans_;
  std::vector<std::size_t> columnOfSlot_;
  std::vector<char> unfinished_;  // per slot; no vector of bool, which threads cannot share
};

}  // namespace

void ForceTexts(const TableSidecar& sidecar, std::vector<ColumnBuilder>& builders) {
  for (ColumnBuilder& builder : builders) {
    const auto found = sidecar.variables.find(builder.Name());
    if (found != sidecar.variables.end() && found->second.kind == "text") builder.ForceText();
  }
}

void ReadDelimited(const std::string& path, const std::string& name, const ReadOptions& options,
                   char delimiter, Table& table, std::vector<std::string>& warnings) {
  DelimitedReader(path, name, options, delimiter).Read(table, warnings);
}

}  // namespace velmora
