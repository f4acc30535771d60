// velmora-read: reads one SPSS, SAS, Stata, Parquet or JSON file for velmora, which starts it. It
// is a program of its own so that a damaged file can bring down nothing else;
// workbench/data/reader_protocol.h says how they talk.
#include "workbench/data/reader_protocol.h"

int main() { return velmora::RunReaderProcess(); }
