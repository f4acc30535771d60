// Replaces xlsx_writer_present.cpp in builds without libxlsxwriter.
#include "workbench/documents/writers.h"

namespace velmora {

bool WritesXlsx() { return false; }

bool WriteXlsx(const Workbook&, std::string&, std::string& error) {
  error = "XLSX files are not written by this build of velmora; HTML and CSV files are.";
  return false;
}

}  // namespace velmora
