#include "workbench/data/date_text.h"

#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>

namespace velmora {

namespace {

// 0001-01-01 and 9999-12-31.
constexpr double kFirstDay = -719162;
constexpr double kLastDay = 2932896;

}  // namespace

bool InCalendar(double value, DateUnit unit) {
  const double days = unit == DateUnit::kDays ? value : value / kSecondsPerDay;
  return days >= kFirstDay && days <= kLastDay;
}

std::string IsoDate(double days) {
  const std::chrono::year_month_day date{std::chrono::sys_days(std::chrono::days(static_cast<int>(days)))};
  std::array<char, 16> text;
  std::snprintf(text.data(), text.size(), "%04d-%02u-%02u", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()));
  return text.data();
}

std::string IsoDateTime(double seconds) {
  const double days = std::floor(seconds / kSecondsPerDay);
  const auto micros = static_cast<long long>(std::llround((seconds - days * kSecondsPerDay) * 1e6));
  const long long whole = micros / 1000000;
  std::array<char, 48> text;
  std::snprintf(text.data(), text.size(), " %02d:%02d:%02d", static_cast<int>(whole / 3600),
                static_cast<int>(whole / 60 % 60), static_cast<int>(whole % 60));
  std::string result = IsoDate(days) + text.data();
  if (micros % 1000000 != 0) {
    std::snprintf(text.data(), text.size(), ".%06d", static_cast<int>(micros % 1000000));
    result += text.data();
  }
  return result;
}

}  // namespace velmora
