// A workbook with content that is hard to write: long, foreign and hostile names, empty cells,
// extreme numbers, formulas.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "workbench/documents/writers.h"

namespace velmora::sample {

inline const std::string kHostile = "a<b>&\"q\"</script><script>alert(1)</script>";
inline const std::string kLong =
    "Überdurchschnittlich lange Beschreibung einer Einflussgröße, 住宅の敷地面積";

// Every bit of these must come back.
inline const std::vector<double> kNumbers = {
    0.1, 1.0 / 3, 5e-324, 1.7976931348623157e308, -0.0, 123456789.123456789, 1e22, 42};

// Row i holds kNumbers[i] and a p-value; then come a row that was never written, a row of missing
// values, an infinity and a NaN.
Sheet Table(ShortNames& shortNames);
// Groups "price" and kHostile; table and importance graph each, a text report, a table with
// formulas, notices.
Workbook Everything();
// One table of rows rows with its importance graph.
Workbook Large(int rows);

}  // namespace velmora::sample
