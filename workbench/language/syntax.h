// The one grammar of the workbench: case selections, saved conditions, sheet formulas, event
// scripts and rules scripts.
//
//   value   = Not value | value OPERATOR value | (- | +) value | primary
//   primary = number | date | text | name | name ( value {, value} ) | ( value )
//
// Operators, the loosest first: Or; And; = <> < <= > >= (== and != too); & (joins texts); + -; * /;
// the sign; ^ (to the right: 2^3^2 is 2^9, and -2^2 is -4). Comparisons do not chain. Words are
// written in any case.
//
//   Syntax tree = ParseExpression("age > 30 And Not IsMD(income)");
//   tree.kind == SyntaxKind::kAnd; tree.parts.size() == 2;
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace velmora {

enum class SyntaxKind : unsigned char {
  kNumber,
  kDate,  // text: the date as written, without its number signs
  kText,  // text: what is inside the quotation marks
  kName,
  kCall,  // text: the function's name in lower case; parts: its arguments
  kOr,    // the rest: parts are the operands, two or, for a chain of one operator, more
  kAnd,
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
  kPower,
  kNot,  // one operand
  kNegate,
};

constexpr bool IsComparison(SyntaxKind kind) {
  return kind >= SyntaxKind::kEqual && kind <= SyntaxKind::kGreaterOrEqual;
}

// A value and its parts. Its depth is bounded, so walking it cannot exhaust the stack.
struct Syntax {
  SyntaxKind kind = SyntaxKind::kNumber;
  char quote = 0;      // kText: the quotation mark, ' or "
  int depth = 1;       // of the tree below
  int line = 1;        // of its operator or its only token
  std::size_t at = 0;  // byte offset of that token
  double number = 0;
  std::string text;
  std::vector<Syntax> parts;
};

// Why a text cannot be read, and where.
struct SyntaxError {
  std::size_t at = 0;
  int line = 1;
  std::string reason;
};

enum class TokenKind : unsigned char { kEnd, kLineEnd, kNumber, kDate, kText, kName, kSymbol };

struct Token {
  TokenKind kind = TokenKind::kEnd;
  char quote = 0;
  int line = 1;
  std::size_t at = 0;
  double number = 0;
  std::string text;   // kText: without quotation marks; kSymbol: == is =, != is <>
  std::string lower;  // kName: in lower case
};

// How a text is written.
struct Dialect {
  // Basic: ' and Rem begin a remark, a line or a colon ends a statement, a text ends on its line.
  bool basic = false;
  // A comma between two digits is a decimal comma, except among the arguments of a function.
  bool decimalComma = false;
};
inline constexpr Dialect kExpressionDialect = {};
inline constexpr Dialect kSavedDialect = {false, true};

// The last token is kEnd. Throws SyntaxError.
std::vector<Token> Tokenize(std::string_view source, Dialect dialect);

// Reads values out of tokens; the statements of Basic are read by a class derived from it.
class SyntaxReader {
 public:
  SyntaxReader(std::string_view source, Dialect dialect)
      : dialect_(dialect), tokens_(Tokenize(source, dialect)) {}

  // Throws SyntaxError.
  Syntax ReadValue();

  const Token& Now() const { return tokens_[at_]; }
  const Token& Next() const { return tokens_[at_ + 1 < tokens_.size() ? at_ + 1 : at_]; }
  bool IsWord(std::string_view lower) const { return Now().kind == TokenKind::kName && Now().lower == lower; }
  bool IsSymbol(std::string_view symbol) const {
    return Now().kind == TokenKind::kSymbol && Now().text == symbol;
  }

 protected:
  // Bounds the recursion of the reader.
  class Nesting {
   public:
    explicit Nesting(SyntaxReader& reader);
    ~Nesting() { --reader_.nesting_; }
    Nesting(const Nesting&) = delete;
    Nesting& operator=(const Nesting&) = delete;

   private:
    SyntaxReader& reader_;
  };

  [[noreturn]] static void Fail(const Token& token, std::string reason) {
    throw SyntaxError{token.at, token.line, std::move(reason)};
  }
  [[noreturn]] void Fail(std::string reason) const { Fail(Now(), std::move(reason)); }
  Token Take();
  bool TakeWord(std::string_view lower);
  bool TakeSymbol(std::string_view symbol);
  // Reads a value whose operators bind at least as strongly as binding.
  Syntax ReadOperators(int binding);
  static constexpr int kJoinBinding = 5;  // of &, the loosest one above comparisons

 private:
  Syntax ReadOperand(int binding);
  Syntax ReadCall(Syntax call);
  Syntax ReadExponent();
  bool IsReservedWord() const;
  void Append(Syntax& value, Syntax part) const;

  Dialect dialect_;
  std::vector<Token> tokens_;
  std::size_t at_ = 0;
  int nesting_ = 0;
};

// "age", or "the end" of what is read, for messages.
std::string Shown(const Token& token);

// A whole text as one value. Throws SyntaxError.
Syntax ParseExpression(std::string_view text, Dialect dialect = kExpressionDialect);

// Makes one text of each join of constant texts: "a" & Chr(10) & "b" is a text of two lines.
void FoldTexts(Syntax& tree);

// The inverse of FoldTexts: the text in double quotation marks, marks inside it doubled,
// control characters as Chr(n).
std::string QuotedText(std::string_view text);

std::string LowerText(std::string_view text);  // ASCII letters only

}  // namespace velmora
