// The page of a screening run, which a person opens first.
#pragma once

#include <string>

#include "workbench/documents/workbook.h"
#include "workbench/report/screen_documents.h"
#include "workbench/report/screen_report.h"

namespace velmora {

// One self-contained page: what was screened, a ranking of every response, a panel for each of its best
// predictors with the graphs that the module made, and compact data of the others, whose panels the page's
// script makes when somebody asks for them. documents: made with graphs, in the workbook.
std::string ScreenHtml(const ScreenReport& report, const ScreenDocuments& documents,
                       const Workbook& workbook);

}  // namespace velmora
