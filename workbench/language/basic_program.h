// The small Basic of event scripts and rules scripts, as a tree. Its values have the grammar of
// syntax.h.
//
//   program   = { sub | statement }                       one per line; a colon ends a line too
//   sub       = [Private | Public] Sub name [( [ByVal | ByRef] name [()] [As type] {, ...} )]
//               lines End Sub
//   statement = Dim name [()] [As type] {, ...} | Exit Sub | if
//             | [Let] name = value | "a variable's name" = value
//   if        = If value [Then] lines { ElseIf value [Then] lines } [Else lines] End If
//             | If value Then statement [Else statement]  on one line
//
// Names and words in any case; EndIf is End If; Then may be left out at the end of a line; ' and
// Rem begin a remark.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "workbench/data/errors.h"
#include "workbench/language/syntax.h"

namespace velmora {

struct BasicStatement;

struct BasicBranch {
  bool isElse = false;  // there is no condition
  Syntax condition;
  std::vector<BasicStatement> body;
};

struct BasicStatement {
  enum class Kind { kAssignment, kDeclaration, kIf, kExitSub };
  Kind kind = Kind::kAssignment;
  int line = 0;
  std::string target;                 // kAssignment, kDeclaration: in lower case unless quoted
  bool quoted = false;                // the target is a variable of the data, as written
  Syntax value;                       // kAssignment
  std::vector<BasicBranch> branches;  // kIf
};

struct BasicSub {
  std::string name;  // in lower case
  int line = 0;
  std::vector<std::string> parameters;
  std::vector<BasicStatement> body;
};

struct BasicProgram {
  std::string file;  // for messages
  std::vector<BasicSub> subs;
  std::vector<BasicStatement> statements;  // outside every Sub
};

// "FILE, line N", or "FILE" for line 0, which means no particular line.
std::string ScriptPlace(const std::string& file, int line);
// Throws DataError: "FILE, line N: reason."
[[noreturn]] void FailInScript(const std::string& file, int line, const std::string& reason);

// file: what messages call the script. decimalSeparator: of its numbers; a comma, or a decimal
// point is understood. Throws DataError that names file, line and reason.
BasicProgram ParseBasic(std::string_view text, const std::string& file, std::string_view decimalSeparator);

}  // namespace velmora
