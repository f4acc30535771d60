// Numbers as text, the same in every locale.
#pragma once

#include <span>
#include <string>
#include <vector>

namespace vlm {

// The text that printf gives in the "C" locale; infinities are "inf" and "-inf", not-a-number is
// "nan". precision: as printf's; at most 60, more is taken as 60.
std::string FormatGeneral(double value, int precision = 6);     // %g
std::string FormatScientific(double value, int precision = 6);  // %e
std::string FormatFixed(double value, int precision);           // %.4f and the like

// "%.15e": a number for machines, read back to the same double or its neighbour.
inline std::string FormatMachine(double value) { return FormatScientific(value, 15); }

// Texts of neighbouring numbers that can be told apart: all with %g; where two neighbours come out
// alike, all with %e; where two still do, all with %.15e.
std::vector<std::string> FormatDistinct(std::span<const double> values);

}  // namespace vlm
