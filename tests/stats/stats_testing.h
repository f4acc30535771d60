// Plain helpers of the statistics' tests: deterministic numbers, and columns of the sample files.
#pragma once

#include <cmath>
#include <cstdint>
#include <fstream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/paths.h"
#include "workbench/stats/sorted_order.h"

namespace velmora::stats {

// Marsaglia 2003, doi:10.18637/jss.v008.i14.
class Random {
 public:
  explicit Random(std::uint64_t seed) : state_(seed * 0x9E3779B97F4A7C15u + 1) {}
  std::uint64_t Bits() {
    state_ ^= state_ << 13;
    state_ ^= state_ >> 7;
    state_ ^= state_ << 17;
    return state_ * 0x2545F4914F6CDD1Du;
  }
  double Uniform() { return (static_cast<double>(Bits() >> 11) + 0.5) * 0x1p-53; }
  double Normal() { return std::sqrt(-2 * std::log(Uniform())) * std::cos(6.283185307179586 * Uniform()); }
  int Below(int count) { return static_cast<int>(Uniform() * count); }

 private:
  std::uint64_t state_;
};

// One column of samples/FILE as numbers; texts get the codes 0, 1, ... in alphabetical order.
inline std::vector<double> SampleColumn(const std::string& file, const std::string& name) {
  std::ifstream in(SourceDir() + "/samples/" + file);
  std::string line;
  std::getline(in, line);
  const auto split = [](const std::string& text) {
    std::vector<std::string> fields;
    std::stringstream stream(text);
    for (std::string field; std::getline(stream, field, ',');) fields.push_back(field);
    return fields;
  };
  std::size_t at = 0;
  const auto names = split(line);
  while (at < names.size() && names[at] != name) ++at;
  if (at == names.size()) throw std::runtime_error("no column " + name + " in " + file);
  std::vector<std::string> texts;
  while (std::getline(in, line)) texts.push_back(split(line)[at]);
  std::map<std::string, double> codes;
  for (const std::string& text : texts) codes[text] = 0;
  double next = 0;
  for (auto& [text, code] : codes) code = next++;
  std::vector<double> values;
  for (const std::string& text : texts) {
    char* end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    values.push_back(*end == '\0' ? value : codes[text]);
  }
  return values;
}

inline SortedOrder OrderOf(const std::vector<double>& column, double missingCode = 1.7e308) {
  SortScratch scratch;
  SortedOrder order;
  SortColumn(column, missingCode, {}, scratch, order);
  return order;
}

}  // namespace velmora::stats
