#include "workbench/data/reader_protocol.h"

#include <array>

namespace velmora {

namespace {

// Enumerations and flags that come from outside are brought back into their range.
template <class Enumeration>
Enumeration TakeEnumeration(Unpacker& in, Enumeration last) {
  const auto value = in.Take<std::uint8_t>();
  return value > static_cast<std::uint8_t>(last) ? last : static_cast<Enumeration>(value);
}

// The texts of a part, in the order in which they are sent.
template <class Part>
auto PartsOf(Part& part) {
  return std::array{&part.sheet, &part.range, &part.table, &part.query};
}

}  // namespace

std::string Pack(const ReaderRequest& request) {
  Packer out;
  out.Put(request.path);
  out.Put(request.address);
  out.Put(request.extension);
  out.Put(request.threads);
  out.Put(request.limits);
  for (const std::string* text : PartsOf(request.part)) out.Put(*text);
  out.Put(static_cast<std::uint8_t>(request.keepsUserMissing));
  return out.Bytes();
}

ReaderRequest UnpackRequest(std::string_view bytes) {
  Unpacker in(bytes);
  ReaderRequest request;
  request.path = in.TakeText();
  request.address = in.TakeText();
  request.extension = in.TakeText();
  request.threads = in.Take<int>();
  request.limits = in.Take<ReaderLimits>();
  for (std::string* text : PartsOf(request.part)) *text = in.TakeText();
  request.keepsUserMissing = in.Take<std::uint8_t>() != 0;
  return request;
}

std::string Pack(const ForeignHeader& header) {
  Packer out;
  out.Put(header.caseCount);
  out.Put(header.sidecar);
  out.Put(static_cast<std::uint64_t>(header.columns.size()));
  for (const ForeignColumn& column : header.columns) {
    out.Put(column.name);
    out.Put(column.longName);
    out.Put(static_cast<std::uint8_t>(column.kind));
    out.Put(static_cast<std::uint8_t>(column.dateUnit));
    out.Put(static_cast<std::uint8_t>(column.boolean));
    out.Put(static_cast<std::uint8_t>(column.declared ? 1 + static_cast<int>(*column.declared) : 0));
    out.Put(column.labelSet);
  }
  return out.Bytes();
}

ForeignHeader UnpackHeader(std::string_view bytes) {
  Unpacker in(bytes);
  ForeignHeader header;
  header.caseCount = in.Take<std::int64_t>();
  header.sidecar = in.TakeText();
  const auto count = in.Take<std::uint64_t>();
  for (std::uint64_t i = 0; i < count; ++i) {
    ForeignColumn column;
    column.name = in.TakeText();
    column.longName = in.TakeText();
    column.kind = TakeEnumeration(in, CellKind::kDigits);
    column.dateUnit = TakeEnumeration(in, DateUnit::kSeconds);
    column.boolean = in.Take<std::uint8_t>() != 0;
    const auto declared = in.Take<std::uint8_t>();
    if (declared == 1) column.declared = Measurement::kContinuous;
    if (declared == 2) column.declared = Measurement::kCategorical;
    column.labelSet = in.TakeText();
    header.columns.push_back(std::move(column));
  }
  return header;
}

std::string Pack(const ForeignDetails& details) {
  Packer out;
  out.Put(details.weightColumn);
  out.Put(static_cast<std::uint64_t>(details.labelSets.size()));
  for (const auto& [name, set] : details.labelSets) {
    out.Put(name);
    out.Put(static_cast<std::uint64_t>(set.numbers.size()));
    for (const auto& [value, text] : set.numbers) {
      out.Put(value);
      out.Put(text);
    }
    out.Put(static_cast<std::uint64_t>(set.texts.size()));
    for (const auto& [value, text] : set.texts) {
      out.Put(value);
      out.Put(text);
    }
  }
  out.Put(static_cast<std::uint64_t>(details.warnings.size()));
  for (const std::string& warning : details.warnings) out.Put(warning);
  out.Put(static_cast<std::uint64_t>(details.userMissing.size()));
  for (const auto& [column, cells] : details.userMissing) {
    out.Put(column);
    out.Put(static_cast<std::uint64_t>(cells.rows.size()));
    for (std::size_t k = 0; k < cells.rows.size(); ++k) {
      out.Put(cells.rows[k]);
      out.Put(cells.values[k]);
    }
    out.Put(static_cast<std::uint64_t>(cells.texts.size()));
    for (const std::string& text : cells.texts) out.Put(text);
    out.Put(static_cast<std::uint64_t>(cells.declared.size()));
    for (const double number : cells.declared) out.Put(number);
  }
  return out.Bytes();
}

ForeignDetails UnpackDetails(std::string_view bytes) {
  Unpacker in(bytes);
  ForeignDetails details;
  details.weightColumn = in.Take<std::int64_t>();
  const auto sets = in.Take<std::uint64_t>();
  for (std::uint64_t i = 0; i < sets; ++i) {
    LabelSet& set = details.labelSets[in.TakeText()];
    const auto numbers = in.Take<std::uint64_t>();
    for (std::uint64_t k = 0; k < numbers; ++k) {
      const auto value = in.Take<double>();
      set.numbers[value] = in.TakeText();
    }
    const auto texts = in.Take<std::uint64_t>();
    for (std::uint64_t k = 0; k < texts; ++k) {
      std::string value = in.TakeText();
      set.texts[std::move(value)] = in.TakeText();
    }
  }
  const auto warnings = in.Take<std::uint64_t>();
  for (std::uint64_t i = 0; i < warnings; ++i) details.warnings.push_back(in.TakeText());
  const auto variables = in.Take<std::uint64_t>();
  for (std::uint64_t i = 0; i < variables; ++i) {
    UserMissingCells& cells = details.userMissing[in.Take<std::uint64_t>()];
    const auto count = in.Take<std::uint64_t>();
    for (std::uint64_t k = 0; k < count; ++k) {
      cells.rows.push_back(in.Take<std::uint32_t>());
      cells.values.push_back(in.Take<double>());
    }
    const auto texts = in.Take<std::uint64_t>();
    for (std::uint64_t k = 0; k < texts; ++k) cells.texts.push_back(in.TakeText());
    const auto declared = in.Take<std::uint64_t>();
    for (std::uint64_t k = 0; k < declared; ++k) cells.declared.push_back(in.Take<double>());
  }
  return details;
}

}  // namespace velmora
