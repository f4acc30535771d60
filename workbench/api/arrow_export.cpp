// Every exported structure holds a reference to the data that its pointers lead to, so consumers
// may release them in any order and on any thread.
#include "workbench/api/arrow_export.h"

#include <cerrno>
#include <cstring>
#include <map>
#include <new>

#include "workbench/report/report_table.h"

namespace velmora {
namespace {

// The cells of a column, or of a dictionary, in Arrow's layout.
struct ColumnBuffers {
  std::string format;
  std::int64_t length = 0, nullCount = 0;
  std::vector<std::uint8_t> valid;     // a bit per cell; empty: all are valid
  std::vector<double> numbers;         // format g
  std::vector<std::int64_t> integers;  // l
  std::vector<std::uint8_t> bits;      // b
  std::vector<std::int32_t> codes;     // i
  std::vector<std::int64_t> offsets;   // U
  std::string bytes;                   // U
  std::unique_ptr<ColumnBuffers> dictionary;

  std::vector<const void*> Buffers() const {
    const void* const validity = valid.empty() ? nullptr : valid.data();
    if (format == "U") return {validity, offsets.data(), bytes.data()};
    if (format == "g") return {validity, numbers.data()};
    if (format == "l") return {validity, integers.data()};
    return {validity, format == "b" ? static_cast<const void*>(bits.data()) : codes.data()};
  }
};

void SetBit(std::vector<std::uint8_t>& bits, std::size_t index) {
  bits[index / 8] = static_cast<std::uint8_t>(bits[index / 8] | (1U << (index % 8)));
}

// isValid(i): whether cell i holds a value.
template <typename IsValid>
ColumnBuffers BuffersOf(const char* format, std::size_t length, IsValid isValid) {
  ColumnBuffers cells;
  cells.format = format;
  cells.length = static_cast<std::int64_t>(length);
  std::vector<std::uint8_t> valid((length + 7) / 8);
  for (std::size_t i = 0; i < length; ++i) {
    if (isValid(i)) {
      SetBit(valid, i);
    } else {
      ++cells.nullCount;
    }
  }
  if (cells.nullCount > 0) cells.valid = std::move(valid);
  return cells;
}

void AppendText(ColumnBuffers& cells, const std::string& text) {
  cells.bytes += text;
  cells.offsets.push_back(static_cast<std::int64_t>(cells.bytes.size()));
}

struct NamedBuffers {
  std::string name;
  ColumnBuffers cells;
};

}  // namespace

struct ArrowTable::Data {
  std::vector<NamedBuffers> columns;

  void Add(const std::string& name, ColumnBuffers cells) { columns.push_back({name, std::move(cells)}); }
};

namespace {

// The private data of an exported structure: the data and the structures below it.
template <typename Structure>
struct Holder {
  std::shared_ptr<const void> data;
  std::vector<const void*> buffers;
  std::vector<std::unique_ptr<Structure>> owned;
  std::vector<Structure*> children;
  Structure* dictionary = nullptr;
};

template <typename Structure>
void ReleaseStructure(Structure* structure) {
  auto* const holder = static_cast<Holder<Structure>*>(structure->private_data);
  for (Structure* child : holder->children) {
    if (child->release != nullptr) child->release(child);
  }
  if (holder->dictionary != nullptr && holder->dictionary->release != nullptr)
    holder->dictionary->release(holder->dictionary);
  delete holder;
  structure->release = nullptr;
}

template <typename Structure>
Structure& AddOwned(Holder<Structure>& holder) {
  return *holder.owned.emplace_back(std::make_unique<Structure>());
}

void FillSchema(ArrowSchema& schema, const std::shared_ptr<const void>& data, const char* format,
                const char* name, std::unique_ptr<Holder<ArrowSchema>> holder) {
  holder->data = data;
  schema = {};
  schema.format = format;
  schema.name = name;
  schema.flags = ARROW_FLAG_NULLABLE;
  schema.n_children = static_cast<std::int64_t>(holder->children.size());
  schema.children = holder->children.data();
  schema.dictionary = holder->dictionary;
  schema.release = ReleaseStructure<ArrowSchema>;
  schema.private_data = holder.release();
}

void FillArray(ArrowArray& array, const std::shared_ptr<const void>& data, std::int64_t length,
               std::int64_t nullCount, std::vector<const void*> buffers,
               std::unique_ptr<Holder<ArrowArray>> holder) {
  holder->data = data;
  holder->buffers = std::move(buffers);
  array = {};
  array.length = length;
  array.null_count = nullCount;
  array.n_buffers = static_cast<std::int64_t>(holder->buffers.size());
  array.buffers = holder->buffers.data();
  array.n_children = static_cast<std::int64_t>(holder->children.size());
  array.children = holder->children.data();
  array.dictionary = holder->dictionary;
  array.release = ReleaseStructure<ArrowArray>;
  array.private_data = holder.release();
}

// A structure of the columns of data. For each column, and for its dictionary, fill is called with
// the structure, the cells, their name and a holder of the structures below.
template <typename Structure, typename Fill>
std::unique_ptr<Holder<Structure>> HolderOf(const std::vector<NamedBuffers>& columns, Fill fill) {
  auto holder = std::make_unique<Holder<Structure>>();
  for (const NamedBuffers& column : columns) {
    auto below = std::make_unique<Holder<Structure>>();
    if (column.cells.dictionary != nullptr) {
      Structure& dictionary = AddOwned(*below);
      fill(dictionary, *column.cells.dictionary, "", std::make_unique<Holder<Structure>>());
      below->dictionary = &dictionary;
    }
    Structure& child = AddOwned(*holder);
    fill(child, column.cells, column.name.c_str(), std::move(below));
    holder->children.push_back(&child);
  }
  return holder;
}

template <typename Data>
struct StreamState {
  std::shared_ptr<const Data> data;
  bool done = false;
};

// Only a lack of memory can make it fail, for which the stream has a code.
template <typename Work>
int WithoutException(Work work) noexcept {
  try {
    work();
    return 0;
  } catch (...) {
    return ENOMEM;
  }
}

template <typename Data>
StreamState<Data>& StateOf(ArrowArrayStream* stream) {
  return *static_cast<StreamState<Data>*>(stream->private_data);
}

template <typename Data>
void FillStream(ArrowArrayStream& stream, std::shared_ptr<const Data> data) {
  stream.private_data = new StreamState<Data>{std::move(data), false};
  stream.get_schema = [](ArrowArrayStream* self, ArrowSchema* out) {
    return WithoutException([&] {
      const auto& state = StateOf<Data>(self);
      const auto fill = [&](ArrowSchema& schema, const ColumnBuffers& cells, const char* name,
                            std::unique_ptr<Holder<ArrowSchema>> holder) {
        FillSchema(schema, state.data, cells.format.c_str(), name, std::move(holder));
      };
      FillSchema(*out, state.data, "+s", "", HolderOf<ArrowSchema>(state.data->columns, fill));
    });
  };
  stream.get_next = [](ArrowArrayStream* self, ArrowArray* out) {
    return WithoutException([&] {
      auto& state = StateOf<Data>(self);
      *out = {};
      if (state.done) return;
      const auto fill = [&](ArrowArray& array, const ColumnBuffers& cells, const char* /*name*/,
                            std::unique_ptr<Holder<ArrowArray>> holder) {
        FillArray(array, state.data, cells.length, cells.nullCount, cells.Buffers(), std::move(holder));
      };
      const auto& columns = state.data->columns;
      FillArray(*out, state.data, columns.empty() ? 0 : columns.front().cells.length, 0, {nullptr},
                HolderOf<ArrowArray>(columns, fill));
      state.done = true;
    });
  };
  stream.get_last_error = [](ArrowArrayStream* /*self*/) { return "There is not enough memory for this."; };
  stream.release = [](ArrowArrayStream* self) {
    delete static_cast<StreamState<Data>*>(self->private_data);
    self->release = nullptr;
  };
}

}  // namespace

ArrowTable::ArrowTable() : data_(std::make_shared<Data>()) {}
ArrowTable::~ArrowTable() = default;
ArrowTable::ArrowTable(ArrowTable&&) noexcept = default;

void ArrowTable::AddNumbers(const std::string& name, std::span<const double> values) {
  ColumnBuffers cells = BuffersOf("g", values.size(), [&](std::size_t i) { return values[i] != kMissing; });
  cells.numbers.assign(values.begin(), values.end());
  data_->Add(name, std::move(cells));
}

void ArrowTable::AddIntegers(const std::string& name,
                             const std::vector<std::optional<std::int64_t>>& values) {
  ColumnBuffers cells = BuffersOf("l", values.size(), [&](std::size_t i) { return values[i].has_value(); });
  for (const std::optional<std::int64_t>& value : values) cells.integers.push_back(value.value_or(0));
  data_->Add(name, std::move(cells));
}

void ArrowTable::AddFlags(const std::string& name, const std::vector<std::optional<bool>>& values) {
  ColumnBuffers cells = BuffersOf("b", values.size(), [&](std::size_t i) { return values[i].has_value(); });
  cells.bits.resize((values.size() + 7) / 8);
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (values[i].value_or(false)) SetBit(cells.bits, i);
  }
  data_->Add(name, std::move(cells));
}

void ArrowTable::AddTexts(const std::string& name, const std::vector<std::optional<std::string>>& values) {
  ColumnBuffers cells = BuffersOf("U", values.size(), [&](std::size_t i) { return values[i].has_value(); });
  cells.offsets.push_back(0);
  for (const std::optional<std::string>& value : values) AppendText(cells, value.value_or(""));
  data_->Add(name, std::move(cells));
}

void ArrowTable::AddCategories(const std::string& name, const std::vector<std::int32_t>& codes,
                               const std::vector<std::string>& texts) {
  ColumnBuffers cells = BuffersOf("i", codes.size(), [&](std::size_t i) { return codes[i] >= 0; });
  cells.codes = codes;
  for (std::int32_t& code : cells.codes) code = code < 0 ? 0 : code;
  cells.dictionary =
      std::make_unique<ColumnBuffers>(BuffersOf("U", texts.size(), [](std::size_t) { return true; }));
  cells.dictionary->offsets.push_back(0);
  for (const std::string& text : texts) AppendText(*cells.dictionary, text);
  data_->Add(name, std::move(cells));
}

void ArrowTable::AddVariable(const Column& column) {
  if (!column.fromText) return AddNumbers(column.name, column.values);
  std::vector<std::string> texts;
  std::map<double, std::int32_t> places;
  for (const ValueLabel& label : column.labels) {
    places[label.value] = static_cast<std::int32_t>(texts.size());
    texts.push_back(label.text);
  }
  std::vector<std::int32_t> codes;
  codes.reserve(column.values.size());
  for (const double value : column.values) {
    const auto place = places.find(value);
    codes.push_back(place == places.end() ? -1 : place->second);
  }
  AddCategories(column.name, codes, texts);
}

void ArrowTable::Export(ArrowArrayStream& stream) && {
  FillStream<Data>(stream, std::shared_ptr<const Data>(std::move(data_)));
}

// --- Rows of a report

namespace {

// The columns of the rows; each column has an entry for every row.
class RowColumns {
 public:
  explicit RowColumns(const Json& rows) : rowCount_(rows.size()) {
    std::size_t row = 0;
    for (const Json& cells : rows) {
      for (const auto& [name, value] : cells.items()) {
        if (!value.is_object()) {
          Set(SnakeCase(name), row, value);
          continue;
        }
        for (const auto& [inner, cell] : value.items()) Set(SnakeCase(name) + "_" + inner, row, cell);
      }
      ++row;
    }
  }

  void AddTo(ArrowTable& table) const {
    for (const std::string& name : names_) {
      const std::vector<const Json*>& cells = columns_.at(name);
      const auto all = [&](auto test) {
        for (const Json* cell : cells) {
          if (cell != nullptr && !cell->is_null() && !test(*cell)) return false;
        }
        return true;
      };
      if (all([](const Json& cell) { return cell.is_boolean(); }) && !IsEmpty(cells)) {
        table.AddFlags(name, Values<bool>(cells));
      } else if (all([](const Json& cell) { return cell.is_number_integer(); }) && !IsEmpty(cells)) {
        table.AddIntegers(name, Values<std::int64_t>(cells));
      } else if (all([](const Json& cell) { return cell.is_number(); })) {
        table.AddNumbers(name, Numbers(cells));
      } else {
        table.AddTexts(name, Texts(cells));
      }
    }
  }

 private:
  void Set(const std::string& name, std::size_t row, const Json& value) {
    const auto [place, isNew] = columns_.try_emplace(name);
    if (isNew) {
      names_.push_back(name);
      place->second.resize(rowCount_);
    }
    place->second[row] = &value;
  }

  static bool IsEmpty(const std::vector<const Json*>& cells) {
    for (const Json* cell : cells) {
      if (cell != nullptr && !cell->is_null()) return false;
    }
    return true;
  }

  template <typename Value>
  static std::vector<std::optional<Value>> Values(const std::vector<const Json*>& cells) {
    std::vector<std::optional<Value>> values;
    for (const Json* cell : cells) {
      if (cell == nullptr || cell->is_null()) {
        values.emplace_back();
      } else {
        values.emplace_back(cell->get<Value>());
      }
    }
    return values;
  }

  static std::vector<double> Numbers(const std::vector<const Json*>& cells) {
    std::vector<double> values;
    for (const Json* cell : cells)
      values.push_back(cell == nullptr || cell->is_null() ? kMissing : cell->get<double>());
    return values;
  }

  static std::vector<std::optional<std::string>> Texts(const std::vector<const Json*>& cells) {
    std::vector<std::optional<std::string>> values;
    for (const Json* cell : cells) {
      if (cell == nullptr || cell->is_null()) {
        values.emplace_back();
      } else {
        values.emplace_back(cell->is_string() ? cell->get<std::string>() : cell->dump());
      }
    }
    return values;
  }

  std::size_t rowCount_;
  std::vector<std::string> names_;
  std::map<std::string, std::vector<const Json*>> columns_;
};

}  // namespace

ArrowTable TableOfRows(const Json& rows) {
  ArrowTable table;
  RowColumns(rows).AddTo(table);
  return table;
}

}  // namespace velmora
