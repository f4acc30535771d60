// A workbook on a terminal: aligned tables that fit its width, bars of an importance graph beside them.
#include <algorithm>
#include <cmath>

#include "workbench/documents/presentation.h"
#include "workbench/documents/texts.h"
#include "workbench/documents/writers.h"

namespace velmora {
namespace {

constexpr int kGap = 2;            // blanks between columns
constexpr int kNarrowestName = 8;  // a name is not cut below this
constexpr int kWidestBar = 30;
constexpr int kNarrowestBar = 6;
constexpr int kWidestText = 60;  // of a text column

using Bars = std::unordered_map<std::string, double>;

// Texts for this terminal: control characters would move its cursor, other characters may not exist on it.
std::string Safe(std::string_view text, const TerminalOptions& options, bool keepLines = false) {
  std::string result;
  for (std::size_t position = 0; position < text.size();) {
    const char32_t c = NextCharacter(text, position);
    if (c == '\n' && keepLines) {
      result += '\n';
    } else if (c < 0x20 || (c >= 0x7F && c < 0xA0) || (c >= 0x202A && c <= 0x202E) ||
               (c >= 0x2066 && c <= 0x2069)) {
      result += ' ';
    } else if (c < 0x80 || options.utf8) {
      AppendCharacter(result, c);
    } else {
      result += '?';
    }
  }
  return result;
}

std::string Coloured(std::string_view text, const char* code, const TerminalOptions& options) {
  return options.colour ? "\033[" + std::string(code) + "m" + std::string(text) + "\033[0m"
                        : std::string(text);
}

std::string Heading(std::string_view text, const TerminalOptions& options) {
  return Coloured(text, "1", options);
}

std::string Faint(std::string_view text, const TerminalOptions& options) {
  return Coloured(text, "2", options);
}

std::string Rule(int width, const TerminalOptions& options) {
  std::string rule;
  for (int i = 0; i < width; ++i) rule += options.utf8 ? "─" : "-";
  return Faint(rule, options);
}

std::string Padded(const std::string& text, int width, bool right) {
  const std::string blanks(static_cast<std::size_t>(std::max(0, width - WidthOf(text))), ' ');
  return right ? blanks + text : text + blanks;
}

// Words of text in lines of at most width columns; a longer word has a line for itself.
std::vector<std::string> Wrapped(std::string_view text, int width) {
  std::vector<std::string> lines(1);
  for (std::size_t begin = 0; begin < text.size();) {
    const std::size_t end = std::min(text.find(' ', begin), text.size());
    const std::string_view word = text.substr(begin, end - begin);
    begin = end + 1;
    if (word.empty()) continue;
    if (!lines.back().empty() && WidthOf(lines.back()) + 1 + WidthOf(word) > width) lines.emplace_back();
    if (!lines.back().empty()) lines.back() += ' ';
    lines.back() += word;
  }
  return lines;
}

std::string BarOf(double share, int width, const TerminalOptions& options) {
  static constexpr const char* kEighths[] = {"", "▏", "▎", "▍", "▌", "▋", "▊", "▉"};
  const int eighths = static_cast<int>(std::lround(std::clamp(share, 0.0, 1.0) * width * 8));
  std::string bar;
  for (int i = 0; i < (options.utf8 ? eighths / 8 : (eighths + 4) / 8); ++i) bar += options.utf8 ? "█" : "#";
  if (options.utf8) bar += kEighths[eighths % 8];
  return bar;
}

// One table on its way to the terminal. Columns that do not fit stand in further panels below, names
// repeated.
class TerminalTable {
 public:
  TerminalTable(const TableView& view, const Bars& bars, const TerminalOptions& options)
      : view_(view), options_(options), rows_(view.Source().RowCount()) {
    if (options.maximumRows > 0) rows_ = std::min(rows_, options.maximumRows);
    Measure();
    for (const auto& [label, length] : bars) largest_ = std::max(largest_, length);
    if (largest_ > 0 && view.HasRowNames()) bars_ = &bars;
  }

  std::string Text() {
    std::string text;
    if (columns_.empty()) {
      AppendPanel(text, 0, 0);
    }
    for (std::size_t first = 0; first < columns_.size();) {
      std::size_t end = first;
      int used = nameWidth_;
      while (end < columns_.size()) {
        const int more = columns_[end].width + (end == 0 && nameWidth_ == 0 ? 0 : kGap);
        if (options_.width > 0 && end > first && used + more > options_.width) break;
        used += more;
        ++end;
      }
      if (first > 0) text += "\n";
      barWidth_ = 0;
      if (bars_ && first == 0 && end == columns_.size()) {
        const int room = options_.width > 0 ? options_.width - used - kGap : kWidestBar;
        if (room >= kNarrowestBar) barWidth_ = std::min(room, kWidestBar);
      }
      AppendPanel(text, first, end);
      first = end;
    }
    if (const int left = view_.Source().RowCount() - rows_; left > 0) {
      text +=
          Faint("... and " + GroupedDigits(left) + (left == 1 ? " more row" : " more rows"), options_) + "\n";
    }
    return text;
  }

 private:
  struct PrintedColumn {
    std::vector<std::string> header;  // lines
    std::vector<std::string> cells;
    int width = 0;
    bool right = true;
  };

  void Measure() {
    const Sheet& sheet = view_.Source();
    for (int column = 1; column <= sheet.ColumnCount(); ++column) {
      PrintedColumn printed;
      printed.right = view_.IsNumeric(column);
      for (int row = 1; row <= rows_; ++row) {
        const int limit =
            printed.right || options_.width == 0 ? 1 << 20 : std::min(kWidestText, options_.width);
        printed.cells.push_back(CutToWidth(Safe(view_.Cell(row, column), options_), limit, Mark()));
        printed.width = std::max(printed.width, WidthOf(printed.cells.back()));
      }
      printed.header = Wrapped(Safe(view_.Header(column), options_), std::max(printed.width, 10));
      for (std::string& line : printed.header) {
        if (options_.width > 0) line = CutToWidth(line, std::min(24, options_.width), Mark());
        printed.width = std::max(printed.width, WidthOf(line));
      }
      columns_.push_back(std::move(printed));
    }
    if (!view_.HasRowNames()) return;
    for (int row = 1; row <= rows_; ++row) {
      names_.push_back(Safe(view_.RowName(row), options_));
      nameWidth_ = std::max(nameWidth_, WidthOf(names_.back()));
    }
    // Names give way before the table is broken into panels, but only as far as they stay readable.
    int rest = 0;
    for (const PrintedColumn& column : columns_) rest += column.width + kGap;
    if (options_.width > 0 && nameWidth_ + rest > options_.width) {
      const int widest = columns_.empty() ? 0 : columns_.front().width + kGap;
      const int least = std::min(nameWidth_, std::max(kNarrowestName, options_.width / 4));
      nameWidth_ = options_.width - rest >= least ? options_.width - rest
                                                  : std::clamp(options_.width - widest, kNarrowestName,
                                                               std::min(nameWidth_, options_.width / 3 + 1));
    }
  }

  void AppendPanel(std::string& text, std::size_t first, std::size_t end) {
    int width = nameWidth_;
    std::size_t headerLines = 0;
    for (std::size_t i = first; i < end; ++i) headerLines = std::max(headerLines, columns_[i].header.size());
    for (std::size_t line = 0; line < headerLines; ++line) {
      std::string printed = std::string(static_cast<std::size_t>(nameWidth_), ' ');
      for (std::size_t i = first; i < end; ++i) {
        const PrintedColumn& column = columns_[i];
        // Headers stand on the last lines, above their numbers.
        const std::size_t blank = headerLines - column.header.size();
        AppendGap(printed);
        printed += Padded(line < blank ? "" : column.header[line - blank], column.width, column.right);
      }
      width = std::max(width, WidthOf(printed));
      AppendLine(text, Heading(WithoutTail(printed), options_));
    }
    AppendLine(text, Rule(std::max(width + (barWidth_ > 0 ? kGap + barWidth_ : 0), 1), options_));
    for (int row = 0; row < rows_; ++row) {
      const auto index = static_cast<std::size_t>(row);
      std::string printed = nameWidth_ > 0
                                ? Padded(CutToWidth(names_[index], nameWidth_, Mark()), nameWidth_, false)
                                : std::string();
      for (std::size_t i = first; i < end; ++i) {
        AppendGap(printed);
        printed += Padded(columns_[i].cells[index], columns_[i].width, columns_[i].right);
      }
      if (barWidth_ > 0) {
        const auto bar = bars_->find(view_.RowName(row + 1));
        if (bar != bars_->end()) {
          printed += std::string(kGap, ' ') +
                     Coloured(BarOf(bar->second / largest_, barWidth_, options_), "36", options_);
        }
      }
      AppendLine(text, WithoutTail(printed));
    }
  }

  static void AppendGap(std::string& printed) {
    if (!printed.empty()) printed += std::string(kGap, ' ');
  }

  static void AppendLine(std::string& text, const std::string& line) { text += line + "\n"; }

  static std::string WithoutTail(std::string line) {
    line.erase(line.find_last_not_of(' ') + 1);
    return line;
  }

  const char* Mark() const { return options_.utf8 ? "…" : "..."; }

  const TableView& view_;
  const TerminalOptions& options_;
  int rows_;
  std::vector<PrintedColumn> columns_;
  std::vector<std::string> names_;
  int nameWidth_ = 0;
  const Bars* bars_ = nullptr;
  double largest_ = 0;
  int barWidth_ = 0;
};

std::string SheetText(const Sheet& sheet, const ShortNames& shortNames, const Bars& bars,
                      const TerminalOptions& options) {
  std::string text;
  if (!sheet.Title().empty()) {
    for (const std::string& line :
         Wrapped(Safe(sheet.Title(), options), options.width > 0 ? options.width : 1 << 20)) {
      text += Heading(line, options) + "\n";
    }
  }
  if (sheet.RowCount() == 0) return text + "(no rows)\n";
  const TableView view(sheet, shortNames);
  return text + TerminalTable(view, bars, options).Text();
}

std::string FactsText(const std::vector<Fact>& facts, const TerminalOptions& options) {
  int keyWidth = 0;
  for (const Fact& fact : facts) keyWidth = std::max(keyWidth, WidthOf(Safe(fact.key, options)));
  std::string text;
  for (const Fact& fact : facts) {
    const int room = options.width > 0 ? std::max(20, options.width - keyWidth - kGap) : 1 << 20;
    std::string key = Padded(Safe(fact.key, options), keyWidth, false);
    for (const std::string& line : Wrapped(Safe(fact.value, options), room)) {
      text += Faint(key, options) + std::string(kGap, ' ') + line + "\n";
      key = std::string(static_cast<std::size_t>(keyWidth), ' ');
    }
  }
  return text;
}

std::string NoticesText(const Workbook& workbook, int group, const TerminalOptions& options) {
  std::string text;
  for (const Notice& notice : workbook.notices) {
    if (notice.group != group) continue;
    const int room = options.width > 0 ? std::max(20, options.width - 2) : 1 << 20;
    const char* mark = "! ";
    for (const std::string& line : Wrapped(Safe(notice.text, options), room)) {
      text += Coloured(mark + line, "33", options) + "\n";
      mark = "  ";
    }
  }
  return text;
}

std::string TextDocumentText(const TextDocument& document, const TerminalOptions& options) {
  std::string body = Safe(document.text, options, true);
  body.erase(body.find_last_not_of("\n ") + 1);
  return Heading(Safe(document.title, options), options) + "\n" + body + "\n";
}

// The documents of one group, each with an empty line in front. A graph whose bars stand beside a table, or
// that a terminal cannot draw, is left out.
std::string GroupText(const Workbook& workbook, const DocumentGroup& group, const TerminalOptions& options) {
  Bars bars;
  for (const Document& document : workbook.Documents()) {
    if (document.group != group.id || !document.AsGraph()) continue;
    bars.merge(BarsByLabel(*document.AsGraph(), workbook.shortNames));
  }
  std::string text;
  for (const Document& document : workbook.Documents()) {
    if (document.group != group.id || document.AsGraph()) continue;
    text += "\n";
    text += document.AsSheet() ? SheetText(*document.AsSheet(), workbook.shortNames, bars, options)
                               : TextDocumentText(*document.AsText(), options);
  }
  return text;
}

}  // namespace

std::string WriteTerminalText(const Sheet& sheet, const ShortNames& shortNames,
                              const TerminalOptions& options) {
  return SheetText(sheet, shortNames, {}, options);
}

std::string WriteTerminalText(const Workbook& workbook, const TerminalOptions& options) {
  std::string text;
  if (!workbook.title.empty()) {
    text += Heading(Safe(workbook.title, options), options) + "\n";
  }
  text += FactsText(workbook.facts, options);
  text += NoticesText(workbook, 0, options);
  for (const DocumentGroup& group : workbook.Groups()) {
    if (group.id == 0) continue;
    std::string heading = Safe(group.name, options);
    if (!group.description.empty())
      heading += (options.utf8 ? " · " : " - ") + Safe(group.description, options);
    text += "\n" + Coloured(heading, "1;34", options) + "\n";
    text += FactsText(group.facts, options);
    text += NoticesText(workbook, group.id, options);
    text += GroupText(workbook, group, options);
  }
  text += GroupText(workbook, workbook.Groups().front(), options);
  return text;
}

}  // namespace velmora
