#include "workbench/states/packed.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "base/fnv_hash.h"
#include "workbench/data/errors.h"
#include "workbench/data/json_input.h"

namespace velmora::states {
namespace {

static_assert(std::endian::native == std::endian::little, "states hold doubles as they lie in memory");

constexpr std::string_view kMark = "VLMSTATE";
constexpr std::uint64_t kVersion = 1;
constexpr std::size_t kHeader = 32;  // mark, version, length, checksum
constexpr double kLargestCount = 9007199254740992.0;

// FNV-1a over words of eight bytes.
std::uint64_t Checksum(std::string_view bytes) {
  std::uint64_t sum = vlm::kFnvStart;
  const auto add = [&](std::uint64_t word) {
    sum = vlm::FnvStep(sum, word);
    sum ^= sum >> 32;
  };
  std::size_t at = 0;
  for (; at + 8 <= bytes.size(); at += 8) {
    std::uint64_t word = 0;
    std::memcpy(&word, bytes.data() + at, 8);
    add(word);
  }
  for (; at < bytes.size(); ++at) add(static_cast<unsigned char>(bytes[at]));
  return sum;
}

void Put(std::string& text, std::uint64_t number) {
  char bytes[8];
  std::memcpy(bytes, &number, 8);
  text.append(bytes, 8);
}

std::uint64_t NumberAt(std::string_view text, std::size_t at) {
  std::uint64_t number = 0;
  std::memcpy(&number, text.data() + at, 8);
  return number;
}

const std::vector<std::uint8_t>& BytesOf(const Packed& packed) {
  if (!packed.is_binary()) FailDamaged();
  return packed.get_binary();
}

// Refuses bytes that would exhaust the stack or ask for more memory than they have.
class ShapeCheck final : public JsonCheck<Packed> {
 public:
  explicit ShapeCheck(std::size_t byteCount) : byteCount_(byteCount) {}

 private:
  bool Opened(std::size_t size, std::size_t depth) override {
    return depth <= kDeepestJson && (size == kUnknownSize || size <= byteCount_);
  }

  std::size_t byteCount_;
};

}  // namespace

void FailDamaged() { throw DataError("The state is damaged: its contents are not those of a state."); }

std::string SealedBody(std::string_view body) {
  std::string bytes(kMark);
  bytes.reserve(kHeader + body.size());
  Put(bytes, kVersion);
  Put(bytes, body.size());
  Put(bytes, Checksum(body));
  return bytes.append(body);
}

std::string Sealed(const Packed& state) {
  const std::vector<std::uint8_t> body = Packed::to_cbor(state);
  return SealedBody({reinterpret_cast<const char*>(body.data()), body.size()});
}

Packed Unsealed(std::string_view bytes) {
  if (!bytes.starts_with(kMark) || bytes.size() < kHeader) throw DataError("The bytes are not a state.");
  const std::uint64_t version = NumberAt(bytes, 8);
  if (version != kVersion)
    throw DataError("The state has format " + std::to_string(version) + ", and this version reads format " +
                    std::to_string(kVersion) + "; every computer of the run needs the same version.");
  const std::string_view body = bytes.substr(kHeader);
  if (body.size() != NumberAt(bytes, 16))
    throw DataError("The state is damaged: it has " + std::to_string(body.size()) + " bytes, not " +
                    std::to_string(NumberAt(bytes, 16)) + ".");
  if (Checksum(body) != NumberAt(bytes, 24)) throw DataError("The state is damaged: its checksum is wrong.");
  ShapeCheck check(body.size());
  if (!Packed::sax_parse(body, &check, Packed::input_format_t::cbor)) FailDamaged();
  Packed state = Packed::from_cbor(body, true, false);
  if (state.is_discarded() || !state.is_object()) FailDamaged();
  return state;
}

Packed PackDoubles(std::span<const double> values) {
  std::vector<std::uint8_t> bytes(values.size() * 8);
  if (!values.empty()) std::memcpy(bytes.data(), values.data(), bytes.size());
  return Packed::binary(std::move(bytes));
}

std::vector<double> UnpackDoubles(const Packed& packed) {
  const std::vector<std::uint8_t>& bytes = BytesOf(packed);
  if (bytes.size() % 8 != 0) FailDamaged();
  std::vector<double> values(bytes.size() / 8);
  if (!values.empty()) std::memcpy(values.data(), bytes.data(), bytes.size());
  return values;
}

Packed PackCounts(std::span<const double> counts) {
  std::vector<std::uint8_t> bytes;
  for (const double count : counts) {
    if (!(count >= 0) || count > kLargestCount || count != std::floor(count)) return PackDoubles(counts);
  }
  for (const double count : counts) {
    auto rest = static_cast<std::uint64_t>(count);
    for (; rest >= 128; rest >>= 7) bytes.push_back(static_cast<std::uint8_t>(rest | 128));
    bytes.push_back(static_cast<std::uint8_t>(rest));
  }
  Packed packed = Packed::binary(std::move(bytes));
  return {{"counts", std::move(packed)}};
}

std::vector<double> UnpackCounts(const Packed& packed) {
  if (packed.is_binary()) return UnpackDoubles(packed);
  const std::vector<std::uint8_t>& bytes = BytesOf(Member(packed, "counts"));
  std::vector<double> counts;
  std::uint64_t number = 0;
  int shift = 0;
  for (std::size_t at = 0; at < bytes.size(); ++at) {
    if (shift > 56) FailDamaged();
    number |= static_cast<std::uint64_t>(bytes[at] & 127) << shift;
    shift += 7;
    if ((bytes[at] & 128) != 0) continue;
    counts.push_back(static_cast<double>(number));
    number = 0;
    shift = 0;
  }
  if (shift != 0) FailDamaged();
  return counts;
}

double CheckedCount(double count) {
  if (!(count >= 0 && count <= kLargestCount)) FailDamaged();
  return count;
}

const Packed& Member(const Packed& state, const char* name) {
  const auto at = state.find(name);
  if (!state.is_object() || at == state.end()) FailDamaged();
  return *at;
}

}  // namespace velmora::states
