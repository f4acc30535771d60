// A recursive-descent parser. Its depth is bounded, so no text can exhaust the stack.
#include <algorithm>
#include <optional>
#include <utility>

#include "workbench/language/script_program.h"
#include "workbench/language/script_tokens.h"

namespace velmora {
namespace {

constexpr int kMostNesting = 200;
constexpr int kMostDepth = 2000;  // of a value; a chain of operations is as deep as it is long

using Kind = ScriptToken::Kind;

class ScriptParser {
 public:
  ScriptParser(std::string_view text, const std::string& file, std::string_view decimalSeparator)
      : file_(file), tokens_(ReadScriptTokens(text, file, decimalSeparator)) {}

  ScriptProgram Parse() {
    ScriptProgram program;
    program.file = file_;
    for (SkipEmptyLines(); Now().kind != Kind::kEnd; SkipEmptyLines()) {
      if (StartsSub()) {
        program.subs.push_back(ParseSub());
      } else {
        ParseInto(program.statements);
        EndStatement();
      }
    }
    return program;
  }

 private:
  // --- Tokens
  const ScriptToken& Now() const { return tokens_[at_]; }
  const ScriptToken& Next() const { return tokens_[std::min(at_ + 1, tokens_.size() - 1)]; }
  ScriptToken Take() {
    const std::size_t taken = at_;
    if (at_ + 1 < tokens_.size()) ++at_;
    return tokens_[taken];
  }
  [[noreturn]] void Fail(const std::string& reason) const { FailInScript(file_, Now().line, reason); }

  static std::string Shown(const ScriptToken& token) {
    switch (token.kind) {
      case Kind::kEnd:
        return "the end of the script";
      case Kind::kEndOfLine:
        return "the end of the line";
      case Kind::kText:
        return "the text \"" + token.text + "\"";
      default:
        return "\"" + token.text + "\"";
    }
  }

  bool IsWord(std::string_view lower) const { return Now().kind == Kind::kName && Now().lower == lower; }
  bool IsSymbol(std::string_view symbol) const { return Now().kind == Kind::kSymbol && Now().text == symbol; }
  bool TakeWord(std::string_view lower) {
    const bool is = IsWord(lower);
    if (is) Take();
    return is;
  }
  bool TakeSymbol(std::string_view symbol) {
    const bool is = IsSymbol(symbol);
    if (is) Take();
    return is;
  }
  void Need(std::string_view symbol) {
    if (!TakeSymbol(symbol)) Fail(std::string(symbol) + " is missing before " + Shown(Now()));
  }
  std::string NeedName(const char* what) {
    if (Now().kind != Kind::kName) Fail(std::string(what) + " is missing before " + Shown(Now()));
    return Take().lower;
  }
  // "End If", "EndIf" and the like.
  bool IsEndOf(std::string_view lower) const {
    if (IsWord("end")) return Next().kind == Kind::kName && Next().lower == lower;
    return Now().kind == Kind::kName && Now().lower == "end" + std::string(lower);
  }
  void TakeEndOf() {
    if (Take().lower == "end") Take();
  }

  void SkipEmptyLines() {
    while (Now().kind == Kind::kEndOfLine) Take();
  }
  void EndStatement() {
    if (Now().kind != Kind::kEndOfLine && Now().kind != Kind::kEnd)
      Fail(Shown(Now()) + " stands where the statement should end");
  }

  // --- Subs
  bool StartsSub() const {
    if (IsWord("sub")) return true;
    return (IsWord("private") || IsWord("public")) && Next().kind == Kind::kName && Next().lower == "sub";
  }

  ScriptSub ParseSub() {
    ScriptSub sub;
    sub.line = Now().line;
    if (!TakeWord("sub")) {
      Take();
      Take();
    }
    sub.name = NeedName("the name of the Sub");
    if (TakeSymbol("(") && !TakeSymbol(")")) {
      do {
        if (IsWord("byval") || IsWord("byref")) Take();
        sub.parameters.push_back(ParseDeclared("a parameter"));
      } while (TakeSymbol(","));
      Need(")");
    }
    EndStatement();
    sub.body = ParseLines(sub.line, "End Sub", [this] { return IsEndOf("sub"); });
    TakeEndOf();
    EndStatement();
    return sub;
  }

  // name [()] [As type]
  std::string ParseDeclared(const char* what) {
    std::string name = NeedName(what);
    if (TakeSymbol("(")) Need(")");
    if (TakeWord("as")) NeedName("a type");
    return name;
  }

  // --- Statements
  template <class IsEnd>
  std::vector<ScriptStatement> ParseLines(int begin, const char* end, IsEnd isEnd) {
    if (++nesting_ > kMostNesting) Fail("the script is nested too deeply");
    std::vector<ScriptStatement> body;
    for (SkipEmptyLines(); !isEnd(); SkipEmptyLines()) {
      if (Now().kind == Kind::kEnd || IsEndOf("sub"))
        FailInScript(file_, begin, std::string(end) + " is missing");
      ParseInto(body);
      EndStatement();
    }
    --nesting_;
    return body;
  }

  void ParseInto(std::vector<ScriptStatement>& body) {
    if (!IsWord("dim")) return body.push_back(ParseStatement());
    Take();
    do {
      ScriptStatement declaration;
      declaration.kind = ScriptStatement::Kind::kDeclaration;
      declaration.line = Now().line;
      declaration.target = ParseDeclared("the name of the variable");
      body.push_back(std::move(declaration));
    } while (TakeSymbol(","));
  }

  ScriptStatement ParseStatement() {
    if (IsWord("if")) return ParseIf();
    ScriptStatement statement;
    statement.line = Now().line;
    if (IsWord("exit") && Next().lower == "sub") {
      Take();
      Take();
      statement.kind = ScriptStatement::Kind::kExitSub;
      return statement;
    }
    if (IsWord("let")) Take();
    const bool named = Now().kind == Kind::kName || Now().kind == Kind::kText;
    if (!named || Next().kind != Kind::kSymbol || Next().text != "=")
      Fail("the statement that begins with " + Shown(Now()) + " is unknown");
    statement.quoted = Now().kind == Kind::kText;
    const ScriptToken target = Take();
    statement.target = statement.quoted ? target.text : target.lower;
    Take();
    statement.value = ParseValue();
    return statement;
  }

  ScriptStatement ParseIf() {
    ScriptStatement statement;
    statement.kind = ScriptStatement::Kind::kIf;
    statement.line = Take().line;
    ScriptBranch first;
    first.condition = ParseValue();
    const bool then = TakeWord("then");
    if (then && Now().kind != Kind::kEndOfLine && Now().kind != Kind::kEnd) {
      ParseOneLine(statement, std::move(first));
    } else {
      if (!then && Now().kind != Kind::kEndOfLine) Fail("Then is missing before " + Shown(Now()));
      ParseBlock(statement, std::move(first));
    }
    return statement;
  }

  void ParseOneLine(ScriptStatement& statement, ScriptBranch first) {
    if (++nesting_ > kMostNesting) Fail("the script is nested too deeply");
    first.body.push_back(ParseStatement());
    statement.branches.push_back(std::move(first));
    if (TakeWord("else")) {
      ScriptBranch otherwise;
      otherwise.otherwise = true;
      otherwise.body.push_back(ParseStatement());
      statement.branches.push_back(std::move(otherwise));
    }
    --nesting_;
  }

  void ParseBlock(ScriptStatement& statement, ScriptBranch branch) {
    const auto endsBranch = [this] { return IsEndOf("if") || IsWord("else") || IsWord("elseif"); };
    for (;;) {
      branch.body = ParseLines(statement.line, "End If", endsBranch);
      const bool last = branch.otherwise;
      statement.branches.push_back(std::move(branch));
      if (IsEndOf("if")) return TakeEndOf();
      if (last) Fail("an Else stands behind the Else of this If");
      branch = {};
      branch.otherwise = Take().lower == "else";
      if (branch.otherwise) continue;
      branch.condition = ParseValue();
      TakeWord("then");
      EndStatement();
    }
  }

  // --- Values
  ScriptValue ParseValue() {
    if (++nesting_ > kMostNesting) Fail("the script is nested too deeply");
    ScriptValue value = ParseChain({{"or", ScriptOperator::kOr}}, [this] { return ParseAnd(); });
    --nesting_;
    return value;
  }

  ScriptValue ParseAnd() {
    return ParseChain({{"and", ScriptOperator::kAnd}}, [this] { return ParseNot(); });
  }

  ScriptValue ParseNot() {
    if (!IsWord("not")) return ParseComparison();
    return ParsePrefix(ScriptOperator::kNot, [this] { return ParseNot(); });
  }

  ScriptValue ParseComparison() {
    static constexpr std::pair<const char*, ScriptOperator> kComparisons[] = {
        {"=", ScriptOperator::kEqual},   {"<>", ScriptOperator::kNotEqual},
        {"<", ScriptOperator::kLess},    {"<=", ScriptOperator::kLessOrEqual},
        {">", ScriptOperator::kGreater}, {">=", ScriptOperator::kGreaterOrEqual}};
    ScriptValue left = ParseJoined();
    for (const auto& [symbol, operation] : kComparisons) {
      if (!TakeSymbol(symbol)) continue;
      return Operation(operation, std::move(left), ParseJoined());
    }
    return left;
  }

  ScriptValue ParseJoined() {
    return ParseChain({{"&", ScriptOperator::kJoin}}, [this] { return ParseSum(); });
  }
  ScriptValue ParseSum() {
    return ParseChain({{"+", ScriptOperator::kAdd}, {"-", ScriptOperator::kSubtract}},
                      [this] { return ParseProduct(); });
  }
  ScriptValue ParseProduct() {
    return ParseChain({{"*", ScriptOperator::kMultiply}, {"/", ScriptOperator::kDivide}},
                      [this] { return ParseSign(); });
  }
  ScriptValue ParseSign() {
    while (TakeSymbol("+")) continue;
    if (IsSymbol("-")) return ParsePrefix(ScriptOperator::kNegate, [this] { return ParseSign(); });
    return ParsePrimary();
  }

  template <class Parse>
  ScriptValue ParseChain(std::initializer_list<std::pair<const char*, ScriptOperator>> operations,
                         Parse parse) {
    ScriptValue left = parse();
    for (;;) {
      const auto* found = std::find_if(operations.begin(), operations.end(), [this](const auto& operation) {
        return IsSymbol(operation.first) || IsWord(operation.first);
      });
      if (found == operations.end()) return left;
      Take();
      left = Operation(found->second, std::move(left), parse());
    }
  }

  template <class Parse>
  ScriptValue ParsePrefix(ScriptOperator operation, Parse parse) {
    if (++nesting_ > kMostNesting) Fail("the script is nested too deeply");
    Take();
    ScriptValue operand = parse();
    --nesting_;
    ScriptValue value = NewValue(ScriptValue::Kind::kOperation);
    value.operation = operation;
    Append(value, std::move(operand));
    return value;
  }

  ScriptValue NewValue(ScriptValue::Kind kind) const {
    ScriptValue value;
    value.kind = kind;
    value.line = Now().line;
    return value;
  }

  void Append(ScriptValue& value, ScriptValue part) const {
    value.depth = std::max(value.depth, part.depth + 1);
    if (value.depth > kMostDepth) Fail("the value is too long");
    value.parts.push_back(std::move(part));
  }

  ScriptValue Operation(ScriptOperator operation, ScriptValue left, ScriptValue right) const {
    ScriptValue value = NewValue(ScriptValue::Kind::kOperation);
    value.operation = operation;
    value.line = left.line;
    Append(value, std::move(left));
    Append(value, std::move(right));
    return value;
  }

  ScriptValue ParsePrimary() {
    if (TakeSymbol("(")) {
      ScriptValue inner = ParseValue();
      Need(")");
      return inner;
    }
    if (Now().kind == Kind::kNumber) {
      ScriptValue value = NewValue(ScriptValue::Kind::kNumber);
      value.number = Take().number;
      return value;
    }
    if (Now().kind == Kind::kText) {
      ScriptValue value = NewValue(ScriptValue::Kind::kText);
      value.text = Take().text;
      return value;
    }
    static constexpr const char* kReserved[] = {"then", "else", "elseif", "and", "or", "end", "endif"};
    const bool reserved = std::any_of(std::begin(kReserved), std::end(kReserved),
                                      [this](const char* word) { return IsWord(word); });
    if (Now().kind != Kind::kName || reserved) Fail("a value is missing before " + Shown(Now()));
    ScriptValue value = NewValue(ScriptValue::Kind::kName);
    value.text = Take().lower;
    if (!TakeSymbol("(")) return value;
    value.kind = ScriptValue::Kind::kCall;
    if (TakeSymbol(")")) return value;
    do {
      Append(value, ParseValue());
    } while (TakeSymbol(","));
    Need(")");
    return value;
  }

  const std::string& file_;
  std::vector<ScriptToken> tokens_;
  std::size_t at_ = 0;
  int nesting_ = 0;
};

}  // namespace

std::string ScriptPlace(const std::string& file, int line) {
  return line > 0 ? file + ", line " + std::to_string(line) : file;
}

void FailInScript(const std::string& file, int line, const std::string& reason) {
  throw DataError(ScriptPlace(file, line) + ": " + reason + (reason.ends_with('?') ? "" : "."));
}

ScriptProgram ParseScript(std::string_view text, const std::string& file, std::string_view decimalSeparator) {
  return ScriptParser(text, file, decimalSeparator).Parse();
}

}  // namespace velmora
