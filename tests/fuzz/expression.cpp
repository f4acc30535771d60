// Expressions that select cases: evaluated in a block, each case has the same result as alone.
#include <array>
#include <bit>

#include "tests/fuzz/fuzz_support.h"
#include "workbench/language/expression.h"

namespace velmora {

namespace {

void Run(std::string_view text) {
  const Table& table = fuzz::SampleTable();
  Expression expression = Expression::Compile(text, table);
  std::array<double, 4> block{};
  expression.EvaluateBlock(table, 0, block.size(), block.data());
  for (std::size_t i = 0; i < block.size(); ++i) {
    double alone = 0;
    expression.EvaluateBlock(table, static_cast<std::int64_t>(i), 1, &alone);
    fuzz::Require(std::bit_cast<std::uint64_t>(alone) == std::bit_cast<std::uint64_t>(block[i]),
                  "a case alone has the result that it has in a block");
    fuzz::Require(alone - alone == 0, "results are finite");
  }
}

}  // namespace

}  // namespace velmora

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  return velmora::fuzz::Try(bytes, size, velmora::Run);
}
