// The least that it costs to read a text file of numbers: one pass of std::from_chars over all
// fields into columns of doubles, without quotes, types or messages.
//
//   text_limit FILE.csv THREADS     prints the seconds of the fastest of three passes
#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <limits>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

using Columns = std::vector<std::vector<double>>;

// The first character after the next line end.
std::size_t LineAfter(std::string_view text, std::size_t place) {
  const std::size_t end = text.find('\n', place);
  return end == std::string_view::npos ? text.size() : end + 1;
}

void ReadLines(std::string_view lines, Columns& columns) {
  const char* at = lines.data();
  const char* const end = at + lines.size();
  while (at < end) {
    for (std::vector<double>& column : columns) {
      double value = std::numeric_limits<double>::quiet_NaN();
      at = std::from_chars(at, end, value).ptr + 1;
      column.push_back(value);
    }
  }
}

double SecondsOfReading(std::string_view text, std::size_t threads) {
  const auto begin = std::chrono::steady_clock::now();
  const std::size_t body = LineAfter(text, 0);
  std::size_t columnCount = 1;
  for (const char character : text.substr(0, body)) columnCount += character == ',' ? 1 : 0;
  std::vector<Columns> parts(threads, Columns(columnCount));
  std::vector<std::thread> others;
  std::size_t first = body;
  for (std::size_t i = 0; i < threads; ++i) {
    const std::size_t last =
        i + 1 == threads ? text.size() : LineAfter(text, body + (text.size() - body) / threads * (i + 1));
    others.emplace_back(
        [part = text.substr(first, last - first), &columns = parts[i]] { ReadLines(part, columns); });
    first = last;
  }
  for (std::thread& other : others) other.join();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  std::ifstream file(argv[1], std::ios::binary);
  const std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  double best = std::numeric_limits<double>::infinity();
  for (int repetition = 0; repetition < 3; ++repetition)
    best = std::min(best, SecondsOfReading(text, std::strtoul(argv[2], nullptr, 10)));
  std::printf("%.3f\n", best);
}
