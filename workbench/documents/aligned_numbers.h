// The texts of a column of numbers with one number of decimals, so that they line up.
//
//   AlignedNumbers numbers;
//   for (const double value : values) numbers.Add(value);
//   numbers.Text(125.55)  // "125.550" when the largest is 264.2332
#pragma once

#include <string>

namespace velmora {

class AlignedNumbers {
 public:
  // Empty cells, infinities and not-a-number do not affect the number of decimals.
  void Add(double value);

  bool AreWhole() const { return whole_; }
  // Enough for six digits of the largest number: 2 to 4.
  int Decimals() const;
  // Shows more decimals when these would cut off digits of the number; whole numbers get none.
  std::string Text(double value) const;

 private:
  bool whole_ = true;
  double largest_ = 0;
};

}  // namespace velmora
