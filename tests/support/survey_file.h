// A small survey as bytes of a file with values that it declares missing.
#pragma once

#include <gtest/gtest.h>
#include <readstat.h>

#include <string>

namespace velmora::testing {

inline ssize_t AppendBytes(const void* data, size_t length, void* context) {
  static_cast<std::string*>(context)->append(static_cast<const char*>(data), length);
  return static_cast<ssize_t>(length);
}

// Cases first to last - 1 as a file of SPSS. Income decides the risk; who refuses (98) is risky, who
// was not asked (99) is not. Both codes are user-missing, as is -7, which no case has, and some
// incomes are missing without a code. The job, a text, is missing by "x", labelled "secret", where the income is refused.
inline std::string SurveyFile(int first, int last) {
  std::string bytes;
  readstat_writer_t* writer = readstat_writer_init();
  readstat_set_data_writer(writer, AppendBytes);
  readstat_label_set_t* labels = readstat_add_label_set(writer, READSTAT_TYPE_DOUBLE, "labels");
  readstat_label_double_value(labels, 98, "refused");
  readstat_variable_t* risk = readstat_add_variable(writer, "risk", READSTAT_TYPE_DOUBLE, 0);
  readstat_variable_t* income = readstat_add_variable(writer, "income", READSTAT_TYPE_DOUBLE, 0);
  readstat_variable_set_label_set(income, labels);
  readstat_variable_add_missing_double_range(income, 98, 99);
  readstat_variable_add_missing_double_value(income, -7);
  readstat_label_set_t* jobs = readstat_add_label_set(writer, READSTAT_TYPE_STRING, "jobs");
  readstat_label_string_value(jobs, "x", "secret");
  readstat_variable_t* job = readstat_add_variable(writer, "job", READSTAT_TYPE_STRING, 8);
  readstat_variable_set_label_set(job, jobs);
  readstat_variable_add_missing_string_value(job, "x");
  EXPECT_EQ(readstat_begin_writing_sav(writer, &bytes, last - first), READSTAT_OK);
  for (int i = first; i < last; ++i) {
    readstat_begin_row(writer);
    const int kind = i % 10;
    const double value = kind == 0 ? 98 : kind == 1 ? 99 : (i * 7) % 60;
    const int badPercent = kind == 0 ? 80 : kind == 1 ? 5 : value > 30 ? 10 : 40;
    readstat_insert_double_value(writer, risk, (i / 10 * 37) % 100 < badPercent ? 1 : 0);
    if (kind == 2) {
      readstat_insert_missing_value(writer, income);
    } else {
      readstat_insert_double_value(writer, income, value);
    }
    readstat_insert_string_value(writer, job, kind == 0 ? "x" : i % 3 == 0 ? "baker" : "weaver");
    readstat_end_row(writer);
  }
  EXPECT_EQ(readstat_end_writing(writer), READSTAT_OK);
  readstat_writer_free(writer);
  return bytes;
}

}  // namespace velmora::testing
