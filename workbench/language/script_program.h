// The small Basic of event scripts and rules scripts, as a tree.
//
//   program   = { sub | statement }                       one a line; a colon ends a line too
//   sub       = [Private | Public] Sub name [( [ByVal | ByRef] name [()] [As type] {, ...} )] lines End Sub
//   statement = Dim name [()] [As type] {, ...} | Exit Sub | if
//             | [Let] name = value | "a variable's name" = value
//   if        = If value [Then] lines { ElseIf value [Then] lines } [Else lines] End If
//             | If value Then statement [Else statement]  on one line
//   value     = and { Or and };  and = not { And not };  not = Not not | comparison
//   comparison = joined [ (= | <> | < | <= | > | >=) joined ];  joined = sum { & sum }
//   sum       = product { (+ | -) product };  product = sign { (* | /) sign };  sign = (- | +) sign | primary
//   primary   = number | "text" | name [( value {, value} )] | ( value )
//
// Names and words in any case; EndIf is End If; Then may be left out at the end of a line; two quotation marks
// stand for one in a text; ' and Rem begin a remark. Where the decimal separator is a comma, a comma between
// two digits is one: 1,5e+000. A decimal point is always understood.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "workbench/data/errors.h"

namespace velmora {

enum class ScriptOperator {
  kOr,
  kAnd,
  kNot,
  kEqual,
  kNotEqual,
  kLess,
  kLessOrEqual,
  kGreater,
  kGreaterOrEqual,
  kJoin,
  kAdd,
  kSubtract,
  kMultiply,
  kDivide,
  kNegate,
};

struct ScriptValue {
  enum class Kind { kNumber, kText, kName, kCall, kOperation };
  Kind kind = Kind::kNumber;
  int line = 0;
  int depth = 1;  // of the tree below, bounded by the parser
  double number = 0;
  std::string text;  // kText: as it is meant; kName and kCall: in lower case
  ScriptOperator operation = ScriptOperator::kOr;
  std::vector<ScriptValue> parts;  // operands, arguments
};

struct ScriptStatement;

struct ScriptBranch {
  bool otherwise = false;  // Else; there is no condition
  ScriptValue condition;
  std::vector<ScriptStatement> body;
};

struct ScriptStatement {
  enum class Kind { kAssignment, kDeclaration, kIf, kExitSub };
  Kind kind = Kind::kAssignment;
  int line = 0;
  std::string target;                  // kAssignment, kDeclaration: in lower case unless quoted
  bool quoted = false;                 // the target is a variable of the data, as written
  ScriptValue value;                   // kAssignment
  std::vector<ScriptBranch> branches;  // kIf
};

struct ScriptSub {
  std::string name;  // in lower case
  int line = 0;
  std::vector<std::string> parameters;
  std::vector<ScriptStatement> body;
};

struct ScriptProgram {
  std::string file;  // for messages
  std::vector<ScriptSub> subs;
  std::vector<ScriptStatement> statements;  // outside every Sub
};

// "FILE, line N"; "FILE" for line 0, of what stands on no line.
std::string ScriptPlace(const std::string& file, int line);
// Throws DataError: "FILE, line N: reason."
[[noreturn]] void FailInScript(const std::string& file, int line, const std::string& reason);

// file: what messages call the script. Throws DataError that names file, line and reason.
ScriptProgram ParseScript(std::string_view text, const std::string& file, std::string_view decimalSeparator);

}  // namespace velmora
