// The page of a screening run, which most readers open first.
#pragma once

#include <string>

#include "workbench/documents/workbook.h"
#include "workbench/report/screen_documents.h"
#include "workbench/report/screen_report.h"

namespace velmora {

// One self-contained page: the facts of the run, a ranking for every response, a panel for each of
// its best predictors with the graphs that the module made, and compact data of the others, whose
// panels the page's script makes when a reader asks for them. documents: the graphs and the rules,
// in workbook.
std::string ScreenPage(const ScreenReport& report, const ScreenDocuments& documents,
                       const Workbook& workbook);

}  // namespace velmora
