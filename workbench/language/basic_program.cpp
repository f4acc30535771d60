#include "workbench/language/basic_program.h"

#include <utility>

namespace velmora {
namespace {

class BasicReader : public SyntaxReader {
 public:
  using SyntaxReader::SyntaxReader;

  BasicProgram Read(const std::string& file) {
    BasicProgram program;
    program.file = file;
    for (SkipEmptyLines(); Now().kind != TokenKind::kEnd; SkipEmptyLines()) {
      if (StartsSub()) {
        program.subs.push_back(ReadSub());
      } else {
        ReadInto(program.statements);
        EndStatement();
      }
    }
    return program;
  }

 private:
  // --- Words
  std::string NeedName(const char* what) {
    if (Now().kind != TokenKind::kName) Fail(std::string(what) + " is missing before " + Shown(Now()));
    return Take().lower;
  }
  void Need(std::string_view symbol) {
    if (!TakeSymbol(symbol)) Fail(std::string(symbol) + " is missing before " + Shown(Now()));
  }
  bool NextIs(std::string_view lower) const {
    return Next().kind == TokenKind::kName && Next().lower == lower;
  }
  // "End If", "EndIf" and the like.
  bool IsEndOf(const std::string& lower) const {
    return IsWord("end") ? NextIs(lower) : IsWord("end" + lower);
  }
  void TakeEndOf() {
    if (Take().lower == "end") Take();
  }
  void SkipEmptyLines() {
    while (Now().kind == TokenKind::kLineEnd) Take();
  }
  void EndStatement() {
    if (Now().kind != TokenKind::kLineEnd && Now().kind != TokenKind::kEnd)
      Fail("the statement should end before " + Shown(Now()));
  }

  // --- Subs
  bool StartsSub() const {
    return IsWord("sub") || ((IsWord("private") || IsWord("public")) && NextIs("sub"));
  }

  BasicSub ReadSub() {
    BasicSub sub;
    sub.line = Now().line;
    if (!TakeWord("sub")) {
      Take();
      Take();
    }
    sub.name = NeedName("the name of the Sub");
    if (TakeSymbol("(") && !TakeSymbol(")")) {
      do {
        if (IsWord("byval") || IsWord("byref")) Take();
        sub.parameters.push_back(ReadDeclared("a parameter"));
      } while (TakeSymbol(","));
      Need(")");
    }
    EndStatement();
    sub.body = ReadLines(sub.line, "End Sub", [this] { return IsEndOf("sub"); });
    TakeEndOf();
    EndStatement();
    return sub;
  }

  // name [()] [As type]
  std::string ReadDeclared(const char* what) {
    std::string name = NeedName(what);
    if (TakeSymbol("(")) Need(")");
    if (TakeWord("as")) NeedName("a type");
    return name;
  }

  // --- Statements
  template <class IsEnd>
  std::vector<BasicStatement> ReadLines(int begin, const char* end, IsEnd isEnd) {
    const Nesting nesting(*this);
    std::vector<BasicStatement> body;
    for (SkipEmptyLines(); !isEnd(); SkipEmptyLines()) {
      if (Now().kind == TokenKind::kEnd || IsEndOf("sub"))
        throw SyntaxError{0, begin, std::string(end) + " is missing"};
      ReadInto(body);
      EndStatement();
    }
    return body;
  }

  void ReadInto(std::vector<BasicStatement>& body) {
    if (!TakeWord("dim")) return body.push_back(ReadStatement());
    do {
      BasicStatement declaration;
      declaration.kind = BasicStatement::Kind::kDeclaration;
      declaration.line = Now().line;
      declaration.target = ReadDeclared("the name of the variable");
      body.push_back(std::move(declaration));
    } while (TakeSymbol(","));
  }

  BasicStatement ReadStatement() {
    if (IsWord("if")) return ReadIf();
    BasicStatement statement;
    statement.line = Now().line;
    if (IsWord("exit") && NextIs("sub")) {
      Take();
      Take();
      statement.kind = BasicStatement::Kind::kExitSub;
      return statement;
    }
    TakeWord("let");
    ReadTarget(statement);
    statement.value = ReadValue();
    FoldTexts(statement.value);
    return statement;
  }

  // name =   or   "a name" & Chr(10) & "of two lines" =
  void ReadTarget(BasicStatement& statement) {
    const Token first = Now();
    const auto fail = [&] { Fail(first, "the statement that begins with " + Shown(first) + " is unknown"); };
    if (first.kind == TokenKind::kName && Next().kind == TokenKind::kSymbol && Next().text == "=") {
      statement.target = Take().lower;
    } else {
      if (first.kind != TokenKind::kText && !(first.lower == "chr")) fail();
      Syntax target = ReadOperators(kJoinBinding);
      FoldTexts(target);
      if (target.kind != SyntaxKind::kText) fail();
      statement.quoted = true;
      statement.target = std::move(target.text);
    }
    if (!TakeSymbol("=")) fail();
  }

  Syntax ReadCondition() {
    Syntax condition = ReadValue();
    FoldTexts(condition);
    return condition;
  }

  BasicStatement ReadIf() {
    BasicStatement statement;
    statement.kind = BasicStatement::Kind::kIf;
    statement.line = Take().line;
    BasicBranch first;
    first.condition = ReadCondition();
    const bool then = TakeWord("then");
    if (then && Now().kind != TokenKind::kLineEnd) {
      ReadOneLine(statement, std::move(first));
    } else {
      if (!then && Now().kind != TokenKind::kLineEnd) Fail("Then is missing before " + Shown(Now()));
      ReadBlock(statement, std::move(first));
    }
    return statement;
  }

  void ReadOneLine(BasicStatement& statement, BasicBranch first) {
    const Nesting nesting(*this);
    first.body.push_back(ReadStatement());
    statement.branches.push_back(std::move(first));
    if (!TakeWord("else")) return;
    BasicBranch& otherwise = statement.branches.emplace_back();
    otherwise.isElse = true;
    otherwise.body.push_back(ReadStatement());
  }

  void ReadBlock(BasicStatement& statement, BasicBranch branch) {
    const auto endsBranch = [this] { return IsEndOf("if") || IsWord("else") || IsWord("elseif"); };
    for (;;) {
      branch.body = ReadLines(statement.line, "End If", endsBranch);
      const bool last = branch.isElse;
      statement.branches.push_back(std::move(branch));
      if (IsEndOf("if")) return TakeEndOf();
      if (last) Fail("this If has an Else already");
      branch = {};
      branch.isElse = Take().lower == "else";
      if (branch.isElse) continue;
      branch.condition = ReadCondition();
      TakeWord("then");
      EndStatement();
    }
  }
};

}  // namespace

std::string ScriptPlace(const std::string& file, int line) {
  return line > 0 ? file + ", line " + std::to_string(line) : file;
}

void FailInScript(const std::string& file, int line, const std::string& reason) {
  throw DataError(ScriptPlace(file, line) + ": " + reason + (reason.ends_with('?') ? "" : "."));
}

BasicProgram ParseBasic(std::string_view text, const std::string& file, std::string_view decimalSeparator) {
  try {
    return BasicReader(text, Dialect{true, decimalSeparator == ","}).Read(file);
  } catch (const SyntaxError& error) {
    FailInScript(file, error.line, error.reason);
  }
}

}  // namespace velmora
