#include "tests/documents/sample.h"

#include <limits>

namespace velmora::sample {
namespace {

std::shared_ptr<Graph> Importance(const Sheet& sheet, const std::string& dependent) {
  auto graph = std::make_shared<Graph>();
  graph->kind = GraphKind::kHorizontalBars;
  graph->titleLines = {"Importance plot", "Dependent variable: " + dependent};
  graph->valueAxis.title = "Importance (F-value)";
  GraphSeries bars;
  bars.kind = SeriesKind::kBars;
  for (int row = 1; row <= sheet.RowCount(); ++row) {
    if (IsEmptyCell(sheet.Cell(row, 1))) continue;
    bars.x.push_back(sheet.RowCount() + 1 - row);
    bars.y.push_back(sheet.Cell(row, 1));
    bars.labels.push_back(sheet.RowName(row));
  }
  graph->series = {bars};
  return graph;
}

}  // namespace

Sheet Table(ShortNames& shortNames) {
  Sheet sheet(static_cast<int>(kNumbers.size()) + 4, 2);
  sheet.SetTitle("Numbers");
  sheet.SetColumnName(1, "F-value");
  sheet.SetColumnName(2, "p-value");
  sheet.SetRole(2, NumberRole::kProbability);
  int row = 0;
  for (const double number : kNumbers) {
    ++row;
    sheet.SetRowName(row, "row, \"" + std::to_string(row) + "\"");
    sheet.SetCell(row, 1, number);
    sheet.SetCell(row, 2, row == 1 ? 1e-300 : 0.05);
  }
  sheet.SetRowName(1, shortNames.ShortFormOf(kLong));
  sheet.SetRowName(2, shortNames.ShortFormOf(kHostile));
  sheet.SetRowName(3, "broken \xFF utf-8 \x1B[31m");
  sheet.SetCell(row + 2, 1, kMissing);
  sheet.SetCell(row + 3, 1, std::numeric_limits<double>::infinity());
  sheet.SetCell(row + 4, 1, std::numeric_limits<double>::quiet_NaN());
  return sheet;
}

Workbook Everything() {
  Workbook workbook;
  workbook.title = "Feature selection <of> houses";
  workbook.SetFact("Data file", "houses & more.csv");
  workbook.AddNotice("Variable \"id\" is <not> screened.");
  int subject = 4;
  for (const std::string& name : {std::string("price"), kHostile}) {
    const int group = workbook.GroupOfSubject(subject++, name, "continuous dependent");
    auto sheet = std::make_shared<Sheet>(3, 2);
    sheet->SetTitle("Best predictors for continuous dependent var: " + name);
    sheet->SetColumnName(1, "F-value");
    sheet->SetColumnName(2, "p-value");
    sheet->SetRole(2, NumberRole::kProbability);
    const char* names[] = {"lotsize", "number_of_bathrooms", "garage"};
    for (int row = 1; row <= 3; ++row) {
      sheet->SetRowName(row, workbook.shortNames.ShortFormOf(names[row - 1]));
      sheet->SetCell(row, 1, 100.0 / row);
      sheet->SetCell(row, 2, row == 1 ? 1e-30 : 0.0123);
    }
    workbook.Add(sheet, group);
    workbook.Add(Importance(*sheet, name), group);
  }
  workbook.AddNotice("One notice of a group.", 1);

  auto numbers = std::make_shared<Sheet>(Table(workbook.shortNames));
  workbook.Add(numbers);
  auto bins = std::make_shared<Sheet>(2, 3);
  bins->SetTitle("Crosstabulation results : [age]/*?");
  bins->SetColumnLongName(1, "level");
  bins->SetLabels(1, {{1, "(-inf, 25]"}, {2, "=\"quoted\", label"}});
  bins->SetColumnName(2, "bad");
  bins->SetColumnName(3, "good");
  for (int row = 1; row <= 2; ++row) {
    bins->SetCell(row, 1, row);
    bins->SetInteger(row, 2, 10 * row);
    bins->SetInteger(row, 3, 30);
  }
  if (!bins->InsertColumn(3, "Odds", "= v3/v2", "0.0000").empty()) return {};
  bins->SetText(2, 4, "n/a");
  workbook.Add(bins);
  auto text = std::make_shared<TextDocument>();
  text->title = "Best predictor lists";
  text->text = "Best continuous predictors: 1 2\n<b>not bold</b>\n\n";
  workbook.Add(text);
  return workbook;
}

Workbook Large(int rows) {
  Workbook workbook;
  workbook.title = "Large";
  const int group = workbook.GroupOfSubject(1, "target");
  auto sheet = std::make_shared<Sheet>(rows, 2);
  sheet->SetTitle("Best predictors for continuous dependent var: target");
  sheet->SetColumnName(1, "F-value");
  sheet->SetColumnName(2, "p-value");
  sheet->SetRole(2, NumberRole::kProbability);
  for (int row = 1; row <= rows; ++row) {
    sheet->SetRowName(row, workbook.shortNames.ShortFormOf("predictor_" + std::to_string(row)));
    sheet->SetCell(row, 1, 1000.0 / row);
    if (row % 7 != 0) sheet->SetCell(row, 2, 1.0 - 0.5 / row);
  }
  workbook.Add(sheet, group);
  workbook.Add(Importance(*sheet, "target"), group);
  return workbook;
}

}  // namespace velmora::sample
