// Parquet, JSON, SPSS, SAS and Stata files: reading one into a table, in a process of its own where
// the system allows it. Their libraries are large and damaged files bring them down, so velmora
// lets the program velmora-read run them under limits of memory and processor time; a crash there
// is one sentence here.
#pragma once

#include <string>
#include <vector>

#include "workbench/data/readers.h"
#include "workbench/data/row_sink.h"

namespace velmora {

struct ForeignFile {
  std::string path;       // as the user gave it, for messages
  std::string openPath;   // what to open: UTF-8, no character that a library takes for a pattern
  std::string extension;  // lower case, without the dot
  int threads = 0;        // of DuckDB; 0 = one per processor
};

// What a reading process may use. 0: no limit.
struct ReaderLimits {
  std::uint64_t memoryBytes = 0;
  std::uint64_t idleCpuSeconds = 0;  // processor time without any progress
};

// The limits for a file of so many bytes on this machine.
ReaderLimits LimitsFor(std::uint64_t fileBytes);

// True for the endings of the files that this header is about.
bool IsForeignExtension(const std::string& extension);

// Reads the whole file into a table, in another process where the system has them. Throws
// DataError, Cancelled.
void ReadForeignFile(const std::string& path, const std::string& extension, const ReadOptions& options,
                     const ReaderLimits& limits, Table& table, std::vector<std::string>& warnings);

// Runs the reader of the file in this process and hands its rows to sink. Throws DataError,
// Cancelled.
void RunForeignReader(const ForeignFile& file, RowSink& sink);

// Each reads one family of formats; RunForeignReader chooses.
void ReadParquet(const ForeignFile& file, RowSink& sink);
void ReadJson(const ForeignFile& file, RowSink& sink);
void ReadStatFile(const ForeignFile& file, RowSink& sink);

}  // namespace velmora
